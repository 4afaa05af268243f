#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "console.h"
#include "datafile.h"
#include "text.h"
#include "text_lines.h"

namespace {

// Makes room for one more record, doubling the array when it is full. Returns 0, or -1 after its message.
int grow_catalogue(uint32_t *capacity) {
    if (g_ctx.sys.nf < *capacity)
        return 0;
    const uint32_t wanted = *capacity == 0 ? 64 : *capacity * 2;
    void *grown = realloc(g_ctx.df, wanted * sizeof(DATAFILE));
    if (grown == nullptr) {
        report("allocate memory for datafile error: %s\n", strerror(errno));
        return -1;
    }
    g_ctx.df = static_cast<DATAFILE *>(grown);
    *capacity = wanted;
    return 0;
}

int add_datafile(const char *path, uint32_t *capacity) {
    if (grow_catalogue(capacity) < 0)
        return -1;
    DATAFILE &df = g_ctx.df[g_ctx.sys.nf++];
    df = {};
    df.fd = -1;
    strcpy(df.name, path); // a line is shorter than the field
    return 0;
}

int read_list(FILE *file) {
    uint32_t capacity = 0;
    if (grow_catalogue(&capacity) < 0) // an empty list is a catalogue too
        return -1;
    char line[LINE_SIZE];
    int result;
    while ((result = next_line(file, g_dbfile_list, line)) > 0) {
        if (feof(file)) // a last line without its newline is dropped
            return 0;
        const char *path = clean_line(line);
        if (*path != '\0' && add_datafile(path, &capacity) < 0)
            return -1;
    }
    return result;
}

} // namespace

int load_datafile() {
    FILE *file = open_text(g_dbfile_list);
    if (file == nullptr)
        return -1;
    const int result = read_list(file);
    fclose(file);
    return result;
}
