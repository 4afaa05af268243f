#include <csignal>
#include <cstdlib>

#include "output/console.h"
#include "rescue/check.h"
#include "rescue/stop.h"
#include "rescue_fixture.h"

using namespace rescue_test;
using namespace vexlo;

using CheckTest = RescueTest;

TEST_F(CheckTest, ASignalEndsItInOrder) {
    insert_rows(add_table("T"), 1, 10);
    db().finish();
    RescueOptions options;
    options.where.files = paths();
    options.quiet = true;
    EXPECT_EXIT(
        {
            std::signal(SIGINT, SIG_DFL);
            catch_stop_signals();
            std::raise(SIGINT);
            Console console("vexlo-rescue");
            std::exit(run_check(options, console));
        },
        testing::ExitedWithCode(1), "^vexlo-rescue: interrupted\n$");
}
