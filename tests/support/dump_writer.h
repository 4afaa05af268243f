// Writes dump files for the tests. It shares nothing with the reader under test: offsets and marks are spelt
// out here again, values are encoded from what a person would write.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

using Bytes = std::string;

// ---- Values in Oracle's internal formats

// A NUMBER from decimal text such as "-123.45" or "1E-130".
Bytes ora_number(const std::string &decimal);
// A DATE; the year is negative before the common era.
Bytes ora_date(int year, int month, int day, int hour = 0, int minute = 0, int second = 0);
// A TIMESTAMP of 11 bytes.
Bytes ora_timestamp(const Bytes &date, uint32_t nanos);
// A TIMESTAMP WITH TIME ZONE: the moment in UTC and an offset, or a region number.
Bytes ora_zoned(const Bytes &utc_date, uint32_t nanos, int offset_minutes);
Bytes ora_zoned_region(const Bytes &utc_date, uint32_t nanos, unsigned region);
Bytes ora_interval_ym(int years, int months);
Bytes ora_interval_ds(int days, int hours, int minutes, int seconds, int nanos);
Bytes ora_binary_float(float value);
Bytes ora_binary_double(double value);

// ---- Entries of a row

Bytes value(const Bytes &bytes); // length and bytes
Bytes null();
Bytes lob();
Bytes long_mark();
Bytes long_block(const std::vector<Bytes> &chunks);
// The entries followed by the row end.
Bytes row(const std::vector<Bytes> &entries);

// ---- Files

struct DumpColumn {
    std::string name;
    uint32_t ctyp;
    uint32_t clen;
    bool national = false;
};

struct DumpTable {
    std::string name = {};
    std::vector<DumpColumn> columns = {};
    std::vector<Bytes> rows = {};                  // as row() gives them, LONG blocks appended
    std::optional<uint32_t> nrows = std::nullopt;  // what the directory says, when not the truth
    std::optional<uint32_t> ncol = std::nullopt;   // the same
    std::optional<uint64_t> offset = std::nullopt; // the same
    bool end_mark = true;
    bool without_data = false; // failed before its column list was written
    uint32_t flag = 0;
};

struct Dump {
    std::string owner = "SCOTT";
    std::string nls_lang = "AMERICAN_AMERICA.AL32UTF8";
    std::string ncharset = "AL16UTF16";
    std::string dbtimezone = "00:00";
    std::vector<DumpTable> tables = {};
    std::optional<uint32_t> tab_cnt = std::nullopt;
};

// The bytes of the dump file.
Bytes dump_bytes(const Dump &dump);
