// What one table gets in the dump file besides its rows: the column list.
#include "segment_fixture.h"

using namespace unload_unit;

namespace {

class UnloadColumnList : public SegmentTest {};

TEST_F(UnloadColumnList, HoldsEveryUnloadedColumnInOrder) {
    std::vector<COL> cols;
    const auto add = [&](const char *name, uint32_t ctyp, uint32_t clen, uint32_t flag) {
        COL col = column(ctyp, flag);
        col.clen = clen;
        snprintf(col.name, sizeof col.name, "%s", name);
        cols.push_back(col);
    };
    add("ID", 2, 22, 0x10000);
    add("SECRET", 1, 10, 0x1);
    add("NAME", 1, 0x12345, 0x1000);
    add("GONE", 1, 10, 0x2);
    add("UNUSED", 1, 10, 0x4);
    add("D234567890123456789012345678901", 12, 7, 0x100);
    columns(cols);
    dump_builder want;
    want.column("ID", 2, 22)
        .column("NAME", 1, 0x12345, 1)
        .column("D234567890123456789012345678901", 12, 7)
        .table_end();
    EXPECT_EQ(unload().file, want.raw);
}

TEST_F(UnloadColumnList, CountThatDiffersFromTheTablesIsRefused) {
    for (uint32_t ncol : {2U, 4U}) {
        tab_.ncol = ncol;
        const Outcome got = unload_pieces({piece(H | F | L, {text("a")})});
        EXPECT_EQ(got.result, -1);
        EXPECT_EQ(got.err, "column count not matched, COLS=" + std::to_string(ncol) + ", actual=3\n");
        EXPECT_EQ(got.file, Bytes{});
    }
}

TEST_F(UnloadColumnList, Property2ColumnHasNoRecordButItsValueIsWritten) {
    columns({column(), column(VARCHAR2, 0x2), column()});
    ASSERT_EQ(list_size(), 96U);
    EXPECT_EQ(rows_of({piece(H | F | L, {text("a"), text("b"), text("c")})}),
              dump_builder().row({text("a"), text("b"), text("c")}).raw);
}

} // namespace
