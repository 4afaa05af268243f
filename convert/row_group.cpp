#include "convert/row_group.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <span>

#include "values/errors.h"

namespace vexlo {

namespace {

// A turn is long enough to make little of what handing rows over costs, and short enough that what it reads
// and writes stays in the processor's cache.
constexpr size_t FULL_SIZE = 1 << 16; // bytes of rows
constexpr size_t FULL_FIELDS = 1 << 16;

} // namespace

bool RowGroup::read(DumpReader &reader) {
    clear(reader.columns());
    try {
        Row row;
        while (!is_full() && reader.next(row)) {
            if (reader.has_damage())
                take_damage(reader);
            add(row, reader);
        }
    } catch (const InputError &error) {
        fault_ = error.what();
    }
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
    long_streams_.clear();
    used_ = 0;
}

void RowGroup::release() {
    if (bytes_.size() > 2 * FULL_SIZE)
        bytes_ = PaddedBytes();
}

bool RowGroup::is_full() const {
    return used_ >= FULL_SIZE || fields_.size() >= FULL_FIELDS;
}

void RowGroup::take_damage(DumpReader &reader) {
    std::vector<Damage> met = reader.take_damage();
    std::move(met.begin(), met.end(), std::back_inserter(damage_));
}

// The values of a row lie side by side, but for a LONG value that was put together.
void RowGroup::add(const Row &row, const DumpReader &reader) {
    const std::span<const uint8_t> bytes = reader.row_bytes(), joined = reader.joined_long();
    make_room(bytes.size() + joined.size());
    const uint8_t *const copied = copy(bytes);
    const uint8_t *const copied_joined = copy(joined);
    heads_.push_back({row.number, row.offset, damage_.size()});
    fields_.insert(fields_.end(), row.fields, row.fields + columns_);
    for (Field *field = fields_.data() + fields_.size() - columns_, *const end = field + columns_;
         field != end; ++field) {
        if (field->kind == FieldKind::value) {
            const auto at =
                reinterpret_cast<uintptr_t>(field->data) - reinterpret_cast<uintptr_t>(bytes.data());
            field->data = at < bytes.size() ? copied + at : copied_joined;
        } else if (field->kind == FieldKind::stream) {
            field->stream = &long_streams_.emplace_back(reader.long_stream());
        }
    }
}

uint8_t *RowGroup::copy(std::span<const uint8_t> bytes) {
    uint8_t *const to = bytes_.data() + used_;
    if (!bytes.empty())
        std::memcpy(to, bytes.data(), bytes.size());
    used_ += bytes.size();
    return to;
}

// Room for that many bytes more. Only few rows are larger than what there is at first.
void RowGroup::make_room(size_t size) {
    const size_t needed = used_ + size;
    if (needed <= bytes_.size())
        return;
    PaddedBytes larger(std::max(needed, 2 * FULL_SIZE));
    std::copy_n(bytes_.data(), used_, larger.data());
    for (Field &field : fields_)
        if (field.kind == FieldKind::value)
            field.data = larger.data() + (field.data - bytes_.data());
    bytes_ = std::move(larger);
}

} // namespace vexlo
