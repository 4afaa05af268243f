#include "console.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "vexlo.h"

namespace {

constexpr uint32_t DAMAGE_LINES = 100; // lines about damage that one segment may print

// Fills text with `fill` from its end up to `width` characters and ends it there; a longer text is left
// alone.
void pad(char *text, char fill, size_t width) {
    const size_t len = strlen(text);
    if (len < width) {
        memset(text + len, fill, width - len);
        text[width] = '\0';
    }
}

} // namespace

void report(const char *format, ...) {
    fflush(stdout);
    va_list args;
    va_start(args, format);
    vfprintf(stderr, format, args);
    va_end(args);
}

void show_dict_step(const char *verb, const char *table) {
    char line[128];
    snprintf(line, sizeof line, ". . %-6s %s$", verb, table);
    pad(line, ' ', 23);
    pad(line, '.', 64);
    report("%s", line);
}

void show_unload_step(const char *user, const char *table) {
    char line[128];
    snprintf(line, sizeof line, ". . unloading table \"%s\".\"%s\"  ", user, table);
    pad(line, '.', 80);
    report("%s", line);
}

void show_rows_done(uint32_t rows) {
    report("%10d rows done.\n", static_cast<int>(rows));
}

void begin_damage() {
    g_ctx.damaged = 0;
}

void report_damaged_row(uint32_t rdba, int row) {
    if (g_ctx.damaged++ < DAMAGE_LINES)
        report("block rdba=0x%08x row %d damaged, skip this row data.\n", rdba, row);
}

void report_damaged_block(uint32_t rdba) {
    if (g_ctx.damaged++ < DAMAGE_LINES)
        report("block rdba=0x%08x damaged, skip this block.\n", rdba);
}

void end_damage() {
    if (g_ctx.damaged > DAMAGE_LINES)
        report("%u more damaged rows or blocks.\n", g_ctx.damaged - DAMAGE_LINES);
    g_ctx.damaged = 0;
}
