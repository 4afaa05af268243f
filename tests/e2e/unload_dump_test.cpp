// The dump file byte for byte: header, table directory, column lists, and what its writers do when a call is
// interrupted, short or fails.
#include "dump_reader.h"
#include "unload_fixture.h"

using namespace vexlo_test;
using sample::number_column;
using sample::varchar2_column;

namespace {

class UnloadDump : public unload_console {
protected:
    // Replaces the exported properties.
    void write_properties(const std::vector<std::pair<std::string, std::string>> &properties) {
        dump_builder raw;
        for (const auto &[name, value] : properties)
            raw.text(name, 32).text(value, 128);
        write_file(dict_path("props"), raw.raw);
    }

    dump_header header_with(const std::vector<std::pair<std::string, std::string>> &properties) {
        write_properties(properties);
        EXPECT_EQ(run({"unload table scott.t"}).err, progress("T", 1));
        return read_dump_header(dump("SCOTT_T"));
    }

    // A one-table file of T with its single row.
    static bytes whole_file() {
        dump_builder d;
        d.text("vexlo", 32).text("SCOTT", 32).text("AMERICAN_AMERICA.AL32UTF8", 128);
        d.text("AL16UTF16", 64).text("00:00", 64).u32(1).zeros(700);
        d.u32(0).u32(1).u32(0).u32(1).u32(0).u32(1536).text("T", 32).zeros(512 - 56);
        return d.column("ID", 2, 22).row({number_value(1)}).table_end().raw;
    }

    // Runs the unload of T under the rules; the path of every rule is that of the dump file.
    unload_output unload_under(const std::string &rules) {
        run_options options;
        options.io_rules = rules;
        return run({"unload table scott.t"}, options);
    }
};

TEST_F(UnloadDump, SingleTableFileByteForByte) {
    add_numbers("T", 1);
    finish();
    run({"unload table scott.t"});
    EXPECT_EQ(dump("SCOTT_T"), whole_file());
}

TEST_F(UnloadDump, TableWithoutRowsHasItsColumnListAndEnd) {
    db_->add_table(table("T", {number_column("ID"), varchar2_column("NAME", 300)}));
    finish();
    EXPECT_EQ(run({"unload table scott.t"}).err, progress("T", 0));
    EXPECT_EQ(data_area("SCOTT_T"),
              dump_builder().column("ID", 2, 22).column("NAME", 1, 300).table_end().raw);
}

TEST_F(UnloadDump, NineTablesTake512BytesOfDirectoryAndTen1024) {
    for (int i = 0; i < 9; i++)
        add_numbers("T" + std::to_string(i), i);
    sample::UserDef user;
    user.name = "HR";
    const uint32_t hr = db_->add_user(user);
    for (int i = 0; i < 10; i++) {
        sample::TableDef def = table("H" + std::to_string(i), {number_column("ID")});
        def.owner = hr;
        db_->add_table(def);
    }
    finish();
    run({"unload user scott", "unload user hr"});
    const dump_file nine = read_dump(dump_path("SCOTT")), ten = read_dump(dump_path("HR"));
    ASSERT_EQ(nine.tables.size(), 9U);
    ASSERT_EQ(ten.tables.size(), 10U);
    EXPECT_EQ(nine.tables[0].offset, 1536U);
    EXPECT_EQ(ten.tables[0].offset, 2048U);
    EXPECT_EQ(nine.header.owner, "SCOTT");
    EXPECT_EQ(ten.header.owner, "HR");
    for (unsigned i = 0; i < 9; i++) {
        EXPECT_EQ(nine.tables[i].name, "T" + std::to_string(i));
        EXPECT_EQ(nine.tables[i].nrows, i);
    }
}

// The flags of the directory cross over from the dictionary's: LONG is 0x1 and LOB 0x2.
TEST_F(UnloadDump, DirectoryFlagsAndLobCount) {
    using sample::typed_column;
    db_->add_table(table("L", {number_column("ID"), typed_column("DOC", 8, 0)}));
    db_->add_table(table("R", {number_column("ID"), typed_column("DOC", 24, 0)}));
    sample::ColumnDef hidden = typed_column("HIDDEN", 112, 4000);
    hidden.property = sample::COLUMN_HIDDEN;
    db_->add_table(table("B", {typed_column("A", 112, 4000), typed_column("B", 113, 4000), hidden}));
    db_->add_table(table("N", {number_column("ID")}));
    finish();
    run({"unload user scott"});
    const dump_file dump = read_dump(dump_path("SCOTT"));
    ASSERT_EQ(dump.tables.size(), 4U);
    const unsigned flags[] = {1, 1, 2, 0}, lobs[] = {0, 0, 2, 0}, columns[] = {2, 2, 2, 1};
    for (size_t i = 0; i < 4; i++) {
        EXPECT_EQ(dump.tables[i].flag, flags[i]) << i;
        EXPECT_EQ(dump.tables[i].nlob, lobs[i]) << i;
        EXPECT_EQ(dump.tables[i].ncol, columns[i]) << i;
    }
}

// The dictionary keeps one kind a table: of a partitioned one it does not say that it has LOB columns.
TEST_F(UnloadDump, PartitionedTableWithLobColumnsHasTheirCountWithoutTheFlag) {
    sample::TableDef def = table("P", {number_column("ID"), sample::typed_column("DOC", 112, 4000)});
    sample::PartitionDef part;
    part.name = "P1";
    def.partitions = {part};
    db_->insert(db_->add_table(def), {sample::number(1), {}});
    finish();
    EXPECT_EQ(run({"unload table scott.p"}).err, progress("P", 1));
    const dump_file dump = read_dump(dump_path("SCOTT_P"));
    EXPECT_EQ(dump.tables.at(0).flag, 0U);
    EXPECT_EQ(dump.tables.at(0).nlob, 1U);
}

TEST_F(UnloadDump, ColumnFlagTellsTheNationalCharacterSet) {
    sample::ColumnDef national = varchar2_column("N", 40);
    national.charset_form = 2;
    db_->add_table(table("T", {varchar2_column("V", 20), national}));
    finish();
    run({"unload table scott.t"});
    EXPECT_EQ(data_area("SCOTT_T"), dump_builder().column("V", 1, 20).column("N", 1, 40, 1).table_end().raw);
}

TEST_F(UnloadDump, HeaderTextsComeFromTheProperties) {
    add_numbers("T", 1);
    finish();
    dump_header head = header_with({{"NLS_CHARACTERSET", "C"},
                                    {"DBTIMEZONE", "+01:00"},
                                    {"NLS_TERRITORY", "T"},
                                    {"NLS_NCHAR_CHARACTERSET", "NC"},
                                    {"NLS_LANGUAGE", "LANG"}});
    EXPECT_EQ(head.nls_lang, "LANG_T.C");
    EXPECT_EQ(head.ncharset, "NC");
    EXPECT_EQ(head.dbtimezone, "LANG"); // the last property, whatever its name

    head = header_with({{"NLS_LANGUAGE", "L"}, {"NLS_CHARACTERSET", "C"}, {"X", "last"}});
    EXPECT_EQ(head.nls_lang, "L_.C");
    EXPECT_EQ(head.ncharset, "");
    EXPECT_EQ(head.dbtimezone, "last");

    head = header_with({});
    EXPECT_EQ(head.nls_lang, "_.");
    EXPECT_EQ(head.dbtimezone, "");

    // Names are compared whole.
    head = header_with({{"NLS_LANGUAGE2", "L"}, {"nls_territory", "T"}, {"NLS_CHARACTERSE", "C"}});
    EXPECT_EQ(head.nls_lang, "_.");
}

TEST_F(UnloadDump, LongPropertyValuesAreCutTo63Characters) {
    add_numbers("T", 1);
    finish();
    const std::string value(100, 'v');
    const dump_header head = header_with({{"NLS_NCHAR_CHARACTERSET", value}});
    EXPECT_EQ(head.ncharset, value.substr(0, 63));
    EXPECT_EQ(head.dbtimezone, value.substr(0, 63));
}

TEST_F(UnloadDump, NlsLangOfLongValuesIsCutTo127Characters) {
    add_numbers("T", 1);
    finish();
    const std::string language(60, 'l'), territory(60, 't'), charset(100, 'c');
    const dump_header head = header_with(
        {{"NLS_LANGUAGE", language}, {"NLS_TERRITORY", territory}, {"NLS_CHARACTERSET", charset}});
    EXPECT_EQ(head.nls_lang, language + "_" + territory + "." + std::string(5, 'c'));
}

TEST_F(UnloadDump, PropertyFilesOfMoreThanOneChunkAreReadToTheEnd) {
    add_numbers("T", 1);
    finish();
    constexpr size_t chunk = 8387520 / 160;
    bytes raw = dump_builder().text("NLS_LANGUAGE", 32).text("FIRST", 128).raw;
    raw.resize((chunk - 1) * 160);
    raw = dump_builder().bytes_of(raw).text("NLS_TERRITORY", 32).text("EDGE", 128).raw;
    raw = dump_builder().bytes_of(raw).text("NLS_CHARACTERSET", 32).text("BEHIND", 128).zeros(77).raw;
    write_file(dict_path("props"), raw);
    run_options options;
    options.io_rules = "call=read,path=props.dat,count=1000000";
    run({"unload table scott.t"}, options);
    const dump_header head = read_dump_header(dump("SCOTT_T"));
    EXPECT_EQ(head.nls_lang, "FIRST_EDGE.BEHIND");
    EXPECT_EQ(head.dbtimezone, "BEHIND");
}

TEST_F(UnloadDump, MissingPropertiesLeaveHeaderAndDirectoryZero) {
    add_numbers("T", 1);
    finish();
    remove(dict_path("props").c_str());
    EXPECT_EQ(run({"unload table scott.t"}).err, progress("T", 1) + "open " + dict_path("props") +
                                                     ": No such file or directory\n" + COMMAND_FAILED);
    bytes want = whole_file();
    std::fill(want.begin(), want.begin() + 1536, std::uint8_t{0});
    EXPECT_EQ(dump("SCOTT_T"), want);
}

TEST_F(UnloadDump, UnreadablePropertiesFailTheCommand) {
    add_numbers("T", 1);
    finish();
    EXPECT_EQ(unload_under("call=read,path=props.dat,errno=EIO").err,
              progress("T", 1) + "read " + dict_path("props") + ": Input/output error\n" + COMMAND_FAILED);
}

TEST_F(UnloadDump, InterruptedAndShortCallsAreContinued) {
    add_numbers("T", 1);
    finish();
    for (const char *rules :
         {"call=write|pwrite,path=SCOTT_T,nth=1+2,errno=EINTR", "call=write|pwrite,path=SCOTT_T,count=7",
          "call=read,path=props.dat,nth=1+2,errno=EINTR", "call=read,path=props.dat,count=13",
          "call=pread,path=users,nth=1+2,errno=EINTR", "call=pread,path=users,count=100"}) {
        EXPECT_EQ(unload_under(rules).err, progress("T", 1)) << rules;
        EXPECT_EQ(dump("SCOTT_T"), whole_file()) << rules;
    }
}

// Nothing of the table is tried when the place of header and directory cannot be written.
TEST_F(UnloadDump, FailedBlankEndsTheCommand) {
    add_numbers("T", 1);
    finish();
    for (const char *nth : {"1", "2"})
        EXPECT_EQ(unload_under("call=write,path=SCOTT_T,errno=ENOSPC,nth=" + std::string(nth)).err,
                  "write blank data error: No space left on device\n" + COMMAND_FAILED);
    EXPECT_EQ(dump("SCOTT_T").size(), 1024U);
}

TEST_F(UnloadDump, FailedRowsLeaveACompletedFile) {
    add_numbers("T", 1);
    finish();
    EXPECT_EQ(unload_under("call=pwrite,path=SCOTT_T,nth=1,errno=ENOSPC").err,
              progress("T", 1, "SCOTT",
                       "write cache data error: No space left on device\nunload segment error.\n"
                       "unload table \"T\" error.\n"));
    bytes want = whole_file();
    want.resize(1536);
    EXPECT_EQ(dump("SCOTT_T"), want);
}

// The end mark goes out with a write of its own.
TEST_F(UnloadDump, FailedEndMarkFailsTheTable) {
    add_numbers("T", 1);
    finish();
    EXPECT_EQ(
        unload_under("call=pwrite,path=SCOTT_T,nth=2,errno=EIO").err,
        progress("T", 1, "SCOTT", "write cache data error: Input/output error\nunload table \"T\" error.\n"));
    bytes want = whole_file();
    want.resize(want.size() - 2);
    EXPECT_EQ(dump("SCOTT_T"), want);
}

TEST_F(UnloadDump, FailedHeaderLeavesItZero) {
    add_numbers("T", 1);
    finish();
    EXPECT_EQ(unload_under("call=pwrite,path=SCOTT_T,nth=3,errno=EIO").err,
              progress("T", 1) + "write file header: Input/output error\n" + COMMAND_FAILED);
    bytes want = whole_file();
    std::fill(want.begin(), want.begin() + 1536, std::uint8_t{0});
    EXPECT_EQ(dump("SCOTT_T"), want);
}

TEST_F(UnloadDump, FailedDirectoryLeavesItZero) {
    add_numbers("T", 1);
    finish();
    EXPECT_EQ(unload_under("call=pwrite,path=SCOTT_T,nth=4,errno=EIO").err,
              progress("T", 1) + "write table information: Input/output error\n" + COMMAND_FAILED);
    bytes want = whole_file();
    std::fill(want.begin() + 1024, want.begin() + 1536, std::uint8_t{0});
    EXPECT_EQ(dump("SCOTT_T"), want);
}

} // namespace
