#include <random>
#include <set>

#include <gtest/gtest.h>

#include "convert/dump_reader.h"
#include "dump_writer.h"
#include "scratch_dir.h"

using namespace vexlo_test;

namespace {

const std::vector<DumpColumn> COLUMNS = {{"ID", 2, 22}, {"NAME", 1, 30}, {"BORN", 12, 7}};

Bytes person(int id, const std::string &name = "SMITH") {
    return row({value(ora_number(std::to_string(id))), value(name), value(ora_date(1980, 1, 2))});
}

// What came out of a table: the fields as text, "-" for NULL, and what was damaged.
struct Result {
    std::vector<std::vector<std::string>> rows;
    std::vector<vexlo::Damage> damage;
    bool ended_properly = false;

    std::vector<std::string> column(size_t index) const {
        std::vector<std::string> values;
        for (const auto &r : rows)
            values.push_back(r[index]);
        return values;
    }
};

class DumpReaderTest : public testing::Test {
protected:
    Result read_file_bytes(const Bytes &bytes, size_t table = 0, size_t window = vexlo::WINDOW_SIZE) {
        write_text(dir_ / "a.dat", bytes);
        const vexlo::DumpFile file(dir_ / "a.dat");
        const vexlo::TableInfo &info = file.tables()[table];
        vexlo::DumpReader reader(file, info, window);
        Result result;
        vexlo::Row r;
        while (reader.next(r)) {
            EXPECT_EQ(r.number, result.rows.size() + 1);
            result.rows.emplace_back();
            for (size_t i = 0; i < info.columns.size(); ++i)
                result.rows.back().push_back(text_of(r.fields[i]));
        }
        result.damage = reader.take_damage();
        result.ended_properly = reader.ended_properly();
        return result;
    }

    Result read(const DumpTable &table, size_t window = vexlo::WINDOW_SIZE) {
        Dump dump;
        dump.tables = {table};
        return read_file_bytes(dump_bytes(dump), 0, window);
    }

    static DumpTable people(const std::vector<Bytes> &rows) {
        return {.name = "PEOPLE", .columns = COLUMNS, .rows = rows};
    }

    static std::string text_of(const vexlo::Field &field) {
        if (field.kind == vexlo::FieldKind::null)
            return "-";
        if (field.kind == vexlo::FieldKind::lob)
            return "LOB";
        return {reinterpret_cast<const char *>(field.data), field.size};
    }

    scratch_dir dir_;
};

TEST_F(DumpReaderTest, RowsNullsAndMissingColumns) {
    const Result result = read(people({person(1), row({null(), value("X")}), row({}), person(4)}));
    ASSERT_EQ(result.rows.size(), 4U);
    EXPECT_EQ(result.rows[0][1], "SMITH");
    EXPECT_EQ(result.rows[1], (std::vector<std::string>{"-", "X", "-"}));
    EXPECT_EQ(result.rows[2], (std::vector<std::string>{"-", "-", "-"}));
    EXPECT_TRUE(result.damage.empty());
    EXPECT_TRUE(result.ended_properly);
}

TEST_F(DumpReaderTest, EmptyTable) {
    const Result result = read(people({}));
    EXPECT_TRUE(result.rows.empty());
    EXPECT_TRUE(result.ended_properly);
}

// Whatever the window's size, rows come out the same: they are longer and shorter than it, and on its edges.
TEST_F(DumpReaderTest, RowsLargerThanTheWindow) {
    std::vector<Bytes> rows;
    for (int i = 0; i < 60; ++i)
        rows.push_back(
            row({value(ora_number(std::to_string(i))), value(Bytes(static_cast<size_t>(1 + i * 100), 'n')),
                 value(ora_date(2000, 1, 1))}));
    DumpTable table = people(rows);
    table.columns[1].clen = 32767;
    const Result whole = read(table);
    ASSERT_EQ(whole.rows.size(), 60U);
    for (const size_t window : {1U, 2U, 3U, 17U, 64U, 1000U, 4096U})
        EXPECT_EQ(read(table, window).rows, whole.rows) << window;
}

TEST_F(DumpReaderTest, LongestValue) {
    DumpTable table{.name = "T", .columns = {{"A", 1, 0}, {"B", 2, 22}}};
    table.rows = {row({value(Bytes(0xFFFA, 'x')), value("\x80")})};
    const Result result = read(table, 100);
    ASSERT_EQ(result.rows.size(), 1U);
    EXPECT_EQ(result.rows[0][0].size(), 0xFFFAU);
    EXPECT_EQ(result.rows[0][1], "\x80");
}

TEST_F(DumpReaderTest, LongFollowsTheRow) {
    DumpTable table{.name = "T", .columns = {{"ID", 2, 22}, {"TEXT", 8, 0}}};
    const Bytes one = value(ora_number("1"));
    table.rows = {row({one, long_mark()}) + long_block({"short"}), row({one, null()}),
                  row({one, long_mark()}) + long_block({Bytes(32768, 'a'), Bytes(32768, 'b'), "c"}),
                  row({one}), row({one, long_mark()}) + long_block({Bytes(32768, 'd')})};
    for (const size_t window : {10U, 40000U, 1000000U}) {
        const Result result = read(table, window);
        EXPECT_EQ(result.column(1),
                  (std::vector<std::string>{"short", "-", Bytes(32768, 'a') + Bytes(32768, 'b') + "c", "-",
                                            Bytes(32768, 'd')}));
        EXPECT_TRUE(result.damage.empty());
        EXPECT_TRUE(result.ended_properly);
    }
}

TEST_F(DumpReaderTest, LongOfNoBytesIsNull) {
    DumpTable table{.name = "T", .columns = {{"ID", 2, 22}, {"TEXT", 8, 0}}};
    const Bytes empty = row({value("\x80"), long_mark()});
    table.rows = {empty, row({value("\x80"), null()}), empty + long_block({}), empty};
    const Result result = read(table);
    EXPECT_EQ(result.column(1), (std::vector<std::string>{"-", "-", "-", "-"}));
    EXPECT_TRUE(result.damage.empty());
    EXPECT_TRUE(result.ended_properly);
}

// What a file that ends behind the mark has lost cannot be told from a value of no bytes.
TEST_F(DumpReaderTest, LongThatIsCutOffIsNullAndTold) {
    DumpTable table{.name = "T", .columns = {{"ID", 2, 22}, {"TEXT", 8, 0}}, .end_mark = false};
    table.rows = {row({value("\x80"), long_mark()}), row({value("\x80"), long_mark()})};
    const Result result = read(table);
    EXPECT_EQ(result.column(1), (std::vector<std::string>{"-", "-"}));
    ASSERT_EQ(result.damage.size(), 1U);
    EXPECT_EQ(result.damage[0].row, 2U);
}

TEST_F(DumpReaderTest, LobEntries) {
    DumpTable table{.name = "T", .columns = {{"ID", 2, 22}, {"DOC", 112, 0}}};
    table.rows = {row({value("\x80"), lob()})};
    EXPECT_EQ(read(table).rows[0][1], "LOB");
}

TEST_F(DumpReaderTest, MissingEndMarkIsSeen) {
    DumpTable table = people({person(1), person(2)});
    table.end_mark = false;
    const Result result = read(table);
    EXPECT_EQ(result.rows.size(), 2U);
    EXPECT_TRUE(result.damage.empty());
    EXPECT_FALSE(result.ended_properly);
}

TEST_F(DumpReaderTest, SectionEndsWhereTheNextBegins) {
    Dump dump;
    dump.tables = {people({person(1)}), people({person(2), person(3)})};
    dump.tables[0].end_mark = false;
    const Bytes bytes = dump_bytes(dump);
    EXPECT_EQ(read_file_bytes(bytes, 0).rows.size(), 1U);
    EXPECT_EQ(read_file_bytes(bytes, 1).rows.size(), 2U);
}

TEST_F(DumpReaderTest, BytesBehindTheEndMarkAreTold) {
    Dump dump;
    dump.tables = {people({person(1)})};
    const Result result = read_file_bytes(dump_bytes(dump) + "rest");
    EXPECT_EQ(result.rows.size(), 1U);
    EXPECT_FALSE(result.ended_properly);
    ASSERT_EQ(result.damage.size(), 1U);
    EXPECT_NE(result.damage[0].text.find("4 bytes"), std::string::npos);
}

TEST_F(DumpReaderTest, EveryTruncationGivesTheWholeRowsBeforeIt) {
    Dump dump;
    dump.tables = {people({person(1), person(2), person(3)})};
    const Bytes bytes = dump_bytes(dump);
    const size_t rows_at = 1536 + 3 * 48, row_size = person(1).size();
    for (size_t size = rows_at; size < bytes.size(); ++size) {
        const Result result = read_file_bytes(bytes.substr(0, size));
        const size_t whole = (size - rows_at) / row_size;
        ASSERT_EQ(result.rows.size(), std::min<size_t>(whole, 3)) << size;
        ASSERT_FALSE(result.ended_properly);
        const bool between_rows = (size - rows_at) % row_size == 0;
        ASSERT_EQ(result.damage.empty(), between_rows) << size;
    }
}

// A value whose two length bytes were never written: its row reads as ended there. The row after it cannot be
// read as one, and reading goes on with the next that can.
TEST_F(DumpReaderTest, LostLengthCostsTheRestOfItsRowOnly) {
    std::vector<Bytes> rows;
    for (int i = 1; i <= 10; ++i)
        rows.push_back(person(i));
    rows[4] = row({value(ora_number("5")), Bytes(2, '\0') + "LOST VALUE", value(ora_date(1980, 1, 2))});
    const Result result = read(people(rows));
    ASSERT_EQ(result.rows.size(), 10U);
    EXPECT_EQ(result.rows[4], (std::vector<std::string>{ora_number("5"), "-", "-"}));
    EXPECT_EQ(result.rows[5][0], ora_number("6"));
    EXPECT_EQ(result.rows[9][0], ora_number("10"));
    ASSERT_EQ(result.damage.size(), 1U);
    EXPECT_EQ(result.damage[0].row, 6U);
    EXPECT_NE(result.damage[0].text.find("row before it"), std::string::npos);
    EXPECT_TRUE(result.ended_properly);
}

TEST_F(DumpReaderTest, LineNamesTheColumnWhoseLengthWasNeverWritten) {
    std::vector<Bytes> rows;
    for (int i = 1; i <= 10; ++i)
        rows.push_back(person(i));
    rows[4] = row({value(ora_number("5")), Bytes(2, '\0') + "LOST VALUE", value(ora_date(1980, 1, 2))});
    const Result result = read(people(rows));
    ASSERT_EQ(result.damage.size(), 1U);
    EXPECT_NE(
        result.damage[0].text.find("the length of column \"NAME\" was never written to the row before it: "
                                   "10 bytes of that value, and the columns behind it, are lost"),
        std::string::npos)
        << result.damage[0].text;
}

// A stored column that the column list leaves out has its values in the rows. Types and lengths tell which
// entry it is.
TEST_F(DumpReaderTest, EntryOfNoColumnIsLeftOut) {
    std::vector<Bytes> rows;
    for (int i = 1; i <= 5; ++i)
        rows.push_back(row({value(ora_number(std::to_string(i))), value(ora_date(2000, 1, i)), value("NAME"),
                            value(ora_date(1980, 1, i))}));
    const Result result = read(people(rows));
    ASSERT_EQ(result.rows.size(), 5U);
    EXPECT_EQ(result.rows[4], (std::vector<std::string>{ora_number("5"), "NAME", ora_date(1980, 1, 5)}));
    EXPECT_TRUE(result.damage.empty());
}

TEST_F(DumpReaderTest, EntryThatCouldBeAnyComesAsAnExtraColumn) {
    DumpTable table{.name = "T", .columns = {{"A", 2, 22}, {"B", 2, 22}}};
    for (int i = 1; i <= 5; ++i)
        table.rows.push_back(row({value(ora_number("1")), value(ora_number("2")), value(ora_number("3"))}));
    Dump dump;
    dump.tables = {table};
    const Result result = read_file_bytes(dump_bytes(dump));
    ASSERT_EQ(result.rows.size(), 5U);
    EXPECT_EQ(result.rows[0], (std::vector<std::string>{ora_number("1"), ora_number("2"), ora_number("3")}));
    const vexlo::DumpFile file(dir_ / "a.dat");
    ASSERT_EQ(file.tables()[0].columns.size(), 3U);
    EXPECT_EQ(file.tables()[0].columns[2].name, "EXTRA_1");
    EXPECT_EQ(file.tables()[0].columns[2].ctyp, 2U);
    EXPECT_TRUE(file.tables()[0].open);
}

TEST_F(DumpReaderTest, GarbageBetweenRowsIsSkipped) {
    const Bytes garbage = "\x12\x34 this is no row at all \xFF\xFF\x01";
    const Result result =
        read(people({person(1), garbage + Bytes(2, '\0'), person(2), person(3), person(4), person(5)}));
    EXPECT_EQ(result.column(0), (std::vector<std::string>{ora_number("1"), ora_number("2"), ora_number("3"),
                                                          ora_number("4"), ora_number("5")}));
    EXPECT_EQ(result.damage.size(), 1U);
    EXPECT_EQ(result.damage[0].offset, 1536U + 3 * 48 + person(1).size());
}

TEST_F(DumpReaderTest, GarbageUpToTheEndStopsTheTable) {
    const Result result = read(people({person(1), Bytes(500, '\x77')}));
    EXPECT_EQ(result.rows.size(), 1U);
    EXPECT_EQ(result.damage.size(), 1U);
    EXPECT_FALSE(result.ended_properly);
}

// Declared lengths may be wrong; then the values are still there.
TEST_F(DumpReaderTest, ValuesLongerThanDeclaredAreKeptInSoundRows) {
    DumpTable table =
        people({person(1, "A NAME LONGER THAN DECLARED"), person(2), person(3, "ANOTHER LONGER NAME")});
    table.columns[1].clen = 7;
    const Result result = read(table);
    EXPECT_EQ(result.column(1),
              (std::vector<std::string>{"A NAME LONGER THAN DECLARED", "SMITH", "ANOTHER LONGER NAME"}));
    EXPECT_TRUE(result.damage.empty());
}

TEST_F(DumpReaderTest, MarksInsideARowAreDamage) {
    for (const Bytes &mark : {Bytes("\xFF\xFF"), Bytes("\xFF\xFD")}) {
        const Bytes bad = value(ora_number("2")) + mark + value(ora_date(1980, 1, 2)) + Bytes(2, '\0');
        const Result result = read(people({person(1), bad, person(3), person(4), person(5)}));
        EXPECT_EQ(result.rows.size(), 4U);
        EXPECT_EQ(result.damage.size(), 1U);
    }
}

TEST_F(DumpReaderTest, MoreEntriesThanColumnsAreDamage) {
    const Bytes four = row({value("\x80"), value("A"), value(ora_date(1980, 1, 2)), value("B")});
    const Result result = read(people({person(1), four, person(3), person(4), person(5)}));
    EXPECT_EQ(result.rows.size(), 4U);
    EXPECT_EQ(result.damage.size(), 1U);
}

Bytes hole(size_t size) {
    return Bytes(size, '\0');
}

// More zeros than the directory's count leaves room for as empty rows are a part of the file that was never
// written.
TEST_F(DumpReaderTest, HoleIsOneLineWithItsStartAndSize) {
    std::vector<Bytes> rows;
    for (int i = 1; i <= 20; ++i)
        rows.push_back(person(i));
    rows[9] = hole(20000);
    DumpTable table = people(rows);
    const Result result = read(table, 4096);
    ASSERT_EQ(result.rows.size(), 19U);
    EXPECT_EQ(result.rows[9][0], ora_number("11"));
    ASSERT_EQ(result.damage.size(), 1U);
    const uint64_t begin = 1536 + 3 * 48 + 9 * person(1).size();
    EXPECT_EQ(result.damage[0].offset, begin);
    EXPECT_EQ(result.damage[0].row, 10U);
    // The zero that the row behind begins with cannot be told from those of the hole.
    EXPECT_EQ(result.damage[0].text, "a hole of 20001 bytes of zeros at offset " + std::to_string(begin));
}

TEST_F(DumpReaderTest, HoleThatBeginsAndEndsInsideRowsCostsThoseRows) {
    Bytes data;
    for (int i = 1; i <= 1000; ++i)
        data += person(i);
    const size_t begin = person(1).size() + 13; // inside the date of row 2
    data.replace(begin, 8192, hole(8192));
    DumpTable table = people({data});
    table.nrows = 1000;
    const Result result = read(table);
    ASSERT_FALSE(result.rows.empty());
    EXPECT_EQ(result.rows[0][0], ora_number("1"));
    EXPECT_NE(result.rows[1][0], ora_number("2"));
    EXPECT_EQ(result.rows.back()[0], ora_number("1000"));
    const auto first_behind = static_cast<size_t>(std::stoul(result.damage[0].text.substr(10))) > 8000;
    EXPECT_TRUE(first_behind);
    ASSERT_EQ(result.damage.size(), 1U);
    EXPECT_EQ(result.damage[0].offset, 1536 + 3 * 48 + begin);
}

// As many zeros as the directory counts rows: every two bytes are a row of NULLs.
TEST_F(DumpReaderTest, ZerosThatTheDirectoryCountsAreEmptyRows) {
    std::vector<Bytes> rows(10000, row({}));
    rows.push_back(person(1));
    const Result result = read(people(rows), 4096);
    EXPECT_EQ(result.rows.size(), 10001U);
    EXPECT_TRUE(result.damage.empty());
}

TEST_F(DumpReaderTest, ImpossibleLengthsAreDamage) {
    const Bytes id = value(ora_number("2")), name = value("X"), born = value(ora_date(1980, 1, 2));
    for (const Bytes &bad :
         {row({value(Bytes(23, '\x41')), name, born}), row({id, name, value(Bytes(8, '\x41'))}),
          row({id, name, value(Bytes(6, '\x41'))}), row({id, value(Bytes(121, 'x')), born})}) {
        const Result result = read(people({person(1), bad, person(3), person(4), person(5)}));
        EXPECT_EQ(result.column(0), (std::vector<std::string>{ora_number("1"), ora_number("3"),
                                                              ora_number("4"), ora_number("5")}));
        ASSERT_EQ(result.damage.size(), 1U);
        EXPECT_NE(result.damage[0].text.find("a length that its column cannot have"), std::string::npos);
    }
}

TEST_F(DumpReaderTest, TextUpToFourTimesItsLengthIsKept) {
    const Bytes longest = row({value(ora_number("2")), value(Bytes(120, 'x')), value(ora_date(1980, 1, 2))});
    const Result result = read(people({person(1), longest, person(3)}));
    EXPECT_EQ(result.rows.size(), 3U);
    EXPECT_TRUE(result.damage.empty());
}

// A byte that was lost from a value is taken from what follows, and shows at the row behind.
TEST_F(DumpReaderTest, RowBehindALostByteIsFoundInsideTheRowBefore) {
    Bytes short_row = person(2);
    short_row.erase(short_row.size() - 3, 1);
    const Result result = read(people({person(1), short_row, person(3), person(4), person(5)}));
    EXPECT_EQ(result.column(0).size(), 5U);
    EXPECT_EQ(result.rows[2][0], ora_number("3"));
    ASSERT_EQ(result.damage.size(), 1U);
    EXPECT_NE(result.damage[0].text.find("the row before it took 1 bytes too many"), std::string::npos);
}

TEST_F(DumpReaderTest, ValueThatTakesInOtherRowsIsDamage) {
    std::vector<Bytes> rows;
    for (int i = 1; i <= 10; ++i)
        rows.push_back(person(i));
    DumpTable table = people(rows);
    table.columns[1].clen = 200;
    // The name of row 2 reaches up to the date of row 6.
    rows[1][5] = static_cast<char>(5 + 4 * person(1).size());
    table.rows = rows;
    const Result result = read(table);
    EXPECT_EQ(result.rows.size(), 9U);
    EXPECT_EQ(result.rows[1][0], ora_number("3"));
    EXPECT_EQ(result.damage.size(), 1U);
}

TEST_F(DumpReaderTest, EndMarkInsideTheTableIsDamage) {
    const Result result =
        read(people({person(1), Bytes("\xFF\xFF") + Bytes(2, '\0'), person(2), person(3), person(4)}));
    EXPECT_EQ(result.rows.size(), 4U);
    ASSERT_EQ(result.damage.size(), 1U);
    EXPECT_NE(result.damage[0].text.find("end mark inside the table"), std::string::npos);
    EXPECT_TRUE(result.ended_properly);
}

// Zeros everywhere look like row ends everywhere; the search must come to an end.
TEST_F(DumpReaderTest, LongRunsOfZerosAfterDamage) {
    const Result result = read(people({person(1), Bytes("\x7F\x7F") + Bytes(300000, '\0'), person(2)}), 4096);
    EXPECT_EQ(result.damage.size(), 1U);
    EXPECT_EQ(result.rows.back()[0], ora_number("2"));
}

// Small whole numbers of four bytes, the first of the highest value: they look like rows all over.
Bytes whole_numbers(std::mt19937 &random, size_t count, unsigned most) {
    Bytes bytes;
    for (size_t i = 0; i < count; ++i)
        bytes += Bytes(3, '\0') + static_cast<char>(random() % (most + 1));
    return bytes;
}

DumpTable table_of_binaries(size_t numbers, unsigned most) {
    std::mt19937 random(5);
    DumpTable table{.name = "T", .columns = {{"ID", 2, 22}, {"R", 23, 2000}}};
    for (int i = 0; i < 400; ++i)
        table.rows.push_back(
            row({value(ora_number(std::to_string(i))), value(whole_numbers(random, numbers, most))}));
    return table;
}

// Binary values may be any bytes. A table that has all its rows when it is read by its lengths is sound.
TEST_F(DumpReaderTest, NothingIsDoubtedInATableThatHasAllItsRows) {
    for (const unsigned most : {1U, 5U, 20U})
        for (const size_t numbers : {12U, 100U}) {
            const DumpTable table = table_of_binaries(numbers, most);
            const Result result = read(table);
            ASSERT_EQ(result.rows.size(), table.rows.size()) << most << " " << numbers;
            EXPECT_TRUE(result.damage.empty());
            EXPECT_EQ(result.rows[399][0], ora_number("399"));
        }
    DumpTable alone{.name = "T", .columns = {{"R", 23, 16}}};
    for (int i = 0; i < 5; ++i)
        alone.rows.push_back(row({value(Bytes("\0\0\0\1A\0\0\0\1B\0\0\0\0\0\0", 16))}));
    EXPECT_EQ(read(alone).rows.size(), 5U);
}

TEST_F(DumpReaderTest, RowsOfATableThatIsCutOffAreNotDoubted) {
    DumpTable table = table_of_binaries(100, 5);
    table.rows.resize(300);
    table.nrows = 400;
    table.end_mark = false;
    const Result result = read(table);
    EXPECT_EQ(result.rows.size(), 300U);
    EXPECT_TRUE(result.damage.empty());
}

// What is damaged at one place is no reason to doubt all other rows.
TEST_F(DumpReaderTest, DamageCostsItsOwnRowWhereValuesLookLikeRows) {
    DumpTable table = table_of_binaries(12, 5);
    table.rows[200][1] = '\x30';
    const Result result = read(table);
    std::set<std::string> ids;
    for (const std::string &id : result.column(0))
        ids.insert(id);
    EXPECT_GE(ids.size(), 398U);
    EXPECT_LE(result.rows.size(), 402U);
}

TEST_F(DumpReaderTest, NulCharactersNextToRowsOfNullsAreKept) {
    DumpTable table{.name = "T", .columns = {{"A", 1, 100}, {"B", 2, 22}}};
    table.rows = {row({}), row({value(Bytes("aaaaa\0\0\0xyz", 11)), value(ora_number("1"))}),
                  row({value("k"), value(ora_number("2"))})};
    const Result result = read(table);
    EXPECT_EQ(result.column(0), (std::vector<std::string>{"-", Bytes("aaaaa\0\0\0xyz", 11), "k"}));
    EXPECT_TRUE(result.damage.empty());
}

// ---- Entries of no column

Bytes num(int number) {
    return value(ora_number(std::to_string(number)));
}

// Rows end with their last value: where the last column is mostly NULL, most rows with a surplus entry have
// no more entries than there are columns.
TEST_F(DumpReaderTest, SurplusEntryIsSeenWhereMostRowsEndBeforeIt) {
    for (const size_t first_whole : {0U, 1000U, 90000U}) {
        DumpTable table{.name = "T", .columns = {{"A", 2, 22}, {"B", 12, 7}, {"C", 1, 20}}};
        const size_t rows = first_whole + 200;
        for (size_t i = 0; i < rows; ++i) {
            std::vector<Bytes> entries = {num(static_cast<int>(i)), num(9000), value(ora_date(2000, 1, 1)),
                                          value("C")};
            if (i < first_whole || (i - first_whole) % 3 != 0)
                entries.pop_back();
            table.rows.push_back(row(entries));
        }
        const Result result = read(table);
        ASSERT_EQ(result.rows.size(), table.rows.size()) << first_whole;
        EXPECT_EQ(result.rows[1][0], ora_number("1"));
        EXPECT_EQ(result.rows[1][1], ora_date(2000, 1, 1));
        EXPECT_EQ(result.rows[first_whole + 3][2], "C");
        EXPECT_TRUE(result.damage.empty());
    }
}

TEST_F(DumpReaderTest, TypesTellTheSurplusEntryWhereNoRowHasAllEntries) {
    DumpTable table{.name = "T", .columns = {{"A", 2, 22}, {"B", 12, 7}, {"C", 2, 22}}};
    for (int i = 0; i < 50; ++i)
        table.rows.push_back(row({num(i), value("hidden"), value(ora_date(2000, 1, 1))}));
    const Result result = read(table);
    ASSERT_EQ(result.rows.size(), 50U);
    EXPECT_EQ(result.rows[7], (std::vector<std::string>{ora_number("7"), ora_date(2000, 1, 1), "-"}));
    EXPECT_TRUE(result.damage.empty());
}

TEST_F(DumpReaderTest, TextIsNoNumberToASurplusEntry) {
    DumpTable table{.name = "T", .columns = {{"A", 2, 22}, {"B", 2, 22}}};
    for (int i = 0; i < 30; ++i)
        table.rows.push_back(row({num(i), value("CODE" + std::to_string(i)), num(100 + i)}));
    EXPECT_EQ(read(table).rows[3], (std::vector<std::string>{ora_number("3"), ora_number("103")}));

    table.columns = {{"A", 2, 22}, {"B", 1, 20}, {"C", 1, 20}};
    table.rows.clear();
    for (int i = 0; i < 30; ++i)
        table.rows.push_back(
            row({num(i), value("SMITH"), value("CLERK"), value("DALLAS" + std::to_string(i))}));
    EXPECT_EQ(read(table).rows.size(), 30U);
    const vexlo::DumpFile file(dir_ / "a.dat");
    ASSERT_EQ(file.tables()[0].columns.size(), 4U);
    EXPECT_EQ(file.tables()[0].columns[3].ctyp, 1U);
}

TEST_F(DumpReaderTest, EntryWithoutAnyValueIsTheSurplusOne) {
    DumpTable table{.name = "T", .columns = {{"A", 2, 22}, {"B", 1, 20}, {"C", 12, 7}}};
    for (int i = 0; i < 30; ++i)
        table.rows.push_back(
            row({num(i), null(), value("b" + std::to_string(i)), value(ora_date(2000, 1, 1))}));
    EXPECT_EQ(read(table).rows[3], (std::vector<std::string>{ora_number("3"), "b3", ora_date(2000, 1, 1)}));
}

TEST_F(DumpReaderTest, SurplusEntryIsSeenInRowsOfAnySize) {
    DumpTable table{.name = "T", .columns = {{"A", 2, 22}, {"B", 12, 7}, {"C", 1, 4000}, {"D", 1, 4000}}};
    for (int i = 0; i < 100; ++i)
        table.rows.push_back(row({num(i), value("hidden"), value(ora_date(2000, 1, 1)),
                                  value(Bytes(4000, 'c')), value(Bytes(3900, 'd'))}));
    const Result wide = read(table);
    ASSERT_EQ(wide.rows.size(), 100U);
    EXPECT_EQ(wide.rows[99][1], ora_date(2000, 1, 1));

    table.columns = {{"A", 2, 22}, {"B", 12, 7}, {"L", 8, 0}};
    table.rows.clear();
    for (int i = 0; i < 50; ++i)
        table.rows.push_back(row({num(i), value("hidden"), value(ora_date(2000, 1, 1)), long_mark()}) +
                             long_block({Bytes(20000, 'l')}));
    const Result longs = read(table);
    ASSERT_EQ(longs.rows.size(), 50U);
    EXPECT_EQ(longs.rows[49][2], Bytes(20000, 'l'));
}

// Binary values hold what looks like rows, of more entries than columns too.
TEST_F(DumpReaderTest, BinaryValuesMakeNoSurplusEntries) {
    for (const unsigned most : {1U, 2U, 5U, 20U}) {
        DumpTable table = table_of_binaries(100, most);
        const std::vector<Bytes> some = table.rows;
        for (int i = 0; i < 9; ++i)
            table.rows.insert(table.rows.end(), some.begin(), some.end());
        EXPECT_EQ(read(table).rows.size(), table.rows.size());
        EXPECT_TRUE(vexlo::DumpFile(dir_ / "a.dat").tables()[0].entry_columns.empty()) << most;
    }
}

// One damaged byte makes a few longer rows out of binary values: they are not the way that all rows are.
TEST_F(DumpReaderTest, FewLongerRowsAreDamagedOnes) {
    DumpTable table = table_of_binaries(12, 5);
    const Bytes binary = value(Bytes("\0\1\0\2", 4));
    table.rows[85] = row({num(84), binary, binary});
    table.rows[91] = row({value(Bytes(2, '\0')), binary, binary});
    const Result result = read(table);
    EXPECT_TRUE(vexlo::DumpFile(dir_ / "a.dat").tables()[0].entry_columns.empty());
    EXPECT_GE(result.rows.size(), 396U);
    EXPECT_EQ(result.rows[0].size(), 2U);
}

// A row that damage has joined with the next one is not the way that all rows are.
TEST_F(DumpReaderTest, OneLongerRowIsADamagedOne) {
    std::vector<Bytes> rows;
    for (int i = 0; i < 100; ++i)
        rows.push_back(person(i));
    rows[50].pop_back();
    rows[50].back() = '\xFE';
    rows[50].insert(rows[50].size() - 1, 1, '\xFF');
    const Result result = read(people(rows));
    EXPECT_EQ(result.rows[0].size(), 3U);
    EXPECT_GE(result.rows.size(), 97U);
    EXPECT_EQ(result.rows[0][1], "SMITH");
}

// The first length takes in all rows but the last: the one row that is left then has an entry too many.
TEST_F(DumpReaderTest, LengthThatTakesInTheTableMakesNoSurplus) {
    DumpTable table{.name = "T", .columns = {{"BORN", 12, 7}}};
    for (int i = 0; i < 60; ++i)
        table.rows.push_back(row({value(ora_date(1980 + i, 1, 2))}));
    const size_t taken = table.rows[0].size() - 2 + 58 * table.rows[0].size();
    table.rows[0][0] = static_cast<char>(taken >> 8);
    table.rows[0][1] = static_cast<char>(taken & 0xFF);
    const Result result = read(table);
    EXPECT_EQ(result.rows.size(), 59U);
    ASSERT_FALSE(result.rows.empty());
    EXPECT_EQ(result.rows[0], (std::vector<std::string>{ora_date(1981, 1, 2)}));
}

} // namespace
