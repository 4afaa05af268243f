#include <cstdio>

#include "command_map.h"

static const char help_text[] = R"(
help          show this information
exit          quit program
set user      set current user, followed by user name
              if no user specified for command, current user is default
              example: set user scott
show user     show current user
export dict   export ORACLE data dictionary to files
load dict     load ORACLE data dictionary from files
unload user   unload tables data owned by this user, followed by user name
              example: unload user scott
unload table  unload table data to file, followed by user and table name
              example: unload table scott.emp
list files    list configured data files
list users    list all users exported
list tables   list all tables owned by this user, followed by user name
              if no user name specified, all tables listed.
              example: list tables scott
list objects  list all objects owned by this user, followed by user name
              if no user name specified, all objects listed.
              example: list objects scott
list parts    list table partitions owned by table, followed by user and table name
              example: list parts scott.t_part
desc          describe the table columns, followed by user and table name
              example: desc scott.emp

)";

int help_handle(char *) {
    fputs(help_text, stdout);
    return 0;
}
