// Command lines over a small loaded dictionary. Input: lines of text.
#include <algorithm>
#include <cstring>
#include <vector>

#include "harness.h"

namespace {

template <class REC>
void store(const char *name, const std::vector<REC> &records) {
    fuzz::write_dict_file(name,
                          {reinterpret_cast<const uint8_t *>(records.data()), records.size() * sizeof(REC)});
}

// Two users, tables of every kind that the commands tell apart, and names that lead out of a directory.
void store_dictionary() {
    store<USER>("user", {{0, 0, 0, 3, "SYS"}, {5, 0, 4, 3, "SCOTT"}, {6, 0, 4, 3, "../x"}});
    store<TS>("ts", {{0, 0, "SYSTEM"}});
    store<OBJ>("obj", {{0, 20, 5, 2, "EMP"},
                       {0, 21, 5, 2, "Mixed.Name"},
                       {0, 22, 6, 2, "a/b"},
                       {OBJ_DROPPED, 23, 5, 2, "GONE"},
                       {OBJ_TEMPORARY, 24, 5, 2, "TEMP"},
                       {0, 25, 1, 5, "PUB"},
                       {0, 26, 5, 19, "P1"}});
    std::vector<TAB> tables;
    for (const uint32_t objn : {20U, 21U, 22U, 23U, 24U}) {
        TAB tab{};
        tab.objn = objn;
        tab.ncol = 1;
        tab.flag = objn == 21 ? TAB_PARTITIONED : 0;
        tables.push_back(tab);
    }
    store("tab", tables);
    store<COL>("col", {{0, 20, 1, 1, 1, 10, "C"}, {0, 21, 1, 1, 2, 22, "N"}});
    store<TABPART>("tabpart", {{0, 26, 26, 21, 0, 4, 9, 7}});
    for (const char *empty : {"cluster", "ind", "lob", "tabcompart", "tabsubpart", "props"})
        fuzz::write_dict_file(empty, {});
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool stored = (store_dictionary(), true);
    fuzz::require(stored, "no dictionary");
    const fuzz::Run run;
    fuzz::run_command("load dict");
    const uint8_t *end = data + size;
    for (const uint8_t *line = data; line < end;) {
        const uint8_t *behind = std::find(line, end, uint8_t{'\n'});
        fuzz::run_command(std::string(line, behind));
        line = behind + (behind != end);
        fuzz::require(memchr(g_ctx.cur_usr, '\0', NAME_SIZE) != nullptr, "user name without an end");
    }
    return 0;
}
