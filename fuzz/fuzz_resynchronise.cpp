// The rows of one table behind a sound header, directory and column list: a byte with the number of columns,
// a byte for the type of each, a byte of the count that the directory states, then the section. Rows come in
// the order of their offsets, and those behind a damaged place are as those before it.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

#include "convert/dump_format.h"
#include "dump_input.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct ColumnForm {
    uint8_t type, length;
    bool national;
};

constexpr ColumnForm FORMS[] = {{1, 30, false},    {2, 22, false},   {12, 7, false},  {96, 8, false},
                                {1, 40, true},     {23, 16, false},  {8, 0, false},   {24, 0, false},
                                {112, 100, false}, {180, 11, false}, {100, 4, false}, {1, 0, false}};
constexpr size_t COLUMNS_MAX = 12;

void put_be32(Bytes &bytes, size_t at, uint32_t number) {
    for (size_t i = 0; i < 4; ++i)
        bytes[at + i] = static_cast<uint8_t>(number >> (24 - 8 * i));
}

// A dump of one table up to its rows.
Bytes head_of(const uint8_t *types, size_t columns, uint32_t rows) {
    const size_t section = vexlo::DIRECTORY_OFFSET + vexlo::DIRECTORY_SIZE_MIN;
    Bytes bytes(section + columns * vexlo::COL_SIZE);
    std::memcpy(bytes.data(), vexlo::DUMP_MAGIC, sizeof vexlo::DUMP_MAGIC);
    std::memcpy(&bytes[vexlo::HEAD_NLS_LANG], "A_B.AL32UTF8", 12);
    put_be32(bytes, vexlo::HEAD_TAB_CNT, 1);
    const size_t table = vexlo::DIRECTORY_OFFSET;
    put_be32(bytes, table + vexlo::TAB_NCOL, static_cast<uint32_t>(columns));
    put_be32(bytes, table + vexlo::TAB_NROWS, rows);
    put_be32(bytes, table + vexlo::TAB_OFFSET + 4, static_cast<uint32_t>(section));
    bytes[table + vexlo::TAB_NAME] = 'T';
    for (size_t i = 0; i < columns; ++i) {
        const ColumnForm &form = FORMS[types[i] % std::size(FORMS)];
        const size_t at = section + i * vexlo::COL_SIZE;
        put_be32(bytes, at + vexlo::COL_FLAG, form.national ? vexlo::COL_FLAG_NATIONAL : 0);
        put_be32(bytes, at + vexlo::COL_CTYP, form.type);
        put_be32(bytes, at + vexlo::COL_CLEN, form.length);
        bytes[at + vexlo::COL_NAME] = static_cast<uint8_t>('A' + i);
    }
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 3)
        return 0;
    const size_t columns = std::min(1 + data[0] % COLUMNS_MAX, size - 2);
    Bytes bytes = head_of(data + 1, columns, data[1 + columns]);
    bytes.insert(bytes.end(), data + 2 + columns, data + size);
    const vexlo::DumpFile dump(fuzz::memory_dump(bytes.data(), bytes.size()), "fuzz");
    fuzz::decode_tables(dump);
    return 0;
}
