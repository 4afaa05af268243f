#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "column.h"
#include "command_map.h"
#include "console.h"
#include "create_file.h"
#include "data/dump_file.h"
#include "data/segment.h"
#include "dict_array.h"
#include "text.h"

namespace {

// Whether a table can be unloaded, and if not, why.
enum class ELIGIBLE { yes, special_feature, dropped, temporary };

ELIGIBLE eligibility(const TAB &tab) {
    const OBJ *obj = object_at(tab.oi);
    const uint32_t flag = obj != nullptr ? obj->flag : 0;
    if ((tab.flag & TAB_UNSUPPORTED) != 0)
        return ELIGIBLE::special_feature;
    if ((flag & OBJ_DROPPED) != 0)
        return ELIGIBLE::dropped;
    return (flag & OBJ_TEMPORARY) != 0 ? ELIGIBLE::temporary : ELIGIBLE::yes;
}

// Says why a table is left out of its user's dump file.
void show_skipped(ELIGIBLE why, const char *table) {
    if (why == ELIGIBLE::special_feature)
        printf("table \"%s\" has special feature, unsupported.\n", table);
    else if (why == ELIGIBLE::dropped)
        printf("table \"%s\" is dropped.\n", table);
    else if (why == ELIGIBLE::temporary)
        printf("\"%s\" is temporary table.\n", table);
}

// Says why a table that was asked for by name is not unloaded.
void report_refused(ELIGIBLE why, const char *table) {
    if (why == ELIGIBLE::special_feature)
        report("table \"%s\" not supported.\n", table);
    else if (why == ELIGIBLE::dropped)
        report("table \"%s\" is dropped.\n", table);
    else if (why == ELIGIBLE::temporary)
        report("\"%s\" is temporary table.\n", table);
}

uint32_t count_lob_columns(const TAB &tab) {
    uint32_t count = 0;
    for (const COL &col : table_columns(tab))
        count += is_lob(col) && (col.flag & COL_UNLISTED) == 0;
    return count;
}

void fill_tab_info(TAB_INFO *info, uint32_t index) {
    const TAB &tab = loaded(TAB_TABLE)[index];
    *info = {};
    if ((tab.flag & TAB_HAS_LOB) != 0)
        info->flag |= TAB_INFO_LOB;
    if ((tab.flag & TAB_HAS_LONG) != 0)
        info->flag |= TAB_INFO_LONG;
    info->ncol = tab.ncol;
    info->nlob = count_lob_columns(tab);
    info->nrows = index;
    copy_name(info->tab_name, object_name(tab.oi));
}

// Creates the dump file `name`.dat and reserves header and table directory, `directory` bytes. Names come
// from the dictionary: one that would lead to another directory is refused like a directory that does not
// exist. Returns the descriptor, or -1 after its message.
int create_dump(const char *name, int64_t directory) {
    char path[PATH_SIZE];
    snprintf(path, sizeof path, "%s/%s.dat", g_ctx.par.data_dir, name);
    const bool escapes = strchr(name, '/') != nullptr;
    const int fd = escapes ? -1 : create_file(path);
    if (fd < 0) {
        report("open %s: %s\n", path, strerror(escapes ? ENOENT : errno));
        return -1;
    }
    if (write_blank(fd, HEAD_SPACE + directory) < 0) {
        close(fd);
        return -1;
    }
    return fd;
}

// Unloads the table of one directory entry, which ends up with its offset and row count. A table that fails
// keeps the rows counted before.
void unload_listed_table(ULDR *ul, TAB_INFO *info, const char *user) {
    ul->tabp = &loaded(TAB_TABLE)[info->nrows];
    ul->nrow = 0;
    ul->nlob = static_cast<int32_t>(info->nlob);
    info->offset = ul->data_ofs;
    show_unload_step(user, info->tab_name);
    if (unload_one_table(ul) < 0)
        report("unload table \"%s\" error.\n", info->tab_name);
    info->nrows = ul->nrow;
    show_rows_done(ul->nrow);
}

int write_header(ULDR *ul, const char (&user)[NAME_SIZE]) {
    if (make_head() < 0)
        return -1;
    HEAD_INFO *head = reinterpret_cast<HEAD_INFO *>(g_ctx.wrk);
    copy_name(head->owner, user);
    head->tab_cnt = static_cast<uint32_t>(ul->ntab);
    return write_head(ul, head) < 0 || write_tab_info(ul) < 0 ? -1 : 0;
}

// Writes a dump file of the tables that `tinf` lists, `directory` bytes of table directory in front of them.
// Returns 0, or -1 after its message.
int unload_to_file(const char *name, const char (&user)[NAME_SIZE], std::span<TAB_INFO> tinf,
                   int64_t directory) {
    ULDR ul{};
    ul.fd = create_dump(name, directory);
    if (ul.fd < 0)
        return -1;
    ul.ntab = static_cast<int32_t>(tinf.size());
    ul.tinf = tinf.data();
    ul.data_ofs = static_cast<uint64_t>(HEAD_SPACE + directory);
    ul.in_order = find_part_order();
    for (TAB_INFO &info : tinf)
        unload_listed_table(&ul, &info, user);
    const int result = write_header(&ul, user);
    close(ul.fd);
    return result;
}

// Counts the tables of a user that can be unloaded and says why the others are left out.
int64_t count_tables(uint32_t ui) {
    int64_t count = 0;
    for (const TAB &tab : loaded(TAB_TABLE)) {
        if (tab.ui != ui)
            continue;
        const ELIGIBLE eligible = eligibility(tab);
        show_skipped(eligible, object_name(tab.oi));
        count += eligible == ELIGIBLE::yes;
    }
    return count;
}

void list_tables(uint32_t ui, std::span<TAB_INFO> tinf) {
    const std::span<TAB> tables = loaded(TAB_TABLE);
    size_t k = 0;
    for (uint32_t i = 0; i < tables.size(); i++)
        if (tables[i].ui == ui && eligibility(tables[i]) == ELIGIBLE::yes)
            fill_tab_info(&tinf[k++], i);
}

int unload_user(char *args) {
    char user[NAME_SIZE];
    take_name(end_first_word(args), user);
    if (user[0] == '\0')
        copy_name(user, g_ctx.cur_usr);
    const int ui = find_user(user);
    if (ui < 0) {
        report("user \"%s\" not found.\n", user);
        return -1;
    }
    const int64_t count = count_tables(static_cast<uint32_t>(ui));
    if (count == 0) {
        printf("no table to unload for user \"%s\".\n", user);
        return 0;
    }
    const int64_t directory = (count * static_cast<int64_t>(sizeof(TAB_INFO)) + DIRECTORY_UNIT - 1) /
                              DIRECTORY_UNIT * DIRECTORY_UNIT;
    TAB_INFO *tinf = static_cast<TAB_INFO *>(malloc(static_cast<size_t>(directory)));
    if (tinf == nullptr) {
        report("allocate memory (%d bytes) error: %s\n", static_cast<int>(directory), strerror(errno));
        return -1;
    }
    const std::span<TAB_INFO> tables(tinf, static_cast<size_t>(count));
    list_tables(static_cast<uint32_t>(ui), tables);
    const int result = unload_to_file(user, user, tables, directory);
    free(tinf);
    return result;
}

int unload_table(char *args) {
    char user[NAME_SIZE], table[NAME_SIZE];
    const TAB *tab = resolve_table(end_first_word(args), user, table);
    if (tab == nullptr)
        return -1;
    const ELIGIBLE eligible = eligibility(*tab);
    if (eligible != ELIGIBLE::yes) {
        report_refused(eligible, table);
        return -1;
    }
    TAB_INFO info;
    fill_tab_info(&info, static_cast<uint32_t>(tab - loaded(TAB_TABLE).data()));
    char name[2 * NAME_SIZE];
    snprintf(name, sizeof name, "%s_%s", user, table);
    return unload_to_file(name, user, {&info, 1}, DIRECTORY_UNIT);
}

} // namespace

int unload_handle(char *args) {
    if (strncmp(args, "user", 4) == 0)
        return unload_user(args);
    if (strncmp(args, "table", 5) == 0)
        return unload_table(args);
    report("Invalid unload command arguments.\n");
    return -1;
}
