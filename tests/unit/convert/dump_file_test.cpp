#include <gtest/gtest.h>

#include "convert/dump_file.h"
#include "dump_writer.h"
#include "scratch_dir.h"
#include "values/errors.h"

using namespace vexlo_test;

namespace {

class DumpFileTest : public testing::Test {
protected:
    vexlo::DumpFile open(const Bytes &bytes) {
        write_text(dir_ / "a.dat", bytes);
        return vexlo::DumpFile(dir_ / "a.dat");
    }

    vexlo::DumpFile salvage(const Bytes &bytes);

    scratch_dir dir_;
};

DumpTable table(const std::string &name) {
    return {.name = name, .columns = {{"ID", 2, 22}, {"NAME", 1, 10, true}}, .rows = {row({value("\x80")})}};
}

TEST_F(DumpFileTest, HeaderAndColumns) {
    Dump dump;
    dump.tables = {table("EMP")};
    const vexlo::DumpFile file = open(dump_bytes(dump));
    EXPECT_EQ(file.owner(), "SCOTT");
    EXPECT_EQ(file.charset(), "AL32UTF8");
    EXPECT_EQ(file.ncharset(), "AL16UTF16");
    EXPECT_EQ(file.dbtimezone(), "00:00");
    ASSERT_EQ(file.tables().size(), 1U);
    const vexlo::TableInfo &info = file.tables()[0];
    EXPECT_EQ(info.offset, 1536U);
    EXPECT_EQ(info.rows_at, 1536U + 2 * 48);
    EXPECT_EQ(info.end, file.size());
    ASSERT_EQ(info.columns.size(), 2U);
    EXPECT_EQ(info.columns[1].name, "NAME");
    EXPECT_TRUE(info.columns[1].national);
    EXPECT_EQ(info.columns[1].clen, 10U);
    EXPECT_EQ(info.fault, "");
}

TEST_F(DumpFileTest, TenTablesNeedALargerDirectory) {
    Dump dump;
    for (int i = 0; i < 10; ++i)
        dump.tables.push_back(table("T" + std::to_string(i)));
    const vexlo::DumpFile file = open(dump_bytes(dump));
    EXPECT_EQ(file.tables()[0].offset, 2048U);
    EXPECT_EQ(file.tables()[3].end, file.tables()[4].offset);
}

TEST_F(DumpFileTest, NameOfFullWidthHasNoNul) {
    Dump dump;
    dump.tables = {table(std::string(32, 'X'))};
    EXPECT_EQ(open(dump_bytes(dump)).tables()[0].name, std::string(32, 'X'));
}

TEST_F(DumpFileTest, TableWithoutDataHasTheOffsetOfTheNext) {
    Dump dump;
    dump.tables = {table("A"), table("FAILED"), table("B")};
    dump.tables[1].without_data = true;
    const vexlo::DumpFile file = open(dump_bytes(dump));
    EXPECT_NE(file.tables()[1].fault, "");
    EXPECT_EQ(file.tables()[0].fault, "");
    EXPECT_EQ(file.tables()[2].fault, "");
    EXPECT_EQ(file.tables()[2].columns.size(), 2U);
}

TEST_F(DumpFileTest, OffsetsOutsideTheDataAreFaults) {
    Dump dump;
    dump.tables = {table("A"), table("B"), table("C")};
    dump.tables[0].offset = 100;
    dump.tables[1].offset = ~uint64_t{0};
    const vexlo::DumpFile file = open(dump_bytes(dump));
    EXPECT_NE(file.tables()[0].fault, "");
    EXPECT_NE(file.tables()[1].fault, "");
    EXPECT_EQ(file.tables()[2].fault, "");
}

TEST_F(DumpFileTest, ColumnCountIsComparedWithTheData) {
    Dump dump;
    dump.tables = {table("A"), table("B")};
    dump.tables[0].ncol = 0xFFFFFFFF;
    dump.tables[1].ncol = 0;
    const vexlo::DumpFile file = open(dump_bytes(dump));
    EXPECT_NE(file.tables()[0].fault, "");
    EXPECT_NE(file.tables()[1].fault, "");
}

TEST_F(DumpFileTest, TableCountIsComparedWithTheFile) {
    Dump dump;
    dump.tables = {table("A")};
    dump.tab_cnt = 0xFFFFFFFF;
    const vexlo::DumpFile file = open(dump_bytes(dump));
    EXPECT_EQ(file.faults().size(), 1U);
}

// Behind the first section there is no directory, however large the file: nothing of it is taken for entries.
TEST_F(DumpFileTest, DirectoryEndsBeforeTheFirstSection) {
    Dump dump;
    dump.tables = {table("A"), table("B")};
    dump.tables[1].rows = std::vector<Bytes>(1000, row({value(Bytes(100, 'x'))}));
    dump.tab_cnt = 0xFFFFFFFF;
    const vexlo::DumpFile file = open(dump_bytes(dump));
    ASSERT_EQ(file.tables().size(), 2U);
    EXPECT_EQ(file.tables()[0].fault, "");
    EXPECT_EQ(file.tables()[1].fault, "");
    EXPECT_EQ(file.faults(),
              std::vector<std::string>{"header says 4294967295 tables, the directory names 2"});
}

// A dump of tables with 25 rows, or as many as given.
Dump dump_of_tables(int tables, int rows = 25) {
    Dump dump;
    for (int t = 0; t < tables; ++t) {
        DumpTable made{.name = "T" + std::to_string(t), .columns = {{"ID", 2, 22}, {"NAME", 1, 30}}};
        for (int i = 0; i < rows; ++i)
            made.rows.push_back(row({value(ora_number(std::to_string(i))), value("SMITH")}));
        dump.tables.push_back(made);
    }
    return dump;
}

vexlo::DumpFile DumpFileTest::salvage(const Bytes &bytes) {
    static const vexlo::Salvage how{};
    write_text(dir_ / "a.dat", bytes);
    return vexlo::DumpFile(dir_ / "a.dat", &how);
}

std::vector<std::string> names_of(const vexlo::DumpFile &file) {
    std::vector<std::string> names;
    for (const vexlo::TableInfo &info : file.tables())
        names.push_back(info.fault.empty() ? info.name : info.name + ": " + info.fault);
    return names;
}

// A record without a name that leads to no column list is none: one line tells of all of them.
TEST_F(DumpFileTest, RecordsThatNameNoTableAreNone) {
    Bytes bytes = dump_bytes(dump_of_tables(3));
    bytes.replace(1024 + 56, 56, Bytes(56, '\0'));
    const vexlo::DumpFile file = open(bytes);
    EXPECT_EQ(names_of(file), (std::vector<std::string>{"T0", "T2"}));
    EXPECT_EQ(file.faults(), std::vector<std::string>{"header says 3 tables, the directory names 2"});
}

TEST_F(DumpFileTest, OffsetThatLeadsToNoColumnListIsTold) {
    Bytes bytes = dump_bytes(dump_of_tables(2));
    bytes[1024 + 22] = '\x06';
    bytes[1024 + 23] = '\x70'; // inside the rows of the first table
    EXPECT_EQ(names_of(open(bytes)),
              (std::vector<std::string>{"T0: no column list stands at offset 1648", "T1"}));
}

TEST_F(DumpFileTest, ColumnNamesAreOfAnyCharacters) {
    for (const Bytes &name : {Bytes("a\nb"), Bytes("\t"), Bytes(" x"), Bytes()}) {
        Dump dump;
        dump.tables = {{.name = "T", .columns = {{name, 1, 40}}, .rows = {row({value("x")})}}};
        const vexlo::DumpFile file = open(dump_bytes(dump));
        EXPECT_EQ(file.tables()[0].fault, "");
        ASSERT_EQ(file.tables()[0].columns.size(), 1U);
        EXPECT_EQ(file.tables()[0].columns[0].name, name);
    }
}

TEST_F(DumpFileTest, SalvageFindsWhatADamagedRecordHides) {
    const Bytes sound = dump_bytes(dump_of_tables(3));
    for (const size_t record : {0U, 1U, 2U})
        for (const char columns : {'\0', '\x03', '\x7F'}) {
            Bytes bytes = sound;
            bytes[1024 + record * 56 + 7] = columns;
            const vexlo::DumpFile file = salvage(bytes);
            EXPECT_EQ(names_of(file), (std::vector<std::string>{"T0", "T1", "T2"})) << record;
            EXPECT_EQ(file.tables()[record].columns.size(), 2U) << record;
            EXPECT_EQ(file.tables()[record].nrows, 25U);
        }
}

TEST_F(DumpFileTest, SalvageFindsATableWhoseOffsetIsDamaged) {
    Bytes bytes = dump_bytes(dump_of_tables(3));
    bytes[1024 + 56 + 23] = static_cast<char>(bytes[1024 + 56 + 23] ^ 0x10);
    const vexlo::DumpFile file = salvage(bytes);
    ASSERT_EQ(file.tables().size(), 3U);
    EXPECT_EQ(file.tables()[0].name, "T0");
    EXPECT_EQ(file.tables()[1].columns[1].name, "NAME");
    EXPECT_EQ(file.tables()[2].name, "T2");
    ASSERT_EQ(file.faults().size(), 2U);
    EXPECT_NE(file.faults()[1].find("table \"T1\" of the directory is not where it says"), std::string::npos);
}

// Its records, of tables of 8 rows, could be entries of columns: the lists are looked for behind them alone.
TEST_F(DumpFileTest, DirectoryNamesTablesOfADumpWithoutHeader) {
    const Bytes sound = dump_bytes(dump_of_tables(20, 8));
    Bytes bytes = sound;
    bytes.replace(0, 1024, Bytes(1024, '\0'));
    const vexlo::DumpFile file = salvage(bytes);
    EXPECT_EQ(names_of(file), names_of(open(sound)));
    EXPECT_EQ(file.tables()[19].nrows, 8U);
}

TEST_F(DumpFileTest, ColumnOfAnUnknownTypeDoesNotSplitAFoundList) {
    for (const size_t place : {0U, 1U, 2U}) {
        Dump dump;
        dump.tables = {{.name = "A", .columns = {{"ID", 2, 22}}, .rows = {row({value("\x80")})}},
                       {.name = "B", .columns = {{"A", 2, 22}, {"B", 12, 7}, {"C", 2, 22}}}};
        dump.tables[1].columns[place] = {"X", 58, 2000};
        Bytes bytes = dump_bytes(dump);
        bytes.replace(0, 1536, Bytes(1536, '\0'));
        const vexlo::DumpFile file = salvage(bytes);
        ASSERT_EQ(file.tables().size(), 2U) << place;
        ASSERT_EQ(file.tables()[1].columns.size(), 3U) << place;
        EXPECT_EQ(file.tables()[1].columns[place].ctyp, 58U);
        EXPECT_EQ(file.tables()[1].columns[place].name, "X");
        EXPECT_EQ(file.faults().size(), 1U);
    }
}

// Wherever it lies between zeros and other bytes: the file is looked through in parts.
TEST_F(DumpFileTest, SalvageFindsAListAtAnyPlace) {
    constexpr size_t PART = 1 << 20;
    Dump dump;
    dump.tables = {{.name = "T", .columns = {{"A", 2, 22}, {"B", 1, 20, true}}}};
    const Bytes list = dump_bytes(dump).substr(1536);
    for (const char filling : {'\0', 'x'})
        for (const size_t place : {PART - 1537, PART - 1536, PART - 30, PART - 9, PART - 1, PART, PART + 7}) {
            const Bytes before = Bytes(place - 1, filling) + '\x7F';
            const vexlo::DumpFile file = salvage(Bytes(1536, '\0') + before + list + Bytes(1000, filling));
            ASSERT_EQ(file.tables().size(), 1U) << place;
            EXPECT_EQ(file.tables()[0].offset, 1536 + place);
            EXPECT_EQ(file.tables()[0].columns[1].name, "B");
            EXPECT_TRUE(file.tables()[0].columns[1].national);
        }
}

// A dump whose header, directory or both are damaged is read by its column lists.
TEST_F(DumpFileTest, SalvageFindsTablesByTheirColumnLists) {
    Dump dump;
    dump.tables = {table("EMP"), table("DEPT")};
    dump.tables[1].columns[0].name = "DEPTNO";
    const Bytes sound = dump_bytes(dump);
    const vexlo::Salvage salvage{};
    Bytes no_magic = sound, no_header = sound, nothing = sound;
    no_magic[0] = static_cast<char>(no_magic[0] ^ 0x20);
    no_header.replace(0, 324, Bytes(324, '\0'));
    nothing.replace(0, 1536, Bytes(1536, '\0'));
    for (const Bytes &damaged : {no_magic, no_header, nothing}) {
        EXPECT_THROW(open(damaged), vexlo::NoDumpError);
        const vexlo::DumpFile file(dir_ / "a.dat", &salvage);
        ASSERT_EQ(file.tables().size(), 2U);
        EXPECT_EQ(file.tables()[0].offset, 1536U);
        EXPECT_EQ(file.tables()[0].end, file.tables()[1].offset);
        EXPECT_EQ(file.tables()[1].columns[0].name, "DEPTNO");
        EXPECT_EQ(file.tables()[1].end, file.size());
        EXPECT_EQ(file.faults().size(), 1U);
    }
    const vexlo::DumpFile nameless(dir_ / "a.dat", &salvage);
    EXPECT_EQ(nameless.tables()[0].name, "TABLE_1");
    EXPECT_FALSE(nameless.tables()[0].counted);
    write_text(dir_ / "a.dat", no_magic);
    EXPECT_EQ(vexlo::DumpFile(dir_ / "a.dat", &salvage).tables()[0].name, "EMP");
}

// Two tables of four columns, each with rows.
Dump dump_of_four_columns() {
    Dump dump;
    for (const char *name : {"EMP", "DEPT"}) {
        DumpTable made{.name = name,
                       .columns = {{"ID", 2, 22}, {"NAME", 1, 10}, {"BORN", 12, 7}, {"N", 2, 22}}};
        for (int i = 0; i < 25; ++i)
            made.rows.push_back(row({value(ora_number(std::to_string(i))), value("SMITH"),
                                     value(ora_date(2000, 1, 1 + i)), value(ora_number("7"))}));
        dump.tables.push_back(made);
    }
    return dump;
}

// Entries of a list may be damaged, wherever they stand in it: they belong to it all the same, with what can
// be had of them, and the rows are read as if nothing was wrong.
TEST_F(DumpFileTest, SalvageMakesUpForDamagedColumnEntries) {
    const Bytes sound = dump_bytes(dump_of_four_columns());
    const vexlo::DumpFile whole = open(sound);
    const vexlo::Salvage salvage{};
    for (const size_t table : {0U, 1U})
        for (const size_t column : {0U, 1U, 2U, 3U}) {
            Bytes damaged = sound;
            damaged.replace(0, 1536, Bytes(1536, '\0'));
            damaged.replace(whole.tables()[table].offset + column * 48, 48, Bytes(48, '\x01'));
            write_text(dir_ / "a.dat", damaged);
            const vexlo::DumpFile file(dir_ / "a.dat", &salvage);
            ASSERT_EQ(file.tables().size(), 2U) << table << " " << column;
            const vexlo::TableInfo &info = file.tables()[table];
            EXPECT_EQ(info.offset, whole.tables()[table].offset);
            EXPECT_EQ(info.rows_at, whole.tables()[table].rows_at);
            EXPECT_EQ(info.end, whole.tables()[table].end);
            ASSERT_EQ(info.columns.size(), 4U);
            for (size_t i = 0; i < 4; ++i) {
                EXPECT_EQ(info.columns[i].ctyp, whole.tables()[table].columns[i].ctyp) << column << " " << i;
                EXPECT_EQ(info.columns[i].name, i == column ? "" : whole.tables()[table].columns[i].name);
            }
            EXPECT_EQ(
                file.faults(),
                (std::vector<std::string>{
                    "header or directory is damaged; 2 tables found by their column lists",
                    "table \"TABLE_" + std::to_string(table + 1) +
                        "\": 1 entries of its column list are damaged, their types follow from the values"}));
        }
}

// Zeros in place of the last entries look like rows without entries, and a LONG has nothing in its row.
TEST_F(DumpFileTest, SalvageMakesUpForDamagedLastEntries) {
    DumpTable table{.name = "T", .columns = {{"ID", 2, 22}, {"AT", 180, 11}, {"N", 2, 22}, {"NOTE", 8, 0}}};
    for (int i = 0; i < 25; ++i)
        table.rows.push_back(
            row({value(ora_number(std::to_string(i))), value(ora_timestamp(ora_date(2000, 1, 1 + i), 5)),
                 value(ora_number("-7.5")), long_mark()}) +
            long_block({"note"}));
    Dump dump;
    dump.tables = {table};
    const Bytes sound = dump_bytes(dump);
    const vexlo::Salvage salvage{};
    for (const char filling : {'\0', '\x01', 'A', '\xFF'})
        for (const size_t damaged : {1U, 2U, 3U}) {
            Bytes bytes = sound;
            bytes.replace(0, 1536, Bytes(1536, '\0'));
            bytes.replace(1536 + (4 - damaged) * 48, damaged * 48, Bytes(damaged * 48, filling));
            write_text(dir_ / "a.dat", bytes);
            const vexlo::DumpFile file(dir_ / "a.dat", &salvage);
            ASSERT_EQ(file.tables().size(), 1U);
            const vexlo::TableInfo &info = file.tables()[0];
            ASSERT_EQ(info.columns.size(), 4U) << damaged;
            for (size_t i = 0; i < 4; ++i)
                EXPECT_EQ(info.columns[i].ctyp, table.columns[i].ctyp) << damaged << " " << i;
            EXPECT_TRUE(info.entry_columns.empty());
            EXPECT_TRUE(info.has_long);
        }
}

TEST_F(DumpFileTest, SalvageFindsTheEndOfAListWithoutRows) {
    Dump dump;
    dump.tables = {{.name = "EMPTY", .columns = {{"ID", 2, 22}, {"N", 2, 22}}}, table("EMP")};
    Bytes bytes = dump_bytes(dump);
    bytes.replace(0, 1536, Bytes(1536, '\0'));
    bytes.replace(1536 + 48, 48, Bytes(48, '\x01'));
    write_text(dir_ / "a.dat", bytes);
    const vexlo::Salvage salvage{};
    const vexlo::DumpFile file(dir_ / "a.dat", &salvage);
    ASSERT_EQ(file.tables().size(), 2U);
    EXPECT_EQ(file.tables()[0].columns.size(), 2U);
    EXPECT_EQ(file.tables()[0].rows_at, 1536U + 96);
}

// Rows that have an entry of no column, and those that end before the last, begin behind a sound list all
// the same.
TEST_F(DumpFileTest, SalvageTakesNoRowsForTheEndOfAList) {
    Dump dump = dump_of_four_columns();
    for (Bytes &r : dump.tables[0].rows)
        r = row({value(ora_number("1")), value("SMITH"), value("hidden"), value(ora_date(2000, 1, 1))});
    for (Bytes &r : dump.tables[1].rows)
        r = row({});
    Bytes bytes = dump_bytes(dump);
    const vexlo::DumpFile whole = open(bytes);
    bytes.replace(0, 1536, Bytes(1536, '\0'));
    write_text(dir_ / "a.dat", bytes);
    const vexlo::Salvage salvage{};
    const vexlo::DumpFile file(dir_ / "a.dat", &salvage);
    ASSERT_EQ(file.tables().size(), 2U);
    for (const size_t i : {0U, 1U})
        EXPECT_EQ(file.tables()[i].rows_at, whole.tables()[i].rows_at) << i;
}

TEST_F(DumpFileTest, SalvageKeepsTheNameOfATableWhoseListIsDamaged) {
    Bytes damaged = dump_bytes(dump_of_four_columns());
    damaged[0] = 'V';
    damaged.replace(1536, 48, Bytes(48, '\x01'));
    write_text(dir_ / "a.dat", damaged);
    const vexlo::Salvage salvage{};
    const vexlo::DumpFile file(dir_ / "a.dat", &salvage);
    ASSERT_EQ(file.tables().size(), 2U);
    EXPECT_EQ(file.tables()[0].name, "EMP");
    EXPECT_EQ(file.tables()[0].nrows, 25U);
    EXPECT_TRUE(file.tables()[0].counted);
    EXPECT_EQ(file.tables()[1].name, "DEPT");
}

// A table whose end mark is followed by the list of the next is no damaged entry, whatever its size.
TEST_F(DumpFileTest, SalvageTakesNoRowsForColumnEntries) {
    for (size_t size = 40; size < 60; ++size) {
        Dump dump;
        dump.tables = {{.name = "A", .columns = {{"ID", 1, 200}}, .rows = {row({value(Bytes(size, 'x'))})}},
                       {.name = "B", .columns = {{"ID", 1, 200}}, .rows = {row({value("y")})}}};
        Bytes bytes = dump_bytes(dump);
        bytes.replace(0, 1536, Bytes(1536, '\0'));
        write_text(dir_ / "a.dat", bytes);
        const vexlo::Salvage salvage{};
        const vexlo::DumpFile file(dir_ / "a.dat", &salvage);
        ASSERT_EQ(file.tables().size(), 2U) << size;
        EXPECT_EQ(file.tables()[1].columns.size(), 1U) << size;
        EXPECT_EQ(file.faults().size(), 1U) << size;
    }
}

TEST_F(DumpFileTest, SalvageChangesNothingOfASoundDump) {
    Dump dump;
    dump.tables = {table("EMP")};
    write_text(dir_ / "a.dat", dump_bytes(dump));
    const vexlo::Salvage salvage{};
    const vexlo::DumpFile file(dir_ / "a.dat", &salvage);
    EXPECT_EQ(file.tables()[0].name, "EMP");
    EXPECT_TRUE(file.faults().empty());
}

TEST_F(DumpFileTest, DictionaryNamesSalvagedTables) {
    const auto le32 = [](uint32_t n) { return Bytes(reinterpret_cast<const char *>(&n), sizeof n); };
    const auto name = [](Bytes text) { return text.resize(32, '\0'), text; };
    const auto column = [&](uint32_t flag, const char *text, uint32_t ctyp, uint32_t clen) {
        return le32(flag) + le32(77) + le32(1) + le32(1) + le32(ctyp) + le32(clen) + name(text);
    };
    write_text(dir_ / "user.dat", le32(5) + le32(0) + le32(0) + le32(0) + name("SCOTT"));
    write_text(dir_ / "obj.dat", le32(0) + le32(77) + le32(5) + le32(2) + name("EMP"));
    write_text(dir_ / "col.dat",
               column(0, "ID", 2, 22) + column(1, "HIDDEN", 2, 22) + column(0x1000, "NAME", 1, 10));
    Bytes value = name("WE8ISO8859P1");
    value.resize(128, '\0');
    write_text(dir_ / "props.dat", name("NLS_CHARACTERSET") + value);
    Dump dump;
    dump.tables = {table("EMP")};
    Bytes bytes = dump_bytes(dump);
    bytes.replace(0, 1536, Bytes(1536, '\0'));
    write_text(dir_ / "a.dat", bytes);
    vexlo::Salvage salvage;
    salvage.dictionary.emplace(dir_.path());
    const vexlo::DumpFile file(dir_ / "a.dat", &salvage);
    ASSERT_EQ(file.tables().size(), 1U);
    EXPECT_EQ(file.tables()[0].name, "EMP");
    EXPECT_EQ(file.owner(), "SCOTT");
    EXPECT_EQ(file.charset(), "WE8ISO8859P1");
    EXPECT_THROW(vexlo::Dictionary(dir_ / "none"), vexlo::InputError);
}

TEST_F(DumpFileTest, WhatIsNoDumpIsRefused) {
    EXPECT_THROW(open(""), vexlo::InputError);
    EXPECT_THROW(open("vexl"), vexlo::InputError);
    EXPECT_THROW(open(Bytes(4096, '\0')), vexlo::InputError);
    EXPECT_THROW(open(dump_bytes({}).substr(0, 323)), vexlo::InputError);
    EXPECT_THROW(vexlo::DumpFile(dir_ / "missing"), vexlo::InputError);
    EXPECT_THROW(vexlo::DumpFile(dir_.path()), vexlo::InputError);
}

} // namespace
