// Random columns and values, with the text that each value is shown as once it is recovered: exact decimal
// numbers, ISO 8601 moments and intervals, UTF-8, hexadecimal digits in upper case.
#pragma once

#include "model.h"
#include "random_source.h"

namespace sample {

// How a database stores its text.
enum class TextStorage { utf8, latin1 };

// A value as a row stores it and as it is shown; both are empty for NULL.
struct RandomCell {
    Value stored;
    std::optional<std::string> shown;
};

// A column of some type that fits between others: no LONG and no LOB.
ColumnDef random_column(RandomSource &random, std::string name);

// A value other than NULL for a column of any scalar type, LONG included, of at most `longest` stored bytes
// where the type leaves that open. `longest` is at least 1. Throws std::invalid_argument for other types.
RandomCell random_cell(RandomSource &random, const ColumnDef &column, TextStorage storage, size_t longest);

} // namespace sample
