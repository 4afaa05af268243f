#include <stdexcept>

#include <gtest/gtest.h>

#include "csv_reader.h"

namespace {

using vexlo_test::csv_row;
using vexlo_test::parse_csv;

TEST(CsvReader, EmptyFieldIsNullAndQuotedEmptyFieldIsText) {
    EXPECT_EQ(parse_csv("a,,\"\"\n"), (std::vector<csv_row>{{"a", std::nullopt, ""}}));
    EXPECT_EQ(parse_csv("\n"), (std::vector<csv_row>{{std::nullopt}}));
}

TEST(CsvReader, QuotedFieldsKeepWhatSeparates) {
    EXPECT_EQ(parse_csv("\"a,\"\"b\"\"\r\nc\",d\r\ne,f\r\n"),
              (std::vector<csv_row>{{"a,\"b\"\r\nc", "d"}, {"e", "f"}}));
}

TEST(CsvReader, RefusesWhatDoesNotEnd) {
    EXPECT_THROW(parse_csv("a,b"), std::invalid_argument);
    EXPECT_THROW(parse_csv("\"a\n"), std::invalid_argument);
    EXPECT_THROW(parse_csv("\"a\"b\n"), std::invalid_argument);
}

} // namespace
