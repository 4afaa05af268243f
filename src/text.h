// Cleaning and splitting of what users type and of what configuration and list files hold.
#pragma once

#include "vexlo.h"

// Upper-cases the bytes a to z in place; every other byte stays.
void str_toupper(char *s);

// The first position of `s` that is no space, tab, LF or CR; `s` itself is not changed.
char *str_ltrim(char *s);

// Overwrites trailing spaces, tabs, LFs and CRs with NUL and returns `s`.
char *str_rtrim(char *s);

// Ends the first word of `text` (it runs to the first space or tab) with a NUL and returns what follows the
// blanks behind it.
char *end_first_word(char *text);

// Copies at most 31 characters of `from` into `name`, always NUL-terminated, the rest zero.
void copy_name(char (&name)[NAME_SIZE], const char *from);

// Takes the name that `text` holds: as typed up to the next double quote when it begins with one, otherwise
// the whole text upper-cased. `text` is changed.
void take_name(char *text, char (&name)[NAME_SIZE]);

// Splits user.table at its last dot; with several dots the segment before the last one is the user. A user
// left empty becomes the current user. `text` is changed.
void take_table_name(char *text, char (&user)[NAME_SIZE], char (&table)[NAME_SIZE]);

// Cuts `line` at its first "#" and trims it; returns its first character.
char *clean_line(char *line);
