#include "rescue/dependency_width.h"

#include <algorithm>
#include <vector>

#include "format/cache_header.h"
#include "format/stored_value.h"

namespace vexlo {

namespace {

constexpr uint32_t VERSION_12_2 = 0x0C200000;

// Where the pieces of a block begin, and where the last one must end.
std::vector<const uint8_t *> piece_starts(const ROW_AREA &area) {
    std::vector<const uint8_t *> starts;
    TABLE_ROWS rows;
    for (uint32_t tabn = 0; find_table(area, tabn, &rows); ++tabn)
        for (int32_t i = 0; i < rows.count && has_slot(area, rows.first + i); ++i)
            if (const uint8_t *piece = find_piece(area, rows.first + i))
                starts.push_back(piece);
    starts.push_back(block_end(area.blk) - TAIL_SIZE);
    std::sort(starts.begin(), starts.end());
    return starts;
}

// How the rows of a block fit with their neighbours under a width.
struct Fit {
    uint32_t wrong = 0; // rows that run into the next one
    uint32_t exact = 0; // rows that end where the next one begins

    bool is_better_than(const Fit &other) const {
        return wrong != other.wrong ? wrong < other.wrong : exact > other.exact;
    }
};

// The end of a head piece, null when a value leaves the block.
const uint8_t *piece_end(const ROW_AREA &area, const uint8_t *piece, bool clustered, uint32_t width) {
    const uint8_t flags = piece[0], *end = block_end(area.blk);
    const bool first = (flags & ROW_FIRST) != 0;
    const uint32_t head =
        PIECE_HEADER + (clustered && first ? 1 : 0) + width + ((flags & ROW_LAST) == 0 ? ROWID_SIZE : 0);
    if (end - piece < static_cast<int64_t>(head))
        return nullptr;
    const uint8_t *p = piece + head;
    VALUE value;
    for (unsigned left = first ? piece[2] : 0; left > 0; --left) {
        const bool cut = left == 1 && (flags & ROW_NEXT) != 0;
        if (cut ? !next_cut_value(p, end, &value) : !next_value(p, end, &value))
            return nullptr;
    }
    return p;
}

Fit fit_of(const ROW_AREA &area, const TABLE_ROWS &rows, uint32_t tabn,
           const std::vector<const uint8_t *> &starts, uint32_t width) {
    Fit fit;
    for (int32_t i = 0; i < rows.count && has_slot(area, rows.first + i); ++i) {
        const uint8_t *piece = find_piece(area, rows.first + i);
        if (piece == nullptr || (piece[0] & (ROW_HEAD | ROW_DELETED)) != ROW_HEAD)
            continue;
        const uint8_t *end = piece_end(area, piece, tabn > 0, width);
        const auto next = std::upper_bound(starts.begin(), starts.end(), piece);
        fit.wrong += end == nullptr || next == starts.end() || end > *next;
        fit.exact += end != nullptr && next != starts.end() && end == *next;
    }
    return fit;
}

} // namespace

uint32_t find_dependency_width(const ROW_AREA &area, uint32_t tabn, uint32_t compatibility,
                               bool may_be_none) {
    const uint32_t expected = compatibility >= VERSION_12_2 ? DEPENDENCY_WIDE : DEPENDENCY_NARROW;
    const uint32_t other = expected == DEPENDENCY_WIDE ? DEPENDENCY_NARROW : DEPENDENCY_WIDE;
    TABLE_ROWS rows;
    uint32_t best = may_be_none ? 0 : expected;
    if (!find_table(area, tabn, &rows))
        return best;
    const std::vector<const uint8_t *> starts = piece_starts(area);
    Fit best_fit = fit_of(area, rows, tabn, starts, best);
    for (const uint32_t width : {expected, other}) {
        if (width == best)
            continue;
        const Fit fit = fit_of(area, rows, tabn, starts, width);
        if (fit.is_better_than(best_fit)) {
            best = width;
            best_fit = fit;
        }
    }
    return best;
}

} // namespace vexlo
