// Values that come in pieces.
#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>

#include <gtest/gtest.h>

#include "output/format.h"
#include "scratch_dir.h"
#include "values/base64.h"
#include "values/charset.h"
#include "values/text_scan.h"

using namespace vexlo_test;

namespace {

using namespace vexlo;

class PiecesStream final : public ValueStream {
public:
    PiecesStream(StreamForm form, std::vector<std::string> pieces)
        : form_(form), pieces_(std::move(pieces)) {}

    StreamForm form() const override { return form_; }
    void for_each_piece(const Take &take) override {
        for (const std::string &piece : pieces_) {
            const std::string slack = piece + std::string(READ_SLACK, '\0');
            take({reinterpret_cast<const uint8_t *>(slack.data()), piece.size()});
        }
    }

private:
    StreamForm form_;
    std::vector<std::string> pieces_;
};

Field stream_field(PiecesStream &stream) {
    Field field{FieldKind::stream, 0, {nullptr}};
    field.stream = &stream;
    return field;
}

Charset charset(const char *name) {
    return *find_charset(name);
}

// What a format makes of one row with one column.
std::string formatted(const char *format_name, const char *dialect, ColumnKind kind, const Field &field,
                      const char *charset_name = "AL32UTF8") {
    scratch_dir dir;
    Destination destination(dir.path());
    FormatOptions options;
    options.format = format_name;
    options.dialect = dialect;
    const std::unique_ptr<Format> format = make_format(options, destination, "x", "AL32UTF8");
    const Table table{"", "T", {{"C", kind, false, 112, 4000}}};
    CellDecoder decoder(table, {charset(charset_name), charset(charset_name)});
    const std::unique_ptr<TableWriter> writer = format->open_table(table);
    RowBatch batch;
    writer->formatter(decoder)->format({1, 0, &field}, batch);
    return std::string(batch.bytes.view());
}

TEST(Streams, CsvQuotesTextInPieces) {
    PiecesStream stream(StreamForm::text, {"a\"", "\"b,", "\nc"});
    EXPECT_EQ(formatted("csv", "", ColumnKind::lob, stream_field(stream)), "\"a\"\"\"\"b,\nc\"\r\n");
}

TEST(Streams, CsvWritesBytesAsHexadecimalDigits) {
    PiecesStream stream(StreamForm::binary, {"\x01\x02", "\xFF"});
    EXPECT_EQ(formatted("csv", "", ColumnKind::lob, stream_field(stream)), "0102FF\r\n");
}

TEST(Streams, JsonEscapesTextInPieces) {
    PiecesStream stream(StreamForm::text, {"a\"", "\n", "\\"});
    EXPECT_EQ(formatted("jsonl", "", ColumnKind::lob, stream_field(stream)), "{\"C\":\"a\\\"\\n\\\\\"}\n");
}

TEST(Streams, JsonWritesLobsAsBase64WhereverTheyAreCut) {
    const std::string data = "any carnal pleas";
    for (size_t first = 0; first <= data.size(); ++first) {
        PiecesStream stream(StreamForm::binary, {data.substr(0, first), data.substr(first)});
        EXPECT_EQ(formatted("jsonl", "", ColumnKind::lob, stream_field(stream)),
                  "{\"C\":\"YW55IGNhcm5hbCBwbGVhcw==\"}\n");
    }
}

TEST(Streams, JsonWritesRawAsHexadecimalDigits) {
    PiecesStream stream(StreamForm::binary, {"\x01", "\x02"});
    EXPECT_EQ(formatted("jsonl", "", ColumnKind::long_raw, stream_field(stream)), "{\"C\":\"0102\"}\n");
}

constexpr char ORACLE_NEXT_BLOCK[] = "END;\n/\nBEGIN\nDECLARE\nv ";
constexpr char ORACLE_SELECT[] = ";\nBEGIN\nSELECT \"C\" INTO v FROM \"T\"\n"
                                 "WHERE ROWID = CHARTOROWID(:appended_to) FOR UPDATE;\n";

TEST(Streams, OracleScriptAppendsThePiecesToTheirRow) {
    PiecesStream text(StreamForm::text, {"it", "'s\n"});
    EXPECT_EQ(formatted("sql", "oracle", ColumnKind::lob, stream_field(text)),
              std::string("INSERT INTO \"T\" VALUES (EMPTY_CLOB()) RETURNING ROWIDTOCHAR(ROWID) INTO "
                          ":appended_to;\n") +
                  ORACLE_NEXT_BLOCK + "CLOB" + ORACLE_SELECT +
                  "DBMS_LOB.APPEND(v, 'it');\nDBMS_LOB.APPEND(v, '''s'||\nCHR(10));\nEND;\n");
    PiecesStream bytes(StreamForm::binary, {"\x01", "\xFF"});
    EXPECT_EQ(formatted("sql", "oracle", ColumnKind::lob, stream_field(bytes)),
              std::string("INSERT INTO \"T\" VALUES (EMPTY_BLOB()) RETURNING ROWIDTOCHAR(ROWID) INTO "
                          ":appended_to;\n") +
                  ORACLE_NEXT_BLOCK + "BLOB" + ORACLE_SELECT +
                  "DBMS_LOB.WRITEAPPEND(v, 1, HEXTORAW('01'));\n"
                  "DBMS_LOB.WRITEAPPEND(v, 1, HEXTORAW('FF'));\nEND;\n");
}

// The longest block of a script and, of its lines, the longest.
std::pair<size_t, size_t> longest_block_and_line(const std::string &script) {
    size_t block = 0, line = 0, begin = 0;
    for (size_t at = 0, end; (end = script.find('\n', at)) != std::string::npos; at = end + 1) {
        line = std::max(line, end - at);
        if (script.compare(at, 2, "/\n") == 0) {
            block = std::max(block, end - begin);
            begin = end;
        }
    }
    return {std::max(block, script.size() - begin), line};
}

TEST(Streams, BlocksOfAnOracleScriptAreOfBoundedSizeHoweverLongTheValue) {
    const std::string letters(300000, 'x'), lines(300000, '\n'), quotes(300000, '\'');
    PiecesStream text(StreamForm::text, {letters, lines, quotes});
    PiecesStream bytes(StreamForm::binary, {letters, lines});
    const auto of_text =
        longest_block_and_line(formatted("sql", "oracle", ColumnKind::lob, stream_field(text)));
    EXPECT_LE(of_text.first, 64000u * sizeof "CHR(10)||" + 1000u);
    EXPECT_LE(of_text.second, 2499u);
    const std::string script = formatted("sql", "oracle", ColumnKind::lob, stream_field(bytes));
    EXPECT_LE(longest_block_and_line(script).first, 135000u);
    EXPECT_LE(longest_block_and_line(script).second, 2499u);
    constexpr std::string_view STATEMENT = "DBMS_LOB.WRITEAPPEND(v, ";
    for (size_t at = 0; (at = script.find(STATEMENT, at)) != std::string::npos; ++at)
        EXPECT_LE(2 * std::stoul(script.substr(at + STATEMENT.size(), 10)), 32767u);
}

TEST(Streams, OracleScriptAppendsLongTextsToo) {
    const std::string letters = std::string(32001, 'x') + std::string(READ_SLACK, '\0');
    Field field{FieldKind::text, 32001, {reinterpret_cast<const uint8_t *>(letters.data())}};
    EXPECT_NE(formatted("sql", "oracle", ColumnKind::lob, field).find("VALUES (EMPTY_CLOB()) RETURNING"),
              std::string::npos);
    field.size = 32000;
    EXPECT_EQ(formatted("sql", "oracle", ColumnKind::lob, field).find("appended_to"), std::string::npos);
}

TEST(Streams, PostgresqlTakesPieces) {
    PiecesStream text(StreamForm::text, {"a\t", "\\"});
    EXPECT_EQ(formatted("sql", "postgresql", ColumnKind::lob, stream_field(text)), "a\\t\\\\\n");
    PiecesStream bytes(StreamForm::binary, {"\x01", "\xFF"});
    EXPECT_EQ(formatted("sql", "postgresql", ColumnKind::lob, stream_field(bytes)), "\\\\x01FF\n");
    EXPECT_EQ(formatted("csv", "postgresql", ColumnKind::lob, stream_field(bytes)), "\\x01FF\r\n");
    PiecesStream end_mark(StreamForm::text, {"a\n", "\\", ".\"b"});
    EXPECT_EQ(formatted("csv", "postgresql", ColumnKind::lob, stream_field(end_mark)),
              "\"a\n\\\".\"\"\"b\"\r\n");
}

TEST(Streams, SqliteScriptTakesPieces) {
    PiecesStream text(StreamForm::text, {"it", "'s"});
    EXPECT_EQ(formatted("sql", "sqlite", ColumnKind::lob, stream_field(text)),
              "INSERT INTO \"T\" VALUES (CAST(X'69742773' AS TEXT));\n");
    PiecesStream bytes(StreamForm::binary, {"\x01", "\xFF"});
    EXPECT_EQ(formatted("sql", "sqlite", ColumnKind::lob, stream_field(bytes)),
              "INSERT INTO \"T\" VALUES (X'01FF');\n");
}

TEST(Streams, SqlLoaderCountsThePiecesFirst) {
    PiecesStream text(StreamForm::text, {"it", "'s"});
    EXPECT_EQ(formatted("sqlldr", "", ColumnKind::lob, stream_field(text)), "0000000015"
                                                                            "0"
                                                                            "0000000004it's");
}

TEST(Streams, StoredTextIsDecodedWithoutCuttingCharacters) {
    const std::string text = "a\xC3\xA9\xE2\x82\xAC z";
    for (size_t first = 0; first <= text.size(); ++first) {
        PiecesStream stream(StreamForm::stored, {text.substr(0, first), text.substr(first)});
        EXPECT_EQ(formatted("csv", "", ColumnKind::long_text, stream_field(stream)), "\"" + text + "\"\r\n")
            << first;
    }
    PiecesStream latin(StreamForm::stored, {"a\xE9", "\xE9"});
    EXPECT_EQ(formatted("csv", "", ColumnKind::long_text, stream_field(latin), "WE8ISO8859P1"),
              "\"a\u00E9\u00E9\"\r\n");
}

TEST(Streams, ReadyValuesOfLobColumns) {
    const std::string text = "a,b" + std::string(READ_SLACK, '\0');
    const auto *data = reinterpret_cast<const uint8_t *>(text.data());
    EXPECT_EQ(formatted("csv", "", ColumnKind::lob, {FieldKind::text, 3, {data}}), "\"a,b\"\r\n");
    EXPECT_EQ(formatted("csv", "", ColumnKind::lob, {FieldKind::binary, 3, {data}}), "612C62\r\n");
}

TEST(Streams, AFullBatchIsGivenAwayBetweenPieces) {
    scratch_dir dir;
    Destination destination(dir.path());
    FormatOptions options;
    options.format = "csv";
    const std::unique_ptr<Format> format = make_format(options, destination, "x", "AL32UTF8");
    const Table table{"", "T", {{"C", ColumnKind::lob, false, 112, 4000}}};
    CellDecoder decoder(table, {charset("AL32UTF8"), charset("AL32UTF8")});
    const std::unique_ptr<TableWriter> writer = format->open_table(table);
    const std::string piece(100000, 'x');
    PiecesStream stream(StreamForm::text, std::vector<std::string>(20, piece));
    const Field field = stream_field(stream);
    RowBatch batch;
    std::string given;
    size_t longest = 0;
    batch.spill = [&](RowBatch &full) {
        longest = std::max(longest, full.bytes.size());
        given += full.bytes.view();
        full.bytes.clear();
    };
    writer->formatter(decoder)->format({1, 0, &field}, batch);
    given += batch.bytes.view();
    EXPECT_EQ(given, "\"" + std::string(2000000, 'x') + "\"\r\n");
    EXPECT_LT(longest, RowBatch::FULL_SIZE + 2 * piece.size());
}

// EMPTY is no NULL.
TEST(Streams, EmptyLobsAndNull) {
    const std::string slack(READ_SLACK, '\0');
    const auto *nothing = reinterpret_cast<const uint8_t *>(slack.data());
    const Field null{FieldKind::null, 0, {nullptr}}, text{FieldKind::text, 0, {nothing}},
        bytes{FieldKind::binary, 0, {nothing}};
    struct Expected {
        const char *format, *dialect;
        std::string null, text, bytes;
    };
    const Expected all[] = {
        {"csv", "", "\r\n", "\"\"\r\n", "\"\"\r\n"},
        {"csv", "postgresql", "\r\n", "\"\"\r\n", "\\x\r\n"},
        {"jsonl", "", "{\"C\":null}\n", "{\"C\":\"\"}\n", "{\"C\":\"\"}\n"},
        {"sql", "postgresql", "\\N\n", "\n", "\\\\x\n"},
        {"sql", "sqlite", "INSERT INTO \"T\" VALUES (NULL);\n", "INSERT INTO \"T\" VALUES ('');\n",
         "INSERT INTO \"T\" VALUES (X'');\n"},
        {"sql", "oracle", "INSERT INTO \"T\" VALUES (NULL);\n", "INSERT INTO \"T\" VALUES (EMPTY_CLOB());\n",
         "INSERT INTO \"T\" VALUES (EMPTY_BLOB());\n"},
        {"sqlldr", "", "000000001110000000000", "000000001100000000000", "000000001100000000000"},
    };
    for (const Expected &expected : all) {
        const auto is = [&](const Field &field) {
            return formatted(expected.format, expected.dialect, ColumnKind::lob, field);
        };
        EXPECT_EQ(is(null), expected.null) << expected.format << expected.dialect;
        EXPECT_EQ(is(text), expected.text) << expected.format << expected.dialect;
        EXPECT_EQ(is(bytes), expected.bytes) << expected.format << expected.dialect;
    }
}

std::string loader_control(const Column &column, const char *charset_name = "AL32UTF8") {
    vexlo_test::scratch_dir dir;
    Destination destination(dir.path());
    FormatOptions options;
    options.format = "sqlldr";
    options.raw = true;
    const std::unique_ptr<Format> format = make_format(options, destination, "x", charset_name);
    const Table table{"", "T", {column, {"LOB_FILE", ColumnKind::number, false, 2, 22}}};
    format->open_table(table)->finish();
    const std::string control = vexlo_test::read_text(dir.file("T.ctl"));
    return control.substr(control.find("(\n"));
}

TEST(LoaderControl, LobsInFilesOfTheirOwn) {
    Column column{"C", ColumnKind::ready_text, false, TYPE_CLOB, 4000};
    column.in_file = true;
    EXPECT_EQ(loader_control(column),
              "(\n  LOB_FILE_2 FILLER VARCHARC(6,1),\n"
              "  \"C\" LOBFILE(LOB_FILE_2) TERMINATED BY EOF NULLIF LOB_FILE_2='NONE',\n"
              "  \"LOB_FILE\" VARCHARC(6,1)\n)\n");
    EXPECT_NE(loader_control(column, "WE8ISO8859P1").find("LOBFILE(LOB_FILE_2 CHARACTERSET AL32UTF8)"),
              std::string::npos);
    column.ctyp = TYPE_BLOB;
    EXPECT_NE(loader_control(column, "WE8ISO8859P1").find("LOBFILE(LOB_FILE_2) "), std::string::npos);
}

TEST(LoaderControl, LobsInRecordsHaveAMarkOfNull) {
    EXPECT_EQ(loader_control({"C", ColumnKind::lob, false, TYPE_BLOB, 4000}),
              "(\n  LOB_NULL FILLER CHAR(1),\n  \"C\" VARRAWC(10,1) NULLIF LOB_NULL='1',\n"
              "  \"LOB_FILE\" VARCHARC(6,1)\n)\n");
}

TEST(Streams, LoaderRecordsNameTheFilesOfLobs) {
    const std::string name = "T.lobs/C/000/000000001.txt" + std::string(READ_SLACK, '\0');
    vexlo_test::scratch_dir dir;
    Destination destination(dir.path());
    FormatOptions options;
    options.format = "sqlldr";
    const std::unique_ptr<Format> format = make_format(options, destination, "x", "AL32UTF8");
    Table table{"", "T", {{"C", ColumnKind::ready_text, false, TYPE_CLOB, 4000}}};
    table.columns[0].in_file = true;
    CellDecoder decoder(table, {charset("AL32UTF8"), charset("AL32UTF8")});
    const std::unique_ptr<TableWriter> writer = format->open_table(table);
    const std::unique_ptr<RowFormatter> formatter = writer->formatter(decoder);
    RowBatch batch;
    const Field fields[] = {{FieldKind::text, 26, {reinterpret_cast<const uint8_t *>(name.data())}},
                            {FieldKind::null, 0, {nullptr}}};
    formatter->format({1, 0, &fields[0]}, batch);
    formatter->format({2, 0, &fields[1]}, batch);
    EXPECT_EQ(batch.bytes.view(), "0000000032"
                                  "000026T.lobs/C/000/000000001.txt"
                                  "0000000010"
                                  "000004NONE");
}

TEST(Base64, Padding) {
    const auto base64 = [](std::string_view data) {
        std::string text(base64_size(data.size()), '\0');
        write_base64(data, text.data());
        return text;
    };
    EXPECT_EQ(base64(""), "");
    EXPECT_EQ(base64("f"), "Zg==");
    EXPECT_EQ(base64("fo"), "Zm8=");
    EXPECT_EQ(base64("foo"), "Zm9v");
    EXPECT_EQ(base64("\xFF\xEF\xBE"), "/+++");
}

// No piece shows whether its last character goes on, in sets of one to four bytes a character.
TEST(Streams, CharactersOfEverySetAreLeftWhole) {
    const auto csv = [](const char *charset_name, const std::string &text, size_t first) {
        PiecesStream stream(StreamForm::stored, {text.substr(0, first), text.substr(first)});
        return formatted("csv", "", ColumnKind::long_text, stream_field(stream), charset_name);
    };
    const std::string clef = "\xF0\x9D\x84\x9E", middle = "\xE4\xB8\xAD", kingdom = "\xE6\x96\x87";
    for (size_t first = 0; first <= 6; ++first) {
        EXPECT_EQ(csv("UTF8", "\xED\xA0\xB4\xED\xB4\x9E", first), "\"" + clef + "\"\r\n") << first;
        EXPECT_EQ(csv("ZHS16GBK", "\xD6\xD0\xCE\xC4\xD6\xD0", first),
                  "\"" + middle + kingdom + middle + "\"\r\n")
            << first;
        EXPECT_EQ(csv("ZHS32GB18030", "\x94\x32\xBE\x34\xD6\xD0", first), "\"" + clef + middle + "\"\r\n")
            << first;
        EXPECT_EQ(csv("AL16UTF16", std::string("\xD8\x34\xDD\x1E\0a", 6), first), "\"" + clef + "a\"\r\n")
            << first;
    }
    // In the Vietnamese set a mark behind a letter combines with it.
    for (size_t first = 0; first <= 4; ++first)
        EXPECT_EQ(csv("VN8MSWIN1258",
                      "a\xEC"
                      "b\xEC",
                      first),
                  "\"\u00E1b\u0301\"\r\n")
            << first;
    // What ends a value in the middle of a character is lost, once.
    EXPECT_EQ(csv("AL32UTF8", "a\xE4\xB8", 2), "\"a\xEF\xBF\xBD\"\r\n");
}

} // namespace
