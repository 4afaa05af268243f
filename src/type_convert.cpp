#include <cstdio>

#include "value.h"
#include "vexlo.h"

namespace {

struct TYPE_TEXT {
    uint32_t ctyp;
    const char *text;     // format; "%d" takes the declared length in bytes
    const char *national; // the same in the national character set
};

// "MOTH" is what the program prints and what scripts that read its listings expect.
constexpr TYPE_TEXT type_texts[] = {
    {1, "VARCHAR2(%d)", "NVARCHAR2(%d)"},
    {2, "NUMBER", "NUMBER"},
    {TYPE_LONG, "LONG", "LONG"},
    {12, "DATE", "DATE"},
    {23, "RAW(%d)", "RAW(%d)"},
    {TYPE_LONG_RAW, "LONG RAW", "LONG RAW"},
    {96, "CHAR(%d)", "NCHAR(%d)"},
    {100, "BINARY_FLOAT", "BINARY_FLOAT"},
    {101, "BINARY_DOUBLE", "BINARY_DOUBLE"},
    {TYPE_CLOB, "CLOB", "NCLOB"},
    {TYPE_BLOB, "BLOB", "BLOB"},
    {180, "TIMESTAMP", "TIMESTAMP"},
    {181, "TIMESTAMP WITH TIME ZONE", "TIMESTAMP WITH TIME ZONE"},
    {182, "INTERVAL YEAR TO MOTH", "INTERVAL YEAR TO MOTH"},
    {183, "INTERVAL DAY TO SECOND", "INTERVAL DAY TO SECOND"},
    {231, "TIMESTAMP WITH LOCAL TIME ZONE", "TIMESTAMP WITH LOCAL TIME ZONE"},
};

const char *type_format(bool national, int ctyp) {
    for (const TYPE_TEXT &type : type_texts)
        if (type.ctyp == static_cast<uint32_t>(ctyp))
            return national ? type.national : type.text;
    return "UNKNOWN";
}

} // namespace

char *type_string(int flag, int ctyp, int clen) {
    static char text[64];
    const bool national = (static_cast<uint32_t>(flag) & COL_NATIONAL) != 0;
    snprintf(text, sizeof text, type_format(national, ctyp), clen);
    return text;
}
