#include <csignal>
#include <cstdlib>

#include <gtest/gtest.h>

#include "lob_fixture.h"
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
    rescue_test::ReadDatabase database = open();
    expect_heard([&] { database.scans.of(users()); });
}

TEST_F(StopTest, ItIsHeardWhileMapsAreRead) {
    insert_rows(add_table("T"), 1, 10);
    rescue_test::ReadDatabase database = open();
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
    expect_heard([&] { rescue_test::ReadDatabase database(paths()); });
}

TEST_F(StopTest, ItIsHeardWhileTheBlocksOfLobsAreLookedFor) {
    vexlo_test::LobFile file;
    file.put_pages(20, 1, vexlo_test::lob_bytes(1, 3 * vexlo_test::LOB_PAGE_SIZE));
    file.open_files([&](const FileSet &, const ScanIndexes &scans) {
        const ScanIndex &scan = scans.of(vexlo_test::LOB_TABLESPACE); // which hears it as well
        expect_heard([&] { LobScan(scan, vexlo_test::LOB_TABLESPACE, vexlo_test::LOB_OBJECT, {}); });
    });
}

TEST_F(StopTest, ItIsHeardWhileALobIndexIsRead) {
    vexlo_test::LobFile file;
    file.put_index(300, {{}});
    file.open_files([&](const FileSet &files, const ScanIndexes &scans) {
        scans.of(vexlo_test::LOB_TABLESPACE);
        const SegmentRef index{vexlo_test::LOB_TABLESPACE, 0,   0, vexlo_test::INDEX_OBJECT,
                               vexlo_test::INDEX_OBJECT,   true};
        expect_heard([&] { LobIndex(files, scans, index, {}); });
    });
}
