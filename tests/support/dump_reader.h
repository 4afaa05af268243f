// Strict reader of dump files. All integers in a dump file are big-endian; texts are NUL-terminated within
// a fixed width, and what follows the NUL is not looked at.
//
//   0      324 bytes    header
//   324    700 bytes    zero
//   1024   R bytes      table directory, 56 bytes a table, then zero; R is a multiple of 512
//   1024+R              one data section a table, in directory order, without gaps, up to the end of the file
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "bytes.h"

namespace vexlo_test {

constexpr std::size_t DUMP_HEADER_SIZE = 324;
constexpr std::size_t DUMP_DIRECTORY_OFFSET = 1024;
constexpr std::size_t DUMP_TABLE_SIZE = 56;
constexpr std::size_t DUMP_COLUMN_SIZE = 48;

// Any deviation from the layout; what() ends with the offset in the file.
class dump_error : public std::runtime_error {
public:
    dump_error(const std::string &message, std::size_t at);
    std::size_t offset() const { return offset_; }

private:
    std::size_t offset_;
};

struct dump_header {
    std::string magic;
    std::string owner;
    std::string nls_lang;
    std::string ncharset;
    std::string dbtimezone;
    std::uint32_t tab_cnt = 0;
};

struct dump_table {
    std::uint32_t flag = 0; // 0x1: LONG or LONG RAW column, 0x2: LOB columns
    std::uint32_t ncol = 0;
    std::uint32_t nlob = 0;
    std::uint32_t nrows = 0;
    std::uint64_t offset = 0; // of the data section in the file
    std::string name;
};

struct dump_column {
    std::uint32_t flag = 0; // 0x1: national character set
    std::uint32_t ctyp = 0;
    std::uint32_t clen = 0;
    std::string name;
};

enum class entry_kind { value, null, lob, long_marker };

struct dump_entry {
    entry_kind kind = entry_kind::null;
    bytes value;            // empty unless kind is value
    std::size_t offset = 0; // of the entry in the file
};

struct dump_row {
    std::vector<dump_entry> entries; // may be fewer than the columns: the rest are NULL
    std::vector<bytes> long_chunks;  // of the block after the row, when the row has a LONG marker
    std::size_t offset = 0;
    std::size_t end = 0; // offset just past the row, its LONG block included
};

struct dump_section {
    std::vector<dump_column> columns;
    std::vector<dump_row> rows; // complete rows only
    std::size_t offset = 0;
    std::size_t end = 0;   // offset just past what was read, the end mark included
    bool complete = false; // the end mark 0xFF 0xFF was reached
    std::string stopped;   // why a partial read ended before the end mark
};

struct dump_file {
    bytes raw;
    dump_header header;
    std::vector<dump_table> tables;
    std::vector<dump_section> sections; // one a table, in the same order

    // The section of the table, or throws std::out_of_range.
    const dump_section &section(const std::string &table) const;
};

// The header at the start of `raw`, its magic checked.
dump_header read_dump_header(const bytes &raw);

// The header's tables; checks the zero fill around the directory and each record by itself, but not the
// sections.
std::vector<dump_table> read_dump_tables(const bytes &raw);

// One complete section, which begins at table.offset. Checks it against the directory record.
dump_section read_dump_section(const bytes &raw, const dump_table &table);

// The section of a table whose unload failed: the columns and rows up to the first thing that is not a
// complete row, or up to `limit` (the offset where the next table's section begins, or the size of the
// file).
dump_section read_partial_section(const bytes &raw, const dump_table &table, std::size_t limit);

// A whole file in which every table was unloaded: header, directory, sections that follow each other
// without gaps and end with the file.
dump_file parse_dump(bytes raw);

// parse_dump on the file at `path`.
dump_file read_dump(const std::string &path);

} // namespace vexlo_test
