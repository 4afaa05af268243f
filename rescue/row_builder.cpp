#include "rescue/row_builder.h"

#include <algorithm>

namespace vexlo {

namespace {

constexpr Field NO_VALUE{FieldKind::null, 0, {nullptr}};

// In place of the length of a value
constexpr uint8_t LONG_LENGTH = 0xFE, STORED_NULL = 0xFF;

FieldKind field_kind(const StoredColumn &column) {
    return column.is_lob ? FieldKind::lob : FieldKind::value;
}

Field field_of(const StoredColumn &column, const uint8_t *data, uint32_t size) {
    return {field_kind(column), size, {data}};
}

} // namespace

RowBuilder::RowBuilder(const TableLayout &layout, const std::string &temporary_directory)
    : layout_(layout), directory_(temporary_directory), fields_(layout.table.columns.size(), NO_VALUE),
      ordinary_(layout.stored.size() + 1), longs_(layout.table.columns.size()) {
    for (size_t i = 0; i < layout.stored.size(); ++i)
        if (is_ordinary(i))
            ordinary_[i] = {&fields_[static_cast<size_t>(layout.stored[i].output)],
                            field_kind(layout.stored[i])};
    all_ordinary_ = std::all_of(ordinary_.begin(), ordinary_.end() - 1,
                                [](const OrdinaryColumn &column) { return column.field != nullptr; });
}

// Whether the values of a stored column come out as they are.
bool RowBuilder::is_ordinary(size_t column) const {
    const StoredColumn &stored = layout_.stored[column];
    return stored.output >= 0 && !stored.from_key && (!stored.encrypted || stored.is_lob) &&
           static_cast<int32_t>(column) != layout_.guard_column;
}

void RowBuilder::begin() {
    std::fill(fields_.begin(), fields_.end(), NO_VALUE);
    arena_.clear();
    guard_.clear();
    in_parts_ = surplus_ = false;
    at_ = key_at_ = 0;
    pass_keys();
}

// One comparison a value tells whether its length and its bytes lie in front of `end`: the length of a NULL
// counts as 0 then.
bool RowBuilder::take_plain_row(const uint8_t *p, const uint8_t *end, unsigned count) {
    if (!all_ordinary_ || count >= ordinary_.size())
        return false;
    const OrdinaryColumn *column = ordinary_.data(), *const behind = column + count;
    for (; column != behind; ++column) {
        uint32_t size = *p != STORED_NULL ? *p : 0;
        if (size == LONG_LENGTH) {
            if (end - p <= 2)
                return false;
            size = load_le16(p + 1);
            p += 2;
        }
        if (end - p <= static_cast<ptrdiff_t>(size))
            return false;
        ++p;
        *column->field = {size > 0 ? column->kind : FieldKind::null, size, {p}};
        p += size;
    }
    for (; column->field != nullptr; ++column)
        *column->field = NO_VALUE;
    at_ = count;
    in_parts_ = surplus_ = false;
    return true;
}

void RowBuilder::add_key(const VALUE &value, bool holds) {
    while (key_at_ < layout_.stored.size() && !layout_.stored[key_at_].from_key)
        ++key_at_;
    if (key_at_ < layout_.stored.size())
        take(layout_.stored[key_at_++], value, holds);
}

bool RowBuilder::add_values(const uint8_t *&p, const uint8_t *end, unsigned count, bool holds) {
    const std::vector<StoredColumn> &stored = layout_.stored;
    if (holds)
        count = add_ordinary(p, end, count);
    VALUE value;
    for (; count > 0; --count) {
        if (!next_value(p, end, &value))
            return false;
        if (at_ >= stored.size()) {
            surplus_ = true;
            continue;
        }
        const StoredColumn &column = stored[at_];
        take(column, value, holds);
        if (static_cast<int32_t>(at_) == layout_.guard_column)
            keep_guard(value);
        ++at_;
        pass_keys();
    }
    return true;
}

// Takes short values of ordinary columns, which most values are, as long as one follows another; returns how
// many of the `count` values are left.
unsigned RowBuilder::add_ordinary(const uint8_t *&p, const uint8_t *end, unsigned count) {
    const uint8_t *at = p;
    const OrdinaryColumn *column = ordinary_.data() + at_;
    for (; count > 0 && at < end && column->field != nullptr; --count, ++column) {
        const uint32_t size = *at;
        if (size == STORED_NULL) {
            ++at;
            continue;
        }
        if (size == LONG_LENGTH || end - at <= static_cast<ptrdiff_t>(size))
            break;
        ++at;
        *column->field = {size > 0 ? column->kind : FieldKind::null, size, {at}};
        at += size;
    }
    p = at;
    at_ = static_cast<size_t>(column - ordinary_.data());
    pass_keys();
    return count;
}

// A value of no bytes is NULL: databases store none.
void RowBuilder::take(const StoredColumn &column, const VALUE &value, bool holds) {
    if (value.null || value.len == 0 || column.output < 0)
        return;
    if (column.encrypted && !column.is_lob) {
        ++encrypted_values_;
        return;
    }
    const uint8_t *data = holds ? value.data : arena_.put(value.data, value.len);
    fields_[static_cast<size_t>(column.output)] = field_of(column, data, value.len);
}

void RowBuilder::keep_guard(const VALUE &value) {
    guard_.assign(value.data, value.data + value.len);
}

LongValue &RowBuilder::long_value(int32_t output) {
    std::unique_ptr<LongValue> &value = longs_[static_cast<size_t>(output)];
    if (!value)
        value = std::make_unique<LongValue>(directory_);
    return *value;
}

bool RowBuilder::add_part(const VALUE &part) {
    const bool begins = !in_parts_;
    in_parts_ = true;
    if (begins)
        part_.clear();
    if (at_ >= layout_.stored.size()) {
        surplus_ = true;
        return true;
    }
    const StoredColumn &column = layout_.stored[at_];
    if (column.output >= 0 && column.is_long) {
        LongValue &value = long_value(column.output);
        if (begins)
            value.clear();
        value.append(part.data, part.len);
        return true;
    }
    if (column.is_long) // of any size, and not shown
        return true;
    if (part_.size() + part.len > LONGEST_VALUE)
        return false;
    part_.insert(part_.end(), part.data, part.data + part.len);
    return true;
}

void RowBuilder::end_parts() {
    in_parts_ = false;
    if (at_ >= layout_.stored.size())
        return;
    const StoredColumn &column = layout_.stored[at_];
    const VALUE value{part_.data(), static_cast<uint32_t>(part_.size()), false};
    if (column.output >= 0 && column.is_long)
        fields_[static_cast<size_t>(column.output)] = long_value(column.output).field();
    else
        take(column, value, false);
    if (static_cast<int32_t>(at_) == layout_.guard_column)
        keep_guard(value);
    ++at_;
    pass_keys();
}

// The guard column has a bit for each added column: set, the row was written with a value of its own, be it
// NULL.
bool RowBuilder::has_own_value(const AddedDefault &added) const {
    if (added.guard >= 0) {
        const size_t byte = static_cast<size_t>(added.guard) / 8;
        return byte < guard_.size() && (guard_[byte] >> (added.guard & 7) & 1) != 0;
    }
    return added.when_absent && at_ > added.stored;
}

void RowBuilder::fill_defaults() {
    for (const AddedDefault &added : layout_.defaults) {
        Field &field = fields_[static_cast<size_t>(added.output)];
        if (field.kind != FieldKind::null || has_own_value(added))
            continue;
        if (!added.known)
            ++lost_defaults_;
        else if (!added.is_null)
            field = field_of(layout_.stored[added.stored], added.value.data(),
                             static_cast<uint32_t>(added.value.size()));
    }
}

} // namespace vexlo
