#include "lob_rows.h"

#include "sample/lob_data.h"

namespace vexlo_test {

using namespace sample;

namespace {

constexpr size_t MIB = 1 << 20;

std::u16string characters_of(size_t id, size_t units) {
    return lob_characters({1, id, 1}, units);
}

} // namespace

// What is longer than 1 MiB comes in pieces; behind B stands a number, behind E nothing.
const std::vector<LobRow> LobRows::ROWS = {
    {1000000, MIB + 77, 2 * MIB},
    {0, 0, 0},
    {std::nullopt, std::nullopt, std::nullopt},
    {5, 5, 5000},
    {1000000, std::nullopt, 1},
    {3, MIB + 1, 3},
    {7, MIB + 1, std::nullopt},
};

void LobRows::SetUp() {
    open();
    ColumnDef text = typed_column("C", CLOB_TYPE, 4000);
    text.charset_form = 1;
    const size_t table = add("T", {number_column("ID"), text, typed_column("B", BLOB_TYPE, 4000),
                                   number_column("N"), typed_column("E", BLOB_TYPE, 4000)});
    const auto store = [&](size_t id, uint32_t column) {
        return size_of(id, column) ? db_->store_lob(table, column, bytes_of(id, column)) : null_value();
    };
    for (size_t id = 1; id <= ROWS.size(); ++id) {
        const LobSize units = size_of(id, 1);
        const Value characters =
            units ? db_->store_lob(table, 1, utf16_bytes(characters_of(id, *units))) : null_value();
        const Value key = number(static_cast<int64_t>(id));
        db_->insert(table, {key, characters, store(id, 2), key, store(id, 4)});
    }
}

std::string LobRows::text_of(size_t id) {
    return utf8_text(characters_of(id, size_of(id, 1).value_or(0)));
}

Bytes LobRows::bytes_of(size_t id, uint32_t column) {
    return lob_bytes({1, id, column}, size_of(id, column).value_or(0));
}

LobSize LobRows::size_of(size_t id, uint32_t column) {
    const LobRow &row = ROWS.at(id - 1);
    return column == 1 ? row.text : column == 2 ? row.bytes : row.last;
}

} // namespace vexlo_test
