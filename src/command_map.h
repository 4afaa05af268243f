// The console's command table.
#pragma once

// A command handler: takes the argument text behind the command word (writable, NUL-terminated, no leading
// blanks), prints its own messages and returns a negative value when the command failed.
typedef int (*cmd_handle)(char *args);

struct COMMAND_MAP {
    char cmd_name[32];
    cmd_handle cmd_function;
};

// Searched in order; an entry with an empty name ends it.
extern const COMMAND_MAP command_map[9];

int help_handle(char *args);
int export_dict_handle(char *args);
int load_dict_handle(char *args);
int set_user_handle(char *args);
int show_user_handle(char *args);
int list_handle(char *args);
int unload_handle(char *args);
int desc_handle(char *args);
