#include <stdexcept>

#include <gtest/gtest.h>

#include "dict_reader.h"
#include "scratch_dir.h"

namespace vexlo_test {
namespace {

void add_number(bytes &raw, std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8)
        raw.push_back(static_cast<std::uint8_t>(value >> shift));
}

void add_text(bytes &raw, std::string_view text, std::size_t width) {
    raw.insert(raw.end(), text.begin(), text.end());
    raw.insert(raw.end(), width - text.size(), 0);
}

// A record of `n` numbers 1, 2, 3, ... in file order.
bytes numbers(std::uint32_t n) {
    bytes raw;
    for (std::uint32_t i = 1; i <= n; ++i)
        add_number(raw, i);
    return raw;
}

TEST(DictReader, NumbersAreLittleEndian) {
    bytes raw = numbers(3);
    add_number(raw, 0x89ABCDEF);
    EXPECT_EQ(raw.back(), 0x89);
    const auto records = parse_dict<dict_cluster>(raw);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0], (dict_cluster{1, 2, 3, 0x89ABCDEF}));
}

TEST(DictReader, FieldsOfTheRecordsWithoutANameFollowTheFileOrder) {
    EXPECT_EQ(parse_dict<dict_tab>(numbers(14)),
              (std::vector<dict_tab>{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}}));
    EXPECT_EQ(parse_dict<dict_ind>(numbers(8)), (std::vector<dict_ind>{{1, 2, 3, 4, 5, 6, 7, 8}}));
    EXPECT_EQ(parse_dict<dict_lob>(numbers(10)), (std::vector<dict_lob>{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}}));
    EXPECT_EQ(parse_dict<dict_tabpart>(numbers(8)), (std::vector<dict_tabpart>{{1, 2, 3, 4, 5, 6, 7, 8}}));
    EXPECT_EQ(parse_dict<dict_tabsubpart>(numbers(8)),
              (std::vector<dict_tabsubpart>{{{1, 2, 3, 4, 5, 6, 7, 8}}}));
    EXPECT_EQ(parse_dict<dict_tabcompart>(numbers(8)),
              (std::vector<dict_tabcompart>{{{1, 2, 3, 4, 5, 6, 7, 8}}}));
}

TEST(DictReader, NamesFollowTheNumbers) {
    bytes user = numbers(4);
    add_text(user, "SCOTT", 32);
    EXPECT_EQ(parse_dict<dict_user>(user), (std::vector<dict_user>{{1, 2, 3, 4, "SCOTT"}}));
    bytes ts = numbers(2);
    add_text(ts, "USERS", 32);
    EXPECT_EQ(parse_dict<dict_ts>(ts), (std::vector<dict_ts>{{1, 2, "USERS"}}));
    EXPECT_EQ(parse_dict<dict_obj>(user), (std::vector<dict_obj>{{1, 2, 3, 4, "SCOTT"}}));
    bytes col = numbers(6);
    add_text(col, "ENAME", 32);
    EXPECT_EQ(parse_dict<dict_col>(col), (std::vector<dict_col>{{1, 2, 3, 4, 5, 6, "ENAME"}}));
}

TEST(DictReader, PropsHoldNameAndValue) {
    bytes raw;
    add_text(raw, "NLS_LANGUAGE", 32);
    add_text(raw, "AMERICAN", 128);
    add_text(raw, "DBTIMEZONE", 32);
    add_text(raw, "00:00", 128);
    EXPECT_EQ(parse_dict<dict_props>(raw),
              (std::vector<dict_props>{{"NLS_LANGUAGE", "AMERICAN"}, {"DBTIMEZONE", "00:00"}}));
}

TEST(DictReader, ReadsTheFileOfTheType) {
    const scratch_dir dir;
    write_file(dir.file("tabcompart.dat"), numbers(8));
    write_file(dir.file("tabpart.dat"), {});
    EXPECT_EQ(read_dict<dict_tabcompart>(dir.path()).at(0).objp, 4U);
    EXPECT_TRUE(read_dict<dict_tabpart>(dir.path()).empty());
    EXPECT_THROW(read_dict<dict_user>(dir.path()), std::runtime_error);
}

TEST(DictReader, ABrokenRecordIsAnError) {
    bytes raw = numbers(4);
    raw.push_back(0);
    EXPECT_THROW(parse_dict<dict_cluster>(raw), std::runtime_error);
}

TEST(DictReader, ANameWithoutNulIsAnError) {
    bytes raw = numbers(2);
    add_text(raw, std::string(32, 'A'), 32);
    EXPECT_THROW(parse_dict<dict_ts>(raw), std::runtime_error);
}

} // namespace
} // namespace vexlo_test
