#include "data/put_columns.h"

namespace {

// The column at position `curc`; null for a position that no column claims.
const COL *current_column(const ULDR *ul) {
    const size_t at = static_cast<size_t>(ul->curc);
    return at < ul->cols.size() ? &ul->cols[at] : nullptr;
}

// Adds a part of a LONG value to what the row has of it.
PIECE_RESULT save_part(ULDR *ul, const VALUE &part) {
    return save_long(ul, part.data, part.len, false) == 0 ? PIECE_RESULT::taken : PIECE_RESULT::failed;
}

// Adds a part of a value to the entry that waits for its length, of which the entry keeps 16 bits.
void put_part(ULDR *ul, const VALUE &part) {
    put_bytes(ul, part.data, part.len);
    ul->ccl = static_cast<int32_t>((static_cast<uint32_t>(ul->ccl) + part.len) & 0xFFFF);
}

// Takes the first value of a piece with P, which continues the column at `curc`. With `ends` the value ends
// here. The position advances once for an ordinary column when its entry is complete and once more for any
// column that ends: readers of the dump must not count positions behind such a column.
PIECE_RESULT continue_column(ULDR *ul, const COL &col, const VALUE &part, bool ends) {
    if (is_long(col))
        return save_part(ul, part);
    if (is_lob(col)) {
        if (ul->lob_begun)
            continue_lob(ul, part);
        else
            save_lob(ul, col.cid, part);
        ul->lob_begun = true;
        return PIECE_RESULT::taken;
    }
    if (ul->pl == nullptr) // no piece before has begun the value
        return PIECE_RESULT::damaged;
    put_part(ul, part);
    if (ends) {
        finish_value(ul);
        ul->curc++;
    }
    return PIECE_RESULT::taken;
}

// Takes the last value of a piece with N, which goes on in the next piece; the position stays.
PIECE_RESULT begin_column(ULDR *ul, const COL &col, const VALUE &part) {
    if (is_long(col)) {
        if (is_first_long(ul))
            put_word(ul, MARK_LONG);
        return save_part(ul, part);
    }
    if (is_lob(col)) {
        put_word(ul, MARK_LOB);
        save_lob(ul, col.cid, part);
        ul->lob_begun = true;
        return PIECE_RESULT::taken;
    }
    if (ul->pl == nullptr) {
        ul->pl = ul->cache + ul->clen;
        put_word(ul, 0); // the length, when it is known
    }
    put_part(ul, part);
    return PIECE_RESULT::taken;
}

// Steps over a cut value that no column takes, or hands it to `take`.
template <class TAKE>
PIECE_RESULT with_cut_value(ULDR *ul, const uint8_t *&p, const uint8_t *end, TAKE &&take) {
    const COL *col = current_column(ul);
    VALUE part;
    if (col == nullptr || is_skipped(*col))
        return next_value(p, end, &part) ? PIECE_RESULT::taken : PIECE_RESULT::damaged;
    return next_cut_value(p, end, &part) ? take(*col, part) : PIECE_RESULT::damaged;
}

PIECE_RESULT take_continued(ULDR *ul, const uint8_t *&p, const uint8_t *end, bool ends) {
    const COL *col = current_column(ul);
    const PIECE_RESULT result = with_cut_value(
        ul, p, end, [&](const COL &c, const VALUE &part) { return continue_column(ul, c, part, ends); });
    if (result != PIECE_RESULT::taken || !ends)
        return result;
    if (col != nullptr && is_lob(*col)) // a hidden one included
        end_lob(ul);
    ul->curc++;
    return PIECE_RESULT::taken;
}

} // namespace

PIECE_RESULT process_chained_piece(ULDR *ul, const uint8_t *p, const uint8_t *end, int cc, uint8_t fb,
                                   const CLUSTER_KEY &key) {
    const bool continues = (fb & ROW_NEXT) != 0;
    if ((fb & ROW_PREVIOUS) != 0) {
        if (cc < 1)
            return PIECE_RESULT::damaged;
        const PIECE_RESULT result = take_continued(ul, p, end, !continues || cc > 1);
        if (result != PIECE_RESULT::taken)
            return result;
        cc--;
    }
    if (continues) {
        if (cc == 0) // the piece held the continuing value alone
            return PIECE_RESULT::taken;
        cc--; // the last value is taken below
    }
    p = put_columns<false>(ul, p, end, &cc, key);
    if (p == nullptr)
        return PIECE_RESULT::damaged;
    if (!continues)
        return PIECE_RESULT::taken;
    p = skip_columns(p, end, cc); // values behind the last column
    if (p == nullptr)
        return PIECE_RESULT::damaged;
    return with_cut_value(ul, p, end,
                          [&](const COL &col, const VALUE &part) { return begin_column(ul, col, part); });
}
