// The table that ends a run.
#include <gtest/gtest.h>

#include "rescue/summary.h"

namespace vexlo {
namespace {

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

} // namespace
} // namespace vexlo
