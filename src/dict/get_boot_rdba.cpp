#include <cstdio>
#include <cstring>

#include "console.h"
#include "datafile.h"
#include "dict/bootstrap.h"

namespace {

constexpr size_t TABLE_NAME_AT = 13;   // behind "CREATE TABLE "
constexpr size_t CLUSTER_NAME_AT = 15; // behind "CREATE CLUSTER "

// The first row whose text goes on with `name` at the given place. A prefix is enough.
const BOOTSTRAP *find_statement(const BOOTSTRAP *bs, int nbr, size_t at, const char *name) {
    for (int i = 0; i < nbr; i++)
        if (strlen(bs[i].text) >= at && strncmp(bs[i].text + at, name, strlen(name)) == 0)
            return &bs[i];
    return nullptr;
}

// The position behind the first occurrence of `word` in `text`, or null.
const char *behind(const char *text, const char *word) {
    const char *found = strstr(text, word);
    return found != nullptr ? found + strlen(word) : nullptr;
}

// The decimal digits at `text`; none are 0.
uint32_t parse_digits(const char *text) {
    uint32_t number = 0;
    for (; *text >= '0' && *text <= '9'; text++)
        number = number * 10 + static_cast<uint32_t>(*text - '0');
    return number;
}

int statement_error(const BOOTSTRAP *row) {
    report("sql_text error:\n%s\n", row->text);
    return -1;
}

// Reads "FILE f BLOCK b"; `file` stands at the f, null when there is none.
int parse_storage(const BOOTSTRAP *row, const char *file, uint32_t *rdba) {
    const char *block = file != nullptr ? behind(file, "BLOCK ") : nullptr;
    if (block == nullptr)
        return statement_error(row);
    *rdba = make_rdba(parse_digits(file), parse_digits(block));
    return 0;
}

// The table lives in a cluster: `storage` goes on with its number there and the name of the cluster, whose
// own statement has the storage.
int follow_cluster(const BOOTSTRAP *bs, int nbr, const BOOTSTRAP *row, const char *storage, int *tabn,
                   uint32_t *rdba) {
    const char *number = behind(storage, "TABNO ");
    if (number == nullptr)
        return statement_error(row);
    *tabn = static_cast<int>(parse_digits(number));
    const char *from = behind(number, "CLUSTER ");
    if (from == nullptr)
        return statement_error(row);
    char name[NAME_SIZE];
    snprintf(name, sizeof name, "%.*s", static_cast<int>(strcspn(from, "(")), from);
    const BOOTSTRAP *cluster = find_statement(bs, nbr, CLUSTER_NAME_AT, name);
    if (cluster == nullptr) {
        report("%s cluster sql_text not found.\n", name);
        return -1;
    }
    return parse_storage(cluster, behind(cluster->text + CLUSTER_NAME_AT + strlen(name), "FILE "), rdba);
}

} // namespace

int get_boot_table_rdba(const BOOTSTRAP *bs, int nbr, const char *tab_nm, int *tabn, uint32_t *rdba) {
    *tabn = 0;
    *rdba = 0;
    const BOOTSTRAP *row = find_statement(bs, nbr, TABLE_NAME_AT, tab_nm);
    if (row == nullptr) {
        report("%s table sql_text not found.\n", tab_nm);
        return -1;
    }
    const char *storage = behind(row->text, " STORAGE");
    if (storage == nullptr)
        return statement_error(row);
    if (const char *file = behind(storage, "FILE "))
        return parse_storage(row, file, rdba);
    return follow_cluster(bs, nbr, row, storage, tabn, rdba);
}
