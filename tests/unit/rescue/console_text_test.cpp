// What a run shows on the terminal.
#include <gtest/gtest.h>

#include "rescue/rescue_progress.h"
#include "rescue/summary.h"
#include "rescue/text_table.h"

namespace vexlo {
namespace {

TEST(TextTable, ColumnsAreAsWideAsTheirWidestCell) {
    using enum TextTable::Align;
    TextTable table({left, right, left});
    table.add({"NAME", "ROWS", "NOTE"});
    table.add({"\xC3\x84\xC3\x96", "12345", ""});
    table.add({"ABCDE", "1", "x"});
    EXPECT_EQ(table.text(), "NAME    ROWS  NOTE\n"
                            "\xC3\x84\xC3\x96     12345\n"
                            "ABCDE      1  x\n");
}

TEST(Summary, HasALineForEachTableAndOneWithTheSums) {
    TableEntry emp, sales;
    emp.owner = "SCOTT";
    emp.table = "EMP";
    emp.status = TableStatus::complete;
    emp.rows = 14;
    sales.owner = "HR";
    sales.table = "SA\nLES";
    sales.partition = "P1";
    sales.status = TableStatus::partial;
    sales.rows = 1000;
    sales.suspect_rows = 2;
    sales.losses = {{"check value", 5, 10, 3}, {"tail", 5, 20, 1}};
    sales.reason = "4 blocks lost";
    EXPECT_EQ(summary_text({emp, sales}),
              "TABLE            STATUS    ROWS  SUSPECT  BLOCKS LOST  REASON\n"
              "SCOTT.EMP        complete    14        0            0\n"
              "HR.SA\\x0ALES/P1  partial   1000        2            4  4 blocks lost\n"
              "2 tables                   1014        2            4\n");
}

TEST(RescueProgress, ShowsTablesBlocksRateAndTimeLeft) {
    EXPECT_EQ(rescue_progress_text("SCOTT.EMP", 3, 17, 1000, 61000, 2.0),
              "table 3 of 17, SCOTT.EMP: 1000 of 61000 blocks, 500 blocks/s, 2:00 left");
    EXPECT_EQ(rescue_progress_text("T", 1, 1, 0, 0, 0),
              "table 1 of 1, T: 0 of 0 blocks, 0 blocks/s, 0:00 left");
    EXPECT_EQ(rescue_progress_text("T", 1, 1, 10, 5, 1),
              "table 1 of 1, T: 10 of 10 blocks, 10 blocks/s, 0:00 left");
}

} // namespace
} // namespace vexlo
