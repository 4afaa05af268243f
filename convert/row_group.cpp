#include "convert/row_group.h"

#include <iterator>
#include <span>
#include <utility>

#include "values/errors.h"

namespace vexlo {

namespace {

constexpr size_t FULL_FIELDS = 1 << 16;  // of rows that are hardly any bytes
constexpr size_t LARGE_MEMORY = 1 << 20; // as hardly any row needs it

} // namespace

bool RowGroup::read(DumpReader &reader) {
    clear(reader.columns());
    reader.hold_rows(std::exchange(memory_, {}));
    try {
        Row row;
        while (reader.next(row)) {
            if (reader.has_damage())
                take_damage(reader);
            add(row, reader);
            if (is_full(reader))
                break;
        }
    } catch (const InputError &error) {
        fault_ = error.what();
    }
    memory_ = reader.take_held();
    take_damage(reader);
    rows_ = reader.rows();
    position_ = reader.position();
    return !heads_.empty() || !damage_.empty();
}

void RowGroup::clear(size_t columns) {
    columns_ = columns;
    heads_.clear();
    fields_.clear();
    damage_.clear();
    joined_longs_.clear();
    long_streams_.clear();
}

void RowGroup::release() {
    std::erase_if(memory_, [](const PaddedBytes &bytes) { return bytes.size() > LARGE_MEMORY; });
    joined_longs_.clear();
}

bool RowGroup::is_full(const DumpReader &reader) const {
    return reader.holds_enough() || fields_.size() >= FULL_FIELDS;
}

void RowGroup::take_damage(DumpReader &reader) {
    std::vector<Damage> met = reader.take_damage();
    std::move(met.begin(), met.end(), std::back_inserter(damage_));
}

void RowGroup::add(const Row &row, const DumpReader &reader) {
    heads_.push_back({row.number, row.offset, damage_.size()});
    fields_.insert(fields_.end(), row.fields, row.fields + columns_);
    if (reader.has_long())
        keep_long(reader);
}

// Keeps the LONG value of the row added last where it does not stand in the reader's memory.
void RowGroup::keep_long(const DumpReader &reader) {
    const std::span<const uint8_t> joined = reader.joined_long();
    for (Field *field = fields_.data() + fields_.size() - columns_, *const end = field + columns_;
         field != end; ++field) {
        if (field->kind == FieldKind::stream)
            field->stream = &long_streams_.emplace_back(reader.long_stream());
        else if (field->kind == FieldKind::value && field->data == joined.data()) {
            PaddedBytes &own = joined_longs_.emplace_back();
            own.append(joined);
            field->data = own.data();
        }
    }
}

} // namespace vexlo
