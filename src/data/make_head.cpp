#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>
#include <string>

#include "console.h"
#include "data/dump_file.h"
#include "dict_path.h"
#include "dict_table.h"
#include "file_io.h"

namespace {

constexpr size_t CHUNK_SIZE = (WORK_SIZE - HEAD_SPACE) / sizeof(PROPS) * sizeof(PROPS);
static_assert(CHUNK_SIZE == 8387520);

// The parts of NLS_LANG; empty where the database has no such property.
struct NLS_TEXTS {
    char language[PROPS_VALUE_SIZE];
    char territory[PROPS_VALUE_SIZE];
    char charset[PROPS_VALUE_SIZE];
};

bool is_named(const PROPS &prop, const char *name) {
    return strncmp(prop.name, name, sizeof prop.name) == 0;
}

// Copies a value, cut to the field with a NUL behind it; the rest of the field becomes zero.
template <size_t SIZE>
void copy_value(char (&field)[SIZE], const PROPS &prop) {
    const size_t len = strnlen(prop.value, std::min(SIZE, sizeof prop.value) - 1);
    memcpy(field, prop.value, len);
    memset(field + len, 0, SIZE - len);
}

void take_property(const PROPS &prop, NLS_TEXTS *nls, HEAD_INFO *head) {
    if (is_named(prop, "NLS_LANGUAGE"))
        copy_value(nls->language, prop);
    else if (is_named(prop, "NLS_TERRITORY"))
        copy_value(nls->territory, prop);
    else if (is_named(prop, "NLS_CHARACTERSET"))
        copy_value(nls->charset, prop);
    else if (is_named(prop, "NLS_NCHAR_CHARACTERSET"))
        copy_value(head->ncharset, prop);
    copy_value(head->dbtimezone, prop); // whatever the property: the last one of the file stays
}

int read_properties(int fd, const char *path, NLS_TEXTS *nls, HEAD_INFO *head) {
    PROPS *chunk = reinterpret_cast<PROPS *>(g_ctx.wrk + HEAD_SPACE);
    for (;;) {
        const ssize_t n = read_all(fd, chunk, CHUNK_SIZE);
        if (n < 0) {
            report("read %s: %s\n", path, strerror(errno));
            return -1;
        }
        if (n == 0)
            return 0;
        for (const PROPS &prop : std::span(chunk, static_cast<size_t>(n) / sizeof(PROPS)))
            take_property(prop, nls, head);
    }
}

} // namespace

int make_head() {
    char path[PATH_SIZE];
    dict_path(path, PROPS_TABLE.file);
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        report("open %s: %s\n", path, strerror(errno));
        return -1;
    }
    HEAD_INFO *head = reinterpret_cast<HEAD_INFO *>(g_ctx.wrk);
    memset(head, 0, sizeof *head);
    NLS_TEXTS nls{};
    const int result = read_properties(fd, path, &nls, head);
    close(fd);
    if (result < 0)
        return -1;
    strcpy(head->magic, "vexlo");
    const std::string nls_lang = std::string(nls.language) + "_" + nls.territory + "." + nls.charset;
    nls_lang.copy(head->nls_lang, sizeof head->nls_lang - 1);
    return 0;
}
