#include <algorithm>
#include <map>
#include <tuple>

#include "rescue/segment_owners.h"
#include "rescue_fixture.h"

using namespace rescue_test;
using namespace vexlo;

namespace {

using Owned = std::tuple<uint64_t, uint64_t, std::string>; // first block, blocks, owner

class SegmentOwnersTest : public RescueTest {
protected:
    // The owners of a range of blocks of the file of USERS.
    std::vector<Owned> owners_of(uint64_t first, uint64_t blocks) {
        const ReadDatabase database(paths());
        const Datafile *file = database.files.tablespace(users()).front();
        std::vector<Owned> owned;
        for (const OwnedRange &range : name_owners({{file, {first, blocks, Health::tail}, ""}},
                                                   database.files, database.scans, database.dictionary))
            owned.emplace_back(range.range.first, range.range.blocks, range.owner);
        return owned;
    }
};

} // namespace

TEST_F(SegmentOwnersTest, ARangeIsSplitWhereExtentsBeginAndEnd) {
    sample::TableDef def = table_def(scott(), "A", users());
    def.segment.extent_blocks = 8;
    const size_t a = db().add_table(def);
    def.name = "B";
    const size_t b = db().add_table(def);
    insert_rows(a, 1, 5);
    insert_rows(b, 1, 5);
    sample::IndexDef index;
    index.owner = scott();
    index.name = "A_INDEX";
    index.table = a;
    db().add_index(index);
    db().finish();
    constexpr uint32_t BITMAPS = 2; // in front of a header in its extent
    const uint32_t first = std::min(header_block(a), header_block(b)) - BITMAPS;
    const std::vector<Owned> owned = owners_of(first, 10000);
    ASSERT_GE(owned.size(), 3u);
    std::map<std::string, uint64_t> blocks;
    uint64_t at = std::get<0>(owned.front());
    for (const auto &[start, size, owner] : owned) {
        EXPECT_EQ(start, at); // nothing is left out
        at += size;
        blocks[owner] += size;
    }
    EXPECT_EQ(at, first + 10000u);
    EXPECT_EQ(blocks["SCOTT.A"], 8u);
    EXPECT_EQ(blocks["SCOTT.B"], 8u);
    EXPECT_GT(blocks["SCOTT.A_INDEX"], 0u);
    EXPECT_GT(blocks[""], 0u);
}

TEST_F(SegmentOwnersTest, SharedSegmentsHaveTheNameOfTheirCluster) {
    sample::ClusterDef cluster;
    cluster.owner = scott();
    cluster.name = "C";
    cluster.tablespace = users();
    cluster.key = {sample::number_column("K")};
    const size_t c = db().add_cluster(cluster);
    sample::TableDef def = table_def(scott(), "MEMBER", users());
    def.columns = {sample::number_column("K"), sample::number_column("ID")};
    def.cluster = c;
    def.key_columns = {"K"};
    const size_t member = db().add_table(def);
    db().begin_key(c, {sample::number(1)});
    db().insert_member(member, {sample::number(1), sample::number(2)});
    db().finish();
    EXPECT_EQ(owners_of(db().model().clusters[c].place.block, 1),
              (std::vector<Owned>{{db().model().clusters[c].place.block, 1, "SCOTT.C"}}));
}
