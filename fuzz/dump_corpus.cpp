#include "dump_corpus.h"

#include <algorithm>

#include "dump_writer.h"

namespace {

constexpr size_t SECTION = 1536; // of the first table of a dump

DumpTable ordinary_table() {
    DumpTable table{.name = "EMP", .columns = {{"ID", 2, 22}, {"NAME", 1, 30}, {"BORN", 12, 7}}};
    for (int i = 0; i < 12; ++i)
        table.rows.push_back(
            row({value(ora_number(std::to_string(i * 37))), i % 3 == 0 ? null() : value("SMITH"),
                 value(ora_date(2000 + i, 1, 1 + i))}));
    return table;
}

DumpTable long_table() {
    return {.name = "NOTES",
            .columns = {{"ID", 2, 22}, {"TEXT", 8, 0}},
            .rows = {row({value(ora_number("1")), long_mark()}) + long_block({"some text", "and more"}),
                     row({value(ora_number("2"))}), row({null(), long_mark()}) + long_block({})}};
}

DumpTable wide_table() {
    return {.name = "WIDE",
            .columns = {{"N", 1, 40, true}, {"T", 180, 11}, {"F", 100, 4}, {"DOC", 112, 100}},
            .rows = {row({value(std::string("\0a", 2)), value(ora_timestamp(ora_date(2024, 2, 29), 5)),
                          value(ora_binary_float(1.5F)), lob()}),
                     row({})}};
}

// What stands behind the head that the target writes: columns, their types by place, the count, the section.
std::string section_seed(const std::string &types, const DumpTable &table) {
    Dump dump;
    dump.tables = {table};
    const std::string rows = dump_bytes(dump).substr(SECTION + table.columns.size() * 48);
    return static_cast<char>(types.size() - 1) + types + static_cast<char>(table.rows.size()) + rows;
}

void add_damaged(std::vector<DumpSeed> &seeds, const std::string &name, const std::string &rows) {
    const size_t middle = rows.size() / 2;
    std::string lost = rows, changed = rows, hole = rows;
    lost.erase(middle, 1);
    changed[middle] = static_cast<char>(changed[middle] ^ 0x40);
    hole.insert(middle, 5000, '\0');
    seeds.push_back({"resynchronise", name, rows});
    seeds.push_back({"resynchronise", name + "-lost", lost});
    seeds.push_back({"resynchronise", name + "-changed", changed});
    seeds.push_back({"resynchronise", name + "-hole", hole});
}

} // namespace

std::vector<DumpSeed> dump_seeds() {
    Dump dump;
    dump.tables = {ordinary_table(), long_table(), wide_table()};
    const std::string whole = dump_bytes(dump);
    std::string headless = whole, without_directory = whole;
    std::fill_n(headless.begin(), 324, '\0');
    std::fill_n(without_directory.begin(), SECTION, '\0');
    std::vector<DumpSeed> seeds = {{"dump_reader", "whole", whole},
                                   {"salvage", "headless", headless},
                                   {"salvage", "without-directory", without_directory}};
    add_damaged(seeds, "ordinary", section_seed({1, 0, 2}, ordinary_table()));
    add_damaged(seeds, "long", section_seed({1, 6}, long_table()));
    add_damaged(seeds, "wide", section_seed({4, 9, 10, 8}, wide_table()));
    return seeds;
}
