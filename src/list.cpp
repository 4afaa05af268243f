#include <cstdio>
#include <cstring>
#include <optional>

#include "command_map.h"
#include "console.h"
#include "dict_array.h"
#include "text.h"

namespace {

// Whose records a listing shows: those of one owner, or all.
struct OWNER_FILTER {
    bool all;
    uint32_t ui;
};

bool shows(const OWNER_FILTER &filter, uint32_t owner) {
    return filter.all || owner == filter.ui;
}

// Reads the owner behind the sub-command word; without one the current user counts. Empty after its message.
// With no user at all in the dictionary every name is taken for owner 0.
std::optional<OWNER_FILTER> take_owner(char *args) {
    char name[NAME_SIZE];
    take_name(end_first_word(args), name);
    if (name[0] == '\0')
        copy_name(name, g_ctx.cur_usr);
    if (name[0] == '\0')
        return OWNER_FILTER{true, 0};
    const int ui = loaded(USER_TABLE).empty() ? 0 : find_user(name);
    if (ui < 0) {
        report("user \"%s\" not found.\n", name);
        return std::nullopt;
    }
    return OWNER_FILTER{false, static_cast<uint32_t>(ui)};
}

void print_file_info() {
    if (g_ctx.df == nullptr) {
        printf("Data files not loaded.\n");
        return;
    }
    printf("TS#   FILE_ID   RELATIVE_FNO    BLOCKS    BLOCK_SIZE  FILE_NAME\n");
    for (const DATAFILE &df : std::span(g_ctx.df, g_ctx.sys.nf))
        printf("%-6d%-10d%-16d%-10d%-12d%s\n", static_cast<int>(df.tsn), static_cast<int>(df.fno),
               static_cast<int>(df.rfn), static_cast<int>(df.blks), static_cast<int>(df.bsz), df.name);
}

void print_user_info() {
    if (!is_loaded(USER_TABLE)) {
        printf("User information not loaded.\n");
        return;
    }
    printf("USER_ID     DEFAULT TS#     USER_NAME\n");
    for (const USER &user : loaded(USER_TABLE))
        printf("%-12d%-16d%-s\n", static_cast<int>(user.uid), static_cast<int>(user.dts), user.name);
}

// Begins a listing by owner with its header. Empty when nothing is to be listed, after the message that says
// why.
std::optional<OWNER_FILTER> begin_owner_listing(bool records_loaded, const char *what, char *args,
                                                const char *header) {
    if (!records_loaded) {
        printf("%s information not loaded.\n", what);
        return std::nullopt;
    }
    if (!is_loaded(USER_TABLE)) {
        printf("dictionary data not loaded.\n");
        return std::nullopt;
    }
    const std::optional<OWNER_FILTER> filter = take_owner(args);
    if (filter)
        puts(header);
    return filter;
}

void print_table_info(char *args) {
    const std::optional<OWNER_FILTER> filter = begin_owner_listing(
        is_loaded(TAB_TABLE), "Table", args,
        "OWNER                           TABLE_NAME                      COLS  FILE#  BLOCK#");
    if (!filter)
        return;
    for (const TAB &tab : loaded(TAB_TABLE))
        if (shows(*filter, tab.ui))
            printf("%-30s  %-30s  %-4d  %5d  %6d\n", owner_name(tab.ui), object_name(tab.oi),
                   static_cast<int>(tab.ncol), static_cast<int>(tab.fno), static_cast<int>(tab.blk));
}

void print_object_info(char *args) {
    const std::optional<OWNER_FILTER> filter =
        begin_owner_listing(is_loaded(OBJ_TABLE), "Object", args,
                            "OWNER                           OBJECT_NAME                     TYPE");
    if (!filter)
        return;
    for (const OBJ &obj : loaded(OBJ_TABLE))
        if (shows(*filter, obj.owner))
            printf("%-30s  %-30s  %-4d\n", owner_name(obj.owner), obj.name, static_cast<int>(obj.type));
}

// Only simple partitions are listed; a composite-partitioned table shows its title and header alone.
void print_tabpart_info(char *args) {
    if (!is_loaded(TABPART_TABLE)) {
        printf("Table Partition information not loaded.\n");
        return;
    }
    if (!is_loaded(USER_TABLE) || !is_loaded(TAB_TABLE)) {
        report("dictionary data not loaded.\n");
        return;
    }
    char user[NAME_SIZE], table[NAME_SIZE];
    const TAB *tab = resolve_table(end_first_word(args), user, table);
    if (tab == nullptr)
        return;
    if ((tab->flag & TAB_PARTITIONED) == 0) {
        report("\"%s\".\"%s\" is not partition table.\n", user, table);
        return;
    }
    printf("\"%s\".\"%s\" table partitions:\n", user, table);
    printf("OBJ#      NAME\n");
    for (const TABPART &part : loaded(TABPART_TABLE))
        if (part.objp == tab->objn)
            printf("%-8d  %s\n", static_cast<int>(part.objn), object_name(part.oi));
}

} // namespace

int list_handle(char *args) {
    if (strncmp(args, "files", 5) == 0)
        print_file_info();
    else if (strncmp(args, "users", 5) == 0)
        print_user_info();
    else if (strncmp(args, "tables", 6) == 0)
        print_table_info(args);
    else if (strncmp(args, "objects", 7) == 0)
        print_object_info(args);
    else if (strncmp(args, "parts", 5) == 0)
        print_tabpart_info(args);
    else
        report("Invalid list command arguments.\n");
    return 0;
}
