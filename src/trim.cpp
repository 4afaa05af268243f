#include <cstring>

#include "text.h"

static bool is_space(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

char *str_ltrim(char *s) {
    while (is_space(*s))
        s++;
    return s;
}

char *str_rtrim(char *s) {
    for (char *end = s + strlen(s); end > s && is_space(end[-1]); end--)
        end[-1] = '\0';
    return s;
}

char *clean_line(char *line) {
    line[strcspn(line, "#")] = '\0';
    return str_rtrim(str_ltrim(line));
}
