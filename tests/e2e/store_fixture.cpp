#include "store_fixture.h"

#include <cstdio>
#include <filesystem>
#include <string_view>

#include <gtest/gtest.h>

namespace vexlo_test {
namespace {

class record_writer {
public:
    record_writer &number(std::uint32_t value) {
        for (int shift = 0; shift < 32; shift += 8)
            raw_.push_back(static_cast<std::uint8_t>(value >> shift));
        return *this;
    }

    template <class... Numbers>
    record_writer &numbers(Numbers... values) {
        (number(values), ...);
        return *this;
    }

    record_writer &name(std::string_view text) {
        bytes field = to_bytes(text);
        field.resize(32);
        raw_.insert(raw_.end(), field.begin(), field.end());
        return *this;
    }

    const bytes &raw() const { return raw_; }

private:
    bytes raw_;
};

void put(record_writer &w, const dict_user &r) {
    w.numbers(r.uid, r.status, r.dts, r.tts).name(r.name);
}
void put(record_writer &w, const dict_ts &r) {
    w.numbers(r.tsn, r.owner).name(r.name);
}
void put(record_writer &w, const dict_obj &r) {
    w.numbers(r.flag, r.objn, r.owner, r.type).name(r.name);
}
void put(record_writer &w, const dict_tab &r) {
    w.numbers(r.flag, r.objn, r.objd, r.objb, r.tabn, r.ncol, r.ui, r.oi, r.coff, r.fno, r.blk, r.tsn, r.tcol,
              r.rsv);
}
void put(record_writer &w, const dict_col &r) {
    w.numbers(r.flag, r.objn, r.cid, r.scid, r.ctyp, r.clen).name(r.name);
}
void put(record_writer &w, const dict_tabpart &r) {
    w.numbers(r.flag, r.objn, r.objd, r.objp, r.oi, r.fno, r.blk, r.tsn);
}
void put(record_writer &w, const dict_lob &r) {
    w.numbers(r.flag, r.objp, r.cid, r.objn, r.indn, r.chunk, r.fno, r.blk, r.tsn, r.rsv);
}
void put(record_writer &w, const dict_ind &r) {
    w.numbers(r.flag, r.objn, r.objd, r.objp, r.tsn, r.fno, r.blk, r.rsv);
}
void put(record_writer &w, const dict_cluster &r) {
    w.numbers(r.flag, r.objn, r.objd, r.ncol);
}

template <class Record>
void store_records(const std::string &path, const std::vector<Record> &records) {
    record_writer writer;
    for (const Record &record : records)
        put(writer, record);
    write_file(path, writer.raw());
}

// The first 40960 bytes of a SYSTEM datafile: block 0 with its size and check value, and the file header
// block with file numbers, sizes and a root address. Nothing else of it is read at start-up.
bytes system_headers() {
    constexpr std::size_t block = 8192;
    bytes raw(40960);
    const auto put16 = [&](std::size_t at, unsigned value) {
        raw[at] = static_cast<std::uint8_t>(value);
        raw[at + 1] = static_cast<std::uint8_t>(value >> 8);
    };
    put16(16, block); // folds with the only other word to zero
    put16(20, block);
    put16(block + 44, 5); // blocks
    put16(block + 48, block);
    put16(block + 52, 1);  // absolute file number
    put16(block + 96, 2);  // root address
    put16(block + 368, 1); // relative file number
    return raw;
}

dict_tab table(std::uint32_t objn, std::uint32_t ncol) {
    dict_tab tab;
    tab.objn = tab.objd = objn;
    tab.ncol = ncol;
    tab.fno = 4;
    tab.blk = objn + 1000;
    tab.tsn = 4;
    return tab;
}

dict_tabpart partition(std::uint32_t objn, std::uint32_t objp) {
    return {.flag = 0, .objn = objn, .objd = objn, .objp = objp, .oi = 0, .fno = 4, .blk = objn, .tsn = 4};
}

std::vector<dict_col> emp_columns() {
    return {{0, 100, 1, 1, 2, 22, "EMPNO"},          {0x1000, 100, 2, 2, 1, 20, "ENAME"},
            {0, 100, 3, 3, 12, 7, "HIREDATE"},       {0x1, 100, 0, 4, 23, 8, "SYS_HIDDEN"},
            {0x3, 100, 4, 5, 96, 6, "TWO_BITS"},     {0x7, 100, 5, 6, 96, 6, "THREE_BITS"},
            {0x107, 100, 6, 7, 96, 6, "FOUR_BITS"},  {0x6, 100, 7, 8, 100, 4, "TWO_MORE"},
            {0, 100, 8, 9, 8, 0, "NOTES"},           {0, 100, 9, 65535, 2, 22, "VIRTUAL_PAY"},
            {0, 100, 10, 65535, 69, 10, "ROW_PLACE"}};
}

dictionary make_small_dictionary() {
    dictionary d;
    d.users = {{0, 1, 0, 3, "SYS"}, {10, 0, 4, 3, "SCOTT"}, {11, 0, 12, 3, "Mixed"}};
    d.tablespaces = {{0, 0, "SYSTEM"}, {4, 0, "USERS"}};
    d.objects = {{0, 100, 10, 2, "EMP"},        {0, 101, 10, 2, "DEPT"},      {0, 102, 10, 2, "SALES"},
                 {0, 103, 10, 19, "SALES_P1"},  {0, 104, 10, 19, "SALES_P2"}, {0, 105, 10, 2, "COMPO"},
                 {0, 106, 10, 19, "COMPO_P"},   {0, 107, 10, 34, "COMPO_SP"}, {0, 110, 1, 5, "EMP"},
                 {0, 120, 11, 2, "Case"},       {0, 130, 10, 3, "C_ORDERS"},  {0, 131, 10, 2, "ORDERS"},
                 {0x80, 140, 10, 2, "DROPPED"}, {0, 150, 0, 2, "TAB$"}};
    d.tables = {table(100, 8), table(101, 2), table(102, 1), table(105, 1),
                table(120, 1), table(131, 2), table(140, 1), table(150, 1)};
    d.tables[2].flag = 0x20;
    d.tables[5].objb = 130;
    d.columns = emp_columns();
    const std::vector<dict_col> others = {{0, 101, 1, 1, 2, 22, "DEPTNO"},  {0, 101, 2, 2, 1, 14, "DNAME"},
                                          {0, 102, 1, 1, 2, 22, "AMOUNT"},  {0, 105, 1, 1, 2, 22, "AMOUNT"},
                                          {0, 120, 1, 1, 2, 22, "Id"},      {0, 130, 1, 1, 2, 22, "ORDER_ID"},
                                          {0, 131, 1, 1, 2, 22, "OrderID"}, {0, 131, 2, 2, 12, 7, "PLACED"}};
    d.columns.insert(d.columns.end(), others.begin(), others.end());
    d.parts = {partition(103, 102), partition(104, 102)};
    d.composites = {{partition(106, 105)}};
    d.subparts = {{partition(107, 106)}};
    d.lobs = {{0, 101, 2, 900, 901, 8192, 4, 8, 4, 0}};
    d.lob_indexes = {{0, 901, 901, 101, 4, 4, 16, 0}};
    d.clusters = {{0x10000, 130, 130, 1}};
    return d;
}

std::vector<std::size_t> record_counts(const dictionary &d) {
    return {d.users.size(), d.tablespaces.size(), d.objects.size(),  d.tables.size(), d.columns.size(),
            d.parts.size(), d.composites.size(),  d.subparts.size(), d.lobs.size(),   d.lob_indexes.size()};
}

} // namespace

const std::vector<std::string> loaded_names{"user",    "ts",         "obj",        "tab", "col",
                                            "tabpart", "tabcompart", "tabsubpart", "lob", "ind"};

dictionary small_dictionary() {
    return make_small_dictionary();
}

std::string step_label(const std::string &verb, const std::string &name) {
    std::string label = ". . " + verb;
    label.resize(11, ' ');
    label += name + "$";
    label.resize(23, ' ');
    label.resize(64, '.');
    return label;
}

std::string rows_done(std::size_t rows) {
    const std::string digits = std::to_string(rows);
    return std::string(10 - digits.size(), ' ') + digits + " rows done.\n";
}

std::string load_lines(const dictionary &content, std::size_t files) {
    const std::vector<std::size_t> counts = record_counts(content);
    std::string lines;
    for (std::size_t i = 0; i < files; i++)
        lines += step_label("load", loaded_names[i]) + rows_done(counts[i]);
    return lines;
}

console_home::console_home() {
    dir_.make_dir("dict");
    dir_.make_dir("data");
    write_file(datafile(), system_headers());
    write_text(dir_.file("datafiles.txt"), datafile() + "\n");
    write_text(dir_.file("config.ini"), "dictdir=" + dict_dir() + "\ndatadir=" + data_dir() +
                                            "\ndatafiles=" + dir_.file("datafiles.txt") + "\n");
}

void console_home::store(const dictionary &content) const {
    store_records(dict_file("user"), content.users);
    store_records(dict_file("ts"), content.tablespaces);
    store_records(dict_file("obj"), content.objects);
    store_records(dict_file("tab"), content.tables);
    store_records(dict_file("col"), content.columns);
    store_records(dict_file("tabpart"), content.parts);
    store_records(dict_file("tabcompart"), content.composites);
    store_records(dict_file("tabsubpart"), content.subparts);
    store_records(dict_file("lob"), content.lobs);
    store_records(dict_file("ind"), content.lob_indexes);
    store_records(dict_file("cluster"), content.clusters);
}

run_result console_home::run(const std::vector<std::string> &commands, const run_options &options) const {
    return run_vexlo(dir_.path(), commands, options);
}

void expect_console(const run_result &result, const std::string &out, const std::vector<std::string> &err) {
    ASSERT_EQ(result.end, ending::exited) << result.describe();
    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(result.out, out);
    const console_text said = split_console(result.err);
    EXPECT_EQ(said.startup, "");
    std::vector<std::string> expected = err;
    expected.push_back(""); // behind the prompt at which "exit" was typed
    EXPECT_EQ(said.commands, expected);
}

} // namespace vexlo_test
