#include "output/oracle_appended.h"

#include <algorithm>
#include <string>

#include "output/names.h"
#include "output/oracle_literals.h"

namespace vexlo {

namespace {

constexpr size_t EXPRESSION_SIZE = 32000; // bytes of a value that goes into its INSERT
// Bytes of one statement. A string of PL/SQL ends at 32,767 bytes: hexadecimal digits are two of them a byte,
// and a character can need three where it took one.
constexpr size_t BYTES_PIECE = 16000, TEXT_PIECE = 8000;

} // namespace

bool has_appended_values(const Column &column) {
    return column.kind == ColumnKind::lob || column.kind == ColumnKind::long_text ||
           column.kind == ColumnKind::long_raw;
}

bool is_appended(const Column &column, const Field &field) {
    return field.kind == FieldKind::stream || (has_appended_values(column) && field.kind != FieldKind::null &&
                                               field.kind != FieldKind::lob && field.size > EXPRESSION_SIZE);
}

void AppendedValue::put(const Cell &cell) {
    is_binary_ = cell.kind == CellKind::binary || cell.kind == CellKind::binary_stream;
    const auto append = [&](std::string_view part) { is_binary_ ? put_bytes(part) : put_text(part); };
    if (cell.stream != nullptr)
        for_each_part(*cell.stream, batch_, append);
    else
        append(cell.view());
    if (is_open_)
        batch_.bytes.append("END;\n");
}

void AppendedValue::put_bytes(std::string_view data) {
    while (!data.empty()) {
        const std::string_view part = data.substr(0, BYTES_PIECE);
        begin_statement(part.size());
        batch_.bytes.append("DBMS_LOB.WRITEAPPEND(v, " + std::to_string(part.size()) + ", ");
        put_hextoraw(part, batch_.bytes);
        batch_.bytes.append(");\n");
        data.remove_prefix(part.size());
    }
}

void AppendedValue::put_text(std::string_view utf8) {
    while (!utf8.empty()) {
        const std::string_view part = whole_characters(utf8, TEXT_PIECE);
        begin_statement(part.size());
        batch_.bytes.append("DBMS_LOB.APPEND(v, ");
        put_text_expression(part, column_.national, batch_.bytes);
        batch_.bytes.append(");\n");
        utf8.remove_prefix(part.size());
    }
}

// Makes room for a statement of so many bytes, in a block of its own where the one before is full.
void AppendedValue::begin_statement(size_t bytes) {
    if (!is_open_ || in_block_ + bytes > BLOCK_SIZE)
        open_block();
    in_block_ += bytes;
}

// The block with the INSERT, or with the part before, ends here.
void AppendedValue::open_block() {
    const std::string type = is_binary_ ? "BLOB" : column_.national ? "NCLOB" : "CLOB";
    batch_.bytes.append(is_open_ ? "END;\n" : "");
    batch_.bytes.append(ORACLE_BLOCK_TAIL);
    batch_.bytes.append(ORACLE_BLOCK_HEAD);
    batch_.bytes.append("DECLARE\nv " + type + ";\nBEGIN\nSELECT " + quoted_identifier(column_.name) +
                        " INTO v FROM " + quoted_identifier(table_.name) +
                        "\nWHERE ROWID = CHARTOROWID(:appended_to) FOR UPDATE;\n");
    is_open_ = true;
    in_block_ = 0;
}

} // namespace vexlo
