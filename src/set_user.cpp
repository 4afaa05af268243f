#include <cstdio>
#include <cstring>

#include "command_map.h"
#include "console.h"
#include "text.h"

int set_user_handle(char *args) {
    char *name = end_first_word(args);
    if (strcmp(args, "user") != 0) {
        report("set command format error.\n");
        return -1;
    }
    take_name(name, g_ctx.cur_usr);
    printf("Current user set to \"%s\".\n", g_ctx.cur_usr);
    return 0;
}
