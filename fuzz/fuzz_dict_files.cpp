// Dictionary files through their sorts, load, list, desc and unload. Input: a byte of options, then for each
// file its length in 16 bits and its bytes.
#include "dict/sort.h"
#include "dict_array.h"
#include "harness.h"

namespace {

constexpr uint8_t SORT_FIRST = 0x1;
constexpr uint8_t ONLY_LOAD = 0x2;
constexpr const char *FILES[] = {"user", "ts",      "obj",        "tab",        "col", "cluster",
                                 "ind",  "tabpart", "tabcompart", "tabsubpart", "lob", "props"};
constexpr size_t NAMED_TABLES = 3; // as many tables are asked for by name

void sort_files() {
    uint32_t sobj[SPECIAL_TABLES], tabn[SPECIAL_TABLES] = {}, rdba[SPECIAL_TABLES];
    sort_user_by_uid();
    sort_ts_by_tsn();
    if (sort_obj_by_objn(sobj) == 0)
        sort_tab_by_objn(sobj, tabn, rdba);
    sort_clu_by_objn();
    sort_col_by_scid();
    sort_lob_index_by_objn();
    sort_lob_by_objn();
    sort_tabpart_by_objp();
    sort_tabsubpart_by_objp();
    sort_tabcompart_by_objp();
}

// Asks for a table by the names that the dictionary gives it.
void name_table(const TAB &tab) {
    const std::string name = std::string("\"") + owner_name(tab.ui) + "\".\"" + object_name(tab.oi) + "\"";
    fuzz::run_command("desc " + name);
    fuzz::run_command("list parts " + name);
    fuzz::run_command("unload table " + name);
}

void ask_for_everything() {
    for (const char *command : {"list users", "list tables", "list objects", "list files"})
        fuzz::run_command(command);
    const std::span<TAB> tables = loaded(TAB_TABLE);
    for (const TAB &tab : tables.first(std::min(tables.size(), NAMED_TABLES)))
        name_table(tab);
    const std::span<USER> users = loaded(USER_TABLE);
    for (const USER &user : users.first(std::min(users.size(), NAMED_TABLES))) {
        fuzz::run_command(std::string("list tables \"") + user.name + "\"");
        fuzz::run_command(std::string("unload user \"") + user.name + "\"");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::Input in(data, size);
    const uint8_t options = in.u8();
    for (const char *file : FILES)
        fuzz::write_dict_file(file, in.bytes(in.u16()));

    const fuzz::Run run;
    if ((options & SORT_FIRST) != 0)
        sort_files();
    fuzz::run_command("load dict");
    if ((options & ONLY_LOAD) == 0)
        ask_for_everything();
    return 0;
}
