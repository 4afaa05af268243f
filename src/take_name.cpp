#include <cstring>

#include "text.h"

char *end_first_word(char *text) {
    char *end = text + strcspn(text, " \t");
    if (*end == '\0')
        return end;
    *end++ = '\0';
    return end + strspn(end, " \t");
}

void copy_name(char (&name)[NAME_SIZE], const char *from) {
    const size_t len = strnlen(from, NAME_SIZE - 1);
    memcpy(name, from, len);
    memset(name + len, 0, NAME_SIZE - len);
}

void take_name(char *text, char (&name)[NAME_SIZE]) {
    if (*text == '"') {
        text++;
        text[strcspn(text, "\"")] = '\0';
    } else {
        str_toupper(text);
    }
    copy_name(name, text);
}

void take_table_name(char *text, char (&user)[NAME_SIZE], char (&table)[NAME_SIZE]) {
    user[0] = '\0';
    while (char *dot = strchr(text, '.')) {
        *dot = '\0';
        take_name(text, user);
        text = dot + 1;
    }
    take_name(text, table);
    if (user[0] == '\0')
        copy_name(user, g_ctx.cur_usr);
}
