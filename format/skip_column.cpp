#include "format/stored_value.h"

const uint8_t *skip_columns(const uint8_t *p, const uint8_t *end, int32_t ncol) {
    VALUE value;
    for (; ncol > 0; ncol--)
        if (!next_value(p, end, &value))
            return nullptr;
    return p;
}
