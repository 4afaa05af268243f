#include "values/rowid.h"

#include "format/byte_order.h"

namespace vexlo {

namespace {

constexpr size_t RESTRICTED_SIZE = 6, EXTENDED_SIZE = 10, UNIVERSAL_SIZE = 13;
constexpr uint8_t PHYSICAL = 1; // first byte of a UROWID that is the address of a row in a heap
constexpr unsigned BLOCK_BITS = 22;

struct RowAddress {
    uint32_t object, file, block, row;
};

// `digits` characters of six bits each, the highest first.
char *put_base64(uint32_t value, int digits, char *out) {
    constexpr char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (int i = digits; i-- > 0; value >>= 6)
        out[i] = ALPHABET[value & 0x3F];
    return out + digits;
}

char *put_hex_digits(uint32_t value, int digits, char *out) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    for (int i = digits; i-- > 0; value >>= 4)
        out[i] = DIGITS[value & 0x0F];
    return out + digits;
}

void split_block_address(uint32_t address, RowAddress &row) {
    row.file = address >> BLOCK_BITS;
    row.block = address & ((1U << BLOCK_BITS) - 1);
}

char *put_extended(const RowAddress &row, char *out) {
    out = put_base64(row.object, 6, out);
    out = put_base64(row.file, 3, out);
    out = put_base64(row.block, 6, out);
    return put_base64(row.row, 3, out);
}

char *put_restricted(const RowAddress &row, char *out) {
    out = put_hex_digits(row.block, 8, out);
    *out++ = '.';
    out = put_hex_digits(row.row, 4, out);
    *out++ = '.';
    return put_hex_digits(row.file, 4, out);
}

} // namespace

char *format_rowid(const uint8_t *p, size_t size, char *out) {
    RowAddress row{};
    if (size == RESTRICTED_SIZE) {
        split_block_address(load_be32(p), row);
        row.row = load_be16(p + 4);
        return put_restricted(row, out);
    }
    if (size != EXTENDED_SIZE)
        return nullptr;
    row.object = load_be32(p);
    split_block_address(load_be32(p + 4), row);
    row.row = load_be16(p + 8);
    return put_extended(row, out);
}

char *format_urowid(const uint8_t *p, size_t size, char *out) {
    if (size != UNIVERSAL_SIZE || p[0] != PHYSICAL)
        return nullptr;
    const RowAddress row = {load_be32(p + 1), load_be16(p + 5), load_be32(p + 7), load_be16(p + 11)};
    return put_extended(row, out);
}

} // namespace vexlo
