#pragma once

#include "vexlo.h"

// Forms the path of the dictionary file with base name `name`.
void dict_path(char (&path)[PATH_SIZE], const char *name);
