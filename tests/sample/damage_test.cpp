#include <gtest/gtest.h>

#include "reader.h"
#include "sample/damage.h"
#include "sample/segment.h"

using namespace sample;
using namespace sample_test;

namespace {

constexpr size_t BLOCK = 2048;

class Damage : public testing::Test {
protected:
    Damage() {
        DatafileInfo info;
        info.path = dir_.path() / "f";
        info.block_size = BLOCK;
        info.checkpoint_scn = 500;
        Datafile file(info);
        TableBlockOptions options;
        options.block_size = BLOCK;
        options.cache.rdba = make_rdba(1, 9);
        options.cache.scn_base = 0x12345678;
        TableBlock block(options);
        block.add(encode_piece({}, Row{number(1), text("sound")}));
        before_ = block.finish();
        file.write_block(file.allocate(1), before_);
        file.close(0);
        place_ = {info.path, BLOCK, 9};
    }

    Bytes after() const { return fetch_block(place_.path, BLOCK, 9); }
    static Bytes tail(const Bytes &block) { return {block.end() - 4, block.end()}; }

    TempDir dir_;
    DamagePlace place_;
    Bytes before_;
};

TEST_F(Damage, CheckValueAloneIsWrong) {
    damage_check_value(place_);
    EXPECT_NE(fold_words(after()), 0);
    EXPECT_EQ(tail(after()), tail(before_));
}

TEST_F(Damage, TornBlockHasTheTailOfAnotherVersion) {
    tear_block(place_);
    EXPECT_EQ(fold_words(after()), 0);
    EXPECT_NE(tail(after()), tail(before_));
}

TEST_F(Damage, MisplacedBlockIsSoundOtherwise) {
    misplace_block(place_, make_rdba(1, 99));
    EXPECT_EQ(fold_words(after()), 0);
    EXPECT_EQ(fetch_le32(&after()[4]), make_rdba(1, 99));
    EXPECT_EQ(tail(after()), tail(before_));
}

TEST_F(Damage, LostBlockIsZeroOrAnything) {
    overwrite_block(place_, 1);
    EXPECT_NE(fold_words(after()), 0);
    zero_block(place_);
    EXPECT_EQ(after(), Bytes(BLOCK));
}

TEST_F(Damage, ExtentMapGoesOnWhereItIsTold) {
    CacheHeader header;
    header.type = BLOCK_ASSM_EXTENT_MAP;
    header.rdba = make_rdba(1, 9);
    replace_block(place_.path, BLOCK, 9, encode_extent_map(BLOCK, header, 5, {}, 0));
    redirect_extent_map(place_, header.rdba);
    EXPECT_EQ(fold_words(after()), 0);
    EXPECT_EQ(fetch_le32(&after()[24]), header.rdba);
}

TEST_F(Damage, CopyDiffersInItsCheckpointAlone) {
    copy_with_checkpoint(place_.path, dir_.path() / "copy", BLOCK, 0x100000400);
    Bytes header = fetch_block(dir_.path() / "copy", BLOCK, 1);
    EXPECT_EQ(fold_words(header), 0);
    EXPECT_EQ(fetch_le32(&header[484]), 0x400U);
    EXPECT_EQ(fetch_le16(&header[488]), 1);
    EXPECT_EQ(fetch_block(dir_.path() / "copy", BLOCK, 9), before_);
}

} // namespace
