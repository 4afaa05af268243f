#include <cstdio>
#include <cstring>

#include "command_map.h"
#include "console.h"
#include "vexlo.h"

int show_user_handle(char *args) {
    if (strcmp(args, "user") != 0) {
        report("show command format error.\n");
        return -1;
    }
    if (g_ctx.cur_usr[0] == '\0')
        printf("Current user not set.\n");
    else
        printf("Current user is \"%s\".\n", g_ctx.cur_usr);
    return 0;
}
