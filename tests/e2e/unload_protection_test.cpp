// No output takes the place of a file that the program reads.
#include <filesystem>

#include "dump_reader.h"
#include "unload_fixture.h"

using namespace vexlo_test;
namespace fs = std::filesystem;

namespace {

class OutputProtection : public unload_console {
protected:
    std::string users_file() const { return db_->datafiles().at(1).string(); }
    std::string system_file() const { return db_->datafiles().at(0).string(); }
    std::string list_file() const { return (db_->dir() / "datafiles.txt").string(); }

    static std::string exists(const std::string &path) { return "open " + path + ": File exists\n"; }

    // Expects the commands to be refused as `path` and `kept`, which is where it leads to, to stay.
    void expect_unload_refused(const std::string &command, const std::string &path, const std::string &kept) {
        SCOPED_TRACE(kept);
        const bytes before = read_file(kept);
        const unload_output got = run({command});
        EXPECT_EQ(got.err, exists(path) + COMMAND_FAILED);
        EXPECT_EQ(got.out, "");
        EXPECT_EQ(read_file(kept), before);
    }

    // A row whose LONG value goes through the temporary file.
    void add_long_row(uint32_t owner) {
        sample::TableDef def = table("L", {sample::typed_column("DATA", 8, 0)});
        def.owner = owner;
        db_->insert(db_->add_table(def), {sample::text(std::string(40000, 'l'))});
    }

    static std::string long_refused(const std::string &path) {
        return exists(path) + "unload segment error.\nunload table \"L\" error.\n";
    }
};

// The datafile itself stands where the dump is to be made.
TEST_F(OutputProtection, DatafileUnderTheNameOfADumpIsKept) {
    add_numbers("T", 3);
    finish();
    for (const auto &[command, name] :
         {std::pair{"unload table scott.t", "SCOTT_T"}, std::pair{"unload user scott", "SCOTT"}}) {
        const std::string path = dump_path(name);
        fs::rename(users_file(), path);
        write_text(list_file(), system_file() + "\n" + path + "\n");
        expect_unload_refused(command, path, path);
        fs::rename(path, users_file());
    }
}

TEST_F(OutputProtection, LinksToADatafileAreFollowed) {
    add_numbers("T", 3);
    finish();
    const std::string path = dump_path("SCOTT_T");
    fs::create_symlink(users_file(), path);
    expect_unload_refused("unload table scott.t", path, users_file());
    fs::remove(path);
    fs::create_hard_link(system_file(), path);
    expect_unload_refused("unload table scott.t", path, system_file());
}

TEST_F(OutputProtection, ConfigurationAndListAreKept) {
    add_numbers("T", 3);
    finish();
    const std::string path = dump_path("SCOTT_T");
    for (const std::string &file : {db_->config_path().string(), list_file()}) {
        fs::create_hard_link(file, path);
        expect_unload_refused("unload table scott.t", path, file);
        fs::remove(path);
    }
}

TEST_F(OutputProtection, DatafileUnderTheNameOfADictionaryFileIsKept) {
    finish();
    const bytes system = read_file(system_file());
    const struct {
        const char *file;
        const char *message;
    } cases[] = {
        {"user", "write user dictionary data error.\nexport user$ error.\n"},
        {"ind", "write lob index dictionary data error.\nexport ind$ error.\n"},
        {"lob", "write lob dictionary data error.\nexport lob$ error.\n"},
        {"props", "write property dictionary data error.\nexport props$ error.\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.file);
        const std::string path = dict_path(c.file);
        fs::remove(path);
        fs::create_hard_link(system_file(), path);
        const run_result got = run_vexlo(db_->config_path().string(), {"export dict"});
        const std::string said = split_console(got.err).commands.at(0);
        const std::string wanted = exists(path) + c.message + "Command \"export\" execute error.\n";
        EXPECT_TRUE(said.ends_with(wanted)) << said;
        EXPECT_EQ(read_file(system_file()), system);
        fs::remove(path);
    }
}

TEST_F(OutputProtection, DatafileUnderTheNameOfTheLongTemporaryFileIsKept) {
    add_long_row(scott_);
    finish();
    const bytes before = read_file(users_file());
    fs::create_symlink(users_file(), dump_path("long_tmp"));
    const unload_output got = run({"unload table scott.l"});
    EXPECT_EQ(got.err, progress("L", 0, "SCOTT", long_refused(dump_path("long_tmp"))));
    EXPECT_EQ(read_file(users_file()), before);
}

// The dump of a user with that name would be emptied by its own LONG values.
TEST_F(OutputProtection, DumpBeingWrittenIsNotTakenForTheLongTemporaryFile) {
    sample::UserDef def;
    def.name = "long_tmp";
    const uint32_t owner = db_->add_user(def);
    sample::TableDef first = table("A", {sample::number_column("ID")});
    first.owner = owner;
    db_->insert(db_->add_table(first), {sample::number(7)});
    add_long_row(owner);
    finish();
    const unload_output got = run({"unload user \"long_tmp\""});
    EXPECT_EQ(got.err, progress("A", 1, "long_tmp") +
                           progress("L", 0, "long_tmp", long_refused(dump_path("long_tmp"))));
    const bytes raw = dump("long_tmp");
    const dump_section section = read_dump_section(raw, read_dump_tables(raw).at(0));
    ASSERT_EQ(section.rows.size(), 1U);
    EXPECT_EQ(section.rows[0].entries.at(0).value, number_value(7));
}

} // namespace
