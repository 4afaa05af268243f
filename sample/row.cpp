#include "row.h"

#include <algorithm>
#include <stdexcept>

namespace sample {

namespace {

constexpr uint8_t LENGTH_LONG = 0xFE;
constexpr uint8_t LENGTH_NULL = 0xFF;
constexpr size_t MAX_SHORT_LENGTH = 250;     // of what databases write in one byte
constexpr size_t MAX_ONE_BYTE_LENGTH = 0xFD; // of what readers take in one byte
constexpr size_t MAX_LENGTH = 0xFFFF;
constexpr size_t LONG_FORM_SIZE = 3;

bool uses_long_form(size_t length, LengthForm form) {
    if (form == LengthForm::automatic)
        return length > MAX_SHORT_LENGTH;
    if (form == LengthForm::one_byte && length > MAX_ONE_BYTE_LENGTH)
        throw std::length_error("value too long for a one-byte length");
    return form == LengthForm::three_bytes;
}

size_t encoded_size(size_t length, LengthForm form) {
    return length + (uses_long_form(length, form) ? LONG_FORM_SIZE : 1);
}

void append_address(Bytes &out, const RowAddress &a) {
    append_be32(out, a.rdba);
    append_be16(out, a.slot);
}

// What lies between two places of a row. Only the columns that a place splits are copied in part.
RowPart part_between(std::span<const Value> row, Cut from, Cut to) {
    RowPart part;
    size_t end = to.column + (to.offset > 0 ? 1 : 0);
    for (size_t c = from.column; c < end; c++) {
        size_t first = c == from.column ? from.offset : 0;
        if (first == 0 && (c < to.column || to.offset == 0)) {
            part.columns.push_back(row[c]);
            continue;
        }
        const Bytes &bytes = row[c].value();
        size_t last = c == to.column ? to.offset : bytes.size();
        part.columns.emplace_back(Bytes(bytes.begin() + static_cast<ptrdiff_t>(first),
                                        bytes.begin() + static_cast<ptrdiff_t>(last)));
    }
    if (from.offset > 0)
        part.flags |= ROW_P;
    if (to.offset > 0)
        part.flags |= ROW_N;
    return part;
}

void check_cut(std::span<const Value> row, Cut before, Cut cut) {
    bool ascending =
        cut.column > before.column || (cut.column == before.column && cut.offset > before.offset);
    bool inside = cut.column < row.size() &&
                  (cut.offset == 0 || (row[cut.column].has_value() && cut.offset < row[cut.column]->size()));
    if (!ascending || !inside)
        throw std::invalid_argument("row cut out of order or outside the row");
}

// Fills parts from the end of a row towards its beginning.
class CutPlanner {
public:
    CutPlanner(std::span<const Value> row, size_t max_bytes) : row_(row), max_(max_bytes), room_(max_bytes) {}

    std::vector<Cut> plan() {
        for (size_t c = row_.size(); c-- > 0;)
            take(c);
        std::reverse(cuts_.begin(), cuts_.end());
        return std::move(cuts_);
    }

private:
    void take(size_t column) {
        if (!row_[column])
            return take_whole(column, 1);
        size_t left = row_[column]->size();
        while (encoded_size(left, LengthForm::automatic) > max_) {
            if (room_ <= LONG_FORM_SIZE || columns_ == MAX_PIECE_COLUMNS)
                cut({column + 1, 0});
            left -= room_ - LONG_FORM_SIZE;
            cut({column, left});
        }
        take_whole(column, encoded_size(left, LengthForm::automatic));
    }

    void take_whole(size_t column, size_t size) {
        if (columns_ == MAX_PIECE_COLUMNS || size > room_)
            cut({column + 1, 0});
        room_ -= size;
        columns_++;
    }

    void cut(Cut at) {
        cuts_.push_back(at);
        room_ = max_;
        columns_ = 0;
    }

    std::span<const Value> row_;
    size_t max_;
    size_t room_;
    size_t columns_ = 0;
    std::vector<Cut> cuts_;
};

// Fills parts from the beginning of a row towards its end.
std::vector<Cut> plan_from_start(std::span<const Value> row, size_t max) {
    std::vector<Cut> cuts;
    size_t room = max, columns = 0;
    auto cut = [&](Cut at) {
        cuts.push_back(at);
        room = max;
        columns = 0;
    };
    for (size_t c = 0; c < row.size(); c++) {
        size_t total = row[c] ? row[c]->size() : 0;
        for (size_t done = 0;;) {
            size_t need = row[c] ? encoded_size(total - done, LengthForm::automatic) : 1;
            if (columns == MAX_PIECE_COLUMNS || (need > room && (need <= max || room <= LONG_FORM_SIZE)))
                cut({c, done});
            if (need <= room) {
                room -= need;
                columns++;
                break;
            }
            done += room - LONG_FORM_SIZE;
            cut({c, done});
        }
    }
    return cuts;
}

} // namespace

size_t column_size(const Value &value, LengthForm form) {
    return value ? encoded_size(value->size(), form) : 1;
}

void append_column(Bytes &out, const Value &value, LengthForm form) {
    if (!value) {
        out.push_back(LENGTH_NULL);
        return;
    }
    if (value->size() > MAX_LENGTH)
        throw std::length_error("column value too long for a row piece");
    if (uses_long_form(value->size(), form)) {
        out.push_back(LENGTH_LONG);
        append_le16(out, static_cast<uint16_t>(value->size()));
    } else {
        out.push_back(static_cast<uint8_t>(value->size()));
    }
    append(out, *value);
}

Bytes encode_piece(const PieceHead &head, std::span<const Value> columns, LengthForm form) {
    if (!head.column_count && columns.size() > MAX_PIECE_COLUMNS)
        throw std::length_error("too many columns for a row piece");
    Bytes out{head.flags, head.lock, head.column_count.value_or(static_cast<uint8_t>(columns.size()))};
    if (head.key_index)
        out.push_back(*head.key_index);
    if (head.head_rowid)
        append_address(out, *head.head_rowid);
    if (head.extra)
        append(out, *head.extra);
    if (head.next)
        append_address(out, *head.next);
    for (const Value &v : columns)
        append_column(out, v, form);
    return out;
}

Bytes encode_key_piece(const KeyHead &head, std::span<const Value> key) {
    Bytes out{head.flags, head.lock, static_cast<uint8_t>(key.size())};
    append_le16(out, head.rows_here);
    append_le16(out, head.rows_total);
    append_address(out, head.previous);
    append_address(out, head.next);
    if (head.head_rowid)
        append_address(out, *head.head_rowid);
    if (head.next_piece)
        append_address(out, *head.next_piece);
    for (const Value &v : key)
        append_column(out, v);
    return out;
}

std::span<const Value> trim_trailing_nulls(std::span<const Value> row) {
    while (!row.empty() && !row.back())
        row = row.first(row.size() - 1);
    return row;
}

std::vector<RowPart> cut_row(std::span<const Value> row, std::span<const Cut> cuts) {
    std::vector<RowPart> parts;
    Cut from{0, 0};
    for (Cut cut : cuts) {
        check_cut(row, from, cut);
        parts.push_back(part_between(row, from, cut));
        from = cut;
    }
    parts.push_back(part_between(row, from, Cut{row.size(), 0}));
    parts.front().flags |= ROW_F;
    parts.back().flags |= ROW_L;
    return parts;
}

std::vector<Cut> plan_cuts(std::span<const Value> row, size_t max_bytes, CutOrder order) {
    if (max_bytes <= LONG_FORM_SIZE)
        throw std::invalid_argument("no room for a column in a row piece");
    return order == CutOrder::from_start ? plan_from_start(row, max_bytes)
                                         : CutPlanner(row, max_bytes).plan();
}

} // namespace sample
