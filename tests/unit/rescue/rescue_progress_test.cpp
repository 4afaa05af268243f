// The progress line of a run.
#include <gtest/gtest.h>

#include "rescue/rescue_progress.h"

namespace vexlo {
namespace {

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
