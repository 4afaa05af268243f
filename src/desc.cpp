#include <cstdio>

#include "command_map.h"
#include "console.h"
#include "dict_array.h"
#include "value.h"

int desc_handle(char *args) {
    if (!is_loaded(COL_TABLE)) {
        printf("Table column information not loaded.\n");
        return -1;
    }
    if (!is_loaded(USER_TABLE) || !is_loaded(TAB_TABLE)) {
        report("dictionary data not loaded.\n");
        return -1;
    }
    char user[NAME_SIZE], table[NAME_SIZE];
    const TAB *tab = resolve_table(args, user, table);
    if (tab == nullptr)
        return -1;
    printf("COL#  SEGCOL# NAME                            TYPE\n");
    for (const COL &col : table_columns(*tab))
        // Left out only with all three bits, of which an exported column has one at most.
        if ((col.flag & COL_UNLISTED) != COL_UNLISTED)
            printf("%-4d  %-6d  %-30s  %s\n", static_cast<int>(col.cid), static_cast<int>(col.scid), col.name,
                   type_string(static_cast<int>(col.flag), static_cast<int>(col.ctyp),
                               static_cast<int>(col.clen)));
    return 0;
}
