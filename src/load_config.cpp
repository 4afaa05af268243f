#include "load_config.h"

#include <cstring>

#include "console.h"
#include "text.h"
#include "text_lines.h"
#include "vexlo.h"

namespace {

struct CONFIG_KEY {
    const char *name;
    char *path; // DIR_SIZE bytes that take the value; null for the checksum switch
};

const CONFIG_KEY config_keys[] = {
    {"dictdir", g_ctx.par.dict_dir},
    {"datadir", g_ctx.par.data_dir},
    {"datafiles", g_dbfile_list},
    {"checksum", nullptr},
};

bool begins_with(const char *text, const char *word) {
    return strncmp(text, word, strlen(word)) == 0;
}

// A checksum value that counts as off does not clear the bit that an earlier line set.
void store_value(const CONFIG_KEY &key, const char *value) {
    if (key.path != nullptr)
        snprintf(key.path, DIR_SIZE, "%s", value);
    else if (begins_with(value, "YES") || begins_with(value, "yes"))
        g_ctx.par.flag |= PAR_CHECKSUM;
}

// Takes one trimmed line. Keys match by prefix; a line that begins with none of them is no setting.
int take_setting(const char *line) {
    for (const CONFIG_KEY &key : config_keys) {
        if (!begins_with(line, key.name))
            continue;
        const char *equals = strchr(line + strlen(key.name), '=');
        if (equals == nullptr) {
            report("parameter format error: %s\n", line);
            return -1;
        }
        store_value(key, equals + 1 + strspn(equals + 1, " \t\r\n"));
        return 0;
    }
    return 0;
}

// Paths are formed as directory, "/" and name.
void drop_trailing_slash(char *dir) {
    const size_t len = strlen(dir);
    if (len > 0 && dir[len - 1] == '/')
        dir[len - 1] = '\0';
}

} // namespace

int load_config() {
    FILE *file = open_text(g_cfgname);
    if (file == nullptr)
        return -1;

    char line[LINE_SIZE];
    int result;
    while ((result = next_line(file, g_cfgname, line)) > 0)
        if ((result = take_setting(clean_line(line))) < 0)
            break;
    fclose(file);
    drop_trailing_slash(g_ctx.par.dict_dir);
    drop_trailing_slash(g_ctx.par.data_dir);
    return result;
}
