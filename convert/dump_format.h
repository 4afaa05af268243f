// Layout of a dump file. All integers are big-endian, text fields end at their first NUL or at their width.
//
//   0      header, 324 bytes
//   1024   table directory: one 56-byte record a table
//   ...    per table, from its directory offset on: 48-byte column records, rows, the table end mark
//
// A row is one entry a column, ended by ROW_END. An entry is a 16-bit length and that many bytes, or one of
// the marks below. Columns after the last entry are NULL. A row with a LONG entry is followed by the LONG
// block: LONG_BLOCK, chunks of a 16-bit length and that many bytes, LONG_END.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vexlo {

constexpr char DUMP_MAGIC[] = "vexlo"; // stored with its NUL

constexpr size_t HEAD_SIZE = 324;
constexpr size_t HEAD_OWNER = 32, HEAD_OWNER_SIZE = 32;
constexpr size_t HEAD_NLS_LANG = 64, HEAD_NLS_LANG_SIZE = 128;
constexpr size_t HEAD_NCHARSET = 192, HEAD_NCHARSET_SIZE = 64;
constexpr size_t HEAD_DBTIMEZONE = 256, HEAD_DBTIMEZONE_SIZE = 64;
constexpr size_t HEAD_TAB_CNT = 320;

constexpr uint64_t DIRECTORY_OFFSET = 1024;
constexpr uint64_t DIRECTORY_SIZE_MIN = 512; // room that is kept for it in any case
constexpr size_t TAB_SIZE = 56;
constexpr size_t TAB_FLAG = 0, TAB_NCOL = 4, TAB_NLOB = 8, TAB_NROWS = 12, TAB_OFFSET = 16, TAB_NAME = 24;
constexpr uint32_t TAB_FLAG_LONG = 0x1;
constexpr uint32_t TAB_FLAG_LOB = 0x2;

constexpr size_t COL_SIZE = 48;
constexpr size_t COL_FLAG = 0, COL_CTYP = 4, COL_CLEN = 8, COL_NAME = 16; // the word at 12 means nothing
constexpr uint32_t COL_FLAG_NATIONAL = 0x1;

constexpr size_t NAME_SIZE = 32;

constexpr uint16_t ROW_END = 0x0000;
constexpr uint16_t LONG_END = 0x0000;
constexpr uint16_t VALUE_MAX = 0xFFFA; // the longest value; what lies above is a mark
constexpr uint16_t ENTRY_LONG = 0xFFFB;
constexpr uint16_t ENTRY_LOB = 0xFFFC;
constexpr uint16_t LONG_BLOCK = 0xFFFD;
constexpr uint16_t ENTRY_NULL = 0xFFFE;
constexpr uint16_t TABLE_END = 0xFFFF;

} // namespace vexlo
