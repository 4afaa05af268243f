#include <gtest/gtest.h>

#include "output/progress.h"

namespace {

TEST(Progress, LineTellsRowsBytesRateAndTimeLeft) {
    EXPECT_EQ(vexlo::progress_text("EMP", 1000, 10 << 20, 100 << 20, 2.0),
              "EMP: 1000 rows, 10.0 of 100.0 MiB, 5.0 MiB/s, 0:18 left");
}

TEST(Progress, NothingLeftBehindTheEnd) {
    EXPECT_EQ(vexlo::progress_text("EMP", 1, 2 << 20, 1 << 20, 0.0),
              "EMP: 1 rows, 2.0 of 1.0 MiB, 0.0 MiB/s, 0:00 left");
}

} // namespace
