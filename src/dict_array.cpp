#include "dict_array.h"

#include <cstring>

#include "console.h"
#include "text.h"

const OBJ *object_at(uint32_t oi) {
    const std::span<OBJ> objects = held(OBJ_TABLE);
    return oi < objects.size() ? &objects[oi] : nullptr;
}

const char *object_name(uint32_t oi) {
    const OBJ *obj = object_at(oi);
    return obj != nullptr ? obj->name : "";
}

const char *owner_name(uint32_t ui) {
    if (ui == NO_INDEX)
        return "PUBLIC";
    const std::span<USER> users = held(USER_TABLE);
    return ui < users.size() ? users[ui].name : "";
}

std::span<COL> table_columns(const TAB &tab) {
    const std::span<COL> columns = held(COL_TABLE);
    if (tab.coff > columns.size() || tab.tcol > columns.size() - tab.coff)
        return {};
    return columns.subspan(tab.coff, tab.tcol);
}

int find_user(const char *name) {
    const std::span<USER> users = loaded(USER_TABLE);
    for (size_t i = 0; i < users.size(); i++)
        if (strcmp(users[i].name, name) == 0)
            return static_cast<int>(i);
    return -1;
}

const TAB *find_user_table(uint32_t ui, const char *name) {
    for (const TAB &tab : loaded(TAB_TABLE))
        if (tab.ui == ui && strcmp(object_name(tab.oi), name) == 0)
            return &tab;
    return nullptr;
}

const TAB *resolve_table(char *text, char (&user)[NAME_SIZE], char (&table)[NAME_SIZE]) {
    take_table_name(text, user, table);
    if (user[0] == '\0') {
        report("user not specified.\n");
        return nullptr;
    }
    if (table[0] == '\0') {
        report("table not specified.\n");
        return nullptr;
    }
    const int ui = find_user(user);
    if (ui < 0) {
        report("user \"%s\" not found.\n", user);
        return nullptr;
    }
    const TAB *tab = find_user_table(static_cast<uint32_t>(ui), table);
    if (tab == nullptr)
        report("table \"%s\" not found.\n", table);
    return tab;
}
