#include <csignal>
#include <cstdlib>

#include <gtest/gtest.h>

#include "rescue/stop.h"
#include "rescue_fixture.h"

using namespace vexlo;

namespace {

class StopTest : public rescue_test::RescueTest {
protected:
    // In a process of its own a signal asks for the end, and `work` hears it.
    template <class WORK>
    void expect_heard(WORK &&work) {
        EXPECT_EXIT(
            {
                std::signal(SIGINT, SIG_DFL);
                catch_stop_signals();
                std::raise(SIGINT);
                try {
                    work();
                } catch (const Stopped &) {
                    std::exit(3);
                }
                std::exit(0);
            },
            testing::ExitedWithCode(3), "^$");
    }
};

} // namespace

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

TEST_F(StopTest, ItIsHeardWhileFilesAreGoneThrough) {
    insert_rows(add_table("T"), 1, 10);
    rescue_test::OpenDatabase database = open();
    expect_heard([&] { database.scans.of(users()); });
}

TEST_F(StopTest, ItIsHeardWhileMapsAreRead) {
    insert_rows(add_table("T"), 1, 10);
    rescue_test::OpenDatabase database = open();
    const std::vector<TableSegment> segments = database.dictionary.segments(database.table("T"));
    expect_heard([&] {
        SegmentRuns runs(database.files, database.scans, segments.at(0).segment, {});
        BlockRun run;
        runs.next(run);
    });
}

TEST_F(StopTest, ItIsHeardWhileTheDictionaryIsRead) {
    insert_rows(add_table("T"), 1, 10);
    db().finish();
    expect_heard([&] { rescue_test::OpenDatabase database(paths()); });
}
