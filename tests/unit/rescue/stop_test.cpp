#include <csignal>
#include <cstdlib>

#include <gtest/gtest.h>

#include "rescue/stop.h"

using namespace vexlo;

TEST(Stop, ASignalAsksForTheEnd) {
    EXPECT_EXIT(
        {
            std::signal(SIGTERM, SIG_DFL);
            catch_stop_signals();
            std::raise(SIGTERM);
            try {
                check_stop();
            } catch (const Stopped &) {
                std::exit(3);
            }
            std::exit(0);
        },
        testing::ExitedWithCode(3), "^$");
}

TEST(Stop, ASignalThatIsIgnoredStaysSo) {
    EXPECT_EXIT(
        {
            std::signal(SIGHUP, SIG_IGN);
            catch_stop_signals();
            std::raise(SIGHUP);
            check_stop();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^$");
}
