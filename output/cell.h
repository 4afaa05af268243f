// One column of one row, decoded: what every output format starts from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "output/row_batch.h"
#include "values/column_type.h"
#include "values/datetime.h"
#include "values/interval.h"
#include "values/row.h"
#include "values/text_decoder.h"

namespace vexlo {

enum class CellKind : uint8_t {
    null,
    number,      // digits, "-", "." and an exponent: a number in any language
    special,     // "Infinity", "-Infinity" or "NaN"
    moment,      // a date, timestamp, interval or row address, ASCII
    text,        // UTF-8, or whatever the column holds when bytes are passed through
    hex,         // a value of unknown type as hexadecimal digits
    binary,      // RAW: bytes as they are
    text_stream, // the same in pieces: `stream`
    binary_stream,
};

// What a target may have to know of a moment or interval, as bits.
enum CellFact : uint8_t {
    FINER_THAN_MICROS = 1, // the second has more than six decimals
    JULIAN_ONLY = 2,       // a day that the Gregorian calendar lacks
    YEAR_ZERO = 4,
    WIDE_MONTHS = 8, // more months than 31 bits count
};

struct Cell {
    CellKind kind;
    const char *data;
    size_t size;
    ValueStream *stream = nullptr;
    uint8_t facts = 0;

    std::string_view view() const { return {data, size}; }
};

// A column as the output sees it; `name` is UTF-8 and unique in its table.
struct Column {
    std::string name;
    ColumnKind kind;
    bool national;
    uint32_t ctyp;
    uint32_t clen;           // declared length in bytes
    uint32_t characters = 0; // the same of a text in characters at most, 0 when it is not known
    bool utf8 = false;       // the text is stored in UTF-8, so that its length in bytes is the same elsewhere
    bool in_file = false;    // the values are LOBs in files of their own, whose names stand for them
};

struct Table {
    std::string owner;
    std::string name;
    std::vector<Column> columns;
    std::optional<int> local_zone = std::nullopt; // of WITH LOCAL TIME ZONE values: minutes from UTC
    bool has_lob_data = false;                    // LOB columns come with their values
};

// How the values without a form common to all targets are written.
struct CellStyle {
    MomentStyle moment = MomentStyle::iso;
    IntervalStyle interval = IntervalStyle::iso;
    std::string_view date_format =
        {}; // of moments in place of `moment`, when not empty; must outlive its users
};

// The character sets of text and of national text.
struct TextCharsets {
    Charset database;
    Charset national;
};

// Decodes the values of one table; each thread has its own.
class CellDecoder {
public:
    static constexpr size_t SCRATCH_SIZE = 192;

    // `table` must outlive the decoder. Throws UsageError when the C library lacks a character set.
    CellDecoder(const Table &table, const TextCharsets &charsets);

    void set_style(CellStyle style) { style_ = style; }
    // A new decoder of the same table with a style of its own, whose counts nobody asks for.
    std::unique_ptr<CellDecoder> twin(CellStyle style) const;
    const Table &table() const { return table_; }

    // Decodes column `index` of `row`. Numbers and moments are written to `scratch`, which has room for
    // SCRATCH_SIZE; other cells are views that hold until the next call. A value that cannot be decoded is
    // added to `losses` and gives a null cell.
    Cell decode(const Row &row, size_t index, char *scratch, RowLosses &losses);

    // Whether the column's values are text of which ASCII characters stay as they are stored.
    bool keeps_ascii(size_t index) const;

    // Adds what another decoder of the same table has counted.
    void merge(CellDecoder &&other);
    // Tells what has only been counted: replaced characters, missing LOBs, time zone regions, unknown types.
    void finish(TableReport &report) const;

private:
    struct Counts {
        uint64_t replaced = 0; // characters
        uint64_t nulls = 0;    // values that could not be decoded
        uint64_t lobs = 0;
        uint64_t regions = 0;
        uint64_t finer = 0; // moments and intervals finer than microseconds
    };

    Cell ready_cell(const Field &field, size_t index);
    Cell stream_cell(ValueStream &stream, size_t index);
    Cell text_cell(TextDecoder &decoder, const Field &field, size_t index);
    Cell hex_cell(const Field &field);
    Cell undecoded_cell(const Row &row, size_t index, RowLosses &losses);
    char *write_moment(const Column &column, const Field &field, char *out);
    char *write_zoned(const Field &field, Counts &counts, char *out);
    char *write_local(const Field &field, char *out);
    char *write_year_month(const Field &field, char *out);
    char *write_day_second(const Field &field, char *out);
    void note_facts(const Moment &moment);
    char *write_float(const Field &field, char *out);
    char *write_double(const Field &field, char *out);
    std::string undecodable(const Column &column, const Field &field) const;

    const Table &table_;
    TextCharsets charsets_;
    uint8_t facts_ = 0; // of the value that was written last
    TextDecoder database_;
    TextDecoder national_;
    CellStyle style_;
    std::vector<Counts> counts_;
    std::vector<char> hex_;
    std::unique_ptr<ValueStream> decoded_; // of the cell decoded last
};

// Bytes of a stream, which is read for that unless it knows them.
uint64_t stream_size(ValueStream &stream);

// Hands the pieces of a stream to take(std::string_view), which appends them to the batch in some form; what
// the batch holds may be given away in between.
template <class TAKE>
void for_each_part(ValueStream &stream, RowBatch &batch, TAKE &&take) {
    stream.for_each_piece([&](std::span<const uint8_t> piece) {
        take(std::string_view(reinterpret_cast<const char *>(piece.data()), piece.size()));
        batch.relieve();
    });
}

// Calls the function of `target` that takes cells of this kind: null(), or number(), special(), moment(),
// text(), hex() or binary() with the bytes of the cell, or text_stream() or binary_stream() with its stream;
// a target without these two is never given one.
template <class Target>
auto visit(const Cell &cell, Target &&target) {
    constexpr bool TAKES_STREAMS = requires {
        target.text_stream(*cell.stream);
    };
    switch (cell.kind) {
    case CellKind::number:
        return target.number(cell.view());
    case CellKind::special:
        return target.special(cell.view());
    case CellKind::moment:
        return target.moment(cell.view());
    case CellKind::text:
        return target.text(cell.view());
    case CellKind::hex:
        return target.hex(cell.view());
    case CellKind::binary:
        return target.binary(cell.view());
    case CellKind::text_stream:
    case CellKind::binary_stream:
        if constexpr (TAKES_STREAMS)
            return cell.kind == CellKind::text_stream ? target.text_stream(*cell.stream)
                                                      : target.binary_stream(*cell.stream);
        break;
    case CellKind::null:
        break;
    }
    return target.null();
}

} // namespace vexlo
