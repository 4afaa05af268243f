// Rows of several columns as CSV.
#include <deque>
#include <memory>
#include <optional>

#include <gtest/gtest.h>

#include "dump_writer.h"
#include "output/format.h"
#include "scratch_dir.h"
#include "values/charset.h"
#include "values/text_scan.h"

namespace {

using namespace vexlo;

using Values = std::vector<std::optional<std::string>>; // none for NULL

constexpr ColumnKind TEXT = ColumnKind::text, NUMBER = ColumnKind::number, DATE = ColumnKind::date,
                     RAW = ColumnKind::raw;

// Writes rows of a table of UTF-8 text, with other bytes where the values end than before and behind.
class Csv {
public:
    explicit Csv(const std::vector<ColumnKind> &kinds, const FormatOptions &options = {})
        : destination_(dir_.path()), format_(make_csv_format(destination_, options)) {
        for (const ColumnKind kind : kinds)
            table_.columns.push_back({"C" + std::to_string(table_.columns.size()), kind, false, 1, 4000});
        decoder_.emplace(table_, TextCharsets{*find_charset("AL32UTF8"), *find_charset("AL32UTF8")});
        writer_ = format_->open_table(table_);
        formatter_ = writer_->formatter(*decoder_);
        batch_.spill = [this](RowBatch &batch) {
            longest_ = std::max(longest_, batch.bytes.size());
            given_ += batch.bytes.view();
            batch.bytes.clear();
        };
    }

    Csv &add(const Values &values) {
        std::deque<std::string> stored;
        std::vector<Field> fields;
        for (const std::optional<std::string> &value : values) {
            const std::string &bytes = stored.emplace_back(value.value_or("") + std::string(READ_SLACK, '"'));
            fields.push_back({value ? FieldKind::value : FieldKind::null,
                              static_cast<uint32_t>(bytes.size() - READ_SLACK),
                              {reinterpret_cast<const uint8_t *>(bytes.data())}});
        }
        formatter_->format({++rows_, 0, fields.data()}, batch_);
        return *this;
    }
    std::string text() const { return given_ + std::string(batch_.bytes.view()); }
    uint64_t rows() const { return batch_.rows; }
    size_t longest() const { return longest_; }

private:
    vexlo_test::scratch_dir dir_;
    Destination destination_;
    std::unique_ptr<Format> format_;
    Table table_{"", "T", {}};
    std::optional<CellDecoder> decoder_;
    std::unique_ptr<TableWriter> writer_;
    std::unique_ptr<RowFormatter> formatter_;
    RowBatch batch_;
    std::string given_;
    size_t longest_ = 0; // of the batches given away
    uint64_t rows_ = 0;
};

FormatOptions with_delimiter(char delimiter) {
    FormatOptions options;
    options.delimiter = delimiter;
    return options;
}

TEST(Csv, ValuesOfEveryColumnInTheirOrder) {
    EXPECT_EQ(Csv({NUMBER, TEXT, DATE, NUMBER})
                  .add({ora_number("-12.5"), "Utrecht", ora_date(2024, 2, 29, 1, 2, 3), ora_number("100")})
                  .add({ora_number("1E30"), "x", ora_date(2024, 3, 1), ora_number("0")})
                  .text(),
              "-12.5,Utrecht,2024-02-29T01:02:03,100\r\n"
              "1000000000000000000000000000000,x,2024-03-01T00:00:00,0\r\n");
}

TEST(Csv, NullIsAnEmptyFieldAndAnEmptyTextIsNot) {
    EXPECT_EQ(Csv({NUMBER, TEXT, DATE, TEXT}).add({{}, {}, {}, ""}).add({{}, "", {}, {}}).text(),
              ",,,\"\"\r\n,\"\",,\r\n");
}

// A field that takes the longer way leaves those beside it as they are.
TEST(Csv, OtherFieldsAtEveryPlaceOfTheRow) {
    const std::string plain[] = {"a", "b", "c", "d"};
    const struct {
        ColumnKind kind;
        std::string value, text;
    } others[] = {{TEXT, "a,b", "\"a,b\""},
                  {TEXT, "\"", "\"\"\"\""},
                  {TEXT, "caf\u00E9", "caf\u00E9"},
                  {TEXT, "\\x", "\"\\x\""},
                  {TEXT, "\x01", "\x01"},
                  {TEXT, "", "\"\""},
                  {RAW, "\x01\xAB", "01AB"},
                  {NUMBER, "\xC1", ""},
                  {NUMBER, Bytes(1, 0), "-Infinity"},
                  {DATE, ora_date(-1, 1, 1), "-0001-01-01T00:00:00"}};
    for (const auto &other : others)
        for (size_t at = 0; at < std::size(plain); ++at) {
            std::vector<ColumnKind> kinds(std::size(plain), TEXT);
            Values values(std::begin(plain), std::end(plain));
            kinds[at] = other.kind;
            values[at] = other.value;
            std::string expected;
            for (size_t i = 0; i < std::size(plain); ++i)
                expected += (i > 0 ? "," : "") + (i == at ? other.text : plain[i]);
            EXPECT_EQ(Csv(kinds).add(values).text(), expected + "\r\n");
        }
}

// The rule in other words, of a text without quotes and of ASCII.
std::string quoted_where_needed(const std::string &text, char delimiter) {
    const bool quoted =
        text[0] == '\\' || text.find_first_of(std::string("\n\r") + delimiter) != std::string::npos;
    return quoted ? '"' + text + '"' : text;
}

TEST(Csv, EveryCharacterAtEveryPlaceOfATextWithEveryDelimiter) {
    for (const char delimiter : {',', ';', '|', '\t', '\x1C'}) {
        const FormatOptions options = with_delimiter(delimiter);
        for (const size_t size : {1U, 2U, 31U, 32U, 33U, 70U})
            for (size_t at = 0; at < size; ++at) {
                Csv csv({TEXT}, options);
                std::string expected;
                for (int c = 0; c < 0x80; ++c) {
                    std::string text(size, 'x');
                    text[at] = static_cast<char>(c);
                    if (c == '"')
                        continue;
                    csv.add({text});
                    expected += quoted_where_needed(text, delimiter) + "\r\n";
                }
                ASSERT_EQ(csv.text(), expected) << size << " " << at;
            }
    }
}

TEST(Csv, QuotesAreDoubledAtEveryPlace) {
    for (size_t size = 1; size <= 70; ++size)
        for (size_t at = 0; at < size; ++at) {
            const std::string before(at, 'x'), behind(size - at - 1, 'x');
            ASSERT_EQ(Csv({TEXT}).add({before + '"' + behind}).text(),
                      '"' + before + "\"\"" + behind + "\"\r\n");
        }
}

TEST(Csv, LinesEndAsAskedFor) {
    FormatOptions options;
    options.lf = true;
    EXPECT_EQ(Csv({TEXT, TEXT}, options).add({"a", "b"}).add({"a", "\n"}).add({"\u00E9", {}}).text(),
              "a,b\na,\"\n\"\n\u00E9,\n");
}

TEST(Csv, ATextForNullIsNoValueOfTheSameText) {
    FormatOptions options;
    options.null_text = "-1";
    EXPECT_EQ(Csv({NUMBER, TEXT, TEXT}, options).add({ora_number("-1"), "-1", {}}).add({{}, "1", "a"}).text(),
              "\"-1\",\"-1\",-1\r\n-1,1,a\r\n");
}

// The batch grows while the row is written.
TEST(Csv, TextsOfEverySizeInOneRow) {
    std::vector<ColumnKind> kinds;
    Values values;
    std::string expected;
    for (size_t size = 1; size < 4000; size = size * 3 / 2 + 1) {
        kinds.insert(kinds.end(), {TEXT, NUMBER});
        values.insert(values.end(), {std::string(size, 'x'), ora_number("12345678")});
        expected += (expected.empty() ? "" : ",") + std::string(size, 'x') + ",12345678";
    }
    EXPECT_EQ(Csv(kinds).add(values).add(values).text(), expected + "\r\n" + expected + "\r\n");
}

TEST(Csv, ARowOfManyBytesIsGivenAwayInParts) {
    constexpr size_t COLUMNS = 1000, SIZE = 4000;
    Csv csv(std::vector<ColumnKind>(COLUMNS, TEXT));
    csv.add(Values(COLUMNS, std::string(SIZE, 'x')));
    std::string expected;
    for (size_t i = 0; i < COLUMNS; ++i)
        expected += (i > 0 ? "," : "") + std::string(SIZE, 'x');
    EXPECT_EQ(csv.text(), expected + "\r\n");
    EXPECT_EQ(csv.rows(), 1U);
    EXPECT_GE(csv.longest(), RowBatch::FULL_SIZE);
    EXPECT_LT(csv.longest(), 2 * RowBatch::FULL_SIZE);
}

} // namespace
