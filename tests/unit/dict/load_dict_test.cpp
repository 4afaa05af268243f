// What a load derives: owners, object indexes and table flags; and what the context holds where it stopped.
#include <array>
#include <filesystem>
#include <utility>

#include "command_map.h"
#include "store_context.h"

namespace vexlo_test {
namespace {

constexpr std::uint32_t NONE = 0xFFFFFFFF;

const std::array<const char *, 10> LOADED{"user",    "ts",         "obj",        "tab", "col",
                                          "tabpart", "tabcompart", "tabsubpart", "lob", "ind"};

USER user(std::uint32_t uid) {
    return USER{.uid = uid, .status = 0, .dts = 0, .tts = 0, .name = "U"};
}

OBJ live_object(std::uint32_t objn, std::uint32_t owner, std::uint32_t flag = 0) {
    return OBJ{.flag = flag, .objn = objn, .owner = owner, .type = 2, .name = "O"};
}

TAB table(std::uint32_t objn, std::uint32_t flag = 0) {
    TAB tab = numbered_record<TAB>(0x55);
    tab.objn = objn;
    tab.flag = flag;
    return tab;
}

template <class PART>
PART partition(std::uint32_t objn, std::uint32_t objp) {
    PART part = numbered_record<PART>(0x66);
    part.objn = objn;
    part.objp = objp;
    return part;
}

class LoadLinks : public store_context {
protected:
    LoadLinks() {
        for (const char *name : LOADED)
            write_file(path(name), {});
        write_file(path("cluster"), {});
        store("user", std::vector<USER>{user(0), user(10), user(20)});
        store("obj", std::vector<OBJ>{live_object(1, 20), live_object(2, 1), live_object(3, 10, 0x80),
                                      live_object(4, 0), live_object(5, 10), live_object(6, 10)});
    }

    // Loads and returns what was said behind the last progress line that has its count.
    std::string load(int expected = 0) {
        char args[] = "dict";
        int result = 1;
        std::string said = messages_of([&] { result = load_dict_handle(args); });
        EXPECT_EQ(result, expected) << said;
        const std::size_t last = said.rfind("rows done.\n");
        return last == std::string::npos ? said : said.substr(last + 11);
    }
};

// Files that another program wrote may have names without a NUL.
TEST_F(LoadLinks, NamesEndInsideTheirFields) {
    USER long_user = user(10);
    memset(long_user.name, 'N', sizeof long_user.name);
    store("user", std::vector<USER>{user(0), long_user, user(20)});
    COL long_column = numbered_record<COL>(1);
    memset(long_column.name, 'C', sizeof long_column.name);
    store("col", std::vector<COL>{long_column, long_column});
    load();
    EXPECT_EQ(std::string(g_ctx.usr[1].name, NAME_SIZE), std::string(31, 'N') + '\0');
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(std::string(g_ctx.col[i].name, NAME_SIZE), std::string(31, 'C') + '\0');
}

TEST_F(LoadLinks, OwnersBecomeUserIndexesAndOwnerOneBecomesNone) {
    EXPECT_EQ(load(), "");
    const std::uint32_t owners[] = {2, NONE, 1, 0, 1, 1};
    for (std::size_t i = 0; i < 6; i++)
        EXPECT_EQ(g_ctx.obj[i].owner, owners[i]) << i;
}

TEST_F(LoadLinks, TablesGetObjectAndOwnerIndexes) {
    store("tab", std::vector<TAB>{table(1), table(2), table(5)});
    EXPECT_EQ(load(), "");
    const std::pair<std::uint32_t, std::uint32_t> links[] = {{0, 2}, {1, NONE}, {4, 1}};
    for (std::size_t i = 0; i < 3; i++) {
        EXPECT_EQ(g_ctx.tab[i].oi, links[i].first);
        EXPECT_EQ(g_ctx.tab[i].ui, links[i].second);
    }
}

TEST_F(LoadLinks, TableOfADroppedObjectGetsTheDroppedFlag) {
    store("tab", std::vector<TAB>{table(1, 0x1000000), table(3, 0x1)});
    EXPECT_EQ(load(), "");
    EXPECT_EQ(g_ctx.tab[0].flag, 0x1000000U);
    EXPECT_EQ(g_ctx.tab[1].flag, 0x2001U);
}

TEST_F(LoadLinks, AllThreeKindsOfPartitionsGetTheirObjectIndexes) {
    store("tab", std::vector<TAB>{table(1), table(2, 0x20), table(5)});
    store("tabpart", std::vector<TABPART>{partition<TABPART>(3, 2), partition<TABPART>(4, 99)});
    store("tabcompart", std::vector<TABPART>{partition<TABPART>(5, 1), partition<TABPART>(6, 2)});
    store("tabsubpart", std::vector<TABSUBPART>{partition<TABSUBPART>(6, 5)});
    EXPECT_EQ(load(), "");
    EXPECT_EQ(g_ctx.tp[0].oi, 2U);
    EXPECT_EQ(g_ctx.tp[1].oi, 3U);
    EXPECT_EQ(g_ctx.tcp[0].oi, 4U);
    EXPECT_EQ(g_ctx.tcp[1].oi, 5U);
    EXPECT_EQ(g_ctx.tsp[0].oi, 5U);
    EXPECT_EQ(g_ctx.tab[0].flag, 0x120U); // also where the export did not see a partitioned table
    EXPECT_EQ(g_ctx.tab[1].flag, 0x120U);
    EXPECT_EQ(g_ctx.tab[2].flag, 0U);
}

TEST_F(LoadLinks, LobRecordsAreTakenAsTheyStand) {
    const std::vector<LOB> lobs{numbered_record<LOB>(1), numbered_record<LOB>(2)};
    const std::vector<LOBIDX> indexes{numbered_record<LOBIDX>(3)};
    store("lob", lobs);
    store("ind", indexes);
    EXPECT_EQ(load(), "");
    ASSERT_EQ(g_ctx.sys.nlob, 2U);
    EXPECT_EQ(std::memcmp(g_ctx.lob, lobs.data(), 2 * sizeof(LOB)), 0);
    ASSERT_EQ(g_ctx.sys.nidx, 1U);
    EXPECT_EQ(std::memcmp(g_ctx.lidx, indexes.data(), sizeof(LOBIDX)), 0);
}

TEST_F(LoadLinks, NoArrayStaysInTheWorkBuffer) {
    EXPECT_EQ(load(), "");
    const void *slots[] = {g_ctx.usr, g_ctx.ts,  g_ctx.obj, g_ctx.tab, g_ctx.col,
                           g_ctx.tp,  g_ctx.tcp, g_ctx.tsp, g_ctx.lob, g_ctx.lidx};
    for (const void *slot : slots) {
        EXPECT_NE(slot, nullptr); // an empty file has an array too
        EXPECT_NE(slot, g_ctx.wrk);
    }
}

TEST_F(LoadLinks, EmptyDictionaryCountsNothing) {
    for (const char *name : {"user", "obj"})
        write_file(path(name), {});
    EXPECT_EQ(load(), "");
    const ZUKSYS none{};
    EXPECT_EQ(std::memcmp(&g_ctx.sys, &none, sizeof none), 0);
}

TEST_F(LoadLinks, StoppedOwnerHoldsNoneAndLaterOwnersStayUserNumbers) {
    store("obj", std::vector<OBJ>{live_object(1, 20), live_object(2, 77), live_object(3, 10)});
    EXPECT_EQ(load(-1), "user of object 2 not found.\n");
    EXPECT_EQ(g_ctx.obj[0].owner, 2U);
    EXPECT_EQ(g_ctx.obj[1].owner, NONE);
    EXPECT_EQ(g_ctx.obj[2].owner, 10U);
}

TEST_F(LoadLinks, StoppedTableHoldsNoneAndKeepsItsOwner) {
    store("tab", std::vector<TAB>{table(1), table(99), table(5)});
    EXPECT_EQ(load(-1), "object 99 not found.\n");
    EXPECT_EQ(g_ctx.tab[0].oi, 0U);
    EXPECT_EQ(g_ctx.tab[1].oi, NONE);
    EXPECT_EQ(g_ctx.tab[1].ui, 0x55U);
    EXPECT_EQ(g_ctx.tab[2].oi, 0x55U);
}

TEST_F(LoadLinks, StoppedPartitionsHoldNone) {
    store("tabpart", std::vector<TABPART>{partition<TABPART>(98, 2)});
    EXPECT_EQ(load(-1), "object 98 not found.\n");
    EXPECT_EQ(g_ctx.tp[0].oi, NONE);
    write_file(path("tabpart"), {});

    store("tabcompart", std::vector<TABPART>{partition<TABPART>(97, 96)});
    EXPECT_EQ(load(-1), "object 97 not found.\n");
    EXPECT_EQ(g_ctx.tcp[0].oi, NONE);
    store("tabcompart", std::vector<TABPART>{partition<TABPART>(5, 96)});
    EXPECT_EQ(load(-1), "table 96 not found.\n");
    EXPECT_EQ(g_ctx.tcp[0].oi, 4U);
    write_file(path("tabcompart"), {});

    store("tabsubpart", std::vector<TABSUBPART>{partition<TABSUBPART>(95, 2)});
    EXPECT_EQ(load(-1), "object 95 not found.\n");
    EXPECT_EQ(g_ctx.tsp[0].oi, NONE);
}

TEST_F(LoadLinks, FailingFileLeavesItsSlotNullAndItsCountAsItWas) {
    EXPECT_EQ(load(), "");
    g_ctx.sys.nts = 0;
    store("user", std::vector<USER>{user(0)});
    store("ts", std::vector<TS>(4));
    std::filesystem::remove(path("obj"));
    EXPECT_NE(load(-1), "");
    EXPECT_EQ(g_ctx.sys.nu, 1U); // what was loaded before the failure stays loaded
    EXPECT_EQ(g_ctx.sys.nts, 4U);
    EXPECT_EQ(g_ctx.obj, nullptr);
    EXPECT_EQ(g_ctx.sys.nobj, 6U);
    EXPECT_NE(g_ctx.tab, nullptr); // and what comes behind it is untouched
}

TEST_F(LoadLinks, SecondLoadGivesTheSameRecords) {
    store("tab", std::vector<TAB>{table(1), table(3), table(5)});
    store("tabcompart", std::vector<TABPART>{partition<TABPART>(5, 1)});
    EXPECT_EQ(load(), "");
    const std::vector<TAB> tables(g_ctx.tab, g_ctx.tab + g_ctx.sys.ntab);
    const std::vector<OBJ> objects(g_ctx.obj, g_ctx.obj + g_ctx.sys.nobj);
    EXPECT_EQ(load(), "");
    EXPECT_TRUE(raw_records(tables) == raw_records(std::vector<TAB>(g_ctx.tab, g_ctx.tab + g_ctx.sys.ntab)));
    EXPECT_TRUE(raw_records(objects) == raw_records(std::vector<OBJ>(g_ctx.obj, g_ctx.obj + g_ctx.sys.nobj)));
}

TEST_F(LoadLinks, FileBeyondTheWorkBufferIsLoadedWhole) {
    std::vector<TS> tablespaces(WORK_SIZE / sizeof(TS) + 1);
    for (std::uint32_t i = 0; i < tablespaces.size(); i++)
        tablespaces[i].tsn = i;
    store("ts", tablespaces);
    EXPECT_EQ(load(), "");
    ASSERT_EQ(g_ctx.sys.nts, tablespaces.size());
    EXPECT_EQ(g_ctx.ts[tablespaces.size() - 1].tsn, tablespaces.size() - 1);
}

} // namespace
} // namespace vexlo_test
