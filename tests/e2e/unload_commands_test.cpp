// The unload commands: names, which tables may be unloaded, what is printed where, and the files made.
#include "dump_reader.h"
#include "unload_fixture.h"

using namespace vexlo_test;

namespace {

constexpr uint32_t TEMPORARY = 0x2, DROPPED = 0x80;

class UnloadCommand : public unload_console {
protected:
    void expect_refused(const std::string &command, const std::string &message) {
        const unload_output got = run({command});
        EXPECT_EQ(got.out, "") << command;
        EXPECT_EQ(got.err, message + COMMAND_FAILED) << command;
    }

    void expect_unloaded(const std::vector<std::string> &commands, const std::string &err,
                         const std::string &file) {
        const unload_output got = run(commands);
        EXPECT_EQ(got.err, err) << commands.back();
        EXPECT_TRUE(file_exists(dump_path(file))) << commands.back();
        remove(dump_path(file).c_str());
    }
};

TEST_F(UnloadCommand, ArgumentThatBeginsWithNeitherKeywordIsInvalid) {
    finish();
    for (const char *command : {"unload", "unload x", "unload tabl SCOTT.T", "unload use SCOTT",
                                "unload USER SCOTT", "unload Table SCOTT.T"})
        expect_refused(command, "Invalid unload command arguments.\n");
}

TEST_F(UnloadCommand, UserFormWithoutANameLooksForTheEmptyCurrentUser) {
    finish();
    expect_refused("unload user", "user \"\" not found.\n");
}

TEST_F(UnloadCommand, UserThatTheDictionaryLacksIsNotFound) {
    add_numbers("T", 1);
    finish();
    for (const char *command : {"unload user NOBODY", "unload table NOBODY.T"})
        expect_refused(command, "user \"NOBODY\" not found.\n");
}

TEST_F(UnloadCommand, QuotedNamesAreTakenAsTyped) {
    add_numbers("T", 1);
    finish();
    expect_refused("unload user \"scott\"", "user \"scott\" not found.\n");
    expect_refused("unload table SCOTT.\"t\"", "table \"t\" not found.\n");
}

TEST_F(UnloadCommand, TableFormWithoutAUserAndACurrentUserAsksForOne) {
    add_numbers("T", 1);
    finish();
    for (const char *command : {"unload table", "unload table T", "unload table .T", "unload table SCOTT..T"})
        expect_refused(command, "user not specified.\n");
}

TEST_F(UnloadCommand, TableFormWithoutATableNameAsksForOne) {
    finish();
    expect_refused("unload table SCOTT.", "table not specified.\n");
}

TEST_F(UnloadCommand, TableThatTheUserLacksIsNotFound) {
    finish();
    expect_refused("unload table SCOTT.NOTHING", "table \"NOTHING\" not found.\n");
}

TEST_F(UnloadCommand, BlanksBesideTheDotBelongToTheNames) {
    add_numbers("T", 1);
    finish();
    expect_refused("unload table SCOTT .T", "user \"SCOTT \" not found.\n");
    expect_refused("unload table SCOTT. T", "table \" T\" not found.\n");
}

TEST_F(UnloadCommand, TableWithASpecialFeatureIsNotSupported) {
    add_numbers("IOT", 1, 0, sample::TABLE_INDEX_ORGANIZED);
    finish();
    expect_refused("unload table SCOTT.IOT", "table \"IOT\" not supported.\n");
}

TEST_F(UnloadCommand, DroppedTableIsRefused) {
    add_numbers("GONE", 1, DROPPED);
    finish();
    expect_refused("unload table SCOTT.GONE", "table \"GONE\" is dropped.\n");
}

TEST_F(UnloadCommand, TemporaryTableIsRefused) {
    add_numbers("TEMP", 1, TEMPORARY);
    finish();
    expect_refused("unload table SCOTT.TEMP", "\"TEMP\" is temporary table.\n");
}

TEST_F(UnloadCommand, NamesThatReachTheTable) {
    add_numbers("T", 2);
    finish();
    const std::string done = progress("T", 2);
    for (const char *command :
         {"unload table SCOTT.T", "unload table scott.t", "unload table \"SCOTT\".\"T\"",
          "unload tables scott.t", "unload table a.scott.t", "unload table NOBODY.\"SCOTT\".T",
          "unload table \tscott.t"})
        expect_unloaded({command}, done, "SCOTT_T");
    for (const char *command : {"unload user scott", "unload user SCOTT", "unload users scott",
                                "unload user \"SCOTT\"", "unload user \"SCOTT"})
        expect_unloaded({command}, done, "SCOTT");
    // The empty last part before the table name is the user, so the current user applies.
    for (const char *command : {"unload table t", "unload table .t", "unload table nobody..t"})
        expect_unloaded({"set user scott", command}, done, "SCOTT_T");
    expect_unloaded({"set user scott", "unload user"}, done, "SCOTT");
}

TEST_F(UnloadCommand, QuotedLowerCaseNamesAndDotsInQuotes) {
    sample::UserDef user;
    user.name = "lower";
    const uint32_t lower = db_->add_user(user);
    sample::TableDef def = table("Mixed", {sample::number_column("ID")});
    def.owner = lower;
    db_->add_table(def);
    finish();
    expect_unloaded({"unload table \"lower\".\"Mixed\""}, progress("Mixed", 0, "lower"), "lower_Mixed");
    expect_unloaded({"unload user \"lower\""}, progress("Mixed", 0, "lower"), "lower");
    expect_refused("unload user lower", "user \"LOWER\" not found.\n");
    // A dot splits inside quotes too.
    expect_refused("unload table \"lower.Mixed\"", "table \"MIXED\"\" not found.\n");
}

TEST_F(UnloadCommand, NamesAreCutTo31Characters) {
    const std::string name(31, 'N');
    add_numbers(name, 1);
    finish();
    expect_unloaded({"unload table scott." + name + "NNNN"}, progress(name, 1), "SCOTT_" + name);
}

TEST_F(UnloadCommand, BeforeALoadNoUserExists) {
    finish();
    const run_result got =
        run_vexlo(db_->config_path().string(), {"unload user scott", "unload table scott.t"});
    const console_text text = split_console(got.err);
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(text.commands.at(0), "user \"SCOTT\" not found.\n" + COMMAND_FAILED);
    EXPECT_EQ(text.commands.at(1), "user \"SCOTT\" not found.\n" + COMMAND_FAILED);
}

TEST_F(UnloadCommand, AfterAnExportWithoutALoadNoUserExists) {
    add_numbers("T", 1);
    db_->finish();
    const run_result got = run_vexlo(db_->config_path().string(), {"export dict", "unload user scott"});
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(split_console(got.err).commands.at(1), "user \"SCOTT\" not found.\n" + COMMAND_FAILED);
}

TEST_F(UnloadCommand, UserFormSkipsTablesWithANoticeOnStandardOutput) {
    add_numbers("A", 3);
    add_numbers("GONE", 1, DROPPED);
    add_numbers("TEMP", 1, TEMPORARY);
    add_numbers("IOT", 1, 0, sample::TABLE_INDEX_ORGANIZED);
    add_numbers("B", 1);
    finish();
    const unload_output got = run({"unload user scott"});
    EXPECT_EQ(got.out, "table \"GONE\" is dropped.\n\"TEMP\" is temporary table.\n"
                       "table \"IOT\" has special feature, unsupported.\n");
    EXPECT_EQ(got.err, progress("A", 3) + progress("B", 1));
    const dump_file dump = read_dump(dump_path("SCOTT"));
    ASSERT_EQ(dump.tables.size(), 2U);
    EXPECT_EQ(dump.tables[0].name, "A");
    EXPECT_EQ(dump.tables[1].name, "B");
}

// The special feature is tested first, then the recycle bin, then the temporary table.
TEST_F(UnloadCommand, OrderOfTheEligibilityTests) {
    add_numbers("ALL3", 1, DROPPED | TEMPORARY, sample::TABLE_INDEX_ORGANIZED);
    add_numbers("BOTH", 1, DROPPED | TEMPORARY);
    finish();
    const unload_output got = run({"unload user scott"});
    EXPECT_EQ(got.out, "table \"ALL3\" has special feature, unsupported.\ntable \"BOTH\" is dropped.\n"
                       "no table to unload for user \"SCOTT\".\n");
    EXPECT_EQ(got.err, "");
    EXPECT_FALSE(file_exists(dump_path("SCOTT")));
    expect_refused("unload table scott.all3", "table \"ALL3\" not supported.\n");
    expect_refused("unload table scott.both", "table \"BOTH\" is dropped.\n");
}

TEST_F(UnloadCommand, UserWithoutTablesGetsANoticeAndNoFile) {
    finish();
    const unload_output got = run({"unload user scott"});
    EXPECT_EQ(got.out, "no table to unload for user \"SCOTT\".\n");
    EXPECT_EQ(got.err, "");
    EXPECT_FALSE(file_exists(dump_path("SCOTT")));
}

TEST_F(UnloadCommand, ProgressLineIs80CharactersOrTheWholeText) {
    const std::string user(31, 'U'), name(31, 'T');
    sample::UserDef def;
    def.name = user;
    const uint32_t uid = db_->add_user(def);
    sample::TableDef wide = table(name, {sample::number_column("ID")});
    wide.owner = uid;
    db_->add_table(wide);
    wide.name = std::string(27, 'T');
    db_->add_table(wide);
    add_numbers("T", 1);
    finish();
    ASSERT_EQ(progress("T", 1).find("         1 rows"), 80U);
    EXPECT_EQ(run({"unload table scott.t"}).err, progress("T", 1));
    EXPECT_EQ(run({"unload user " + user}).err,
              progress(name, 0, user) + progress(std::string(27, 'T'), 0, user));
}

TEST_F(UnloadCommand, DumpFileReplacesAnOldOneWithMode644) {
    add_numbers("T", 1);
    finish();
    write_file(dump_path("SCOTT_T"), bytes(100000, 0x77));
    set_file_mode(dump_path("SCOTT_T"), 0600);
    run({"unload table scott.t"});
    EXPECT_EQ(read_dump(dump_path("SCOTT_T")).section("T").rows.size(), 1U);
    remove(dump_path("SCOTT_T").c_str());
    run({"unload table scott.t"});
    EXPECT_EQ(file_mode(dump_path("SCOTT_T")) & 0777, 0644U & ~0022U);
}

TEST_F(UnloadCommand, DumpFileThatCannotBeCreated) {
    add_numbers("T", 1);
    finish();
    dir_.make_dir("db/data/SCOTT_T.dat");
    dir_.make_dir("db/data/SCOTT.dat");
    expect_refused("unload table scott.t", "open " + dump_path("SCOTT_T") + ": Is a directory\n");
    expect_refused("unload user scott", "open " + dump_path("SCOTT") + ": Is a directory\n");
}

TEST_F(UnloadCommand, NameWithASlashIsRefused) {
    add_numbers("A/B", 1);
    sample::UserDef def;
    def.name = "../X";
    sample::TableDef other = table("T", {sample::number_column("ID")});
    other.owner = db_->add_user(def);
    db_->add_table(other);
    finish();
    dir_.make_dir("db/data/SCOTT_A");
    expect_refused("unload table scott.a/b",
                   "open " + dump_path("SCOTT_A/B") + ": No such file or directory\n");
    expect_refused("unload user ../x", "open " + dump_path("../X") + ": No such file or directory\n");
    EXPECT_FALSE(file_exists(dump_path("SCOTT_A/B")));
    // Among the tables of a user the name makes no file.
    EXPECT_EQ(run({"unload user scott"}).err, progress("A/B", 1));
}

TEST_F(UnloadCommand, NoMemoryForTheTableDirectory) {
    for (char a = 'A'; a < 'A' + 20; a++)
        for (char b = '0'; b <= '9'; b++)
            add_numbers({a, b}, 0);
    finish();
    // 200 tables take 11264 bytes of directory. The allocations of that size or more that the load makes are
    // counted first; the next one is the directory.
    run_options count;
    count.io_rules = "call=malloc,min=11264";
    count.io_log = dir_.file("log");
    run({}, count);
    const std::string log = read_text(count.io_log);
    const size_t before = std::stoul(log.substr(log.find("calls=") + 6));
    run_options options;
    options.io_rules = "call=malloc,min=11264,nth=" + std::to_string(before + 1) + ",errno=ENOMEM";
    const unload_output got = run({"unload user scott"}, options);
    EXPECT_EQ(got.err, "allocate memory (11264 bytes) error: Cannot allocate memory\n" + COMMAND_FAILED);
    EXPECT_FALSE(file_exists(dump_path("SCOTT")));
}

} // namespace
