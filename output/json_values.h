// Values and rows in JSON.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "output/byte_buffer.h"
#include "output/cell.h"

namespace vexlo {

// `text`, which is UTF-8, in double quotes with what JSON must escape.
void put_json_string(std::string_view text, ByteBuffer &bytes);

// Takes the cells of a row by visit(). NULL is null, numbers are JSON numbers with all their digits or, where
// `quote_numbers`, strings; everything else is a string: LOBs as base64, RAW as hexadecimal digits.
struct JsonValues {
    const Column &column;
    RowBatch &batch;
    ByteBuffer &bytes; // of the batch
    bool quote_numbers = false;

    void null() { bytes.append("null"); }
    void number(std::string_view digits);
    void special(std::string_view name) { put_json_string(name, bytes); }
    void moment(std::string_view form) { put_json_string(form, bytes); }
    void text(std::string_view utf8) { put_json_string(utf8, bytes); }
    void hex(std::string_view digits) { put_json_string(digits, bytes); }
    void binary(std::string_view data);
    void text_stream(ValueStream &stream);
    void binary_stream(ValueStream &stream);

private:
    void put_base64_stream(ValueStream &stream);
};

// What stands before each value of a row: "," (for the first one nothing), the name of the column and ":".
std::vector<std::string> json_keys(const Table &table);

} // namespace vexlo
