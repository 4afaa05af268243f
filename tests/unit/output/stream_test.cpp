// Values that come in pieces.
#include <fstream>
#include <iterator>

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

TEST(Streams, FormatsThatTakeNoPiecesGetTheWholeValue) {
    PiecesStream stream(StreamForm::text, {"it", "'s"});
    EXPECT_NE(formatted("sql", "oracle", ColumnKind::lob, stream_field(stream)).find("it''s"),
              std::string::npos);
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

} // namespace
