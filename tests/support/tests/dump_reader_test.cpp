#include <functional>
#include <string_view>

#include <gtest/gtest.h>

#include "dump_reader.h"

namespace vexlo_test {
namespace {

// A dump file being written by hand.
struct builder {
    bytes raw;

    builder &number(std::uint64_t value, int width) {
        for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
            raw.push_back(static_cast<std::uint8_t>(value >> shift));
        return *this;
    }
    builder &text(std::string_view s, std::size_t width) {
        raw.insert(raw.end(), s.begin(), s.end());
        raw.insert(raw.end(), width - s.size(), 0);
        return *this;
    }
    builder &add(const bytes &more) {
        raw.insert(raw.end(), more.begin(), more.end());
        return *this;
    }
    builder &pad_to(std::size_t size) {
        raw.resize(size);
        return *this;
    }
    builder &header(std::uint32_t tables) {
        text("vexlo", 32).text("SCOTT", 32).text("AMERICAN_AMERICA.AL32UTF8", 128);
        return text("AL16UTF16", 64).text("+00:00", 64).number(tables, 4).pad_to(1024);
    }
    builder &table(std::uint32_t flag, std::uint32_t ncol, std::uint32_t nlob, std::uint32_t nrows,
                   std::uint64_t offset, std::string_view name) {
        return number(flag, 4).number(ncol, 4).number(nlob, 4).number(nrows, 4).number(offset, 8).text(name,
                                                                                                       32);
    }
    // The reserved word holds whatever the writer's buffer held.
    builder &column(std::uint32_t flag, std::uint32_t ctyp, std::uint32_t clen, std::string_view name) {
        return number(flag, 4).number(ctyp, 4).number(clen, 4).number(0xDEADBEEF, 4).text(name, 32);
    }
};

constexpr std::size_t ROWS = 1536 + 2 * 48; // first row of a file with one table of two columns

// One table of a VARCHAR2 column and one of type `second`, whose section goes on with `rows`.
bytes two_columns(std::uint32_t second, std::uint32_t nrows, const bytes &rows) {
    builder file;
    const bool has_long = second == 8 || second == 24;
    const bool has_lob = second == 112 || second == 113;
    file.header(1).table((has_long ? 1U : 0U) | (has_lob ? 2U : 0U), 2, has_lob ? 1 : 0, nrows, 1536, "EMP");
    file.pad_to(1536).column(1, 1, 10, "A").column(0, second, 22, "B");
    return file.add(rows).raw;
}

// Parses and expects a deviation at the offset, its text naming `what`.
void expect_deviation(const bytes &raw, std::size_t offset, std::string_view what) {
    try {
        parse_dump(raw);
        ADD_FAILURE() << "accepted; expected: " << what;
    } catch (const dump_error &error) {
        EXPECT_NE(std::string_view(error.what()).find(what), std::string_view::npos) << error.what();
        EXPECT_EQ(error.offset(), offset) << error.what();
    }
}

TEST(DumpReader, HeaderAndDirectory) {
    const dump_file dump = parse_dump(two_columns(2, 0, {0xFF, 0xFF}));
    EXPECT_EQ(dump.header.magic, "vexlo");
    EXPECT_EQ(dump.header.owner, "SCOTT");
    EXPECT_EQ(dump.header.nls_lang, "AMERICAN_AMERICA.AL32UTF8");
    EXPECT_EQ(dump.header.ncharset, "AL16UTF16");
    EXPECT_EQ(dump.header.dbtimezone, "+00:00");
    EXPECT_EQ(dump.header.tab_cnt, 1U);
    ASSERT_EQ(dump.tables.size(), 1U);
    EXPECT_EQ(dump.tables[0].name, "EMP");
    EXPECT_EQ(dump.tables[0].ncol, 2U);
    EXPECT_EQ(dump.tables[0].offset, 1536U);
    const dump_section &section = dump.section("EMP");
    EXPECT_EQ(section.columns[0].flag, 1U);
    EXPECT_EQ(section.columns[0].ctyp, 1U);
    EXPECT_EQ(section.columns[1].clen, 22U);
    EXPECT_EQ(section.columns[1].name, "B");
    EXPECT_TRUE(section.rows.empty());
    EXPECT_TRUE(section.complete);
    EXPECT_THROW(dump.section("DEPT"), std::out_of_range);
}

TEST(DumpReader, ValuesNullsAndTrailingNulls) {
    const bytes rows{0,    2,   'h', 'i', 0xFF, 0xFE, 0, 0, // hi, NULL
                     0,    1,   'x', 0,   0,                // x and a trailing NULL
                     0,    0,                               // no entry at all
                     0xFF, 0xFF};
    const dump_file dump = parse_dump(two_columns(2, 3, rows));
    const dump_section &section = dump.section("EMP");
    ASSERT_EQ(section.rows.size(), 3U);
    ASSERT_EQ(section.rows[0].entries.size(), 2U);
    EXPECT_EQ(section.rows[0].entries[0].kind, entry_kind::value);
    EXPECT_EQ(section.rows[0].entries[0].value, to_bytes("hi"));
    EXPECT_EQ(section.rows[0].entries[1].kind, entry_kind::null);
    EXPECT_EQ(section.rows[0].entries[1].offset, ROWS + 4);
    EXPECT_EQ(section.rows[1].entries.size(), 1U);
    EXPECT_EQ(section.rows[1].offset, ROWS + 8);
    EXPECT_EQ(section.rows[1].end, ROWS + 13);
    EXPECT_TRUE(section.rows[2].entries.empty());
    EXPECT_EQ(section.end, dump.raw.size());
}

TEST(DumpReader, LongBlockFollowsItsRow) {
    const bytes rows{0, 1, 'k', 0xFF, 0xFB, 0, 0, 0xFF, 0xFD, 0, 2, 'a', 'b', 0, 1, 'c', 0, 0, 0xFF, 0xFF};
    const dump_file dump = parse_dump(two_columns(8, 1, rows));
    const dump_row &row = dump.section("EMP").rows.at(0);
    EXPECT_EQ(row.entries[1].kind, entry_kind::long_marker);
    EXPECT_EQ(row.long_chunks, (std::vector<bytes>{to_bytes("ab"), to_bytes("c")}));
    EXPECT_EQ(row.end, dump.raw.size() - 2);
}

TEST(DumpReader, LobMarker) {
    const dump_file dump = parse_dump(two_columns(113, 1, {0xFF, 0xFE, 0xFF, 0xFC, 0, 0, 0xFF, 0xFF}));
    EXPECT_EQ(dump.section("EMP").rows.at(0).entries[1].kind, entry_kind::lob);
}

TEST(DumpReader, TenTablesTakeADirectoryOf1024Bytes) {
    const auto file = [](std::uint32_t tables, std::size_t data) {
        builder b;
        b.header(tables);
        for (std::uint32_t i = 0; i < tables; ++i)
            b.table(0, 0, 0, 0, data + 2 * i, "T" + std::to_string(i));
        b.pad_to(data);
        for (std::uint32_t i = 0; i < tables; ++i)
            b.add({0xFF, 0xFF});
        return b.raw;
    };
    EXPECT_EQ(parse_dump(file(9, 1536)).sections.size(), 9U);
    EXPECT_EQ(parse_dump(file(10, 2048)).sections.size(), 10U);
    EXPECT_THROW(parse_dump(file(10, 1536)), dump_error);
}

TEST(DumpReader, DeviationsInHeaderAndDirectory) {
    const bytes sound = two_columns(2, 0, {0xFF, 0xFF});
    const auto patched = [&](std::size_t at, std::uint8_t value) {
        bytes raw = sound;
        raw.at(at) = value;
        return raw;
    };
    ASSERT_NO_THROW(parse_dump(sound));
    expect_deviation(patched(0, 'V'), 0, "magic");
    expect_deviation(patched(400, 1), 400, "fill after the header");
    expect_deviation(patched(1080, 1), 1080, "fill after the table directory");
    expect_deviation(patched(1024, 1), 1024, "table flag bits");
    expect_deviation(patched(1027, 4), 1024, "table flag bits");
    expect_deviation(patched(1039, 1), sound.size(), "rows");
    expect_deviation(patched(1035, 1), 1536, "LOB column count");
    expect_deviation(patched(1047, 1), 1537, "not at 1536");
    expect_deviation(patched(1539, 2), 1536, "column flag bits");
    bytes unterminated = sound;
    std::fill_n(unterminated.begin() + 32, 32, std::uint8_t{'A'});
    expect_deviation(unterminated, 32, "owner has no terminating NUL");
    expect_deviation(bytes(sound.begin(), sound.begin() + 300), 256, "dbtimezone ends early");
}

TEST(DumpReader, DeviationsInRows) {
    expect_deviation(two_columns(2, 0, {}), ROWS, "ends early");
    expect_deviation(two_columns(2, 1, {0, 3, 'x'}), ROWS + 2, "value ends early");
    expect_deviation(two_columns(2, 1, {0, 1, 'x', 0xFF, 0xFF}), ROWS + 3, "end of table inside a row");
    expect_deviation(two_columns(2, 1, {0xFF, 0xFD, 0, 0, 0xFF, 0xFF}), ROWS, "LONG block inside a row");
    expect_deviation(two_columns(2, 1, {0, 1, 'x', 0, 1, 'y', 0, 1, 'z', 0, 0, 0xFF, 0xFF}), ROWS + 6,
                     "more entries than columns");
    expect_deviation(two_columns(2, 1, {0xFF, 0xFC, 0, 0, 0xFF, 0xFF}), ROWS, "column type 1");
    expect_deviation(two_columns(8, 1, {0xFF, 0xFE, 0, 1, 'x', 0, 0, 0xFF, 0xFF}), ROWS + 2, "column type 8");
    expect_deviation(two_columns(112, 1, {0xFF, 0xFE, 0xFF, 0xFB, 0, 0, 0xFF, 0xFF}), ROWS + 2,
                     "column type 112");
    expect_deviation(two_columns(2, 0, {0xFF, 0xFF, 0}), ROWS + 3, "end of the file");
}

TEST(DumpReader, DeviationsInLongBlocks) {
    const bytes row{0, 1, 'k', 0xFF, 0xFB, 0, 0};
    const auto with = [&](const bytes &rest) { return two_columns(24, 1, builder{row}.add(rest).raw); };
    expect_deviation(with({0xFF, 0xFF}), ROWS + 7, "LONG block missing");
    expect_deviation(with({0xFF, 0xFD, 0x80, 0x01}), ROWS + 9, "LONG chunk too long");
    expect_deviation(with({0xFF, 0xFD, 0, 2, 'x'}), ROWS + 11, "LONG chunk ends early");
    bytes unflagged = with({0xFF, 0xFD, 0, 0, 0xFF, 0xFF});
    ASSERT_NO_THROW(parse_dump(unflagged));
    unflagged[1027] = 0;
    expect_deviation(unflagged, 1536, "without the LONG flag");
}

TEST(DumpReader, PartialSectionKeepsTheCompleteRows) {
    const bytes raw = two_columns(2, 1, {0, 1, 'x', 0, 0, 0, 9, 'y'});
    const dump_table table = read_dump_tables(raw).at(0);
    const dump_section section = read_partial_section(raw, table, raw.size());
    EXPECT_FALSE(section.complete);
    ASSERT_EQ(section.rows.size(), 1U);
    EXPECT_EQ(section.end, ROWS + 5);
    EXPECT_NE(section.stopped.find("value ends early"), std::string::npos);
    const bytes no_row = two_columns(2, 0, {0, 9, 'y'});
    EXPECT_EQ(read_partial_section(no_row, table, no_row.size()).end, ROWS);
    const dump_section nothing = read_partial_section(raw, table, table.offset);
    EXPECT_TRUE(nothing.columns.empty());
    EXPECT_EQ(nothing.end, table.offset);
}

} // namespace
} // namespace vexlo_test
