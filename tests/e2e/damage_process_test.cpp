// Whole databases, damaged in many ways: the program answers every command and ends by itself.
// VEXLO_DAMAGE_SEEDS is the number of databases.
#include <cstdlib>
#include <filesystem>
#include <map>

#include <gtest/gtest.h>

#include "damage_maker.h"
#include "process.h"
#include "programs.h"
#include "sample/database.h"
#include "scratch_dir.h"

using namespace vexlo_test;

namespace {

constexpr size_t BLOCK = 2048;
constexpr size_t START_BLOCKS = 2; // block 0 and the file header: without them there is no prompt

// Column types
constexpr uint32_t LONG_TYPE = 8;
constexpr uint32_t CLOB_TYPE = 112;

// Work buffer, dictionary arrays and datafile table of so small a database, and the program with its
// libraries.
[[maybe_unused]] constexpr unsigned long MOST_MEMORY = 32UL << 20;

unsigned long seeds() {
    const char *text = std::getenv("VEXLO_DAMAGE_SEEDS");
    return text != nullptr ? std::strtoul(text, nullptr, 10) : 60;
}

std::string repeated(char letter, size_t length) {
    return std::string(length, letter);
}

// Tables of every kind that is stored in its own way.
void add_tables(sample::Database &db) {
    using sample::number;
    using sample::text;
    const auto tablespace = [&](const char *name, unsigned files, sample::SegmentKind kind,
                                bool bigfile = false) {
        sample::TablespaceDef def;
        def.name = name;
        def.files = files;
        def.kind = kind;
        def.bigfile = bigfile;
        return db.add_tablespace(def);
    };
    const uint32_t users = tablespace("USERS", 2, sample::SegmentKind::bitmap);
    const uint32_t old = tablespace("OLD", 1, sample::SegmentKind::freelist);
    const uint32_t big = tablespace("BIG", 1, sample::SegmentKind::bitmap, true);
    sample::UserDef user;
    user.name = "APP";
    const uint32_t app = db.add_user(user);
    const auto table = [&](const char *name, uint32_t in, std::vector<sample::ColumnDef> columns) {
        sample::TableDef def;
        def.owner = app;
        def.name = name;
        def.tablespace = in;
        def.columns = std::move(columns);
        def.segment.extent_blocks = 4;
        def.segment.map_entries = 2;
        return def;
    };
    const std::vector<sample::ColumnDef> two{sample::number_column("ID"),
                                             sample::varchar2_column("NAME", 1000)};

    const size_t plain = db.add_table(table("PLAIN", users, two));
    const size_t freelist = db.add_table(table("FREELIST", old, two));
    const size_t pieces = db.add_table(table("PIECES", users, two));
    for (int i = 0; i < 60; i++) {
        db.insert(plain, {number(i), text(repeated('p', 100))});
        db.insert(freelist, {number(i), text(repeated('f', 50))});
        sample::RowPlacement placement;
        placement.migrated = i % 3 == 0;
        if (i % 3 == 1)
            placement.cuts = {{1, 0}, {1, 30}, {1, 60}};
        placement.piece_per_block = i % 7 == 0;
        db.insert(pieces, {number(i), text(repeated('c', 90))}, placement);
    }

    sample::TableDef parted = table("PARTED", users, two);
    parted.partitions = {{"P1", {}, "1", {}}, {"P2", big, "2", {}}, {"P3", old, "3", {}}};
    const size_t parts = db.add_table(parted);
    sample::TableDef composite = table("COMPOSITE", users, two);
    composite.partitions = {{"C1", {}, "1", {{"S1", {}}, {"S2", old}}}};
    const size_t subs = db.add_table(composite);
    for (size_t i = 0; i < 3; i++)
        db.insert(parts, {number(1), text("part")}, {}, i);
    for (size_t i = 0; i < 2; i++)
        db.insert(subs, {number(1), text("sub")}, {}, 0, i);

    sample::ClusterDef cluster_def;
    cluster_def.owner = app;
    cluster_def.name = "C_KEY";
    cluster_def.tablespace = users;
    cluster_def.key = {sample::number_column("ID")};
    const size_t cluster = db.add_cluster(cluster_def);
    sample::TableDef member = table("MEMBER", users, two);
    member.cluster = cluster;
    member.key_columns = {"ID"};
    const size_t members = db.add_table(member);
    const size_t longs = db.add_table(
        table("LONGS", users, {sample::number_column("ID"), sample::typed_column("DATA", LONG_TYPE, 0)}));
    const size_t lobs = db.add_table(
        table("LOBS", users, {sample::number_column("ID"), sample::typed_column("DATA", CLOB_TYPE, 4000)}));
    for (int i = 0; i < 20; i++) {
        db.begin_key(cluster, {number(i)});
        sample::RowPlacement placement;
        placement.migrated = i % 5 == 0;
        db.insert_member(members, {number(i), text("member")}, placement);
        db.insert(longs, {number(i), text(repeated('l', 40 + 200 * static_cast<size_t>(i)))});
        db.insert(lobs, {number(i), {}});
    }
}

const std::vector<std::string> &commands() {
    static const std::vector<std::string> list = [] {
        std::vector<std::string> all{"export dict", "load dict",    "list files",   "list users",
                                     "list tables", "list objects", "set user app", "list parts parted"};
        for (const char *table :
             {"plain", "freelist", "pieces", "parted", "composite", "member", "longs", "lobs"}) {
            all.push_back(std::string("desc ") + table);
            all.push_back(std::string("unload table ") + table);
        }
        all.push_back("unload user app");
        all.push_back("unload user sys");
        return all;
    }();
    return list;
}

// One database, and the files of an export of it, which a test damages and puts back.
class DamagedDatabase : public ::testing::Test {
protected:
    DamagedDatabase() {
        sample::DatabaseOptions options;
        options.block_size = BLOCK;
        options.checksum = false;
        options.dictionary_extent_blocks = 4;
        options.dictionary_map_entries = 3;
        sample::Database db(dir_.file("db"), options);
        add_tables(db);
        db.finish();
        config_ = db.config_path().string();
        checked_config_ = dir_.file("checked.ini");
        write_text(checked_config_, read_text(config_) + "checksum = YES\n");
        const run_result got = run_vexlo(config_, {"export dict"});
        EXPECT_EQ(got.status, 0) << got.describe();
        for (const auto &path : db.datafiles())
            datafiles_[path.string()] = read_file(path.string());
        for (const auto &entry : std::filesystem::directory_iterator(dir_.file("db/dict")))
            dict_files_[entry.path().string()] = read_file(entry.path().string());
    }

    // Writes all files, the damage of one seed done to them, and returns what it was.
    std::string write_damaged(std::uint64_t seed) const {
        damage_maker maker(seed);
        std::map<std::string, bytes> files = datafiles_;
        std::string done;
        const auto damage = [&](std::map<std::string, bytes> &set, size_t unit, size_t first) {
            auto file = set.begin();
            std::advance(file, static_cast<std::ptrdiff_t>(maker.below(set.size())));
            done += file->first + ": " + maker.damage(file->second, unit, first) + "\n";
        };
        const bool at_start = maker.below(20) == 0;
        for (size_t n = 1 + maker.below(8); n > 0; n--)
            damage(files, BLOCK, at_start ? 0 : START_BLOCKS);
        std::map<std::string, bytes> dict = dict_files_;
        // An export that fails leaves the files of the earlier one, which a load takes then.
        for (size_t n = maker.below(3); n > 0; n--)
            damage(dict, 16, 0);
        files.merge(dict);
        for (const auto &[path, data] : files)
            write_file(path, data);
        return done;
    }

    run_result run(const std::string &config) const {
        run_options options;
        options.output_limit = size_t{4} << 20;
        if (!sanitized_) // whose shadow memory takes terabytes of addresses
            options.address_space = MOST_MEMORY;
        return run_vexlo(config, commands(), options);
    }

    const bool sanitized_ = is_sanitized(program_path("vexlo"));
    scratch_dir dir_;
    std::string config_;
    std::string checked_config_; // the same with check values verified
    std::map<std::string, bytes> datafiles_, dict_files_;
};

void expect_sane(const run_result &got) {
    ASSERT_EQ(got.end, ending::exited) << got.describe();
    ASSERT_TRUE(got.status == 0 || got.status == 255) << got.describe();
    for (const char *report : {"Sanitizer", "runtime error:"})
        ASSERT_EQ(got.err.find(report), std::string::npos) << got.describe();
    if (got.status == 0) {
        ASSERT_EQ(split_console(got.err).commands.size(), commands().size() + 1) << got.describe();
    }
}

TEST_F(DamagedDatabase, EveryCommandIsAnswered) {
    for (std::uint64_t seed = 0; seed < seeds(); seed++) {
        SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + write_damaged(seed));
        expect_sane(run(seed % 5 == 4 ? checked_config_ : config_));
        if (HasFatalFailure())
            return;
    }
}

// Without damage the same commands reach every row: what the damaged runs leave out, they leave out for its
// sake.
TEST_F(DamagedDatabase, WithoutDamageEveryRowIsReached) {
    const run_result got = run(config_);
    expect_sane(got);
    EXPECT_EQ(got.err.find("error"), std::string::npos) << got.describe();
    EXPECT_EQ(got.err.find("damaged"), std::string::npos) << got.describe();
    for (const char *rows : {"60 rows done", "20 rows done", "3 rows done", "2 rows done"})
        EXPECT_NE(got.err.find(rows), std::string::npos) << rows;
}

} // namespace
