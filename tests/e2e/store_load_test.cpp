// "load dict": its arguments, progress lines, the order of its files, and every reason to stop.
#include <gtest/gtest.h>

#include "console_texts.h"
#include "store_fixture.h"

namespace vexlo_test {
namespace {

class LoadDict : public testing::Test {
protected:
    LoadDict() { home_.store(content_); }

    // Changes the dictionary and stores it again.
    template <class CHANGE>
    void store_changed(CHANGE &&change) {
        change(content_);
        home_.store(content_);
    }

    // Expects a load to read all ten files and then stop with `message`.
    void expect_stop(const std::string &message) const {
        expect_console(home_.run({"load dict"}), "", {load_lines(content_) + message + LOAD_FAILED});
    }

    console_home home_;
    dictionary content_ = small_dictionary();
};

TEST_F(LoadDict, ProgressLinesAreDotsUpTo64CharactersThenTheCount) {
    const std::string dots(41, '.');
    expect_console(home_.run({"load dict"}), "",
                   {". . load   user$       " + dots + "         3 rows done.\n" + ". . load   ts$         " +
                    dots + "         2 rows done.\n" + ". . load   obj$        " + dots +
                    "        14 rows done.\n" + ". . load   tab$        " + dots + "         8 rows done.\n" +
                    ". . load   col$        " + dots + "        19 rows done.\n" + ". . load   tabpart$    " +
                    dots + "         2 rows done.\n" + ". . load   tabcompart$ " + dots +
                    "         1 rows done.\n" + ". . load   tabsubpart$ " + dots + "         1 rows done.\n" +
                    ". . load   lob$        " + dots + "         1 rows done.\n" + ". . load   ind$        " +
                    dots + "         1 rows done.\n"});
}

TEST_F(LoadDict, OnlyTheFirstFourCharactersOfTheArgumentCount) {
    for (const char *accepted : {"load dictionary", "load dict2", "load dict of mine", "load \tdict"})
        expect_console(home_.run({accepted}), "", {load_lines(content_)});
}

TEST_F(LoadDict, OtherArgumentsAreAFormatError) {
    for (const char *rejected : {"load", "load dic", "load user", "load DICT", "load dic t", "load \"dict\""})
        expect_console(home_.run({rejected}), "", {"load command format error.\n" + LOAD_FAILED});
}

TEST_F(LoadDict, ObjectOfOwnerOneNeedsNoUserRecord) {
    store_changed([](dictionary &d) {
        d = {};
        d.objects = {{0, 110, 1, 5, "EMP"}};
    });
    expect_console(home_.run({"load dict"}), "", {load_lines(content_)});
}

TEST_F(LoadDict, UserRecordWithNumberOneIsNotUsedForOwnerOne) {
    store_changed([](dictionary &d) { d.users.insert(d.users.begin() + 1, {1, 0, 0, 3, "NUMBER_ONE"}); });
    expect_console(home_.run({"load dict", "list objects number_one"}),
                   "OWNER                           OBJECT_NAME                     TYPE\n",
                   {load_lines(content_), ""});
}

TEST_F(LoadDict, MissingOwnerStopsWithTheObjectsNumber) {
    store_changed([](dictionary &d) { d.objects[2].owner = 77; });
    expect_stop("user of object 102 not found.\n");
}

TEST_F(LoadDict, NumbersInMessagesAreSigned) {
    store_changed([](dictionary &d) { d.objects.push_back({0, 0xFFFFFFFE, 77, 2, "LAST"}); });
    expect_stop("user of object -2 not found.\n");
}

TEST_F(LoadDict, TableWithoutObjectStops) {
    store_changed([](dictionary &d) { d.tables[1].objn = 999; });
    expect_stop("object 999 not found.\n");
}

TEST_F(LoadDict, PartitionWithoutObjectStops) {
    store_changed([](dictionary &d) { d.parts[1].objn = 998; });
    expect_stop("object 998 not found.\n");
}

TEST_F(LoadDict, CompositePartitionWithoutObjectStops) {
    store_changed([](dictionary &d) { d.composites[0].objn = 997, d.composites[0].objp = 996; });
    expect_stop("object 997 not found.\n");
}

TEST_F(LoadDict, CompositePartitionWithoutTableStops) {
    store_changed([](dictionary &d) { d.composites[0].objp = 996; });
    expect_stop("table 996 not found.\n");
}

TEST_F(LoadDict, SubpartitionWithoutObjectStops) {
    store_changed([](dictionary &d) { d.subparts[0].objn = 995; });
    expect_stop("object 995 not found.\n");
}

TEST_F(LoadDict, ParentsOfPartitionsAndSubpartitionsAreNotLookedUp) {
    store_changed([](dictionary &d) { d.parts[0].objp = 993, d.subparts[0].objp = 994; });
    expect_console(home_.run({"load dict"}), "", {load_lines(content_)});
}

TEST_F(LoadDict, StepsStopInTheirOrder) {
    store_changed([](dictionary &d) {
        d.clusters[0].objn = 999;
        d.subparts[0].objn = 998;
    });
    expect_stop("object 998 not found.\n");
    store_changed([](dictionary &d) { d.composites[0].objp = 997; });
    expect_stop("table 997 not found.\n");
    store_changed([](dictionary &d) { d.parts[0].objn = 996; });
    expect_stop("object 996 not found.\n");
    store_changed([](dictionary &d) { d.tables[0].objn = 95; });
    expect_stop("object 95 not found.\n");
    store_changed([](dictionary &d) { d.objects[0].owner = 2; });
    expect_stop("user of object 100 not found.\n");
}

TEST_F(LoadDict, ClusterWithoutColumnsStopsAfterEverythingElse) {
    store_changed([](dictionary &d) { d.clusters.push_back({0, 133, 133, 1}); });
    expect_console(home_.run({"load dict", "desc scott.dept"}),
                   "COL#  SEGCOL# NAME                            TYPE\n"
                   "1     1       DEPTNO                          NUMBER\n"
                   "2     2       DNAME                           VARCHAR2(14)\n",
                   {load_lines(content_) + "cluster obj#=133 columns not found.\n" + LOAD_FAILED, ""});
}

TEST_F(LoadDict, EmptyFilesLoadWithNoRows) {
    store_changed([](dictionary &d) { d = {}; });
    const std::string nothing = load_lines(content_);
    expect_console(home_.run({"load dict", "list users", "load dict", "list parts"}),
                   "USER_ID     DEFAULT TS#     USER_NAME\n",
                   {nothing, "", nothing, "user not specified.\n"});
}

TEST_F(LoadDict, TrailingBytesOfAFileAreIgnored) {
    for (const std::string &name : loaded_names) {
        bytes raw = read_file(home_.dict_file(name));
        raw.resize(raw.size() + 31, 0xEE);
        write_file(home_.dict_file(name), raw);
    }
    bytes clusters = read_file(home_.dict_file("cluster"));
    clusters.resize(clusters.size() + 15, 0xEE);
    write_file(home_.dict_file("cluster"), clusters);
    expect_console(home_.run({"load dict"}), "", {load_lines(content_)});
}

TEST_F(LoadDict, PropertyFileIsNotRead) {
    EXPECT_FALSE(file_exists(home_.dict_file("props")));
    expect_console(home_.run({"load dict"}), "", {load_lines(content_)});
}

TEST_F(LoadDict, FilesAreNotChanged) {
    const bytes before = read_file(home_.dict_file("obj"));
    expect_console(home_.run({"load dict"}), "", {load_lines(content_)});
    EXPECT_EQ(read_file(home_.dict_file("obj")), before);
}

TEST_F(LoadDict, SecondLoadGivesTheSameListings) {
    const std::vector<std::string> commands{"list users", "list tables", "list objects",
                                            "list parts scott.sales", "desc scott.emp"};
    std::vector<std::string> once{"load dict"}, twice{"load dict", "load dict"};
    once.insert(once.end(), commands.begin(), commands.end());
    twice.insert(twice.end(), commands.begin(), commands.end());
    const run_result first = home_.run(once), second = home_.run(twice);
    EXPECT_NE(first.out, "");
    std::vector<std::string> said(6);
    said[0] = load_lines(content_);
    expect_console(first, second.out, said);
    said.insert(said.begin(), said[0]);
    expect_console(second, first.out, said);
}

TEST_F(LoadDict, FileBeyondTheWorkBufferIsLoadedWhole) {
    store_changed([](dictionary &d) {
        const dict_ts filler{9, 0, "FILLER"};
        d.tablespaces.resize(8388608 / 40 + 1, filler);
        d.lobs.resize(8388608 / 40, d.lobs[0]);
    });
    expect_console(home_.run({"load dict"}), "", {load_lines(content_)});
}

TEST_F(LoadDict, TableWithACompositePartitionCountsAsPartitioned) {
    expect_console(home_.run({"load dict", "list parts scott.compo", "list parts scott.dept"}),
                   "\"SCOTT\".\"COMPO\" table partitions:\nOBJ#      NAME\n",
                   {load_lines(content_), "", "\"SCOTT\".\"DEPT\" is not partition table.\n"});
}

} // namespace
} // namespace vexlo_test
