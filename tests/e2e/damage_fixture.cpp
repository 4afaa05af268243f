#include "damage_fixture.h"

namespace vexlo_test {

namespace {

sample::DatabaseOptions small_blocks(size_t block_size, bool checksum) {
    sample::DatabaseOptions options;
    options.block_size = block_size;
    options.checksum = checksum;
    return options;
}

template <class... VALUES>
std::string formatted(const char *format, VALUES... values) {
    char line[128];
    snprintf(line, sizeof line, format, values...);
    return line;
}

} // namespace

damage_console::damage_console(bool checksum) : unload_console(small_blocks(BLOCK, checksum)) {}

size_t damage_console::add_rows(const std::string &name, int rows) {
    const size_t t =
        db_->add_table(table(name, {sample::number_column("ID"), sample::varchar2_column("NAME", 100)}));
    for (int i = 1; i <= rows; i++)
        places_[name].push_back(db_->insert(t, {sample::number(i), sample::text(std::string(50, 'x'))}));
    return t;
}

bytes damage_console::read_block(uint32_t rdba) const {
    const bytes file = read_file(users_file());
    const auto at = file.begin() + static_cast<ptrdiff_t>((rdba & 0x3FFFFF) * BLOCK);
    return {at, at + BLOCK};
}

void damage_console::write_block(uint32_t rdba, const bytes &block) const {
    patch_file(users_file(), (rdba & 0x3FFFFF) * BLOCK, block);
}

void damage_console::patch(uint32_t rdba, size_t offset, const bytes &data) const {
    sample::patch_file(users_file(), BLOCK, rdba & 0x3FFFFF, offset, data);
}

size_t damage_console::slot_offset(sample::RowAddress at) const {
    constexpr size_t DATA_HEADER = 14, TABLE_ENTRY = 4;
    return data_header(read_block(at.rdba)) + DATA_HEADER + TABLE_ENTRY + 2 * size_t{at.slot};
}

size_t damage_console::piece_offset(sample::RowAddress at) const {
    const bytes block = read_block(at.rdba);
    return data_header(block) + sample::fetch_le16(&block[slot_offset(at)]);
}

std::vector<int> damage_console::dumped(const std::string &name) const {
    const bytes raw = dump(name);
    std::vector<int> ids;
    for (const dump_row &row : read_dump_section(raw, read_dump_tables(raw).at(0)).rows)
        ids.push_back(std::stoi(number_text(row.entries.at(0).value)));
    return ids;
}

size_t data_header(const bytes &block) {
    constexpr size_t ITL = 44, ITL_SIZE = 24, EXTRA = 8;
    const size_t at = ITL + ITL_SIZE * block[36];
    return (block[38] & 0x20) == 0 ? at : at + EXTRA + sample::fetch_le16(&block[at + 4]);
}

std::string damaged_block(uint32_t rdba) {
    return formatted("block rdba=0x%08x damaged, skip this block.\n", rdba);
}

std::string damaged_row(sample::RowAddress at) {
    return formatted("block rdba=0x%08x row %d damaged, skip this row data.\n", at.rdba, int{at.slot});
}

} // namespace vexlo_test
