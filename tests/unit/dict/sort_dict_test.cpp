// What a sort reads, writes, counts and leaves behind, and what is left when it fails.
#include <algorithm>
#include <filesystem>

#include "sort_family.h"

namespace vexlo_test {
namespace {

constexpr std::uint32_t OLD_COUNT = 4711; // a count that no test's file has

// `n` records in descending key order, with what the file's sort needs to succeed behind them.
template <class FILE_TYPE>
std::vector<typename FILE_TYPE::record> descending(std::uint32_t n) {
    std::vector<typename FILE_TYPE::record> records;
    for (std::uint32_t i = 0; i < n; i++) {
        records.push_back(numbered_record<typename FILE_TYPE::record>(i + 1));
        FILE_TYPE::set_key(records.back(), n - i, n - i);
    }
    FILE_TYPE::complete(records);
    return records;
}

// A file just larger than the work buffer, in ascending order.
template <class FILE_TYPE>
std::vector<typename FILE_TYPE::record> more_than_work_buffer() {
    constexpr auto n = static_cast<std::uint32_t>(WORK_SIZE / sizeof(typename FILE_TYPE::record)) + 1;
    std::vector<typename FILE_TYPE::record> records = descending<FILE_TYPE>(n);
    std::reverse(records.begin(), records.begin() + n);
    return records;
}

template <class FILE_TYPE>
class SortProtocol : public store_context {
protected:
    using REC = typename FILE_TYPE::record;

    SortProtocol() { g_ctx.sys.*FILE_TYPE::slot().count = OLD_COUNT; }

    std::uint32_t count() const { return g_ctx.sys.*FILE_TYPE::slot().count; }
    const REC *array() const { return g_ctx.*FILE_TYPE::slot().array; }

    // Sorts while no file can grow beyond `limit` bytes, and expects the failure of the write.
    void expect_failed_write(rlim_t limit) const {
        int result = 0;
        const std::string said = messages_of([&] {
            const file_size_limit no_more(limit);
            result = FILE_TYPE::sort();
        });
        EXPECT_EQ(result, -1);
        EXPECT_EQ(said, "write " + path(FILE_TYPE::name) + ": File too large\n");
        EXPECT_EQ(g_ctx.fd, -1);
    }
};

TYPED_TEST_SUITE(SortProtocol, counted_files, file_names);

TYPED_TEST(SortProtocol, FewestRecordsAreRewrittenUnchangedAndCounted) {
    for (const std::uint32_t n : {0U, 1U}) {
        const auto records = descending<TypeParam>(n);
        this->store(TypeParam::name, records);
        ASSERT_EQ(TypeParam::sort(), 0);
        EXPECT_EQ(this->count(), records.size());
        EXPECT_TRUE(read_file(this->path(TypeParam::name)) == raw_records(records));
    }
}

TYPED_TEST(SortProtocol, SuccessEmptiesTheSlotAndTheDescriptor) {
    this->store(TypeParam::name, descending<TypeParam>(20));
    ASSERT_EQ(TypeParam::sort(), 0);
    EXPECT_EQ(this->array(), nullptr);
    EXPECT_EQ(g_ctx.fd, -1);
}

TYPED_TEST(SortProtocol, EarlierArrayInTheSlotIsGivenUp) {
    auto *earlier =
        static_cast<typename TypeParam::record *>(std::malloc(sizeof(typename TypeParam::record)));
    fill_slot(TypeParam::slot(), earlier, 1);
    ASSERT_EQ(messages_of([] { EXPECT_EQ(TypeParam::sort(), -1); }),
              "open " + this->path(TypeParam::name) + ": No such file or directory\n");
    EXPECT_EQ(this->array(), nullptr);
}

TYPED_TEST(SortProtocol, TrailingBytesAreDropped) {
    const auto records = descending<TypeParam>(1);
    bytes file = raw_records(records);
    file.resize(file.size() + sizeof records[0] - 1, 0xEE);
    write_file(this->path(TypeParam::name), file);
    ASSERT_EQ(TypeParam::sort(), 0);
    EXPECT_EQ(this->count(), records.size());
    EXPECT_TRUE(read_file(this->path(TypeParam::name)) == raw_records(records));
}

TYPED_TEST(SortProtocol, MissingFileLeavesSlotNullAndCountUnchanged) {
    int result = 0;
    const std::string said = messages_of([&] { result = TypeParam::sort(); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(said, "open " + this->path(TypeParam::name) + ": No such file or directory\n");
    EXPECT_EQ(this->array(), nullptr);
    EXPECT_EQ(this->count(), OLD_COUNT);
}

TYPED_TEST(SortProtocol, FailedWriteFromTheWorkBufferLeavesTheSlotPointingAtIt) {
    auto records = descending<TypeParam>(400);
    this->store(TypeParam::name, records);
    this->expect_failed_write(4096);
    EXPECT_EQ(reinterpret_cast<const std::uint8_t *>(this->array()), g_ctx.wrk);
    EXPECT_EQ(this->count(), OLD_COUNT);
    std::sort(records.begin(), records.end(), TypeParam::less);
    bytes written = raw_records(records);
    written.resize(4096);
    EXPECT_TRUE(read_file(this->path(TypeParam::name)) == written);
}

TYPED_TEST(SortProtocol, FailedWriteFromTheHeapFreesTheArray) {
    this->store(TypeParam::name, more_than_work_buffer<TypeParam>());
    this->expect_failed_write(4096);
    EXPECT_EQ(this->count(), OLD_COUNT);
    if constexpr (!std::is_same_v<TypeParam, tabcompart_file>) {
        EXPECT_EQ(this->array(), nullptr); // that one gives up the partitions' slot instead
    }
}

class SortCompositePartitions : public store_context {
protected:
    // Puts a loaded array of one record into the partition slot.
    static TABPART *load_partition() {
        auto *part = static_cast<TABPART *>(std::calloc(1, sizeof(TABPART)));
        fill_slot(TABPART_TABLE, part, 1);
        return part;
    }

    static void sort_without_room() {
        const file_size_limit no_more(4096);
        EXPECT_EQ(sort_tabcompart_by_objp(), -1);
    }
};

TEST_F(SortCompositePartitions, FailedWriteFromTheHeapClearsThePartitionSlot) {
    load_partition();
    store("tabcompart", more_than_work_buffer<tabcompart_file>());
    messages_of(sort_without_room);
    EXPECT_EQ(g_ctx.tp, nullptr);
}

TEST_F(SortCompositePartitions, FailedWriteFromTheWorkBufferKeepsThePartitionSlot) {
    const TABPART *part = load_partition();
    store("tabcompart", descending<tabcompart_file>(400));
    messages_of(sort_without_room);
    EXPECT_EQ(g_ctx.tp, part);
    EXPECT_EQ(reinterpret_cast<std::uint8_t *>(g_ctx.tcp), g_ctx.wrk);
}

TEST_F(SortCompositePartitions, SiblingSortsLeaveEachOthersSlotsAlone) {
    const TABPART *part = load_partition();
    store("tabsubpart", more_than_work_buffer<tabsubpart_file>());
    messages_of([] {
        const file_size_limit no_more(4096);
        EXPECT_EQ(sort_tabsubpart_by_objp(), -1);
    });
    EXPECT_EQ(g_ctx.tp, part);
    EXPECT_EQ(g_ctx.tsp, nullptr);
}

class SortClusters : public store_context {};

TEST_F(SortClusters, TableSlotIsBorrowedAndNoCountIsSet) {
    g_ctx.sys.ntab = OLD_COUNT;
    fill_slot(TAB_TABLE, static_cast<TAB *>(std::calloc(1, sizeof(TAB))), 1);
    store("cluster", descending<cluster_file>(9));
    ASSERT_EQ(sort_clu_by_objn(), 0);
    EXPECT_EQ(g_ctx.tab, nullptr);
    EXPECT_EQ(g_ctx.sys.ntab, OLD_COUNT);
    EXPECT_EQ(g_ctx.fd, -1);
    const std::vector<CLU> sorted = stored<CLU>("cluster");
    ASSERT_EQ(sorted.size(), 9U);
    EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end(), cluster_file::less));
}

TEST_F(SortClusters, FailuresReturnMinusOne) {
    EXPECT_EQ(messages_of([] { EXPECT_EQ(sort_clu_by_objn(), -1); }),
              "open " + path("cluster") + ": No such file or directory\n");
    store("cluster", descending<cluster_file>(400));
    const std::string said = messages_of([] {
        const file_size_limit no_more(4096);
        EXPECT_EQ(sort_clu_by_objn(), -1);
    });
    EXPECT_EQ(said, "write " + path("cluster") + ": File too large\n");
}

} // namespace
} // namespace vexlo_test
