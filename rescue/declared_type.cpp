#include "rescue/declared_type.h"

#include "values/column_type.h"

namespace vexlo {

namespace {

std::string in_brackets(const std::string &text) {
    return "(" + text + ")";
}

// A NUMBER without a scale but with a precision is a FLOAT, whose precision counts bits.
std::string number_type(const ColumnRecord &column) {
    const bool has_scale = column.scale != NO_NUMBER;
    if (column.precision == NO_NUMBER)
        return has_scale ? "NUMBER(*," + std::to_string(column.scale) + ")" : "NUMBER";
    const std::string precision = std::to_string(column.precision);
    if (!has_scale)
        return "FLOAT" + in_brackets(precision);
    return "NUMBER" +
           in_brackets(column.scale == 0 ? precision : precision + "," + std::to_string(column.scale));
}

std::string text_type(const ColumnRecord &column) {
    const bool by_characters = column.is_national() || (column.property & COLUMN_CHARACTER_LENGTH) != 0;
    if (!by_characters || column.character_length == 0)
        return type_text(column.type, column.is_national(), column.length);
    const std::string text = type_text(column.type, column.is_national(), column.character_length);
    return column.is_national() ? text : text.substr(0, text.size() - 1) + " CHAR)";
}

// A fraction of seconds stands behind the first word of a TIMESTAMP.
std::string timestamp_type(const ColumnRecord &column) {
    std::string text = type_text(column.type, false, 0);
    constexpr size_t FIRST_WORD = sizeof "TIMESTAMP" - 1;
    return column.scale == NO_NUMBER ? text
                                     : text.insert(FIRST_WORD, in_brackets(std::to_string(column.scale)));
}

std::string interval_type(const ColumnRecord &column, const char *leading, const char *trailing) {
    std::string text = std::string("INTERVAL ") + leading;
    if (column.precision != NO_NUMBER)
        text += in_brackets(std::to_string(column.precision));
    text += std::string(" TO ") + trailing;
    if (column.scale != NO_NUMBER && trailing == std::string_view("SECOND"))
        text += in_brackets(std::to_string(column.scale));
    return text;
}

// Types whose values no output knows by their code.
std::string other_type(const ColumnRecord &column) {
    constexpr uint16_t TYPE_BFILE = 114, TYPE_JSON = 119;
    switch (column.type) {
    case TYPE_BFILE:
        return "BFILE";
    case TYPE_JSON:
        return "JSON";
    default:
        return type_text(column.type, column.is_national(), column.length);
    }
}

} // namespace

std::string declared_type(const ColumnRecord &column) {
    switch (column_kind(column.type, column.is_national())) {
    case ColumnKind::number:
        return number_type(column);
    case ColumnKind::text:
    case ColumnKind::national_text:
        return text_type(column);
    case ColumnKind::timestamp:
    case ColumnKind::timestamp_tz:
    case ColumnKind::timestamp_ltz:
        return timestamp_type(column);
    case ColumnKind::interval_ym:
        return interval_type(column, "YEAR", "MONTH");
    case ColumnKind::interval_ds:
        return interval_type(column, "DAY", "SECOND");
    default:
        return other_type(column);
    }
}

} // namespace vexlo
