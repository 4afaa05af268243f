#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "selection_sort.h"

namespace vexlo_test {
namespace {

using record = std::pair<int, char>;

bool smaller(const record &a, const record &b) {
    return a.first < b.first;
}

TEST(SelectionSort, ExchangesMoveEqualKeysPastEachOther) {
    // Position 0 takes the 1, which puts 2a behind 2b.
    std::vector<record> records{{2, 'a'}, {2, 'b'}, {1, 'c'}};
    selection_sort(records, smaller);
    EXPECT_EQ(records, (std::vector<record>{{1, 'c'}, {2, 'b'}, {2, 'a'}}));
}

TEST(SelectionSort, TheFirstOfEqualMinimaIsTaken) {
    std::vector<record> records{{3, 'a'}, {1, 'b'}, {1, 'c'}};
    selection_sort(records, smaller);
    EXPECT_EQ(records, (std::vector<record>{{1, 'b'}, {1, 'c'}, {3, 'a'}}));
}

TEST(SelectionSort, EqualKeysAloneStay) {
    std::vector<record> records{{1, 'a'}, {1, 'b'}, {1, 'c'}};
    const std::vector<record> before = records;
    selection_sort(records, smaller);
    EXPECT_EQ(records, before);
}

TEST(SelectionSort, NoneAndOneRecord) {
    std::vector<record> records;
    selection_sort(records, smaller);
    EXPECT_TRUE(records.empty());
    records = {{5, 'x'}};
    selection_sort(records, smaller);
    EXPECT_EQ(records, (std::vector<record>{{5, 'x'}}));
}

} // namespace
} // namespace vexlo_test
