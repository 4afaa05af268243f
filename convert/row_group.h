// Rows of a dump with the memory that they were read into: what one thread formats while another reads on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "convert/dump_reader.h"
#include "convert/long_stream.h"
#include "values/padded_bytes.h"
#include "values/row.h"

namespace vexlo {

class RowGroup {
public:
    // Takes the next rows of `reader` in place of those before, until they are enough for one turn or the
    // table ends. False when there is neither a row nor damage left.
    bool read(DumpReader &reader);
    // Why the file cannot be read any further; empty when it can, or the table has ended.
    const std::string &fault() const { return fault_; }

    // Goes through what was read in its order: take_row(const Row &) and take_damage(Damage &&).
    template <class TAKE_ROW, class TAKE_DAMAGE>
    void for_each(TAKE_ROW &&take_row, TAKE_DAMAGE &&take_damage) {
        size_t damage = 0;
        const Field *fields = fields_.data();
        for (const Head &head : heads_) {
            while (damage < head.damage)
                take_damage(std::move(damage_[damage++]));
            take_row(Row{head.number, head.offset, fields});
            fields += columns_;
        }
        while (damage < damage_.size())
            take_damage(std::move(damage_[damage++]));
    }

    // The rows are not needed any more: what they take beyond the usual is given up.
    void release();

    // Rows of the table up to the last of these, and the file offset behind it.
    uint64_t rows() const { return rows_; }
    uint64_t position() const { return position_; }

private:
    struct Head {
        uint64_t number;
        uint64_t offset;
        size_t damage; // so much of it was met before the row
    };

    void clear(size_t columns);
    bool is_full(const DumpReader &reader) const;
    void take_damage(DumpReader &reader);
    void add(const Row &row, const DumpReader &reader);
    void keep_long(const DumpReader &reader);

    size_t columns_ = 0;
    std::vector<Head> heads_;
    std::vector<Field> fields_; // of all rows
    std::vector<Damage> damage_;
    std::vector<PaddedBytes> memory_;      // that the fields point into,
    std::deque<PaddedBytes> joined_longs_; // beside these
    std::deque<LongStream> long_streams_;
    uint64_t rows_ = 0, position_ = 0;
    std::string fault_;
};

} // namespace vexlo
