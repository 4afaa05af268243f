#include <cstring>

#include "allocate.h"
#include "command_map.h"
#include "console.h"
#include "dict/column_runs.h"
#include "dict/dict_file.h"
#include "dict/load_clusters.h"
#include "dict/lookup.h"
#include "dict_array.h"

namespace {

constexpr uint32_t PUBLIC_UID = 1;

// Makes the names of a file end inside their fields, whoever wrote it.
template <class REC>
void end_names(std::span<REC> records) {
    if constexpr (requires(REC & r) { r.name; })
        for (REC &r : records)
            r.name[NAME_SIZE - 1] = '\0';
}

// Moves an array out of the work buffer into a block of its own; a heap array is kept as it is. Null after
// "allocate memory %d bytes error: %s\n".
void *own_array(void *data, int size) {
    if (!in_work_buffer(data))
        return data;
    void *own = allocate<char>(static_cast<size_t>(size));
    if (own == nullptr)
        return nullptr;
    memcpy(own, data, static_cast<size_t>(size));
    return own;
}

// Loads the file of one table into its slot. Returns 0, or -1 after its message: the slot is null then and
// its count what it was before.
template <class REC>
int load_file(const DICT_TABLE<REC> &table) {
    show_dict_step("load", table.label);
    clear_slot(table);
    void *data = nullptr;
    int size = 0;
    if (read_dict_data(table.file, &data, &size) < 0) {
        free_records(data);
        return -1;
    }
    void *own = own_array(data, size);
    if (own == nullptr)
        return -1;
    const uint32_t count = records_in<REC>(size);
    fill_slot(table, static_cast<REC *>(own), count);
    g_ctx.sys.*table.count = count;
    end_names(loaded(table));
    show_rows_done(count);
    return 0;
}

int load_files() {
    const bool complete =
        std::apply([](const auto &...table) { return (... && (load_file(table) == 0)); }, loaded_tables);
    return complete ? 0 : -1;
}

// Each resolving step assigns before it tests: the record at which a load stops holds NO_INDEX.

int resolve_owners() {
    for (OBJ &obj : loaded(OBJ_TABLE)) {
        if (obj.owner == PUBLIC_UID) {
            obj.owner = NO_INDEX;
            continue;
        }
        obj.owner = static_cast<uint32_t>(lookup_user(obj.owner));
        if (obj.owner == NO_INDEX) {
            report("user of object %d not found.\n", static_cast<int>(obj.objn));
            return -1;
        }
    }
    return 0;
}

// Sets `*oi` to the index of object `objn`. Returns 0, or -1 after its message.
int resolve_object(uint32_t objn, uint32_t *oi) {
    *oi = static_cast<uint32_t>(lookup_obj(objn));
    if (*oi != NO_INDEX)
        return 0;
    report("object %d not found.\n", static_cast<int>(objn));
    return -1;
}

int resolve_tables() {
    for (TAB &tab : loaded(TAB_TABLE)) {
        if (resolve_object(tab.objn, &tab.oi) < 0)
            return -1;
        const OBJ &obj = *object_at(tab.oi);
        tab.ui = obj.owner;
        if ((obj.flag & OBJ_DROPPED) != 0)
            tab.flag |= TAB_DROPPED;
    }
    return 0;
}

template <class REC>
int resolve_parts(const DICT_TABLE<REC> &table) {
    for (REC &part : loaded(table))
        if (resolve_object(part.objn, &part.oi) < 0)
            return -1;
    return 0;
}

int resolve_composite_parts() {
    for (TABPART &part : loaded(TABCOMPART_TABLE)) {
        if (resolve_object(part.objn, &part.oi) < 0)
            return -1;
        const int t = lookup_tab(part.objp);
        if (t < 0) {
            report("table %d not found.\n", static_cast<int>(part.objp));
            return -1;
        }
        loaded(TAB_TABLE)[static_cast<size_t>(t)].flag |= TAB_PARTITIONED | TAB_COMPOSITE;
    }
    return 0;
}

// Gives each table its columns. The search goes forward from where the last table's columns ended and, when
// it finds nothing, once more from the first column. After such a second search the next table that finds
// nothing is not searched for again: the mark is cleared there, not where the second search succeeds.
void attach_columns(const COL_RUNS &runs) {
    uint32_t from = 0;
    bool retried = false;
    for (TAB &tab : loaded(TAB_TABLE)) {
        const COL_RUN *run = find_run(runs, tab.objn, from);
        if (run == nullptr && !retried) {
            retried = true;
            run = find_run(runs, tab.objn, 0);
        }
        if (run == nullptr) {
            retried = false;
            from = 0;
            tab.tcol = 0;
            continue;
        }
        tab.coff = run->start;
        tab.tcol = run->count;
        tab.flag |= run->flag;
        from = run->start + run->count;
    }
}

int attach_columns_and_clusters() {
    COL_RUNS runs = index_column_runs(loaded(COL_TABLE));
    if (runs.runs == nullptr)
        return -1;
    attach_columns(runs);
    const int result = load_clusters(runs);
    free_column_runs(&runs);
    return result;
}

} // namespace

int load_dict_handle(char *args) {
    if (strncmp(args, "dict", 4) != 0) {
        report("load command format error.\n");
        return -1;
    }
    if (load_files() < 0 || resolve_owners() < 0 || resolve_tables() < 0 ||
        resolve_parts(TABPART_TABLE) < 0 || resolve_composite_parts() < 0 ||
        resolve_parts(TABSUBPART_TABLE) < 0)
        return -1;
    return attach_columns_and_clusters();
}
