#include "dump_reader.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "scratch_dir.h"

namespace vexlo_test {
namespace {

// Two-byte marks. A value's length is below all of them.
constexpr std::uint16_t ROW_END = 0x0000;
constexpr std::uint16_t LONG_MARKER = 0xFFFB;
constexpr std::uint16_t LOB_MARKER = 0xFFFC;
constexpr std::uint16_t LONG_BLOCK = 0xFFFD;
constexpr std::uint16_t NULL_MARKER = 0xFFFE;
constexpr std::uint16_t TABLE_END = 0xFFFF;
constexpr std::size_t MAX_LONG_CHUNK = 32768;

constexpr std::size_t NAME_WIDTH = 32;

// A position in the file that moves forward and never passes `limit`.
class cursor {
public:
    cursor(const bytes &raw, std::size_t at, std::size_t limit) : raw_(raw), at_(at), limit_(limit) {
        if (limit > raw.size() || at > limit)
            throw dump_error("offset outside the file", at);
    }

    std::size_t at() const { return at_; }

    bytes take(std::size_t n, std::string_view what) {
        if (n > limit_ - at_)
            throw dump_error(std::string(what) + " ends early", at_);
        const auto begin = raw_.begin() + static_cast<std::ptrdiff_t>(at_);
        at_ += n;
        return bytes(begin, begin + static_cast<std::ptrdiff_t>(n));
    }

    std::uint64_t number(std::size_t width, std::string_view what) {
        std::uint64_t value = 0;
        for (std::uint8_t b : take(width, what))
            value = value << 8 | b;
        return value;
    }

    std::uint16_t u16(std::string_view what) { return static_cast<std::uint16_t>(number(2, what)); }
    std::uint32_t u32(std::string_view what) { return static_cast<std::uint32_t>(number(4, what)); }

    std::string text(std::size_t width, std::string_view what) {
        const std::size_t start = at_;
        const bytes field = take(width, what);
        const auto nul = std::find(field.begin(), field.end(), std::uint8_t{0});
        if (nul == field.end())
            throw dump_error(std::string(what) + " has no terminating NUL", start);
        return std::string(field.begin(), nul);
    }

    void zeros(std::size_t n, std::string_view what) {
        const std::size_t start = at_;
        const bytes fill = take(n, what);
        const auto stray = std::find_if(fill.begin(), fill.end(), [](std::uint8_t b) { return b != 0; });
        if (stray != fill.end())
            throw dump_error(std::string(what) + " is not zero",
                             start + static_cast<std::size_t>(stray - fill.begin()));
    }

private:
    const bytes &raw_;
    std::size_t at_;
    std::size_t limit_;
};

bool is_long(std::uint32_t ctyp) {
    return ctyp == 8 || ctyp == 24;
}

bool is_lob(std::uint32_t ctyp) {
    return ctyp == 112 || ctyp == 113;
}

dump_table parse_table(cursor &in) {
    const std::size_t start = in.at();
    dump_table table;
    table.flag = in.u32("table flag");
    table.ncol = in.u32("column count");
    table.nlob = in.u32("LOB column count");
    table.nrows = in.u32("row count");
    table.offset = in.number(8, "table offset");
    table.name = in.text(NAME_WIDTH, "table name");
    if ((table.flag & ~0x3U) != 0)
        throw dump_error("unknown table flag bits", start);
    return table;
}

dump_column parse_column(cursor &in) {
    constexpr std::size_t reserved = 4;
    const std::size_t start = in.at();
    dump_column column;
    column.flag = in.u32("column flag");
    column.ctyp = in.u32("column type");
    column.clen = in.u32("column length");
    in.take(reserved, "reserved word");
    column.name = in.text(NAME_WIDTH, "column name");
    if ((column.flag & ~0x1U) != 0)
        throw dump_error("unknown column flag bits", start);
    return column;
}

std::vector<dump_column> parse_columns(cursor &in, const dump_table &table) {
    const std::size_t start = in.at();
    std::vector<dump_column> columns;
    for (std::uint32_t i = 0; i < table.ncol; ++i)
        columns.push_back(parse_column(in));
    const auto lobs =
        std::count_if(columns.begin(), columns.end(), [](const dump_column &c) { return is_lob(c.ctyp); });
    if (static_cast<std::uint32_t>(lobs) != table.nlob)
        throw dump_error("LOB column count differs from the column list", start);
    const bool has_long =
        std::any_of(columns.begin(), columns.end(), [](const dump_column &c) { return is_long(c.ctyp); });
    if (has_long && (table.flag & 0x1) == 0)
        throw dump_error("LONG column in a table without the LONG flag", start);
    return columns;
}

entry_kind kind_of(std::uint16_t mark, std::size_t at) {
    switch (mark) {
    case NULL_MARKER:
        return entry_kind::null;
    case LOB_MARKER:
        return entry_kind::lob;
    case LONG_MARKER:
        return entry_kind::long_marker;
    case LONG_BLOCK:
        throw dump_error("LONG block inside a row", at);
    case TABLE_END:
        throw dump_error("end of table inside a row", at);
    default:
        return entry_kind::value;
    }
}

// LONG and LOB columns never hold a plain value, and no other column holds their markers.
void check_kind(const dump_entry &entry, std::uint32_t ctyp) {
    if (entry.kind == entry_kind::null)
        return;
    const entry_kind expected = is_long(ctyp)  ? entry_kind::long_marker
                                : is_lob(ctyp) ? entry_kind::lob
                                               : entry_kind::value;
    if (entry.kind != expected)
        throw dump_error("entry does not suit column type " + std::to_string(ctyp), entry.offset);
}

std::vector<bytes> parse_long_block(cursor &in) {
    const std::size_t start = in.at();
    if (in.u16("LONG block") != LONG_BLOCK)
        throw dump_error("LONG block missing after the row", start);
    std::vector<bytes> chunks;
    for (std::size_t at = in.at();; at = in.at()) {
        const std::uint16_t length = in.u16("LONG chunk length");
        if (length == ROW_END)
            return chunks;
        if (length > MAX_LONG_CHUNK)
            throw dump_error("LONG chunk too long", at);
        chunks.push_back(in.take(length, "LONG chunk"));
    }
}

dump_entry parse_entry(cursor &in, std::size_t start, std::uint16_t mark) {
    dump_entry entry;
    entry.offset = start;
    entry.kind = kind_of(mark, start);
    if (entry.kind == entry_kind::value)
        entry.value = in.take(mark, "value");
    return entry;
}

// The row whose first mark, at `start`, has been taken already.
dump_row parse_row(cursor &in, const std::vector<dump_column> &columns, std::size_t start,
                   std::uint16_t mark) {
    dump_row row;
    row.offset = start;
    bool has_long = false;
    for (std::size_t at = start; mark != ROW_END; at = in.at(), mark = in.u16("row")) {
        const dump_entry entry = parse_entry(in, at, mark);
        if (row.entries.size() == columns.size())
            throw dump_error("more entries than columns", at);
        check_kind(entry, columns[row.entries.size()].ctyp);
        has_long = has_long || entry.kind == entry_kind::long_marker;
        row.entries.push_back(entry);
    }
    if (has_long)
        row.long_chunks = parse_long_block(in);
    row.end = in.at();
    return row;
}

void parse_rows(cursor &in, dump_section &section) {
    for (;;) {
        const std::size_t start = in.at();
        const std::uint16_t mark = in.u16("row or end of table");
        if (mark == TABLE_END)
            break;
        section.rows.push_back(parse_row(in, section.columns, start, mark));
        section.end = in.at();
    }
    section.end = in.at();
    section.complete = true;
}

// Fills the section as far as it can be read; throws at the first deviation.
void parse_section(const bytes &raw, const dump_table &table, std::size_t limit, dump_section &section) {
    section.offset = table.offset;
    section.end = table.offset;
    cursor in(raw, table.offset, limit);
    section.columns = parse_columns(in, table);
    section.end = in.at();
    parse_rows(in, section);
}

// Size of the directory area for so many tables.
std::size_t directory_size(std::size_t tables) {
    return (tables * DUMP_TABLE_SIZE + 511) / 512 * 512;
}

void expect_offset(std::size_t actual, std::size_t expected, const std::string &what) {
    if (actual != expected)
        throw dump_error(what + " is not at " + std::to_string(expected), actual);
}

} // namespace

dump_error::dump_error(const std::string &message, std::size_t at)
    : std::runtime_error(message + " at offset " + std::to_string(at)), offset_(at) {}

const dump_section &dump_file::section(const std::string &table) const {
    for (std::size_t i = 0; i < tables.size(); ++i)
        if (tables[i].name == table)
            return sections.at(i);
    throw std::out_of_range("no table " + table + " in the dump file");
}

dump_header read_dump_header(const bytes &raw) {
    cursor in(raw, 0, raw.size());
    dump_header head;
    head.magic = in.text(NAME_WIDTH, "magic");
    if (head.magic != "vexlo")
        throw dump_error("wrong magic", 0);
    head.owner = in.text(NAME_WIDTH, "owner");
    head.nls_lang = in.text(128, "nls_lang");
    head.ncharset = in.text(64, "ncharset");
    head.dbtimezone = in.text(64, "dbtimezone");
    head.tab_cnt = in.u32("table count");
    return head;
}

std::vector<dump_table> read_dump_tables(const bytes &raw) {
    const dump_header head = read_dump_header(raw);
    cursor in(raw, DUMP_HEADER_SIZE, raw.size());
    in.zeros(DUMP_DIRECTORY_OFFSET - DUMP_HEADER_SIZE, "fill after the header");
    std::vector<dump_table> tables;
    for (std::uint32_t i = 0; i < head.tab_cnt; ++i)
        tables.push_back(parse_table(in));
    const std::size_t used = tables.size() * DUMP_TABLE_SIZE;
    in.zeros(directory_size(tables.size()) - used, "fill after the table directory");
    return tables;
}

dump_section read_dump_section(const bytes &raw, const dump_table &table) {
    dump_section section;
    parse_section(raw, table, raw.size(), section);
    if (section.rows.size() != table.nrows)
        throw dump_error("table " + table.name + " has " + std::to_string(section.rows.size()) +
                             " rows, its directory record says " + std::to_string(table.nrows),
                         section.end);
    return section;
}

dump_section read_partial_section(const bytes &raw, const dump_table &table, std::size_t limit) {
    dump_section section;
    try {
        parse_section(raw, table, limit, section);
    } catch (const dump_error &error) {
        section.stopped = error.what();
    }
    return section;
}

dump_file parse_dump(bytes raw) {
    dump_file dump;
    dump.raw = std::move(raw);
    dump.header = read_dump_header(dump.raw);
    dump.tables = read_dump_tables(dump.raw);
    std::size_t expected = DUMP_DIRECTORY_OFFSET + directory_size(dump.tables.size());
    for (const dump_table &table : dump.tables) {
        expect_offset(table.offset, expected, "section of table " + table.name);
        dump.sections.push_back(read_dump_section(dump.raw, table));
        expected = dump.sections.back().end;
    }
    expect_offset(dump.raw.size(), expected, "end of the file");
    return dump;
}

dump_file read_dump(const std::string &path) {
    return parse_dump(read_file(path));
}

} // namespace vexlo_test
