// Decoding the rows of a bootstrap block.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "console.h"
#include "dict/bootstrap.h"
#include "sample/block.h"

namespace {

using sample::number;
using sample::Row;
using sample::text;

constexpr uint32_t RDBA = 0x00400030;

sample::TableBlock make_block(size_t block_size = 2048) {
    sample::TableBlockOptions options;
    options.block_size = block_size;
    options.cache.rdba = RDBA;
    return sample::TableBlock(options);
}

sample::Bytes statement(int line, int objn, const std::string &sql) {
    return sample::encode_piece({}, Row{number(line), number(objn), text(sql)});
}

struct decoded {
    int rows;
    std::vector<BOOTSTRAP> bs;
    std::string err;
};

decoded decode(const sample::Bytes &block, int index = 0) {
    decoded d{0, std::vector<BOOTSTRAP>(BOOTSTRAP_ROWS), ""};
    for (BOOTSTRAP &row : d.bs)
        memset(&row, 'x', sizeof row);
    begin_damage(); // the number of lines about damage is limited
    testing::internal::CaptureStderr();
    d.rows = process_bootstrap_block(BLOCK{block.data(), static_cast<uint32_t>(block.size()), RDBA},
                                     d.bs.data(), index);
    d.err = testing::internal::GetCapturedStderr();
    return d;
}

TEST(BootstrapBlock, RowsGoBehindThoseThatAreThere) {
    sample::TableBlock block = make_block();
    block.add(statement(1, 18, "CREATE ONE"));
    block.add(statement(2, 19, "CREATE TWO"));
    const decoded d = decode(block.finish(), 5);
    EXPECT_EQ(d.rows, 2);
    EXPECT_EQ(d.bs[4].text[0], 'x');
    EXPECT_EQ(d.bs[5].line, 1U);
    EXPECT_EQ(d.bs[5].objn, 18U);
    EXPECT_STREQ(d.bs[5].text, "CREATE ONE");
    EXPECT_STREQ(d.bs[6].text, "CREATE TWO");
    EXPECT_EQ(d.bs[7].text[0], 'x');
}

TEST(BootstrapBlock, NullsAreZeroAndEmpty) {
    sample::TableBlock block = make_block();
    block.add(sample::encode_piece({}, Row{std::nullopt, std::nullopt, std::nullopt}));
    const decoded d = decode(block.finish());
    EXPECT_EQ(d.rows, 1);
    EXPECT_EQ(d.bs[0].line, 0U);
    EXPECT_EQ(d.bs[0].objn, 0U);
    EXPECT_STREQ(d.bs[0].text, "");
}

TEST(BootstrapBlock, NegativeNumbersBecomeAllOnes) {
    sample::TableBlock block = make_block();
    block.add(statement(-1, -1, "8.0.0.0.0"));
    const decoded d = decode(block.finish());
    EXPECT_EQ(d.bs[0].line, 0xFFFFFFFF);
    EXPECT_EQ(d.bs[0].objn, 0xFFFFFFFF);
}

TEST(BootstrapBlock, TextHasAShortAndALongForm) {
    for (size_t len : {1U, 250U, 253U, 254U, 255U, 1500U}) {
        sample::TableBlock block = make_block();
        const std::string sql(len, 's');
        const auto form = len <= 253 ? sample::LengthForm::one_byte : sample::LengthForm::automatic;
        sample::Bytes piece = sample::encode_piece({}, Row{number(1), number(2)});
        sample::append_column(piece, text(sql), form);
        block.add(piece);
        EXPECT_EQ(decode(block.finish()).bs[0].text, sql) << len;
    }
}

TEST(BootstrapBlock, TextIsCutTo4087Characters) {
    for (size_t len : {4086U, 4087U, 4088U, 6000U}) {
        sample::TableBlock block = make_block(8192);
        block.add(statement(1, 2, std::string(len, 's')));
        const decoded d = decode(block.finish());
        EXPECT_EQ(strlen(d.bs[0].text), std::min<size_t>(len, 4087)) << len;
        EXPECT_EQ(d.bs[1].text[0], 'x') << "the next record is not touched";
    }
}

TEST(BootstrapBlock, DeletedRowsAreNotCounted) {
    sample::TableBlock block = make_block();
    sample::Bytes deleted = statement(1, 1, "GONE");
    deleted[0] |= sample::ROW_D;
    block.add(deleted);
    block.add(statement(2, 2, "HERE"));
    const decoded d = decode(block.finish());
    EXPECT_EQ(d.rows, 1);
    EXPECT_STREQ(d.bs[0].text, "HERE");
}

TEST(BootstrapBlock, NoFlagButDeletedLockOrCountIsLookedAt) {
    sample::TableBlock block = make_block();
    for (uint8_t flags : std::vector<uint8_t>{0x00, 0x2E, 0xEF}) {
        sample::Bytes piece = statement(1, 1, "HERE");
        piece[0] = flags;
        piece[1] = 0xFF;
        piece[2] = 0;
        block.add(piece);
    }
    EXPECT_EQ(decode(block.finish()).rows, 3);
}

TEST(BootstrapBlock, BlockTypeIsNotLookedAt) {
    sample::TableBlock block = make_block();
    block.add(statement(1, 1, "HERE"));
    sample::Bytes bytes = block.finish();
    for (uint8_t type : std::vector<uint8_t>{0x00, 0x10, 0x20, 0xFF}) {
        bytes[0] = type;
        EXPECT_EQ(decode(bytes).rows, 1) << int{type};
    }
}

TEST(BootstrapBlock, EmptyBlockHasNoRow) {
    EXPECT_EQ(decode(make_block().finish()).rows, 0);
    EXPECT_EQ(decode(sample::Bytes(2048)).rows, 0);
}

TEST(BootstrapBlock, RowsAreReadFromTableZeroAlone) {
    sample::TableBlockOptions options;
    options.block_size = 2048;
    options.tables = 2;
    sample::TableBlock block(options);
    block.add(statement(1, 1, "ZERO"), 0);
    block.add(statement(2, 2, "ONE"), 1);
    const decoded d = decode(block.finish());
    EXPECT_EQ(d.rows, 1);
    EXPECT_STREQ(d.bs[0].text, "ZERO");
}

TEST(BootstrapBlock, RowsAreTheFirstEntriesOfTheDirectory) {
    // Of the table directory only the number of rows counts, not where they are said to begin.
    sample::TableBlock block = make_block();
    for (const char *name : {"A", "B", "C"})
        block.add(statement(1, 1, name));
    sample::Bytes bytes = block.finish();
    constexpr size_t KDBT = 100 + 14;
    bytes[KDBT] = 1;
    bytes[KDBT + 2] = 2;
    const decoded d = decode(bytes);
    EXPECT_EQ(d.rows, 2);
    EXPECT_STREQ(d.bs[0].text, "A");
    EXPECT_STREQ(d.bs[1].text, "B");
}

TEST(BootstrapBlock, ItlCountAndExtraAreaPlaceTheRows) {
    sample::TableBlockOptions options;
    options.block_size = 2048;
    options.itl.resize(3);
    options.itl_count_high = 7;
    options.extra = sample::ExtraArea{0, 0xABCD, sample::Bytes(16)};
    sample::TableBlock block(options);
    block.add(statement(1, 1, "HERE"));
    EXPECT_STREQ(decode(block.finish()).bs[0].text, "HERE");
}

TEST(BootstrapBlock, RowsBehindThe64thAreDropped) {
    sample::TableBlock block = make_block();
    for (int i = 0; i < 4; i++)
        block.add(statement(i, i, "HERE"));
    EXPECT_EQ(decode(block.finish(), 61).rows, 3);
    EXPECT_EQ(decode(block.finish(), 64).rows, 0);
}

TEST(BootstrapBlock, FreeChainIsNotFollowed) {
    // The chain names entry 1, whose offset still leads to a row: it is one here.
    sample::TableBlock block = make_block();
    for (int i = 0; i < 3; i++)
        block.add(statement(i, i, "HERE"));
    sample::Bytes bytes = block.finish();
    bytes[100 + 4] = 1;
    bytes[100 + 5] = 0;
    EXPECT_EQ(decode(bytes).rows, 3);
}

TEST(BootstrapBlock, FreeEntriesAreNoDamage) {
    sample::TableBlock block = make_block();
    block.add_free();
    block.add(statement(1, 1, "HERE"));
    block.add_free();
    const decoded d = decode(block.finish());
    EXPECT_EQ(d.rows, 1);
    EXPECT_EQ(d.err, "");
}

TEST(BootstrapBlock, DamagedRowIsLeftOutWithALineAndTheRestIsRead) {
    sample::TableBlock block = make_block();
    sample::Bytes cut = sample::encode_piece({}, Row{number(1)});
    cut.insert(cut.end(), {0xFD});
    block.add(cut);
    block.add_raw_offset(32000);
    block.add(statement(2, 2, "HERE"));
    const decoded d = decode(block.finish());
    EXPECT_EQ(d.rows, 1);
    EXPECT_STREQ(d.bs[0].text, "HERE");
    EXPECT_EQ(d.err, "block rdba=0x00400030 row 0 damaged, skip this row data.\n"
                     "block rdba=0x00400030 row 1 damaged, skip this row data.\n");
}

} // namespace
