// Column types as users read them.
#pragma once

#include <cstdint>

// The type text of a column with the given COL.flag, COL.ctyp and COL.clen. The text lives in one static
// buffer until the next call.
char *type_string(int flag, int ctyp, int clen);
