#include "command_map.h"

const COMMAND_MAP command_map[9] = {
    {"help", help_handle},     {"export", export_dict_handle}, {"load", load_dict_handle},
    {"set", set_user_handle},  {"show", show_user_handle},     {"list", list_handle},
    {"unload", unload_handle}, {"desc", desc_handle},          {"", nullptr},
};
