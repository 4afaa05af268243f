// The dictionary arrays of g_ctx as their users see them: bounded views that are empty when nothing is
// loaded, and look-ups by index and by name that cannot leave an array.
#pragma once

#include <algorithm>
#include <span>

#include "dict_table.h"

// True when the table's slot holds an array, be it empty.
template <class REC>
bool is_loaded(const DICT_TABLE<REC> &table) {
    return g_ctx.*table.array != nullptr;
}

// True for an array that stands in the work buffer, where the next command overwrites it.
inline bool in_work_buffer(const void *array) {
    return array == g_ctx.wrk;
}

// All records of the block behind the table's slot: none from a null slot or one that a failed sort left
// pointing at the work buffer. An index in a record is looked up here: an export that fails leaves arrays of
// an earlier load whole beside a count of its own.
template <class REC>
std::span<REC> held(const DICT_TABLE<REC> &table) {
    if (!is_loaded(table) || in_work_buffer(g_ctx.*table.array))
        return {};
    return {g_ctx.*table.array, g_ctx.cap.*table.count};
}

// The records that the count in g_ctx.sys makes visible to listings and searches, as far as they are held.
template <class REC>
std::span<REC> loaded(const DICT_TABLE<REC> &table) {
    const std::span<REC> records = held(table);
    return records.first(std::min<size_t>(g_ctx.sys.*table.count, records.size()));
}

// Puts `array`, which holds `count` records, into the table's slot. The context owns it from now on unless
// it is the work buffer. The slot must be empty.
template <class REC>
void fill_slot(const DICT_TABLE<REC> &table, REC *array, uint32_t count) {
    g_ctx.*table.array = array;
    g_ctx.cap.*table.count = count;
}

// Frees a dictionary block unless it is the work buffer, which main owns.
void free_records(void *array);

// Empties the table's slot and frees its block if the context owns it. The count in g_ctx.sys stays.
template <class REC>
void clear_slot(const DICT_TABLE<REC> &table) {
    free_records(g_ctx.*table.array);
    fill_slot<REC>(table, nullptr, 0);
}

// Frees every dictionary array and the datafile table, which must be closed. Returns 0.
int free_dict_memory();

// The object that a table or partition names by index; null when the index leads nowhere.
const OBJ *object_at(uint32_t oi);

// Name of the object at index `oi`, empty when the index leads nowhere.
const char *object_name(uint32_t oi);

// Name of the owner at index `ui`: "PUBLIC" for NO_INDEX, empty when the index leads nowhere.
const char *owner_name(uint32_t ui);

// The columns of a table, in segment column order.
std::span<COL> table_columns(const TAB &tab);

// Index of the first user of that name, or -1.
int find_user(const char *name);

// The first table of the user at index `ui` whose name is `name`, or null.
const TAB *find_user_table(uint32_t ui, const char *name);

// Splits `text` as take_table_name does and finds the table; `user` and `table` receive the names. Null
// after "user not specified.\n", "table not specified.\n", "user \"%s\" not found.\n" or "table \"%s\" not
// found.\n".
const TAB *resolve_table(char *text, char (&user)[NAME_SIZE], char (&table)[NAME_SIZE]);
