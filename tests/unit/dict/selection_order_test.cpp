// The order in which the sorts leave their files: that of a selection sort with exchanges, also among records
// with equal keys.
#include <algorithm>
#include <numeric>
#include <random>

#include "dict/selection_order.h"
#include "selection_sort.h"
#include "sort_family.h"

namespace vexlo_test {
namespace {

using key_list = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

key_list ascending(std::uint32_t n) {
    key_list keys;
    for (std::uint32_t i = 0; i < n; i++)
        keys.push_back({i / 3, i % 3});
    return keys;
}

key_list random_keys(std::uint32_t n, std::uint32_t values, std::mt19937 &random) {
    key_list keys;
    for (std::uint32_t i = 0; i < n; i++)
        keys.push_back(
            {static_cast<std::uint32_t>(random()) % values, static_cast<std::uint32_t>(random()) % values});
    return keys;
}

// Keys that sort wrongly when compared as signed numbers or by their sum.
key_list extreme_keys(std::uint32_t n, std::mt19937 &random) {
    const std::uint32_t extremes[] = {0, 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF};
    key_list keys;
    for (std::uint32_t i = 0; i < n; i++)
        keys.push_back({extremes[random() % 6], extremes[random() % 6]});
    return keys;
}

// Shapes in which exchanges carry records far across their equals.
std::vector<key_list> adversarial_shapes(std::uint32_t n) {
    const key_list sorted = ascending(n);
    key_list reversed(sorted.rbegin(), sorted.rend());
    key_list rotated = sorted;
    std::rotate(rotated.begin(), rotated.end() - 1, rotated.end());
    key_list back = sorted;
    std::rotate(back.begin(), back.begin() + 1, back.end());
    key_list equal(n, {7, 7}), alternating, pipe, saw, blocks;
    for (std::uint32_t i = 0; i < n; i++) {
        alternating.push_back({1 - i % 2, 0});
        pipe.push_back({std::min(i, n - i), 1});
        saw.push_back({i % 5, i % 2});
        blocks.push_back({(n - i) / 10, 3});
    }
    return {sorted, reversed, rotated, back, equal, alternating, pipe, saw, blocks};
}

template <class FILE_TYPE>
class SortOrder : public store_context {
protected:
    using REC = typename FILE_TYPE::record;

    static std::vector<REC> records(const key_list &keys) {
        std::vector<REC> made;
        for (const auto &[first, second] : keys) {
            made.push_back(numbered_record<REC>(static_cast<std::uint32_t>(made.size()) + 1));
            FILE_TYPE::set_key(made.back(), first, second);
        }
        FILE_TYPE::complete(made);
        return made;
    }

    void expect_selection_order(const key_list &keys) const {
        std::vector<REC> expected = records(keys);
        store(FILE_TYPE::name, expected);
        ASSERT_EQ(FILE_TYPE::sort(), 0);
        selection_sort(expected, FILE_TYPE::less);
        ASSERT_TRUE(read_file(path(FILE_TYPE::name)) == raw_records(expected)) << keys.size() << " records";
    }
};

TYPED_TEST_SUITE(SortOrder, all_files, file_names);

TYPED_TEST(SortOrder, RandomKeysWithManyEqualOnes) {
    std::mt19937 random(5);
    for (const std::uint32_t values : {1U, 2U, 3U, 10U, 1000U})
        for (const std::uint32_t n : {0U, 1U, 2U, 3U, 5U, 17U, 64U, 150U})
            ASSERT_NO_FATAL_FAILURE(this->expect_selection_order(random_keys(n, values, random)));
}

TYPED_TEST(SortOrder, AdversarialShapes) {
    for (const std::uint32_t n : {4U, 31U, 128U})
        for (const key_list &keys : adversarial_shapes(n))
            ASSERT_NO_FATAL_FAILURE(this->expect_selection_order(keys));
}

TYPED_TEST(SortOrder, KeysAreUnsigned) {
    std::mt19937 random(11);
    for (int round = 0; round < 5; round++)
        ASSERT_NO_FATAL_FAILURE(this->expect_selection_order(extreme_keys(40, random)));
}

TYPED_TEST(SortOrder, TwoSortsGiveWhatTwoSelectionSortsGive) {
    std::mt19937 random(17);
    std::vector<typename TypeParam::record> expected = this->records(random_keys(60, 4, random));
    this->store(TypeParam::name, expected);
    ASSERT_EQ(TypeParam::sort(), 0);
    ASSERT_EQ(TypeParam::sort(), 0);
    selection_sort(expected, TypeParam::less);
    selection_sort(expected, TypeParam::less);
    EXPECT_TRUE(read_file(this->path(TypeParam::name)) == raw_records(expected));
}

struct keyed {
    std::uint32_t key;
    std::uint32_t id;
    bool operator==(const keyed &) const = default;
};

void expect_selection_order(std::vector<keyed> records) {
    std::vector<keyed> expected = records;
    selection_sort(expected, [](const keyed &a, const keyed &b) { return a.key < b.key; });
    const auto n = static_cast<std::uint32_t>(records.size());
    std::vector<std::uint32_t> scratch(static_cast<std::size_t>(selection_scratch(n)));
    selection_order(
        records.data(), n, [](const keyed &r) { return std::uint64_t{r.key}; }, scratch.data());
    ASSERT_EQ(records.size(), expected.size());
    for (std::size_t i = 0; i < records.size(); i++)
        ASSERT_EQ(records[i], expected[i]) << "position " << i << " of " << records.size();
}

TEST(SelectionOrder, EveryArrayOfUpToEightRecordsWithThreeKeys) {
    for (std::uint32_t n = 0, arrays = 1; n <= 8; n++, arrays *= 3) {
        for (std::uint32_t number = 0; number < arrays; number++) {
            std::vector<keyed> records;
            for (std::uint32_t i = 0, digits = number; i < n; i++, digits /= 3)
                records.push_back({digits % 3, i});
            ASSERT_NO_FATAL_FAILURE(expect_selection_order(records));
        }
    }
}

TEST(SelectionOrder, EveryPermutationOfSevenRecords) {
    std::vector<keyed> records;
    for (std::uint32_t i = 0; i < 7; i++)
        records.push_back({i, i});
    do
        ASSERT_NO_FATAL_FAILURE(expect_selection_order(records));
    while (std::next_permutation(records.begin(), records.end(),
                                 [](const keyed &a, const keyed &b) { return a.key < b.key; }));
}

TEST(SelectionOrder, LargeRandomArrays) {
    std::mt19937 random(23);
    for (const std::uint32_t values : {2U, 7U, 40U, 1000U, 1U << 31}) {
        std::vector<keyed> records;
        for (std::uint32_t i = 0; i < 2000; i++)
            records.push_back({static_cast<std::uint32_t>(random()) % values, i});
        ASSERT_NO_FATAL_FAILURE(expect_selection_order(records));
    }
}

// A selection sort of keys 0 and 1 in linear time: the zeros behind the current position never move before
// their turn, so that the search for the next one goes on where the last one was found.
std::vector<LOBIDX> sorted_bits(std::vector<LOBIDX> records) {
    std::size_t next = 0;
    for (std::size_t i = 0; i < records.size(); i++) {
        next = std::max(next, i);
        while (next < records.size() && records[next].objn != 0)
            next++;
        if (next == records.size())
            break;
        std::swap(records[i], records[next]);
    }
    return records;
}

class SortLargeFile : public store_context {};

TEST_F(SortLargeFile, EqualKeysInAHeapArrayKeepTheOrderOfTheExchanges) {
    std::mt19937 random(29);
    std::vector<LOBIDX> records;
    while (records.size() * sizeof(LOBIDX) <= std::size_t{WORK_SIZE}) {
        records.push_back(numbered_record<LOBIDX>(static_cast<std::uint32_t>(records.size())));
        records.back().objn = static_cast<std::uint32_t>(random() >> 7) & 1;
    }
    store("ind", records);
    ASSERT_EQ(sort_lob_index_by_objn(), 0);
    EXPECT_EQ(g_ctx.sys.nidx, records.size());
    EXPECT_EQ(g_ctx.lidx, nullptr);
    EXPECT_TRUE(read_file(path("ind")) == raw_records(sorted_bits(records)));
}

TEST_F(SortLargeFile, DistinctKeysInAHeapArray) {
    std::mt19937 random(31);
    std::vector<COL> records;
    while (records.size() * sizeof(COL) <= std::size_t{WORK_SIZE}) {
        const auto i = static_cast<std::uint32_t>(records.size());
        records.push_back(numbered_record<COL>(i));
        records.back().objn = i / 7;
        records.back().scid = i % 7;
    }
    const bytes sorted = raw_records(records);
    std::shuffle(records.begin(), records.end(), random);
    store("col", records);
    ASSERT_EQ(sort_col_by_scid(), 0);
    EXPECT_EQ(g_ctx.sys.ncol, records.size());
    EXPECT_TRUE(read_file(path("col")) == sorted);
}

} // namespace
} // namespace vexlo_test
