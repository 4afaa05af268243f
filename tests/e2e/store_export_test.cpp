// The dictionary files as an export of a whole database writes and sorts them, and every state that a failed
// export leaves.
#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>

#include <gtest/gtest.h>

#include "console_texts.h"
#include "sample/database.h"
#include "store_fixture.h"

namespace vexlo_test {
namespace {

const std::string EXPORT_FAILED = "Command \"export\" execute error.\n";

const std::vector<std::string> dictionary_names{"user",    "ts",         "obj",        "tab",
                                                "cluster", "col",        "ind",        "lob",
                                                "tabpart", "tabsubpart", "tabcompart", "props"};
const std::vector<std::string> sorted_names{"user", "ts",  "obj",     "tab",        "col",
                                            "ind",  "lob", "tabpart", "tabsubpart", "tabcompart"};

// A database of SCOTT's in which every dictionary table has rows.
class exported_database {
public:
    explicit exported_database(sample::DictionaryHook hook = {}) {
        sample::DatabaseOptions options;
        options.dictionary_hook = std::move(hook);
        sample::Database db(dir_.path(), options);
        const std::uint32_t scott = db.add_user(user("SCOTT"));
        db.add_table(definition(scott, "EMP"));

        sample::TableDef lobs = definition(scott, "PAPERS");
        lobs.columns.push_back(sample::typed_column("TEXT", 112, 4000));
        db.add_table(lobs);

        sample::TableDef parts = definition(scott, "SALES");
        parts.partitions = {partition("P1"), partition("P2")};
        db.add_table(parts);

        sample::TableDef composite = definition(scott, "COMPO");
        composite.partitions = {partition("C1")};
        composite.partitions[0].subpartitions = {sample::SubpartitionDef{"S1", {}},
                                                 sample::SubpartitionDef{"S2", {}}};
        db.add_table(composite);
        db.finish();
    }

    std::string dict_file(const std::string &name) const { return dir_.file("dict/" + name + ".dat"); }
    std::string dict_dir() const { return dir_.file("dict"); }
    bytes dump(const std::string &name) const { return read_file(dir_.file("data/" + name + ".dat")); }

    run_result run(const std::vector<std::string> &commands, const run_options &options = {}) const {
        return run_vexlo(dir_.path(), commands, options);
    }

    // What a successful export says.
    std::string export_lines() const { return split_console(run({"export dict"}).err).commands.at(0); }

    std::map<std::string, bytes> files() const {
        std::map<std::string, bytes> all;
        for (const std::string &name : dictionary_names)
            all[name] = read_file(dict_file(name));
        return all;
    }

private:
    static sample::UserDef user(const char *name) {
        sample::UserDef def;
        def.name = name;
        return def;
    }

    static sample::PartitionDef partition(const char *name) {
        sample::PartitionDef def;
        def.name = name;
        return def;
    }

    static sample::TableDef definition(std::uint32_t owner, const char *name) {
        sample::TableDef def;
        def.owner = owner;
        def.name = name;
        def.columns = {sample::number_column("ID"), sample::varchar2_column("NAME", 20)};
        return def;
    }

    scratch_dir dir_;
};

run_options rules(const std::string &text) {
    run_options options;
    options.io_rules = text;
    return options;
}

// `lines` up to the label of a step, and the label.
std::string up_to(const std::string &lines, const std::string &label) {
    const std::size_t at = lines.find(label);
    EXPECT_NE(at, std::string::npos) << label;
    return lines.substr(0, at) + label;
}

template <class Record, class Key>
void expect_sorted(const exported_database &db, Key key) {
    const std::vector<Record> records = read_dict<Record>(db.dict_dir());
    EXPECT_FALSE(records.empty());
    EXPECT_TRUE(std::is_sorted(records.begin(), records.end(),
                               [&](const Record &a, const Record &b) { return key(a) < key(b); }));
}

TEST(ExportedFiles, EveryFileButClusterAndPropsIsInKeyOrder) {
    const exported_database db;
    ASSERT_EQ(db.run({"export dict"}).status, 0);
    const auto by_parent = [](const auto &r) { return std::pair(r.objp, r.objn); };
    expect_sorted<dict_user>(db, [](const dict_user &r) { return r.uid; });
    expect_sorted<dict_ts>(db, [](const dict_ts &r) { return r.tsn; });
    expect_sorted<dict_obj>(db, [](const dict_obj &r) { return r.objn; });
    expect_sorted<dict_tab>(db, [](const dict_tab &r) { return r.objn; });
    expect_sorted<dict_col>(db, [](const dict_col &r) { return std::pair(r.objn, r.scid); });
    expect_sorted<dict_ind>(db, [](const dict_ind &r) { return r.objn; });
    expect_sorted<dict_lob>(db, [](const dict_lob &r) { return std::pair(r.objn, r.cid); });
    expect_sorted<dict_tabpart>(db, by_parent);
    expect_sorted<dict_tabsubpart>(db, by_parent);
    expect_sorted<dict_tabcompart>(db, by_parent);
}

TEST(ExportedFiles, SecondExportTruncatesWhatStandsThere) {
    const exported_database db;
    const std::string lines = db.export_lines();
    const auto clean = db.files();
    for (const std::string &name : dictionary_names)
        write_file(db.dict_file(name), bytes(200000, 0xEE));
    expect_console(db.run({"export dict"}), "", {lines});
    EXPECT_TRUE(db.files() == clean);
}

TEST(ExportedFiles, InterruptedAndShortCallsChangeNothing) {
    const exported_database db;
    const std::string lines = db.export_lines();
    const auto clean = db.files();
    for (const char *rule :
         {"call=read|write,path=/dict/,nth=1+2,errno=EINTR", "call=read|write,path=/dict/,count=1000"}) {
        expect_console(db.run({"export dict"}, rules(rule)), "", {lines});
        EXPECT_TRUE(db.files() == clean) << rule;
    }
}

TEST(ExportedFiles, ObjectsOfAnotherOwnerDoNotHideAMissingTable) {
    // The last SYS name is taken away, and its object belongs to somebody else.
    const exported_database db([](std::string_view table, sample::Row &row, sample::RowPlacement &) {
        if (table == "OBJ$")
            for (sample::Value &value : row)
                if (value && *value == *sample::text("PROPS$"))
                    value = sample::text("PROPS$2");
        return true;
    });
    const std::string said = split_console(db.run({"export dict"}).err).commands.at(0);
    EXPECT_TRUE(
        said.ends_with(step_label("sort", "obj") + "table \"PROPS$\" obj# not found.\n" + EXPORT_FAILED))
        << said;
}

// ---- States ---------------------------------------------------------------------------------------------

const std::vector<std::string> listings{"list users",     "list tables",
                                        "list objects",   "list parts scott.sales",
                                        "desc scott.emp", "unload table scott.emp"};

const std::string NOTHING_LOADED_OUT = "User information not loaded.\nTable information not loaded.\n"
                                       "Object information not loaded.\n"
                                       "Table Partition information not loaded.\n"
                                       "Table column information not loaded.\n";
const std::vector<std::string> nothing_loaded_err{
    "",
    "",
    "",
    "",
    "Command \"desc\" execute error.\n",
    "user \"SCOTT\" not found.\nCommand \"unload\" execute error.\n"};

// `commands` and the listings behind them, with what standard error has for each.
void expect_listings(const exported_database &db, std::vector<std::string> commands,
                     std::vector<std::string> err, const std::string &out,
                     const std::vector<std::string> &listings_err, const run_options &options = {}) {
    commands.insert(commands.end(), listings.begin(), listings.end());
    err.insert(err.end(), listings_err.begin(), listings_err.end());
    expect_console(db.run(commands, options), out, err);
}

TEST(StateAfterExport, NothingIsLoaded) {
    const exported_database db;
    const std::string lines = db.export_lines();
    expect_listings(db, {"export dict"}, {lines}, NOTHING_LOADED_OUT, nothing_loaded_err);
}

TEST(StateAfterExport, ArraysOfAnEarlierLoadAreGone) {
    const exported_database db;
    const std::string lines = db.export_lines();
    const std::string load = split_console(db.run({"load dict"}).err).commands.at(0);
    expect_listings(db, {"load dict", "export dict"}, {load, lines}, NOTHING_LOADED_OUT, nothing_loaded_err);
    expect_listings(db, {"load dict", "export dict", "export dict"}, {load, lines, lines}, NOTHING_LOADED_OUT,
                    nothing_loaded_err);
}

// Says that the file of one step cannot be created in the export behind a load.
run_options failing_step(const std::string &name) {
    return rules("call=open,path=/" + name + ".dat,nth=2,errno=EACCES");
}

TEST(StateAfterFailedStep, CountOfTheStepBoundsListingsAndNotLookUpsByIndex) {
    // The step has set its count to 0 when it fails, and the arrays of the load are untouched.
    const exported_database db;
    db.run({"export dict"});
    const std::string tables = db.run({"load dict", "list tables"}).out;
    EXPECT_NE(tables.find("SALES"), std::string::npos);
    for (const char *name : {"user", "obj"})
        EXPECT_EQ(db.run({"load dict", "export dict", "list tables"}, failing_step(name)).out, tables)
            << name;
    EXPECT_EQ(db.run({"load dict", "export dict", "list users"}, failing_step("user")).out,
              "USER_ID     DEFAULT TS#     USER_NAME\n");
    EXPECT_EQ(db.run({"load dict", "export dict", "list objects"}, failing_step("obj")).out,
              "OWNER                           OBJECT_NAME                     TYPE\n");
}

TEST(StateAfterFailedStep, TablesOfAnEarlierLoadAreStillDescribedAndUnloaded) {
    const exported_database db;
    db.run({"export dict"});
    const run_result whole = db.run({"load dict", "desc sys.tab$", "unload table sys.tab$"});
    const bytes dump = db.dump("SYS_TAB$");
    EXPECT_FALSE(dump.empty());
    for (const char *name : {"obj", "col"}) {
        const run_result after = db.run(
            {"load dict", "export dict", "desc sys.tab$", "unload table sys.tab$"}, failing_step(name));
        EXPECT_EQ(after.out, whole.out) << name;
        EXPECT_EQ(split_console(after.err).commands.at(3), split_console(whole.err).commands.at(2)) << name;
        EXPECT_EQ(db.dump("SYS_TAB$"), dump) << name;
    }
}

TEST(StateAfterExport, MissingDictionaryDirectoryFailsTheFirstFile) {
    const exported_database db;
    const std::string failed =
        up_to(db.export_lines(), step_label("export", "user")) + "open " + db.dict_file("user") +
        ": No such file or directory\nwrite user dictionary data error.\nexport user$ error.\n" +
        EXPORT_FAILED;
    std::filesystem::remove_all(db.dict_dir());
    expect_listings(db, {"export dict", "export dict"}, {failed, failed}, NOTHING_LOADED_OUT,
                    nothing_loaded_err);
}

// A sort that cannot write its file back. An export opens each file three times: to write its records, to
// read them for the sort, and to write them back.
class StateAfterFailedSort : public testing::TestWithParam<std::string> {
protected:
    const exported_database db_;
    const std::string lines_ = db_.export_lines();
    const std::string stopped_ = up_to(lines_, step_label("sort", GetParam()));
};

INSTANTIATE_TEST_SUITE_P(File, StateAfterFailedSort, testing::ValuesIn(sorted_names),
                         [](const auto &test) { return test.param; });

TEST_P(StateAfterFailedSort, FileThatCannotBeOpenedForWritingKeepsItsSlotAndNoOther) {
    const std::string failed =
        stopped_ + "open " + db_.dict_file(GetParam()) + ": Permission denied\n" + EXPORT_FAILED;
    // The slot keeps pointing at the work buffer: what is missed is not its array but the users.
    const std::string no_users = "User information not loaded.\n";
    std::string tables = "Table information not loaded.\n", objects = "Object information not loaded.\n",
                parts = "Table Partition information not loaded.\n",
                columns = "Table column information not loaded.\n";
    std::vector<std::string> err = nothing_loaded_err;
    if (GetParam() == "tab")
        tables = NO_DICTIONARY;
    if (GetParam() == "obj")
        objects = NO_DICTIONARY;
    if (GetParam() == "tabpart") {
        parts = "";
        err[3] = NO_DICTIONARY;
    }
    if (GetParam() == "col") {
        columns = "";
        err[4].insert(0, NO_DICTIONARY);
    }
    std::vector<std::string> commands{"export dict", "export dict"};
    commands.insert(commands.end(), listings.begin(), listings.end());
    if (GetParam() == "user") { // not missed then
        commands.erase(commands.begin() + 2);
        err.erase(err.begin());
    }
    err.insert(err.begin(), {failed, failed});
    // Behind the third open of the first export come three of the second.
    const std::string open = "call=open,path=/" + GetParam() + ".dat,errno=EACCES,nth=";
    expect_console(db_.run(commands, rules(open + "3;" + open + "6")),
                   (GetParam() == "user" ? "" : no_users) + tables + objects + parts + columns, err);
}

TEST_P(StateAfterFailedSort, ListingsInAllStatesOfTwoLoadsAndAFailedExportEndWell) {
    std::vector<std::string> commands{"load dict", "export dict"};
    commands.insert(commands.end(), listings.begin(), listings.end());
    commands.push_back("load dict");
    commands.insert(commands.end(), listings.begin(), listings.end() - 1);
    const run_result result =
        db_.run(commands, rules("call=open,path=/" + GetParam() + ".dat,nth=4,errno=EACCES"));
    EXPECT_EQ(result.end, ending::exited) << result.describe();
    EXPECT_EQ(result.status, 0) << result.describe();
}

TEST_P(StateAfterFailedSort, FullDiskLeavesTheBytesWrittenSoFar) {
    const std::string path = db_.dict_file(GetParam());
    const bytes whole = read_file(path);
    ASSERT_GT(whole.size(), 20U);
    // The first write is the export's, the second the sort's first piece, the third fails.
    const std::string at = "call=write,path=/" + GetParam() + ".dat,nth=";
    const run_result result =
        db_.run({"export dict", "list users"}, rules(at + "2,count=20;" + at + "3,errno=ENOSPC"));
    ASSERT_EQ(result.end, ending::exited) << result.describe();
    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(split_console(result.err).commands.at(0),
              stopped_ + "write " + path + ": No space left on device\n" + EXPORT_FAILED);
    EXPECT_EQ(read_file(path), bytes(whole.begin(), whole.begin() + 20));
}

TEST_P(StateAfterFailedSort, UnreadableFileStopsTheExport) {
    const run_result result =
        db_.run({"export dict"}, rules("call=read,path=/" + GetParam() + ".dat,errno=EIO"));
    expect_console(
        result, "",
        {stopped_ + "read " + db_.dict_file(GetParam()) + ": Input/output error\n" + EXPORT_FAILED});
}

TEST_P(StateAfterFailedSort, NextExportAndLoadRepairEverything) {
    std::vector<std::string> clean{"load dict"},
        repaired{"load dict", "export dict", "export dict", "load dict"};
    clean.insert(clean.end(), listings.begin(), listings.end() - 1);
    repaired.insert(repaired.end(), listings.begin(), listings.end() - 1);
    const std::string expected = db_.run(clean).out;
    EXPECT_NE(expected, "");
    // A load opens each of its files once before the export does.
    const run_result result =
        db_.run(repaired, rules("call=open,path=/" + GetParam() + ".dat,nth=4,errno=EACCES"));
    ASSERT_EQ(result.end, ending::exited) << result.describe();
    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(result.out, expected);
    const console_text said = split_console(result.err);
    EXPECT_EQ(said.commands.at(1),
              stopped_ + "open " + db_.dict_file(GetParam()) + ": Permission denied\n" + EXPORT_FAILED);
    EXPECT_EQ(said.commands.at(2), lines_);
}

// A database whose dictionary lacks the row by which the sort of objects or of tables finds PROPS$.
class StateAfterFailedCheck : public testing::TestWithParam<std::string> {
protected:
    static constexpr std::uint32_t NO_OBJECT = 987654;

    // Object number of PROPS$ in a sound database.
    static std::uint32_t props_objn() {
        const exported_database db;
        db.run({"export dict"});
        for (const dict_obj &obj : read_dict<dict_obj>(db.dict_dir()))
            if (obj.name == "PROPS$" && obj.owner == 0)
                return obj.objn;
        return NO_OBJECT;
    }

    // Leaves out of OBJ$ the row that names PROPS$, or out of TAB$ the row that begins with its number.
    sample::DictionaryHook without_props() const {
        const bool objects = GetParam() == "obj";
        const sample::Value key = objects ? sample::text("PROPS$") : sample::number(props_objn());
        const std::string_view from = objects ? "OBJ$" : "TAB$";
        return [=](std::string_view table, sample::Row &row, sample::RowPlacement &) {
            return table != from || std::find(row.begin(), row.end(), key) == row.end();
        };
    }

    std::string failed() const {
        return GetParam() == "obj" ? "table \"PROPS$\" obj# not found.\n" : "\"PROPS$\" not found in tab$.\n";
    }
};

INSTANTIATE_TEST_SUITE_P(Sort, StateAfterFailedCheck, testing::Values("obj", "tab"),
                         [](const auto &test) { return test.param; });

TEST_P(StateAfterFailedCheck, EveryListingSaysThatTheDictionaryIsNotLoaded) {
    const exported_database db(without_props());
    const std::string said = split_console(db.run({"export dict"}).err).commands.at(0);
    EXPECT_TRUE(said.ends_with(step_label("sort", GetParam()) + failed() + EXPORT_FAILED)) << said;

    const bool objects = GetParam() == "obj";
    const std::string out = "User information not loaded.\n" +
                            (objects ? "Table information not loaded.\n" : NO_DICTIONARY) +
                            (objects ? NO_DICTIONARY : "Object information not loaded.\n") +
                            "Table Partition information not loaded.\n"
                            "Table column information not loaded.\n";
    expect_listings(db, {"export dict"}, {said}, out, nothing_loaded_err);
    expect_listings(db, {"export dict", "export dict"}, {said, said}, out, nothing_loaded_err);
}

TEST_P(StateAfterFailedCheck, ArraysBehindTheFailureStayFromAnEarlierLoad) {
    const exported_database db(without_props());
    const std::string said = split_console(db.run({"export dict"}).err).commands.at(0);
    console_home loaded_before; // sound files for the load that comes first
    const dictionary content = small_dictionary();
    loaded_before.store(content);
    for (const std::string &name : dictionary_names)
        if (file_exists(loaded_before.dict_file(name)))
            write_file(db.dict_file(name), read_file(loaded_before.dict_file(name)));

    const std::string objects =
        GetParam() == "obj" ? NO_DICTIONARY : std::string("Object information not loaded.\n");
    expect_listings(db, {"load dict", "export dict"}, {load_lines(content), said},
                    "User information not loaded.\n" + NO_DICTIONARY + objects,
                    {"", "", "", NO_DICTIONARY, NO_DICTIONARY + "Command \"desc\" execute error.\n",
                     "user \"SCOTT\" not found.\nCommand \"unload\" execute error.\n"});
}

TEST_P(StateAfterFailedCheck, LoadOfTheUnsortedFilesEndsAndExitStillGivesZero) {
    const exported_database db(without_props());
    std::vector<std::string> commands{"export dict", "load dict", "export dict", "load dict"};
    commands.insert(commands.end(), listings.begin(), listings.end());
    const run_result result = db.run(commands);
    EXPECT_EQ(result.end, ending::exited) << result.describe();
    EXPECT_EQ(result.status, 0) << result.describe();
}

} // namespace
} // namespace vexlo_test
