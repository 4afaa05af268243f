// Makes the fields of a row out of its stored values, which come in the order of storage, whole or in parts.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "format/stored_value.h"
#include "rescue/long_value.h"
#include "rescue/table_layout.h"
#include "rescue/value_arena.h"
#include "values/row.h"

namespace vexlo {

class RowBuilder {
public:
    // Most bytes of a value in parts that is no LONG: no column holds more.
    static constexpr size_t LONGEST_VALUE = 0xFFFF;

    // `layout` must outlive the builder.
    RowBuilder(const TableLayout &layout, const std::string &temporary_directory);

    // Begins a row without values.
    void begin();
    // Takes a row whose `count` values lie in one piece at `p` and stay there as long as it is used: the row
    // is whole then. False, and it must be begun, where a value leaves [p, end) or a column is of the kinds
    // that need a closer look. The byte at `end` can be read.
    bool take_plain_row(const uint8_t *p, const uint8_t *end, unsigned count);
    // The value of the next cluster key column. With `holds` its bytes stay as long as the row is used.
    void add_key(const VALUE &value, bool holds);
    // The next `count` values at `p`, which ends up behind them. False when one leaves [p, end). With `holds`
    // the bytes stay as long as the row is used, else they are copied.
    bool add_values(const uint8_t *&p, const uint8_t *end, unsigned count, bool holds);
    // A part of the next value. False when it becomes longer than any value can be.
    bool add_part(const VALUE &part);
    // Ends the value that came in parts.
    void end_parts();
    bool in_parts() const { return in_parts_; }

    // Ends a row of which every value was found: columns added later than the row read as their default.
    void fill_defaults();

    const Field *fields() const { return fields_.data(); }
    // Columns from the first stored one on that have a value, NULL included.
    uint32_t columns() const { return static_cast<uint32_t>(at_); }
    // Whether the row has values beyond the last stored column.
    bool has_surplus() const { return surplus_; }
    // Values that are NULL for want of the default or of the key they are encrypted with, in all rows so far.
    uint64_t lost_defaults() const { return lost_defaults_; }
    uint64_t encrypted_values() const { return encrypted_values_; }

private:
    void pass_keys() {
        while (at_ < layout_.stored.size() && layout_.stored[at_].from_key)
            ++at_;
    }
    bool is_ordinary(size_t column) const;
    unsigned add_ordinary(const uint8_t *&p, const uint8_t *end, unsigned count);
    void take(const StoredColumn &column, const VALUE &value, bool holds);
    void keep_guard(const VALUE &value);
    bool has_own_value(const AddedDefault &added) const;
    LongValue &long_value(int32_t output);

    const TableLayout &layout_;
    const std::string directory_;
    std::vector<Field> fields_;
    // Where the values of a stored column go, and what they are there.
    struct OrdinaryColumn {
        Field *field = nullptr; // of others than ordinary ones, and behind the last column
        FieldKind kind = FieldKind::value;
    };
    std::vector<OrdinaryColumn> ordinary_;          // by stored column, and one behind
    bool all_ordinary_;                             // every stored column is
    std::vector<std::unique_ptr<LongValue>> longs_; // by output column
    ValueArena arena_;
    std::vector<uint8_t> part_; // the value that comes in parts, unless it is a LONG
    std::vector<uint8_t> guard_;
    size_t at_ = 0; // stored column that comes next
    size_t key_at_ = 0;
    bool in_parts_ = false;
    bool surplus_ = false;
    uint64_t lost_defaults_ = 0;
    uint64_t encrypted_values_ = 0;
};

} // namespace vexlo
