// Blocks, segments and files that are not as they should be: what is left comes out, what is lost is told.
#include <algorithm>
#include <filesystem>

#include "recovered_fixture.h"
#include "sample/damage.h"

namespace {

using namespace sample;
using namespace vexlo_test;

class DamagedFiles : public Recovered {
protected:
    // A table T of the IDs 1 to `rows`, about four to a block; remembers where they are.
    size_t fill(int rows, SegmentOptions segment = {}) {
        TableDef def = table("T", {number_column("ID"), varchar2_column("NAME", 2000)});
        def.segment = segment;
        const size_t t = db_->add_table(def);
        for (int i = 1; i <= rows; i++)
            places_.push_back(db_->insert(t, {number(i), text(std::string(1700, 'n'))}));
        return t;
    }

    void finish() {
        db_->finish();
        finished_ = true;
    }

    DamagePlace place(uint32_t rdba) const { return {users_file(), block_size(), block_number(rdba)}; }

    // The IDs outside of a block.
    csv_row ids_outside(uint32_t rdba) const {
        csv_row ids;
        for (size_t i = 0; i < places_.size(); i++)
            if (places_[i].rdba != rdba)
                ids.push_back(std::to_string(i + 1));
        return ids;
    }

    csv_row ids_in(uint32_t rdba) const {
        csv_row ids;
        for (size_t i = 0; i < places_.size(); i++)
            if (places_[i].rdba == rdba)
                ids.push_back(std::to_string(i + 1));
        return ids;
    }

    void expect_loss(const std::string &kind, uint32_t rdba) const {
        const Json losses = record("T").at("losses");
        ASSERT_EQ(losses.size(), 1U) << losses;
        EXPECT_EQ(losses[0].at("kind"), kind);
        EXPECT_EQ(losses[0].at("block"), block_number(rdba));
        EXPECT_EQ(losses[0].at("blocks"), 1);
        EXPECT_EQ(result_.status, 1);
    }

    std::vector<RowAddress> places_;
};

TEST_F(DamagedFiles, RowsOfABlockWithAWrongCheckValueAreSuspect) {
    open();
    fill(40);
    finish();
    damage_check_value(place(places_[20].rdba));
    unload();
    EXPECT_EQ(column("T", "ID"), ids_outside(places_[20].rdba));
    EXPECT_EQ(column("T", "ID", true), ids_in(places_[20].rdba));
    expect_loss("check value", places_[20].rdba);
}

// Where the table has columns of the same names, whatever the case of their letters, those in front are
// numbered.
TEST_F(DamagedFiles, SuspectRowsComeInEveryFormatBehindTheirPlaceAndReason) {
    open();
    const size_t t =
        add("T", {number_column("_BLOCK"), varchar2_column("_slot", 10), varchar2_column("_REASON_2", 10)});
    const RowAddress row = db_->insert(t, {number(7), null_value(), text("b")});
    finish();
    damage_check_value(place(row.rdba));
    const std::string at = "2/" + std::to_string(block_number(row.rdba));
    const std::string reason = "check value of the block is wrong";
    const auto suspects = [&](const std::string &format, const std::string &file) {
        unload({"--to", format, "--overwrite"});
        return read_text(dir_.file("out/" + file));
    };
    EXPECT_EQ(suspects("csv", "SCOTT.T.suspect.csv"),
              "_BLOCK_2,_SLOT_2,_REASON,_BLOCK,_slot,_REASON_2\r\n" + at + ",0," + reason + ",7,,b\r\n");
    EXPECT_EQ(suspects("jsonl", "SCOTT.T.suspect.jsonl"), "{\"_BLOCK_2\":\"" + at +
                                                              "\",\"_SLOT_2\":0,\"_REASON\":\"" + reason +
                                                              "\",\"_BLOCK\":7,\"_slot\":null,"
                                                              "\"_REASON_2\":\"b\"}\n");
    EXPECT_NE(
        suspects("sql", "SCOTT.T.suspect.sql")
            .find("INSERT INTO \"T.suspect\" VALUES ('" + at + "',\n0,\n'" + reason + "',\n7,\nNULL,\n'b');"),
        std::string::npos);
    EXPECT_NE(
        suspects("sqlldr", "SCOTT.T.suspect.ldr").find(at + "000001" + "0" + "000033" + reason + "0000017"),
        std::string::npos);
    EXPECT_NE(suspects("sqlldr", "SCOTT.T.suspect.ctl").find("\"_BLOCK_2\" "), std::string::npos);
    suspects("sqlite", "rescue.sqlite");
    const run_result rows = run_process(
        {PYTHON_PROGRAM, READ_BACK_SCRIPT, "sqlite", dir_.file("out/rescue.sqlite"), "SCOTT.T.suspect"});
    EXPECT_EQ(rows.out, "[\"_BLOCK_2\",\"_SLOT_2\",\"_REASON\",\"_BLOCK\",\"_slot\",\"_REASON_2\"]\n[\"" +
                            at + "\",\"0\",\"" + reason + "\",\"7\",null,\"b\"]\n")
        << rows.describe();
}

// A block of zeros is no loss by itself: the pieces of a row elsewhere tell that its beginning stood there.
TEST_F(DamagedFiles, RowsWhoseBeginningsAreNotThereAreMissed) {
    open();
    const size_t t = add("T", {number_column("ID"), varchar2_column("A", 20), varchar2_column("B", 20)});
    RowPlacement cut;
    cut.cuts = {{2, 0}};
    cut.piece_per_block = true;
    const RowAddress head = db_->insert(t, {number(1), text("here"), text("there")}, cut);
    finish();
    unload();
    EXPECT_EQ(record("T").at("status"), "complete");
    zero_block(place(head.rdba));
    unload({"--overwrite"});
    EXPECT_EQ(rows("T").size(), 0U);
    EXPECT_EQ(record("T").at("status"), "partial");
    EXPECT_EQ(record("T").at("reason"), "1 pieces of rows whose beginnings are lost");
}

// Whatever bit of a header is wrong, the file is of this database and has its rows.
TEST_F(DamagedFiles, FileWithAWrongBitInItsHeaderIsRead) {
    constexpr size_t DBID = 28, FILE_TYPE = 54, ROOT = 96, TABLESPACE = 332;
    DatabaseOptions options;
    options.layout.full = true;
    for (const size_t at : {DBID, FILE_TYPE, ROOT, TABLESPACE}) {
        SCOPED_TRACE(at);
        places_.clear();
        open(options);
        fill(40);
        finish();
        const auto byte = static_cast<uint8_t>(read_text(users_file()).at(block_size() + at) ^ 4);
        patch_file(users_file(), block_size(), 1, at, Bytes{byte}, false);
        unload({"--overwrite"});
        EXPECT_EQ(result_.status, 0) << result_.describe();
        EXPECT_EQ(column("T", "ID"), numbers(40));
    }
}

TEST_F(DamagedFiles, WrongWayToBootstrapInADamagedHeaderIsNoLoss) {
    constexpr size_t ROOT = 96;
    open();
    fill(40);
    finish();
    const std::string system = dir_.file("db/system01.dbf");
    const auto byte = static_cast<uint8_t>(read_text(system).at(block_size() + ROOT) ^ 4);
    patch_file(system, block_size(), 1, ROOT, Bytes{byte}, false);
    unload();
    EXPECT_EQ(result_.status, 0) << result_.describe();
    EXPECT_EQ(column("T", "ID"), numbers(40));
}

// All bigfiles have one relative number, and their blocks tell no more of the file.
TEST_F(DamagedFiles, BigfilesWithoutHeadersAreOfTheTablespacesWhoseTablesTheyHold) {
    DatabaseOptions options;
    options.layout.full = true;
    open(options);
    for (const std::string name : {"BIGB", "BIGA", "BIGC"}) {
        TablespaceDef big;
        big.name = name;
        big.bigfile = true;
        TableDef def = table(name, {number_column("ID"), varchar2_column("NAME", 2000)});
        def.tablespace = db_->add_tablespace(big);
        const size_t t = db_->add_table(def);
        for (int i = 1; i <= 40; i++)
            db_->insert(t, {number(i), text(name + std::string(1700, 'n'))});
    }
    finish();
    for (const char *file : {"db/biga01.dbf", "db/bigb01.dbf"})
        zero_block({dir_.file(file), block_size(), 1});
    unload();
    EXPECT_EQ(result_.status, 0) << result_.describe();
    for (const char *name : {"BIGA", "BIGB", "BIGC"})
        EXPECT_EQ(column(name, "ID"), numbers(40));
}

TEST_F(DamagedFiles, RowsOfATornBlockAreSuspect) {
    open();
    fill(40);
    finish();
    tear_block(place(places_[20].rdba));
    unload();
    EXPECT_EQ(column("T", "ID"), ids_outside(places_[20].rdba));
    EXPECT_EQ(column("T", "ID", true), ids_in(places_[20].rdba));
    expect_loss("tail", places_[20].rdba);
}

TEST_F(DamagedFiles, ChecksAreLeftOutWhenBlocksAreTrusted) {
    open();
    fill(40);
    finish();
    tear_block(place(places_[20].rdba));
    unload({"--trust-blocks"});
    EXPECT_EQ(column("T", "ID"), numbers(40));
    EXPECT_EQ(result_.status, 0) << result_.describe();
}

TEST_F(DamagedFiles, BlockThatSaysItIsAnotherIsALoss) {
    open();
    fill(40);
    finish();
    misplace_block(place(places_[20].rdba), places_[0].rdba);
    unload();
    EXPECT_EQ(column("T", "ID"), ids_outside(places_[20].rdba));
    expect_loss("address", places_[20].rdba);
}

TEST_F(DamagedFiles, OverwrittenBlockIsALoss) {
    open();
    fill(40);
    finish();
    overwrite_block(place(places_[20].rdba), 1);
    unload();
    EXPECT_EQ(column("T", "ID"), ids_outside(places_[20].rdba));
    EXPECT_EQ(record("T").at("losses").size(), 1U);
    EXPECT_EQ(result_.status, 1);
}

TEST_F(DamagedFiles, BlocksOfAnEarlierOwnerAndNeverFormattedOnesAreCountedAndNoRows) {
    SegmentOptions segment;
    segment.old_objd = 777;
    open();
    fill(5, segment);
    unload();
    EXPECT_EQ(column("T", "ID"), numbers(5));
    EXPECT_EQ(result_.status, 0) << result_.describe();
    const Json blocks = record("T").at("blocks");
    EXPECT_GE(blocks.at("foreign").get<int>() + blocks.at("older").get<int>(), 1) << blocks;
    EXPECT_GE(blocks.at("unformatted").get<int>(), 1) << blocks;
    EXPECT_EQ(record("T").at("losses").size(), 0U);
}

TEST_F(DamagedFiles, SegmentWhoseHeaderIsLostIsFoundBlockByBlock) {
    for (const bool zero : {true, false}) {
        open();
        places_.clear();
        const size_t t = fill(60);
        finish();
        const DamagePlace header{users_file(), block_size(), segment_header(t)};
        if (zero)
            zero_block(header);
        else
            overwrite_block(header, 2);
        unload({"--overwrite"});
        EXPECT_EQ(column("T", "ID"), numbers(60));
    }
}

TEST_F(DamagedFiles, ExtentMapThatLoopsOrLeadsNowhereIsLeftForTheBlocks) {
    for (const bool loop : {true, false}) {
        open();
        places_.clear();
        SegmentOptions segment;
        segment.extent_blocks = 4;
        segment.map_entries = 2;
        const size_t t = fill(60, segment);
        finish();
        const DamagePlace header{users_file(), block_size(), segment_header(t)};
        const SegmentPlace &place = db_->model().tables[t].place;
        redirect_extent_map(header,
                            loop ? make_rdba(place.file, place.block) : make_rdba(place.file, 4000000));
        unload({"--overwrite"});
        EXPECT_EQ(column("T", "ID"), numbers(60));
    }
}

TEST_F(DamagedFiles, MapsMayBeIgnoredAtOnce) {
    open({}, 2);
    SegmentOptions segment;
    segment.old_objd = 777;
    fill(60, segment);
    unload({"--ignore-maps"});
    csv_row ids = column("T", "ID");
    std::sort(ids.begin(), ids.end(),
              [](const auto &a, const auto &b) { return std::stoi(*a) < std::stoi(*b); });
    EXPECT_EQ(ids, numbers(60));
}

TEST_F(DamagedFiles, DamagedBlocksAreTheSameLossWhenMapsAreIgnored) {
    for (const size_t offset : {size_t{0}, size_t{24}, size_t{8000}}) { // type, data object, rows
        SCOPED_TRACE(offset);
        open();
        places_.clear();
        fill(40);
        finish();
        patch_file(users_file(), block_size(), block_number(places_[20].rdba), offset, Bytes{0x55}, false);
        unload({"--ignore-maps", "--overwrite"});
        EXPECT_EQ(column("T", "ID"), ids_outside(places_[20].rdba));
        expect_loss("check value", places_[20].rdba);
    }
}

TEST_F(DamagedFiles, FilesThatAreNotThereOrNotWholeAreLossesWhenMapsAreIgnored) {
    for (const bool missing : {true, false}) {
        SCOPED_TRACE(missing);
        DatabaseOptions options;
        options.layout.full = true;
        open(options, 2);
        places_.clear();
        fill(60);
        finish();
        if (missing)
            std::filesystem::remove(users_file(1));
        else
            std::filesystem::resize_file(users_file(1), 12 * block_size());
        unload({"--ignore-maps", "--overwrite"});
        const Json losses = record("T").at("losses");
        ASSERT_EQ(losses.size(), 1U) << losses;
        EXPECT_EQ(losses[0].at("kind"), missing ? "missing file" : "unreadable");
        EXPECT_EQ(losses[0].at("block"), missing ? 1 : 12);
        EXPECT_EQ(record("T").at("status"), "partial");
        EXPECT_EQ(result_.status, 1);
    }
}

TEST_F(DamagedFiles, HeaderThatIsNoMapOfTheSegmentIsALoss) {
    open();
    const size_t t = fill(40);
    finish();
    constexpr size_t TYPE_IN_TAIL = 3; // from the end
    patch_file(users_file(), block_size(), segment_header(t), block_size() - TYPE_IN_TAIL, Bytes{0x20},
               false);
    patch_file(users_file(), block_size(), segment_header(t), 0, Bytes{0x20}, true);
    unload();
    EXPECT_EQ(column("T", "ID"), numbers(40));
    expect_loss("address", segment_header(t));
}

TEST_F(DamagedFiles, TablesWhoseMapsAllLeadToTheWholeTablespaceAreLookedFor) {
    constexpr size_t FIRST_EXTENT = 280; // in a segment header
    constexpr int TABLES = 4;
    open();
    std::vector<size_t> tables;
    for (int i = 1; i <= TABLES; ++i) {
        tables.push_back(add("T" + std::to_string(i), {number_column("ID")}));
        for (int id = 1; id <= i; ++id)
            db_->insert(tables.back(), {number(id)});
    }
    finish();
    const uint64_t blocks = std::filesystem::file_size(users_file()) / block_size();
    Bytes extent(8);
    store_le32(extent.data(), make_rdba(2, 2));
    store_le32(extent.data() + 4, static_cast<uint32_t>(blocks - 2));
    for (const size_t t : tables)
        patch_file(users_file(), block_size(), segment_header(t), FIRST_EXTENT, extent, true);
    unload();
    uint64_t led_to = 0;
    for (int i = 1; i <= TABLES; ++i) {
        const std::string name = "T" + std::to_string(i);
        EXPECT_EQ(column(name, "ID"), numbers(i)) << name;
        const Json entry = record(name);
        for (const char *kind : {"data", "unformatted", "foreign", "older"})
            led_to += entry.at("blocks").at(kind).get<uint64_t>();
        EXPECT_EQ(entry.at("losses").empty(), i <= 2) << entry;
    }
    EXPECT_LE(led_to, 2 * blocks);
}

TEST_F(DamagedFiles, TablesOfAClusterMayAllLeadToIt) {
    constexpr int TABLES = 20;
    open();
    ClusterDef cluster;
    cluster.owner = scott_;
    cluster.name = "C";
    cluster.tablespace = users_;
    cluster.key = {number_column("K")};
    const size_t c = db_->add_cluster(cluster);
    std::vector<size_t> members;
    for (int i = 1; i <= TABLES; ++i) {
        TableDef member = table("M" + std::to_string(i), {number_column("ID"), number_column("K")});
        member.cluster = c;
        member.key_columns = {"K"};
        members.push_back(db_->add_table(member));
    }
    db_->begin_key(c, {number(9)});
    for (const size_t member : members)
        db_->insert_member(member, {number(1), number(9)});
    finish();
    unload();
    for (int i = 1; i <= TABLES; ++i) {
        const std::string name = "M" + std::to_string(i);
        EXPECT_EQ(column(name, "ID"), numbers(1)) << name;
        EXPECT_TRUE(record(name).at("losses").empty()) << name;
    }
}

TEST_F(DamagedFiles, MissingFileIsALossOfItsRowsAlone) {
    open({}, 2);
    fill(60);
    finish();
    const uint32_t lost_file = db_->model().tablespaces[users_].storage->files()[1]->info().rfn;
    std::filesystem::remove(users_file(1));
    unload();
    csv_row left;
    for (size_t i = 0; i < places_.size(); i++)
        if (places_[i].rdba >> 22 != lost_file)
            left.push_back(std::to_string(i + 1));
    ASSERT_LT(left.size(), 60U);
    EXPECT_EQ(column("T", "ID"), left);
    EXPECT_EQ(result_.status, 1);
    const Json losses = record("T").at("losses");
    ASSERT_GE(losses.size(), 1U);
    EXPECT_EQ(losses[0].at("kind"), "missing file");
}

TEST_F(DamagedFiles, OfTwoCopiesOfAFileTheOneWithTheNewerCheckpointIsRead) {
    DatabaseOptions options;
    options.checkpoint_scn = 0x100000005;
    open(options);
    fill(10);
    finish();
    const std::string older = dir_.file("db/aaa.dbf"), newer = dir_.file("db/zzz.dbf");
    copy_with_checkpoint(users_file(), older, block_size(), 0xFFFFFFFF);
    zero_block({older, block_size(), block_number(places_[0].rdba)});
    unload();
    EXPECT_EQ(column("T", "ID"), numbers(10));
    std::map<std::string, std::string> status;
    const Json files = read_record(dir_.file("out")).at("files");
    for (const Json &file : files)
        status[file.at("path")] = file.at("status");
    EXPECT_EQ(status[older], "duplicate");
    EXPECT_EQ(status[users_file()], "used");

    copy_with_checkpoint(users_file(), newer, block_size(), 0x100000006);
    zero_block({newer, block_size(), block_number(places_[0].rdba)});
    unload({"--overwrite"});
    EXPECT_EQ(column("T", "ID"), ids_outside(places_[0].rdba));
}

TEST_F(DamagedFiles, FileWithADamagedHeaderIsKnownByItsBlocks) {
    for (const uint32_t block : {0U, 1U}) {
        open();
        places_.clear();
        fill(40);
        finish();
        zero_block({users_file(), block_size(), block});
        unload({"--overwrite"});
        EXPECT_EQ(column("T", "ID"), numbers(40)) << "block " << block;
    }
}

TEST_F(DamagedFiles, DictionaryWithoutTheHeaderOfBootstrapIsRead) {
    open();
    fill(10);
    finish();
    for (const TableEntry &t : db_->model().tables)
        if (t.def.name == "BOOTSTRAP$")
            zero_block({db_->datafiles().front(), block_size(), t.place.block});
    unload();
    EXPECT_EQ(column("T", "ID"), numbers(10));
}

TEST_F(DamagedFiles, FilesOfAnotherDatabaseAreRefusedUnlessOneIsChosen) {
    open();
    fill(10);
    finish();
    DatabaseOptions other;
    other.database_id = 12345;
    Database strange(dir_.file("other"), other);
    strange.finish();
    std::filesystem::copy_file(strange.datafiles().front(), dir_.file("db/strange.dbf"));
    const run_result refused = run_rescue(unload_arguments(dir_.file("db"), dir_.file("out"), {"--quiet"}));
    EXPECT_EQ(refused.status, 2) << refused.describe();
    unload({"--dbid", std::to_string(SAMPLE_DATABASE_ID)});
    EXPECT_EQ(column("T", "ID"), numbers(10));
}

} // namespace
