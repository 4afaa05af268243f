#include "text.h"

void str_toupper(char *s) {
    for (; *s != '\0'; s++)
        if (*s >= 'a' && *s <= 'z')
            *s = static_cast<char>(*s - 32);
}
