// Columns and cluster keys of the loaded tables, compared with the nested scans that define them.
#include <algorithm>
#include <random>

#include "command_map.h"
#include "store_context.h"

namespace vexlo_test {
namespace {

constexpr std::uint32_t FILE_OFFSET = 77777; // first-column index that the files carry

// ---- The definition -------------------------------------------------------------------------------------

// One pass over tables and columns with a retry mark, scan by scan.
void attach_by_scanning(std::vector<TAB> &tab, const std::vector<COL> &col) {
    std::size_t i = 0, j = 0;
    bool retry = false;
    while (i < tab.size()) {
        while (j < col.size() && col[j].objn != tab[i].objn)
            j++;
        if (j < col.size()) {
            tab[i].coff = static_cast<std::uint32_t>(j);
            while (j < col.size() && col[j].objn == tab[i].objn) {
                if ((col[j].flag & 0x100) != 0)
                    tab[i].flag |= 0x8;
                if (col[j].ctyp == 8 || col[j].ctyp == 24)
                    tab[i].flag |= 0x2;
                j++;
            }
            tab[i].tcol = static_cast<std::uint32_t>(j) - tab[i].coff;
            i++;
        } else if (retry) {
            retry = false;
            j = 0;
            tab[i].tcol = 0;
            i++;
        } else {
            j = 0;
            retry = true;
        }
    }
}

// Marks the key columns of one table: the walk over its columns never starts again.
void mark_table_by_scanning(const TAB &tab, std::size_t first, std::uint32_t keys, std::vector<COL> &col) {
    std::uint32_t m = 0;
    for (std::uint32_t k = 0; k < keys && first + k < col.size(); k++) {
        while (m < tab.tcol && col[tab.coff + m].scid != col[first + k].scid)
            m++;
        if (m < tab.tcol)
            col[tab.coff + m].flag |= 0x10000;
    }
}

// Returns the number of the cluster whose columns are missing, or -1.
std::int64_t mark_by_scanning(const std::vector<CLU> &clu, std::vector<TAB> &tab, std::vector<COL> &col) {
    for (const CLU &c : clu) {
        std::size_t first = 0;
        while (first < col.size() && col[first].objn != c.objn)
            first++;
        if (first == col.size())
            return c.objn;
        for (TAB &t : tab) {
            if (t.objb != c.objn)
                continue;
            if ((c.flag & 0x10000) != 0)
                t.flag |= 0x10000;
            mark_table_by_scanning(t, first, c.ncol, col);
        }
    }
    return -1;
}

// ---- Comparison -----------------------------------------------------------------------------------------

class Attach : public store_context {
protected:
    // Stores files in which objects 0 to 19 belong to SYS and nothing else exists.
    Attach() {
        store("user", std::vector<USER>{USER{.uid = 0, .status = 0, .dts = 0, .tts = 0, .name = "SYS"}});
        std::vector<OBJ> objects(20);
        for (std::uint32_t i = 0; i < objects.size(); i++)
            objects[i].objn = i;
        store("obj", objects);
        for (const char *name : {"ts", "tabpart", "tabcompart", "tabsubpart", "lob", "ind"})
            write_file(path(name), {});
    }

    static TAB table(std::uint32_t objn, std::uint32_t cluster = 0) {
        TAB tab{};
        tab.objn = objn;
        tab.objb = cluster;
        tab.coff = FILE_OFFSET;
        tab.tcol = FILE_OFFSET;
        return tab;
    }

    static COL column(std::uint32_t objn, std::uint32_t scid, std::uint32_t ctyp = 1,
                      std::uint32_t flag = 0) {
        return COL{
            .flag = flag, .objn = objn, .cid = scid, .scid = scid, .ctyp = ctyp, .clen = 9, .name = "C"};
    }

    // Loads the files and compares every table and column with the scans' result, and the messages behind
    // the progress lines.
    void expect_scan_result(std::vector<TAB> tab, std::vector<COL> col, const std::vector<CLU> &clu) {
        store("tab", tab);
        store("col", col);
        store("cluster", clu);
        char args[] = "dict";
        int result = 0;
        std::string said = messages_of([&] { result = load_dict_handle(args); });
        said.erase(0, said.rfind("rows done.\n") + 11);

        for (TAB &t : tab) { // what the steps before give
            t.ui = 0;
            t.oi = t.objn;
        }
        attach_by_scanning(tab, col);
        const std::int64_t missing = mark_by_scanning(clu, tab, col);
        EXPECT_EQ(result, missing < 0 ? 0 : -1);
        EXPECT_EQ(said,
                  missing < 0 ? "" : "cluster obj#=" + std::to_string(missing) + " columns not found.\n");
        expect_loaded(TAB_TABLE, tab);
        expect_loaded(COL_TABLE, col);
    }

    const TAB &loaded_table(std::size_t i) const { return loaded(TAB_TABLE)[i]; }
    const COL &loaded_column(std::size_t i) const { return loaded(COL_TABLE)[i]; }

private:
    template <class REC>
    static void expect_loaded(const DICT_TABLE<REC> &slot, const std::vector<REC> &expected) {
        const std::span<REC> have = loaded(slot);
        EXPECT_TRUE(raw_records(std::vector<REC>(have.begin(), have.end())) == raw_records(expected))
            << slot.file;
    }
};

TEST_F(Attach, TablesGetTheirColumnsAndTheFlagsOfTheirColumns) {
    expect_scan_result({table(1), table(2), table(3), table(4)},
                       {column(1, 1), column(1, 2), column(2, 1, 8), column(3, 1, 24), column(3, 2, 1, 0x100),
                        column(4, 1, 112, 0x1000)},
                       {});
    EXPECT_EQ(loaded_table(0).coff, 0U);
    EXPECT_EQ(loaded_table(0).tcol, 2U);
    EXPECT_EQ(loaded_table(0).flag, 0U);
    EXPECT_EQ(loaded_table(1).flag, 0x2U);
    EXPECT_EQ(loaded_table(2).coff, 3U);
    EXPECT_EQ(loaded_table(2).flag, 0xAU);
    EXPECT_EQ(loaded_table(3).flag, 0U);
}

TEST_F(Attach, TableWithoutColumnsKeepsItsOffsetAndTheNextTableIsStillAttached) {
    expect_scan_result({table(1), table(2), table(3)}, {column(1, 1), column(3, 1)}, {});
    EXPECT_EQ(loaded_table(1).coff, FILE_OFFSET);
    EXPECT_EQ(loaded_table(1).tcol, 0U);
    EXPECT_EQ(loaded_table(2).coff, 1U);
    EXPECT_EQ(loaded_table(2).tcol, 1U);
}

TEST_F(Attach, SearchThatSucceedsFromTheFirstColumnLeavesTheRetryMark) {
    // Table 5 is found by the second search; table 9 has no columns and is not searched for again; table 6
    // stands behind the first column, where the search then begins.
    expect_scan_result({table(7), table(5), table(9), table(6)}, {column(5, 1), column(6, 1), column(7, 1)},
                       {});
    EXPECT_EQ(loaded_table(1).tcol, 1U);
    EXPECT_EQ(loaded_table(3).coff, 1U);
}

TEST_F(Attach, WithTheRetryMarkLeftATableBehindIsNotFound) {
    // Table 5 is found by the second search, which leaves the mark; table 4 stands before it and gets no
    // second search of its own.
    expect_scan_result({table(7), table(5), table(4), table(4)}, {column(4, 1), column(5, 1), column(7, 1)},
                       {});
    EXPECT_EQ(loaded_table(2).tcol, 0U);
    EXPECT_EQ(loaded_table(2).coff, FILE_OFFSET);
    EXPECT_EQ(loaded_table(3).tcol, 1U);
}

TEST_F(Attach, OneOfSeveralRunsOfAnUnsortedFileIsTaken) {
    expect_scan_result({table(1), table(2), table(1)},
                       {column(1, 1), column(2, 1), column(1, 2), column(1, 3), column(2, 2)}, {});
    EXPECT_EQ(loaded_table(0).tcol, 1U);
    EXPECT_EQ(loaded_table(2).coff, 2U);
    EXPECT_EQ(loaded_table(2).tcol, 2U);
}

TEST_F(Attach, NoColumnsAtAll) {
    expect_scan_result({table(1), table(2), table(3)}, {}, {});
}

TEST_F(Attach, NoTablesAtAll) {
    expect_scan_result({}, {column(1, 1), column(2, 1)},
                       {CLU{.flag = 0x10000, .objn = 1, .objd = 1, .ncol = 1}});
}

TEST_F(Attach, ClusterKeyColumnsAreMarkedInEveryTableOfTheCluster) {
    expect_scan_result({table(2, 1), table(3, 1), table(4)},
                       {column(1, 1), column(1, 2), column(2, 1), column(2, 2), column(2, 3), column(3, 1),
                        column(3, 2), column(4, 1)},
                       {CLU{.flag = 0, .objn = 1, .objd = 1, .ncol = 2}});
    for (const std::size_t marked : {2U, 3U, 5U, 6U})
        EXPECT_EQ(loaded_column(marked).flag, 0x10000U) << marked;
    for (const std::size_t plain : {0U, 1U, 4U, 7U})
        EXPECT_EQ(loaded_column(plain).flag, 0U) << plain;
}

TEST_F(Attach, ClusterFlagIsCarriedToItsTablesAlone) {
    expect_scan_result({table(2, 1), table(3, 4), table(5)},
                       {column(1, 1), column(2, 1), column(3, 1), column(4, 1), column(5, 1)},
                       {CLU{.flag = 0x10000, .objn = 1, .objd = 1, .ncol = 1},
                        CLU{.flag = 0x20000, .objn = 4, .objd = 1, .ncol = 1}});
    EXPECT_EQ(loaded_table(0).flag, 0x10000U);
    EXPECT_EQ(loaded_table(1).flag, 0U);
    EXPECT_EQ(loaded_table(2).flag, 0U);
}

TEST_F(Attach, KeyColumnOutOfOrderIsNotFoundBehindALaterOne) {
    // The second key column stands before the first in the table: the walk has passed it.
    expect_scan_result({table(2, 1)}, {column(1, 2), column(1, 1), column(2, 1), column(2, 2), column(2, 3)},
                       {CLU{.flag = 0, .objn = 1, .objd = 1, .ncol = 2}});
    EXPECT_EQ(loaded_column(2).flag, 0U);
    EXPECT_EQ(loaded_column(3).flag, 0x10000U);
}

TEST_F(Attach, MatchedColumnStaysCurrentForTheNextKeyColumn) {
    expect_scan_result({table(2, 1)}, {column(1, 2), column(1, 2), column(2, 1), column(2, 2), column(2, 2)},
                       {CLU{.flag = 0, .objn = 1, .objd = 1, .ncol = 2}});
    EXPECT_EQ(loaded_column(3).flag, 0x10000U);
    EXPECT_EQ(loaded_column(4).flag, 0U);
}

TEST_F(Attach, KeyCountRunsOnIntoTheNextObjectsColumns) {
    expect_scan_result({table(3, 1)}, {column(1, 1), column(2, 2), column(3, 1), column(3, 2)},
                       {CLU{.flag = 0, .objn = 1, .objd = 1, .ncol = 2}});
    EXPECT_EQ(loaded_column(3).flag, 0x10000U);
}

TEST_F(Attach, KeyCountNeverRunsPastTheColumns) {
    for (const std::uint32_t ncol : {100U, 0x80000000U, 0xFFFFFFFFU})
        expect_scan_result({table(2, 5)}, {column(2, 1), column(2, 2), column(5, 1)},
                           {CLU{.flag = 0, .objn = 5, .objd = 1, .ncol = ncol}});
    EXPECT_EQ(loaded_column(0).flag, 0x10000U);
}

// A table without columns keeps an offset from the file that means nothing, not even where other columns
// begin.
TEST_F(Attach, TableWithoutColumnsDoesNotKeepAnotherTablesKeyFromBeingMarked) {
    TAB without = table(2, 5);
    without.coff = 0; // as exported
    expect_scan_result({without, table(3, 5)}, {column(3, 1), column(3, 2), column(5, 1)},
                       {CLU{.flag = 0, .objn = 5, .objd = 1, .ncol = 1}});
    EXPECT_EQ(loaded_column(0).flag, 0x10000U);
}

TEST_F(Attach, ClusterWithoutColumnsStopsBehindTheClustersBefore) {
    expect_scan_result({table(2, 1), table(3, 4)}, {column(1, 1), column(2, 1), column(3, 1)},
                       {CLU{.flag = 0x10000, .objn = 1, .objd = 1, .ncol = 1},
                        CLU{.flag = 0x10000, .objn = 4, .objd = 1, .ncol = 1}});
    EXPECT_EQ(loaded_table(0).flag, 0x10000U);
    EXPECT_EQ(loaded_table(1).flag, 0U);
}

TEST_F(Attach, ClustersWithOneObjectNumberMarkTogether) {
    expect_scan_result({table(2, 1)},
                       {column(1, 1), column(1, 2), column(1, 3), column(2, 1), column(2, 2), column(2, 3)},
                       {CLU{.flag = 0, .objn = 1, .objd = 1, .ncol = 1},
                        CLU{.flag = 0x10000, .objn = 1, .objd = 1, .ncol = 0},
                        CLU{.flag = 0, .objn = 1, .objd = 1, .ncol = 2}});
    EXPECT_EQ(loaded_table(0).flag, 0x10000U);
    for (const std::size_t marked : {3U, 4U})
        EXPECT_EQ(loaded_column(marked).flag, 0x10000U) << marked;
    EXPECT_EQ(loaded_column(5).flag, 0U);
}

TEST_F(Attach, ClustersBehindTheOneWithoutColumnsMarkNothing) {
    expect_scan_result({table(2, 1)}, {column(1, 1), column(1, 2), column(2, 1), column(2, 2)},
                       {CLU{.flag = 0, .objn = 1, .objd = 1, .ncol = 1},
                        CLU{.flag = 0, .objn = 9, .objd = 1, .ncol = 1},
                        CLU{.flag = 0x10000, .objn = 1, .objd = 1, .ncol = 2}});
    EXPECT_EQ(loaded_table(0).flag, 0U);
    EXPECT_EQ(loaded_column(3).flag, 0U);
}

// Files as long as they can be expected, which would take hours to scan: a million clusters with one object
// number, whose keys run on through 300,000 columns with one segment column number.
TEST_F(Attach, FullSizeFileOfClustersWithOneObjectNumberAndEndlessKeys) {
    constexpr std::uint32_t COLUMNS = 300000, CLUSTERS = 1000000, TABLES = 19;
    std::vector<COL> col(COLUMNS, column(1, 7));
    for (std::uint32_t t = 0; t < TABLES; t++)
        for (std::uint32_t i = 0; i < COLUMNS / 20; i++)
            col[COLUMNS / 20 * (t + 1) + i] = column(t + 1, i + 1 < COLUMNS / 20 ? 8 : 7);
    std::vector<TAB> tab;
    for (std::uint32_t t = 1; t < TABLES; t++)
        tab.push_back(table(t + 1, 1));
    store("tab", tab);
    store("col", col);
    store("cluster", std::vector<CLU>(CLUSTERS, CLU{.flag = 0, .objn = 1, .objd = 1, .ncol = 0xFFFFFFFF}));
    char args[] = "dict";
    int result = -1;
    messages_of([&] { result = load_dict_handle(args); });
    EXPECT_EQ(result, 0);
    std::uint32_t marked = 0;
    for (const COL &c : loaded(COL_TABLE)) {
        EXPECT_EQ(c.flag, c.objn > 1 && c.scid == 7 ? 0x10000U : 0U);
        marked += c.flag != 0;
    }
    EXPECT_EQ(marked, TABLES - 1);
}

// Tables with one object number share its columns, whose clusters they may not share.
TEST_F(Attach, KeysThatMeetInSharedColumnsReachAsFarAsTheLongerOne) {
    const std::vector<COL> col = {column(2, 1), column(3, 2), column(3, 3), column(3, 4), column(9, 1),
                                  column(9, 2), column(9, 3), column(9, 4), column(9, 5)};
    // The key of cluster 2 comes to column 2 of the table, where that of cluster 3 begins.
    for (const std::uint32_t longer : {1U, 2U, 3U, 4U})
        for (const std::uint32_t shorter : {0U, 1U, 2U, 3U})
            expect_scan_result({table(9, 2), table(9, 3)}, col,
                               {CLU{.flag = 0, .objn = 2, .objd = 1, .ncol = longer},
                                CLU{.flag = 0, .objn = 3, .objd = 1, .ncol = shorter}});
}

TEST_F(Attach, KeyThatEndsInSharedColumnsEndsNoOther) {
    // The first cluster's key finds no column 8; that of the second does not come to it.
    expect_scan_result({table(9, 2), table(9, 3)},
                       {column(2, 1), column(2, 8), column(2, 2), column(3, 2), column(3, 3), column(9, 1),
                        column(9, 2), column(9, 3)},
                       {CLU{.flag = 0, .objn = 2, .objd = 1, .ncol = 3},
                        CLU{.flag = 0x10000, .objn = 3, .objd = 1, .ncol = 2}});
    for (const std::size_t marked : {5U, 6U, 7U})
        EXPECT_EQ(loaded_column(marked).flag, 0x10000U) << marked;
    EXPECT_EQ(loaded_table(0).flag, 0U);
    EXPECT_EQ(loaded_table(1).flag, 0x10000U);
}

TEST_F(Attach, KeysStandAtDifferentColumnsOfOneNumberInSharedColumns) {
    // Behind number 7 the first cluster's key looks for the 5 behind it, the second's takes the 5 before.
    expect_scan_result(
        {table(9, 2), table(9, 3)}, {column(2, 7), column(3, 5), column(9, 5), column(9, 7), column(9, 5)},
        {CLU{.flag = 0, .objn = 2, .objd = 1, .ncol = 2}, CLU{.flag = 0, .objn = 3, .objd = 1, .ncol = 1}});
    for (const std::size_t marked : {2U, 3U, 4U})
        EXPECT_EQ(loaded_column(marked).flag, 0x10000U) << marked;
}

// Files in which every table record stands for one object, each in a cluster of its own. Cluster by cluster
// their columns would take hours to go through.
class AttachShared : public Attach {
protected:
    static constexpr std::uint32_t CLUSTERS = 800000, SHARED = 1, FIRST_CLUSTER = 2;

    // Loads `CLUSTERS` tables with `shared` as their columns. The key of cluster i begins with number(i), the
    // cluster's only column, and has `ncol` columns.
    template <class NUMBER>
    void load_shared(const std::vector<COL> &shared, std::uint32_t ncol, NUMBER &&number) {
        std::vector<TAB> tab;
        std::vector<COL> col = shared;
        std::vector<CLU> clu;
        for (std::uint32_t i = 0; i < CLUSTERS; i++) {
            tab.push_back(table(SHARED, FIRST_CLUSTER + i));
            col.push_back(column(FIRST_CLUSTER + i, number(i)));
            clu.push_back(CLU{.flag = 0, .objn = FIRST_CLUSTER + i, .objd = 1, .ncol = ncol});
        }
        store("tab", tab);
        store("col", col);
        store("cluster", clu);
        char args[] = "dict";
        int result = -1;
        messages_of([&] { result = load_dict_handle(args); });
        EXPECT_EQ(result, 0);
    }

    // `CLUSTERS` columns with the numbers from 1 on.
    static std::vector<COL> shared_columns() {
        std::vector<COL> col;
        for (std::uint32_t i = 0; i < CLUSTERS; i++)
            col.push_back(column(SHARED, i + 1));
        return col;
    }

    // Expects that the columns which are(scid) are marked, of those that the tables share.
    template <class ARE>
    static void expect_marked(ARE &&are) {
        std::uint32_t different = 0;
        for (const COL &c : loaded(COL_TABLE))
            different += c.flag != (c.objn == SHARED && are(c.scid) ? 0x10000U : 0U);
        EXPECT_EQ(different, 0U);
    }
};

TEST_F(AttachShared, ColumnsOfTablesInManyClustersAreNotGoneThroughForEachOfThem) {
    // Keys of one column each, all in the second half of the columns.
    load_shared(shared_columns(), 1, [](std::uint32_t i) { return CLUSTERS / 2 + i % 1000; });
    expect_marked([](std::uint32_t scid) { return scid >= CLUSTERS / 2 && scid < CLUSTERS / 2 + 1000; });
}

TEST_F(AttachShared, KeysThatRunOnThroughTheColumnsOfLaterClustersGoOnAsOneWhereTheyMeet) {
    load_shared(shared_columns(), 0xFFFFFFFF, [](std::uint32_t i) { return i + 1; });
    expect_marked([](std::uint32_t) { return true; });
}

// ---- Random files ---------------------------------------------------------------------------------------

struct random_files {
    std::mt19937 random;

    std::uint32_t below(std::uint32_t n) { return static_cast<std::uint32_t>(random() % n); }

    // Object numbers from a small range, so that runs, duplicates and gaps are frequent.
    std::vector<TAB> tables(std::uint32_t objects) {
        std::vector<TAB> made(below(9));
        for (TAB &tab : made) {
            tab.objn = below(objects);
            tab.objb = below(objects);
            tab.coff = below(25);
            tab.tcol = FILE_OFFSET;
        }
        return made;
    }

    std::vector<COL> columns(std::uint32_t objects) {
        std::vector<COL> made(below(25));
        constexpr std::uint32_t types[] = {1, 8, 24, 2};
        for (COL &col : made) {
            col.objn = below(objects);
            col.scid = below(4);
            col.ctyp = types[below(4)];
            col.flag = below(4) == 0 ? 0x100 : 0;
        }
        return made;
    }

    std::vector<CLU> clusters(std::uint32_t objects) {
        std::vector<CLU> made(below(9));
        for (CLU &clu : made) {
            clu.flag = below(4) == 0 ? 0x10000 : 0;
            clu.objn = below(objects);
            clu.ncol = below(8) == 0 ? 0xFFFFFFFF - below(2) : below(6);
        }
        return made;
    }
};

template <class REC>
void sort_by_objn(std::vector<REC> &records) {
    std::stable_sort(records.begin(), records.end(),
                     [](const REC &a, const REC &b) { return a.objn < b.objn; });
}

TEST_F(Attach, RandomSortedFiles) {
    random_files random{std::mt19937(41)};
    for (int round = 0; round < 400 && !HasFailure(); round++) {
        std::vector<TAB> tab = random.tables(9);
        std::vector<COL> col = random.columns(9);
        sort_by_objn(tab);
        sort_by_objn(col);
        expect_scan_result(tab, col, random.clusters(9));
    }
}

TEST_F(Attach, RandomUnsortedFilesWithDuplicates) {
    random_files random{std::mt19937(43)};
    for (int round = 0; round < 800 && !HasFailure(); round++) {
        const std::uint32_t objects = 2 + random.below(8);
        const std::vector<TAB> tab = random.tables(objects);
        const std::vector<COL> col = random.columns(objects);
        expect_scan_result(tab, col, random.clusters(objects));
    }
}

TEST_F(Attach, RandomKeysThroughSharedColumns) {
    random_files random{std::mt19937(47)};
    for (int round = 0; round < 800 && !HasFailure(); round++) {
        std::vector<TAB> tab(1 + random.below(12), table(4));
        for (TAB &t : tab)
            t.objb = random.below(8);
        std::vector<COL> col = random.columns(8);
        for (std::uint32_t i = random.below(10); i > 0; i--)
            col.push_back(column(4, random.below(4)));
        if (round % 2 == 0)
            sort_by_objn(col);
        expect_scan_result(tab, col, random.clusters(8));
    }
}

} // namespace
} // namespace vexlo_test
