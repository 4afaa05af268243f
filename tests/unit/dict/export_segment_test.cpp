// One export as a whole, with a buffer so small that every boundary is met.
#include <unistd.h>

#include "command_map.h"
#include "decoder_fixture.h"
#include "dict/dict_file.h"
#include "dict/export.h"
#include "sample/segment.h"

using namespace vexlo_test;

namespace {

using sample::Row;

class SegmentExport : public DecoderTest {
protected:
    // Room for 51 properties, the header block, the decoder's block, and runs of two blocks.
    static constexpr int BUFFER = 16400;
    static constexpr int BATCH = 51;
    static constexpr uint32_t HEADER = 20;
    static constexpr uint32_t HEADER_RDBA = 1U << 22 | HEADER;
    static constexpr uint32_t FIRST = 30; // first block of the extent

    SegmentExport() : buffer_(BUFFER) {
        g_ctx.par.flag = PAR_CHECKSUM;
        g_ctx.sys.nobj = 99;
    }

    static std::string name_of(int i) { return "P" + std::to_string(i); }

    // Stores a data block with properties numbered from `first` on.
    void store_properties(uint32_t block, int first, int count) {
        sample::TableBlock rows = make_block(decoder_of("PROPS"), 1U << 22 | block);
        for (int i = first; i < first + count; i++)
            rows.add(sample::encode_piece({}, Row{sample::text(name_of(i)), sample::text("v")}));
        store(block, rows.finish());
    }

    void store_map(uint32_t block, uint8_t type, const std::vector<sample::Extent> &extents,
                   uint32_t next = 0) {
        sample::CacheHeader header;
        header.type = type;
        header.rdba = 1U << 22 | block;
        store(block, sample::encode_extent_map(BLOCK_SIZE, header, 98, extents, next));
    }

    struct outcome {
        int result;
        std::string err;
    };

    outcome run(uint32_t rdba = HEADER_RDBA) {
        testing::internal::CaptureStderr();
        const int result = export_props(0, rdba, buffer_.data(), BUFFER);
        return {result, testing::internal::GetCapturedStderr()};
    }

    std::string file() const { return dict_file(decoder_of("PROPS")); }

    void expect_properties(int count) const {
        bytes expected;
        for (int i = 0; i < count; i++) {
            const bytes record = make_record({}, {{name_of(i), 32}, {"v", 128}});
            expected.insert(expected.end(), record.begin(), record.end());
        }
        EXPECT_EQ(hex_records(read_file(file()), 160), hex_records(expected, 160));
    }

    static std::string address(uint32_t block) {
        char text[16];
        snprintf(text, sizeof text, "%x", 1U << 22 | block);
        return text;
    }

    bytes buffer_; // exactly as long as it is said to be, so that a step beyond it is noticed
};

TEST_F(SegmentExport, ExtentLongerThanTheBufferIsReadInSeveralRuns) {
    store_map(HEADER, 0x10, {{1U << 22 | FIRST, 5}});
    for (int b = 0; b < 5; b++)
        store_properties(FIRST + static_cast<uint32_t>(b), 3 * b, 3);
    const outcome o = run();
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(g_ctx.sys.nobj, 15U);
    EXPECT_EQ(g_ctx.fd, -1);
    expect_properties(15);
}

TEST_F(SegmentExport, ReadErrorNamesTheAddressAtWhichItsRunBegins) {
    const uint32_t run_of_block[] = {0, 0, 2, 2, 4};
    for (uint32_t bad = 0; bad < 5; bad++) {
        store_map(HEADER, 0x10, {{1U << 22 | FIRST, 5}});
        for (uint32_t b = 0; b < 5; b++)
            store_properties(FIRST + b, 0, 1);
        store(FIRST + bad, sample::Bytes{0x07}); // another type without another check value
        const outcome o = run();
        EXPECT_EQ(o.result, -1);
        EXPECT_EQ(o.err, "block rdba=0x" + address(FIRST + bad) +
                             " check value not matched.\nread extent rdba=" +
                             address(FIRST + run_of_block[bad]) + " error.\n");
        EXPECT_EQ(g_ctx.sys.nobj, 0U) << "nothing was flushed";
        EXPECT_FALSE(file_exists(file()));
    }
}

TEST_F(SegmentExport, ChainedMapsAreFollowedToTheEnd) {
    store_map(HEADER, 0x23, {{1U << 22 | FIRST, 1}}, 1U << 22 | 21);
    store_map(21, 0x24, {{1U << 22 | (FIRST + 1), 1}, {1U << 22 | (FIRST + 2), 1}}, 1U << 22 | 22);
    store_map(22, 0x12, {{1U << 22 | (FIRST + 3), 1}});
    for (int b = 0; b < 4; b++)
        store_properties(FIRST + static_cast<uint32_t>(b), 2 * b, 2);
    EXPECT_EQ(run().result, 0);
    EXPECT_EQ(g_ctx.sys.nobj, 8U);
    expect_properties(8);
}

TEST_F(SegmentExport, EmptySegmentTruncatesTheFileAndCountsZero) {
    store_map(HEADER, 0x10, {});
    write_text(file(), "left by an earlier run");
    EXPECT_EQ(run().result, 0);
    EXPECT_EQ(g_ctx.sys.nobj, 0U);
    EXPECT_EQ(read_file(file()).size(), 0U);
}

TEST_F(SegmentExport, CapacityOfTheRecordArrayIsHalfTheBuffer) {
    store_map(HEADER, 0x10, {{1U << 22 | FIRST, 3}});
    store_properties(FIRST, 0, 25);
    store_properties(FIRST + 1, 25, 25);
    store_properties(FIRST + 2, 50, 2);
    store(FIRST + 3, sample::Bytes(BLOCK_SIZE));
    EXPECT_EQ(run().result, 0);
    EXPECT_EQ(g_ctx.sys.nobj, 52U);
    expect_properties(52);

    // The last block is wrong now: the counter and the file hold what was flushed before, a whole batch.
    store_map(HEADER, 0x10, {{1U << 22 | FIRST, 3}, {1U << 22 | (FIRST + 3), 1}});
    store(FIRST + 3, sample::Bytes{0x55});
    EXPECT_EQ(run().result, -1);
    EXPECT_EQ(g_ctx.sys.nobj, static_cast<uint32_t>(BATCH));
    EXPECT_NE(g_ctx.fd, -1) << "still open on the batch that was written";
    expect_properties(BATCH);
}

TEST_F(SegmentExport, ExactlyOneBatchIsCountedOnce) {
    store_map(HEADER, 0x10, {{1U << 22 | FIRST, 2}});
    store_properties(FIRST, 0, 26);
    store_properties(FIRST + 1, 26, 25);
    EXPECT_EQ(run().result, 0);
    EXPECT_EQ(g_ctx.sys.nobj, 51U);
    expect_properties(51);
}

TEST_F(SegmentExport, FailedLookupLeavesTheCounterAsItWas) {
    const struct {
        const char *table;
        int (*run)(const BOOTSTRAP *, int, uint8_t *, int);
        uint32_t ZUKSYS::*count;
    } cases[] = {{"USER$", export_user, &ZUKSYS::nu},    {"TS$", export_ts, &ZUKSYS::nts},
                 {"OBJ$", export_obj, &ZUKSYS::nobj},    {"TAB$", export_tab, &ZUKSYS::ntab},
                 {"CLU$", export_clu, &ZUKSYS::ntab},    {"COL$", export_col, &ZUKSYS::ncol},
                 {"IND$", export_lob_ind, &ZUKSYS::nidx}};
    for (const auto &c : cases) {
        g_ctx.sys.*c.count = 4711;
        testing::internal::CaptureStderr();
        EXPECT_EQ(c.run(nullptr, 0, buffer_.data(), BUFFER), -1);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(c.table) +
                                                              " table sql_text not found.\nget " + c.table +
                                                              " table segment header rdba error.\n");
        EXPECT_EQ(g_ctx.sys.*c.count, 4711U) << c.table;
    }
}

TEST_F(SegmentExport, UnreadableHeaderSetsTheCounterToZero) {
    const outcome o = run();
    EXPECT_EQ(o.result, -1);
    EXPECT_EQ(o.err, "block rdba=0x" + address(HEADER) +
                         " check value not matched.\nread extent rdba=" + address(HEADER) + " error.\n");
    EXPECT_EQ(g_ctx.sys.nobj, 0U);
}

// Only the `next` of a map says with 0 that there is nothing to read.
TEST_F(SegmentExport, HeaderAtAddressZeroIsReadLikeAnyOther) {
    g_ctx.par.flag = 0;
    outcome o = run(0);
    EXPECT_EQ(o.result, -1);
    EXPECT_EQ(o.err, "read extent rdba=0 error.\n");
    EXPECT_FALSE(file_exists(file()));
    sample::CacheHeader header;
    header.type = sample::BLOCK_FILE_HEADER;
    store(0, sample::empty_block(BLOCK_SIZE, header));
    o = run(0);
    EXPECT_EQ(o.result, -1);
    EXPECT_EQ(o.err, "error block type: b\n");
    EXPECT_FALSE(file_exists(file()));
}

TEST_F(SegmentExport, HeaderThatIsNotDeliveredWholeIsAReadFailure) {
    g_ctx.par.flag = 0;
    store(HEADER, sample::Bytes{0x10});
    EXPECT_EQ(run().err, "read extent rdba=" + address(HEADER) + " error.\n");
}

TEST_F(SegmentExport, BlocksThatAreNotDeliveredWholeAreNotDecoded) {
    g_ctx.par.flag = 0;
    store_map(HEADER, 0x10, {{1U << 22 | FIRST, 4}});
    store_properties(FIRST, 0, 3);
    store_properties(FIRST + 1, 3, 3);
    ASSERT_EQ(ftruncate(system_.fd, static_cast<off_t>(BLOCK_SIZE) * (FIRST + 2) - 1), 0);
    EXPECT_EQ(run().result, 0);
    EXPECT_EQ(g_ctx.sys.nobj, 3U);
    expect_properties(3);
}

using ExportHandle = clean_context;

TEST_F(ExportHandle, WithoutARootAddressNothingIsRead) {
    char args[] = "dict";
    testing::internal::CaptureStderr();
    EXPECT_EQ(export_dict_handle(args), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "root dba not found, 1# datafile not in file list.\n");
}

TEST_F(ExportHandle, FormatIsCheckedBeforeTheRootAddress) {
    char args[] = "dic";
    testing::internal::CaptureStderr();
    EXPECT_EQ(export_dict_handle(args), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "export command format error.\n");
}

} // namespace
