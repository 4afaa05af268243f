// The lookups: binary searches whose halving decides which of several equal records is found.
#include <algorithm>
#include <random>

#include "dict/lookup.h"
#include "store_context.h"

namespace vexlo_test {
namespace {

// Index that the halving search of `keys` ends at, or -1.
int halving_search(const std::vector<std::uint64_t> &keys, std::uint64_t wanted) {
    int low = 0, high = static_cast<int>(keys.size()) - 1;
    while (low <= high) {
        const int mid = (low + high) / 2;
        const std::uint64_t key = keys[static_cast<std::size_t>(mid)];
        if (key == wanted)
            return mid;
        if (key > wanted)
            high = mid - 1;
        else
            low = mid + 1;
    }
    return -1;
}

template <class REC>
void load(const DICT_TABLE<REC> &slot, const std::vector<REC> &records) {
    clear_slot(slot);
    auto *own = static_cast<REC *>(std::malloc(records.size() * sizeof(REC) + 1));
    if (!records.empty())
        std::memcpy(own, records.data(), records.size() * sizeof(REC));
    fill_slot(slot, own, static_cast<std::uint32_t>(records.size()));
    g_ctx.sys.*slot.count = static_cast<std::uint32_t>(records.size());
}

// One lookup by a single key.
template <class REC, const DICT_TABLE<REC> &SLOT, std::uint32_t REC::*KEY, int (*LOOKUP)(std::uint32_t)>
struct single_lookup {
    static constexpr const char *name = SLOT.file;
    static int find(std::uint32_t key) { return LOOKUP(key); }
    static void set_count(std::uint32_t count) { g_ctx.sys.*SLOT.count = count; }

    static void load_keys(const std::vector<std::uint32_t> &keys) {
        std::vector<REC> records;
        for (const std::uint32_t key : keys) {
            records.push_back(numbered_record<REC>(0xABABABAB));
            records.back().*KEY = key;
        }
        load(SLOT, records);
    }
};

using single_lookups = testing::Types<single_lookup<USER, USER_TABLE, &USER::uid, lookup_user>,
                                      single_lookup<OBJ, OBJ_TABLE, &OBJ::objn, lookup_obj>,
                                      single_lookup<TAB, TAB_TABLE, &TAB::objn, lookup_tab>,
                                      single_lookup<LOBIDX, IND_TABLE, &LOBIDX::objn, lookup_lob_index>>;

struct lookup_names {
    template <class LOOKUP>
    static std::string GetName(int) {
        return LOOKUP::name;
    }
};

template <class LOOKUP>
class Lookup : public store_context {};

TYPED_TEST_SUITE(Lookup, single_lookups, lookup_names);

TYPED_TEST(Lookup, NothingIsFoundBeforeALoad) {
    EXPECT_EQ(TypeParam::find(0), -1);
    TypeParam::set_count(100); // a count that a failed export left
    EXPECT_EQ(TypeParam::find(0), -1);
}

TYPED_TEST(Lookup, NothingIsFoundInAnEmptyArray) {
    TypeParam::load_keys({});
    EXPECT_EQ(TypeParam::find(0), -1);
    EXPECT_EQ(TypeParam::find(0xFFFFFFFF), -1);
}

TYPED_TEST(Lookup, KeysOutsideTheRangeOrBetweenRecordsAreNotFound) {
    TypeParam::load_keys({10, 20, 30});
    for (const std::uint32_t key : {0U, 9U, 11U, 29U, 31U, 0x80000000U, 0xFFFFFFFFU})
        EXPECT_EQ(TypeParam::find(key), -1) << key;
}

TYPED_TEST(Lookup, EveryRecordOfEveryArraySizeIsFound) {
    std::vector<std::uint32_t> keys;
    for (std::uint32_t n = 1; n <= 20; n++) {
        keys.push_back(n * 5);
        TypeParam::load_keys(keys);
        for (std::uint32_t i = 0; i < n; i++)
            EXPECT_EQ(TypeParam::find(keys[i]), static_cast<int>(i));
    }
}

TYPED_TEST(Lookup, KeysAreUnsigned) {
    TypeParam::load_keys({1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF});
    EXPECT_EQ(TypeParam::find(1), 0);
    EXPECT_EQ(TypeParam::find(0x80000000), 2);
    EXPECT_EQ(TypeParam::find(0xFFFFFFFF), 3);
}

TYPED_TEST(Lookup, OfEqualRecordsTheOneThatTheHalvingMeetsIsFound) {
    std::mt19937 random(3);
    for (int round = 0; round < 200; round++) {
        std::vector<std::uint32_t> keys(random() % 30);
        for (std::uint32_t &key : keys)
            key = static_cast<std::uint32_t>(random() % 8);
        std::sort(keys.begin(), keys.end());
        TypeParam::load_keys(keys);
        for (std::uint32_t key = 0; key < 9; key++)
            EXPECT_EQ(TypeParam::find(key), halving_search({keys.begin(), keys.end()}, key));
    }
}

class LookupLob : public store_context {
protected:
    struct lob_key {
        std::uint32_t objp, cid;
    };

    static void load_lobs(const std::vector<lob_key> &keys) {
        std::vector<LOB> lobs;
        for (const lob_key &key : keys) {
            lobs.push_back(numbered_record<LOB>(0xABABABAB));
            lobs.back().objp = key.objp;
            lobs.back().cid = key.cid;
        }
        load(LOB_TABLE, lobs);
    }
};

TEST_F(LookupLob, NothingIsFoundBeforeALoadOrInAnEmptyArray) {
    g_ctx.sys.nlob = 5;
    EXPECT_EQ(lookup_lob(0, 0), -1);
    load_lobs({});
    EXPECT_EQ(lookup_lob(0, 0), -1);
}

TEST_F(LookupLob, BothTableAndColumnMustBeEqual) {
    load_lobs({{10, 2}, {10, 5}, {11, 1}, {0xFFFFFFFF, 0xFFFFFFFF}});
    EXPECT_EQ(lookup_lob(10, 2), 0);
    EXPECT_EQ(lookup_lob(10, 5), 1);
    EXPECT_EQ(lookup_lob(11, 1), 2);
    EXPECT_EQ(lookup_lob(0xFFFFFFFF, 0xFFFFFFFF), 3);
    EXPECT_EQ(lookup_lob(10, 1), -1);
    EXPECT_EQ(lookup_lob(10, 3), -1);
    EXPECT_EQ(lookup_lob(11, 2), -1);
    EXPECT_EQ(lookup_lob(12, 1), -1);
}

// The file is ordered by segment number and the search goes by table number: where a younger segment belongs
// to an older table, the search passes records by.
TEST_F(LookupLob, ArrayOrderedBySegmentIsSearchedByTableAllTheSame) {
    load_lobs({{30, 1}, {20, 1}, {10, 1}});
    EXPECT_EQ(lookup_lob(20, 1), 1);
    EXPECT_EQ(lookup_lob(10, 1), -1);
    EXPECT_EQ(lookup_lob(30, 1), -1);
}

TEST_F(LookupLob, AnyOrderGivesWhatTheHalvingGives) {
    std::mt19937 random(7);
    for (int round = 0; round < 300; round++) {
        std::vector<lob_key> lobs(random() % 15);
        std::vector<std::uint64_t> keys;
        for (lob_key &lob : lobs) {
            lob = {static_cast<std::uint32_t>(random() % 4), static_cast<std::uint32_t>(random() % 4)};
            keys.push_back(std::uint64_t{lob.objp} << 32 | lob.cid);
        }
        load_lobs(lobs);
        for (std::uint32_t objp = 0; objp < 4; objp++)
            for (std::uint32_t cid = 0; cid < 4; cid++)
                EXPECT_EQ(lookup_lob(objp, cid), halving_search(keys, std::uint64_t{objp} << 32 | cid));
    }
}

} // namespace
} // namespace vexlo_test
