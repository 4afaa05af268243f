// One column of one row, decoded: what every output format starts from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "values/column_type.h"
#include "values/datetime.h"
#include "values/row.h"
#include "values/interval.h"
#include "output/report.h"
#include "values/text_decoder.h"

namespace vexlo {

enum class CellKind : uint8_t {
    null,
    number,  // digits, "-", "." and an exponent: a number in any language
    special, // "Infinity", "-Infinity" or "NaN"
    moment,  // a date, timestamp or interval, ASCII
    text,    // UTF-8, or whatever the column holds when bytes are passed through
    hex,     // a value of unknown type as hexadecimal digits
    binary,  // RAW: bytes as they are
};

struct Cell {
    CellKind kind;
    const char *data;
    size_t size;

    std::string_view view() const { return {data, size}; }
};

// A column as the output sees it; `name` is UTF-8 and unique in its table.
struct Column {
    std::string name;
    ColumnKind kind;
    bool national;
    uint32_t ctyp;
    uint32_t clen;
};

struct Table {
    std::string owner;
    std::string name;
    std::vector<Column> columns;
};

// How the values without a form common to all targets are written.
struct CellStyle {
    MomentStyle moment = MomentStyle::iso;
    IntervalStyle interval = IntervalStyle::iso;
};

// The decoders of the two character sets of a dump.
struct TextDecoders {
    TextDecoder &database;
    TextDecoder &national;
};

class CellDecoder {
public:
    static constexpr size_t SCRATCH_SIZE = 192;

    // `table` and `report` must outlive the decoder. `dbtimezone` is the time zone of WITH LOCAL TIME ZONE
    // values when it is an offset.
    CellDecoder(const Table &table, TextDecoders texts, const std::string &dbtimezone, TableReport &report);

    void set_style(CellStyle style) { style_ = style; }
    const Table &table() const { return table_; }
    TableReport &report() { return report_; }
    // Whether WITH LOCAL TIME ZONE values come with an offset.
    bool local_zone_known() const { return local_zone_known_; }

    // Decodes column `index` of `row`. Numbers and moments are written to `scratch`, which has room for
    // SCRATCH_SIZE; other cells are views that hold until the next call. A value that cannot be decoded is
    // reported and gives a null cell.
    Cell decode(const Row &row, size_t index, char *scratch);

    // Tells what has only been counted: replaced characters, missing LOBs, time zone regions, unknown types.
    void finish();

private:
    struct Counts {
        uint64_t replaced = 0; // characters
        uint64_t lobs = 0;
        uint64_t regions = 0;
    };

    Cell text_cell(TextDecoder &decoder, const Field &field, size_t index);
    Cell hex_cell(const Field &field);
    char *write_value(const Column &column, const Field &field, Counts &counts, char *out);
    char *write_moment(const Column &column, const Field &field, char *out);
    char *write_zoned(const Field &field, Counts &counts, char *out);
    char *write_local(const Field &field, char *out);
    char *write_float(const Field &field, char *out);
    char *write_double(const Field &field, char *out);
    void report_undecodable(const Row &row, size_t index);

    const Table &table_;
    TextDecoders texts_;
    TableReport &report_;
    CellStyle style_;
    bool local_zone_known_;
    Zone local_zone_{};
    std::vector<Counts> counts_;
    std::vector<char> hex_;
};

} // namespace vexlo
