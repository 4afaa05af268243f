#include "output/cell.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "values/binary_float.h"
#include "values/date_format.h"
#include "values/hex.h"
#include "values/micros.h"
#include "values/number.h"
#include "values/padded_bytes.h"
#include "values/rowid.h"

namespace vexlo {

namespace {

constexpr Cell NULL_CELL{CellKind::null, nullptr, 0};
constexpr size_t SHOWN_BYTES = 32; // of a value in a message

static_assert(CellDecoder::SCRATCH_SIZE >= NUMBER_TEXT_MAX &&
              CellDecoder::SCRATCH_SIZE >= DATE_FORMAT_TEXT_MAX &&
              CellDecoder::SCRATCH_SIZE >= MOMENT_TEXT_MAX &&
              CellDecoder::SCRATCH_SIZE >= INTERVAL_TEXT_MAX && CellDecoder::SCRATCH_SIZE >= FLOAT_TEXT_MAX);

// A number ends with one; "Infinity" and "NaN" do not.
bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

// A number that its maker has written already.
char *copy_ready(const Field &field, char *out) {
    if (field.size == 0 || field.size > CellDecoder::SCRATCH_SIZE)
        return nullptr;
    std::memcpy(out, field.data, field.size);
    return out + field.size;
}

Cell binary_cell(const Field &field) {
    return {CellKind::binary, reinterpret_cast<const char *>(field.data), field.size};
}

// Text in a character set of the database, decoded piece by piece.
class DecodedStream final : public ValueStream {
public:
    // What is given must outlive the stream. Replaced characters are added to `replaced`.
    DecodedStream(ValueStream &stored, TextDecoder &decoder, uint64_t &replaced)
        : stored_(stored), decoder_(decoder), replaced_(replaced) {}

    StreamForm form() const override { return StreamForm::text; }

    void for_each_piece(const Take &take) override {
        PaddedBytes open; // what was cut off before
        uint64_t replaced = 0;
        stored_.for_each_piece([&](std::span<const uint8_t> piece) {
            open.append(piece);
            size_t used = 0;
            give(decoder_.decode_part(open.data(), open.size(), replaced, used), take);
            open.remove_front(used);
        });
        give(decoder_.decode(open.data(), open.size(), replaced), take);
        if (!std::exchange(counted_, true))
            replaced_ += replaced;
    }

private:
    static void give(std::string_view text, const Take &take) {
        if (!text.empty())
            take({reinterpret_cast<const uint8_t *>(text.data()), text.size()});
    }

    ValueStream &stored_;
    TextDecoder &decoder_;
    uint64_t &replaced_;
    bool counted_ = false; // whoever reads it again finds the same characters
};

} // namespace

uint64_t stream_size(ValueStream &stream) {
    if (const std::optional<uint64_t> known = stream.known_size())
        return *known;
    uint64_t size = 0;
    stream.for_each_piece([&size](std::span<const uint8_t> piece) { size += piece.size(); });
    return size;
}

CellDecoder::CellDecoder(const Table &table, const TextCharsets &charsets)
    : table_(table), charsets_(charsets), database_(charsets.database), national_(charsets.national),
      counts_(table.columns.size()) {}

std::unique_ptr<CellDecoder> CellDecoder::twin(CellStyle style) const {
    auto other = std::make_unique<CellDecoder>(table_, charsets_);
    other->set_style(style);
    return other;
}

Cell CellDecoder::decode(const Row &row, size_t index, char *scratch, RowLosses &losses) {
    const Field &field = row.fields[index];
    if (field.kind != FieldKind::value)
        return ready_cell(field, index);
    const Column &column = table_.columns[index];
    CellKind kind = CellKind::moment;
    char *end = nullptr;
    facts_ = 0;
    switch (column.kind) {
    case ColumnKind::text:
    case ColumnKind::long_text:
        return text_cell(database_, field, index);
    case ColumnKind::national_text:
        return text_cell(national_, field, index);
    case ColumnKind::ready_text:
        return {CellKind::text, reinterpret_cast<const char *>(field.data), field.size};
    case ColumnKind::raw:
    case ColumnKind::long_raw:
        return binary_cell(field);
    case ColumnKind::lob:
    case ColumnKind::unknown:
        return hex_cell(field);
    case ColumnKind::number:
        kind = CellKind::number;
        end = format_number(field.data, field.size, scratch);
        break;
    case ColumnKind::ready_integer:
        kind = CellKind::number;
        end = copy_ready(field, scratch);
        break;
    case ColumnKind::binary_float:
        kind = CellKind::number;
        end = write_float(field, scratch);
        break;
    case ColumnKind::binary_double:
        kind = CellKind::number;
        end = write_double(field, scratch);
        break;
    case ColumnKind::date:
    case ColumnKind::timestamp:
        end = write_moment(column, field, scratch);
        break;
    case ColumnKind::timestamp_tz:
        end = write_zoned(field, counts_[index], scratch);
        break;
    case ColumnKind::timestamp_ltz:
        end = write_local(field, scratch);
        break;
    case ColumnKind::interval_ym:
        end = write_year_month(field, scratch);
        break;
    case ColumnKind::interval_ds:
        end = write_day_second(field, scratch);
        break;
    case ColumnKind::rowid:
        end = column.ctyp == TYPE_UROWID ? format_urowid(field.data, field.size, scratch)
                                         : format_rowid(field.data, field.size, scratch);
        break;
    }
    if (end == nullptr)
        return undecoded_cell(row, index, losses);
    if (kind == CellKind::number && !is_digit(end[-1]))
        kind = CellKind::special;
    counts_[index].finer += (facts_ & FINER_THAN_MICROS) != 0;
    return {kind, scratch, static_cast<size_t>(end - scratch), nullptr, facts_};
}

bool CellDecoder::keeps_ascii(size_t index) const {
    const ColumnKind kind = table_.columns[index].kind;
    return (kind == ColumnKind::text && database_.keeps_ascii()) ||
           (kind == ColumnKind::national_text && national_.keeps_ascii());
}

// A universal row address can be that of something else; any other value is lost.
Cell CellDecoder::undecoded_cell(const Row &row, size_t index, RowLosses &losses) {
    const Column &column = table_.columns[index];
    const Field &field = row.fields[index];
    if (column.ctyp == TYPE_UROWID)
        return hex_cell(field);
    ++counts_[index].nulls;
    losses.add_null(row.number, row.offset, undecodable(column, field));
    return NULL_CELL;
}

// Cells of fields that are no values of the column's type.
Cell CellDecoder::ready_cell(const Field &field, size_t index) {
    switch (field.kind) {
    case FieldKind::text:
        return {CellKind::text, reinterpret_cast<const char *>(field.data), field.size};
    case FieldKind::binary:
        return binary_cell(field);
    case FieldKind::stream:
        return stream_cell(*field.stream, index);
    case FieldKind::lob:
        ++counts_[index].lobs;
        break;
    case FieldKind::null:
    case FieldKind::value:
        break;
    }
    return NULL_CELL;
}

// Text as stored is decoded on its way.
Cell CellDecoder::stream_cell(ValueStream &stream, size_t index) {
    const Column &column = table_.columns[index];
    const bool is_text = stream.form() == StreamForm::text ||
                         (stream.form() == StreamForm::stored && column.kind == ColumnKind::long_text);
    if (!is_text)
        return {CellKind::binary_stream, nullptr, 0, &stream};
    if (stream.form() == StreamForm::text)
        return {CellKind::text_stream, nullptr, 0, &stream};
    decoded_ = std::make_unique<DecodedStream>(stream, database_, counts_[index].replaced);
    return {CellKind::text_stream, nullptr, 0, decoded_.get()};
}

Cell CellDecoder::text_cell(TextDecoder &decoder, const Field &field, size_t index) {
    const std::string_view text = decoder.decode(field.data, field.size, counts_[index].replaced);
    return {CellKind::text, text.data(), text.size()};
}

Cell CellDecoder::hex_cell(const Field &field) {
    hex_.resize(std::max(hex_.size(), size_t{2} * field.size));
    put_hex(field.data, field.size, hex_.data());
    return {CellKind::hex, hex_.data(), size_t{2} * field.size};
}

char *CellDecoder::write_moment(const Column &column, const Field &field, char *out) {
    const bool plain_date = column.kind == ColumnKind::date && style_.moment == MomentStyle::oracle;
    Moment moment;
    if (!decode_moment(field.data, field.size, moment))
        return nullptr;
    note_facts(moment);
    if (!style_.date_format.empty())
        return format_date(moment, nullptr, style_.date_format, out);
    return format_moment(moment, plain_date ? MomentStyle::oracle_date : style_.moment, out);
}

char *CellDecoder::write_zoned(const Field &field, Counts &counts, char *out) {
    Moment moment;
    Zone zone;
    if (!decode_zoned_moment(field.data, field.size, moment, zone))
        return nullptr;
    note_facts(moment);
    counts.regions += zone.is_region;
    if (!style_.date_format.empty())
        return format_date(moment, &zone, style_.date_format, out);
    return format_zoned_moment(moment, zone, style_.moment, out);
}

// Values WITH LOCAL TIME ZONE are stored in the time zone of the database.
char *CellDecoder::write_local(const Field &field, char *out) {
    Moment moment;
    if (!decode_moment(field.data, field.size, moment))
        return nullptr;
    note_facts(moment);
    const Zone zone{false, 0, table_.local_zone.value_or(0)};
    if (!style_.date_format.empty())
        return format_date(moment, table_.local_zone ? &zone : nullptr, style_.date_format, out);
    return table_.local_zone ? format_zoned_moment(moment, zone, style_.moment, out)
                             : format_moment(moment, style_.moment, out);
}

void CellDecoder::note_facts(const Moment &moment) {
    if (moment.nanos % NANOS_PER_MICRO != 0)
        facts_ |= FINER_THAN_MICROS;
    if (is_julian_only(moment))
        facts_ |= JULIAN_ONLY;
    if (moment.year == 0)
        facts_ |= YEAR_ZERO;
}

char *CellDecoder::write_year_month(const Field &field, char *out) {
    char *end = format_interval_ym(field.data, field.size, style_.interval, out);
    if (end != nullptr && has_wide_months(field.data))
        facts_ = WIDE_MONTHS;
    return end;
}

char *CellDecoder::write_day_second(const Field &field, char *out) {
    char *end = format_interval_ds(field.data, field.size, style_.interval, out);
    if (end != nullptr && is_finer_than_micros(field.data))
        facts_ = FINER_THAN_MICROS;
    return end;
}

char *CellDecoder::write_float(const Field &field, char *out) {
    float value;
    return decode_binary_float(field.data, field.size, value) ? format_float(value, out) : nullptr;
}

char *CellDecoder::write_double(const Field &field, char *out) {
    double value;
    return decode_binary_double(field.data, field.size, value) ? format_double(value, out) : nullptr;
}

std::string CellDecoder::undecodable(const Column &column, const Field &field) const {
    const size_t shown = std::min<size_t>(field.size, SHOWN_BYTES);
    char digits[2 * SHOWN_BYTES];
    std::string text = "column \"" + printable(column.name) + "\": " + std::to_string(field.size) +
                       " bytes " + std::string(digits, put_hex(field.data, shown, digits));
    if (shown < field.size)
        text += "...";
    return text + " are no " + type_text(column.ctyp, column.national, column.clen) + ", taken as NULL";
}

void CellDecoder::merge(CellDecoder &&other) {
    for (size_t i = 0; i < counts_.size(); ++i) {
        counts_[i].replaced += other.counts_[i].replaced;
        counts_[i].nulls += other.counts_[i].nulls;
        counts_[i].lobs += other.counts_[i].lobs;
        counts_[i].regions += other.counts_[i].regions;
        counts_[i].finer += other.counts_[i].finer;
    }
    other.counts_.assign(counts_.size(), {});
}

void CellDecoder::finish(TableReport &report) const {
    for (size_t i = 0; i < counts_.size(); ++i) {
        const Column &column = table_.columns[i];
        const Counts &counts = counts_[i];
        const std::string where = "column \"" + printable(column.name) + "\": ";
        const TextDecoder &decoder = column.national ? national_ : database_;
        if (counts.replaced != 0)
            report.loss(where + std::to_string(counts.replaced) + " characters not valid in " +
                        std::string(decoder.charset_name()) + " replaced by U+FFFD");
        if (counts.nulls != 0)
            report.note(where + std::to_string(counts.nulls) + " values could not be decoded, taken as NULL");
        report.count_replaced(counts.replaced);
        report.count_nulls(counts.lobs);
        if (counts.lobs != 0)
            report.loss(where + std::to_string(counts.lobs) +
                        " LOB values are not in the dump, taken as NULL");
        else if (column.kind == ColumnKind::lob && !table_.has_lob_data)
            report.note(where + "LOB data is not in the dump, taken as NULL");
        if (column.kind == ColumnKind::unknown)
            report.note(where + "type " + std::to_string(column.ctyp) +
                        " is not known, values are written as hexadecimal digits");
        if (counts.regions != 0)
            report.note(where + std::to_string(counts.regions) +
                        " values have a time zone region known by number only, their time is UTC");
        if (counts.finer != 0 && style_.moment == MomentStyle::postgresql)
            report.note(where + std::to_string(counts.finer) +
                        " values are finer than microseconds and rounded to them, halves to even");
        if (column.kind == ColumnKind::timestamp_ltz && !table_.local_zone)
            report.note(where + "values are in the time zone of the database, which the dump does not tell");
    }
}

} // namespace vexlo
