#include <gtest/gtest.h>

#include "rescue/name_store.h"

using namespace vexlo;

namespace {

NameRef put(NameStore &store, std::string_view name) {
    return store.put(reinterpret_cast<const uint8_t *>(name.data()), name.size());
}

} // namespace

TEST(NameStore, NamesAreTheBytesThatWerePut) {
    NameStore store;
    const NameRef scott = put(store, "SCOTT"), none = put(store, ""), emp = put(store, "EMP");
    EXPECT_EQ(store.bytes(scott), "SCOTT");
    EXPECT_EQ(store.bytes(none), "");
    EXPECT_TRUE(none.empty());
    EXPECT_EQ(store.bytes(emp), "EMP");
    EXPECT_EQ(store.dropped(), 0u);
}

TEST(NameStore, NamesForWhichThereIsNoRoomAreEmptyAndCounted) {
    NameStore store(10);
    const NameRef scott = put(store, "SCOTT"), orders = put(store, "ORDERS"), dept = put(store, "DEPT");
    EXPECT_FALSE(put(store, "X").empty());
    EXPECT_TRUE(put(store, "Y").empty());
    EXPECT_EQ(store.bytes(scott), "SCOTT");
    EXPECT_TRUE(orders.empty());
    EXPECT_EQ(store.bytes(dept), "DEPT");
    EXPECT_EQ(store.dropped(), 2u);
}
