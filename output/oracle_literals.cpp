#include "output/oracle_literals.h"

#include <algorithm>
#include <string>

#include "output/sql_dialect.h"

namespace vexlo {

namespace {

bool is_control(char c) {
    return static_cast<unsigned char>(c) < 0x20;
}

bool is_continuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

} // namespace

size_t oracle_literal_part(std::string_view utf8) {
    size_t size = 0;
    while (size < utf8.size() && !is_control(utf8[size]) &&
           (size < ORACLE_LITERAL_SIZE || is_continuation(utf8[size])))
        ++size;
    return size;
}

std::string_view whole_characters(std::string_view utf8, size_t limit) {
    size_t size = std::min(utf8.size(), limit);
    while (size < utf8.size() && is_continuation(utf8[size]))
        ++size;
    return utf8.substr(0, size);
}

void put_hextoraw(std::string_view data, ByteBuffer &bytes) {
    bytes.append("HEXTORAW('");
    while (data.size() > ORACLE_LITERAL_SIZE) {
        bytes.append_hex(data.substr(0, ORACLE_LITERAL_SIZE));
        bytes.append("'||\n'");
        data.remove_prefix(ORACLE_LITERAL_SIZE);
    }
    bytes.append_hex(data);
    bytes.append("')");
}

void put_text_expression(std::string_view utf8, bool national, ByteBuffer &bytes) {
    for (bool first = true; first || !utf8.empty(); first = false) {
        if (!first)
            bytes.append("||\n");
        const size_t size = oracle_literal_part(utf8);
        if (size == 0 && !utf8.empty()) {
            bytes.append("CHR(" + std::to_string(utf8[0]) + ")");
            utf8.remove_prefix(1);
            continue;
        }
        if (national)
            bytes.put('N');
        put_sql_string(utf8.substr(0, size), bytes);
        utf8.remove_prefix(size);
    }
}

} // namespace vexlo
