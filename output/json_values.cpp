#include "output/json_values.h"

#include "values/base64.h"

namespace vexlo {

namespace {

constexpr size_t ESCAPE_MAX = 6; // characters of \u0000

// A control character, for which JSON has a short form or else the number.
char *put_control(unsigned char c, char *out) {
    constexpr char DIGITS[] = "0123456789abcdef";
    constexpr std::string_view SHORT = "\bb\tt\nn\ff\rr"; // pairs of character and letter
    *out++ = '\\';
    for (size_t i = 0; i < SHORT.size(); i += 2)
        if (static_cast<unsigned char>(SHORT[i]) == c) {
            *out++ = SHORT[i + 1];
            return out;
        }
    *out++ = 'u';
    *out++ = '0';
    *out++ = '0';
    *out++ = DIGITS[c >> 4];
    *out++ = DIGITS[c & 0x0F];
    return out;
}

// Texts are UTF-8 when they come here and stay as they are but for what JSON must escape.
void put_escaped(std::string_view text, ByteBuffer &bytes) {
    char *out = bytes.reserve(ESCAPE_MAX * text.size());
    for (const char c : text) {
        if (static_cast<unsigned char>(c) < 0x20) {
            out = put_control(static_cast<unsigned char>(c), out);
            continue;
        }
        if (c == '"' || c == '\\')
            *out++ = '\\';
        *out++ = c;
    }
    bytes.commit_to(out);
}

void put_base64(std::string_view data, ByteBuffer &bytes) {
    bytes.commit_to(write_base64(data, bytes.reserve(base64_size(data.size()))));
}

} // namespace

void put_json_string(std::string_view text, ByteBuffer &bytes) {
    bytes.put('"');
    put_escaped(text, bytes);
    bytes.put('"');
}

void JsonValues::number(std::string_view digits) {
    if (quote_numbers)
        put_json_string(digits, bytes);
    else
        bytes.append(digits);
}

void JsonValues::binary(std::string_view data) {
    bytes.put('"');
    if (column.kind == ColumnKind::lob)
        put_base64(data, bytes);
    else
        bytes.append_hex(data);
    bytes.put('"');
}

void JsonValues::text_stream(ValueStream &stream) {
    bytes.put('"');
    for_each_part(stream, batch, [&](std::string_view part) { put_escaped(part, bytes); });
    bytes.put('"');
}

void JsonValues::binary_stream(ValueStream &stream) {
    bytes.put('"');
    if (column.kind == ColumnKind::lob)
        put_base64_stream(stream);
    else
        for_each_part(stream, batch, [&](std::string_view part) { bytes.append_hex(part); });
    bytes.put('"');
}

// Three bytes become four characters: what is left of a piece goes before the next one.
void JsonValues::put_base64_stream(ValueStream &stream) {
    std::string rest;
    for_each_part(stream, batch, [&](std::string_view part) {
        rest.append(part);
        const size_t whole = rest.size() / 3 * 3;
        put_base64(std::string_view(rest).substr(0, whole), bytes);
        rest.erase(0, whole);
    });
    put_base64(rest, bytes);
}

std::vector<std::string> json_keys(const Table &table) {
    std::vector<std::string> keys;
    for (const Column &column : table.columns) {
        ByteBuffer key;
        if (!keys.empty())
            key.put(',');
        put_json_string(column.name, key);
        key.put(':');
        keys.emplace_back(key.view());
    }
    return keys;
}

} // namespace vexlo
