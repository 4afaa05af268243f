// A table whose rows have LOBs of every length that matters to the writers: too long to be held in memory,
// with and without a column behind them, short, EMPTY and NULL.
#pragma once

#include <optional>
#include <vector>

#include "recovered_fixture.h"

namespace vexlo_test {

// NULL, or so many bytes (of a CLOB UTF-16 units).
using LobSize = std::optional<size_t>;

struct LobRow {
    LobSize text, bytes, last;
};

// The table SCOTT.T has the columns ID, C (CLOB), B (BLOB), N (the same number as ID) and E (BLOB).
class LobRows : public Recovered {
protected:
    static const std::vector<LobRow> ROWS; // ID counts them from 1

    void SetUp() override;

    // What row `id` holds: the text in UTF-8, and the bytes of column 2 or 4 ("B", "E").
    static std::string text_of(size_t id);
    static sample::Bytes bytes_of(size_t id, uint32_t column);
    static LobSize size_of(size_t id, uint32_t column);
};

} // namespace vexlo_test
