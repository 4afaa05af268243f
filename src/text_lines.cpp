#include "text_lines.h"

#include <cerrno>
#include <cstring>

#include "console.h"

FILE *open_text(const char *path) {
    FILE *file = fopen(path, "r");
    if (file == nullptr)
        report("open %s: %s\n", path, strerror(errno));
    return file;
}

int next_line(FILE *file, const char *path, char (&line)[LINE_SIZE]) {
    line[LINE_SIZE - 1] = '\n'; // becomes NUL with a full piece, and a line may hold NULs of its own
    if (fgets(line, LINE_SIZE, file) != nullptr) {
        // Whether the file ends behind a full piece without a newline shows with its next byte.
        if (line[LINE_SIZE - 1] == '\0' && line[LINE_SIZE - 2] != '\n')
            ungetc(getc(file), file);
        return 1;
    }
    if (!ferror(file))
        return 0;
    report("read %s: %s\n", path, strerror(errno));
    return -1;
}
