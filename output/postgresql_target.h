// What the two formats for PostgreSQL have in common.
#pragma once

#include <string>

#include "output/column_types.h"

namespace vexlo {

constexpr CellStyle POSTGRESQL_STYLE{MomentStyle::postgresql, IntervalStyle::iso};

// Why the server would refuse the cell, with the name of the column; empty when it takes it. A stream is read
// for that.
std::string postgresql_refusal(const Column &column, const Cell &cell);

// Looks at whole rows: of one that is written in parts nothing can be taken back.
class PostgresqlCheck {
public:
    // For the table of `decoder`, which must outlive this.
    explicit PostgresqlCheck(const CellDecoder &decoder) : decoder_(decoder) {}

    // Why the server would refuse one of the row's cells; empty when it takes them all.
    std::string refusal(const Row &row);

private:
    const CellDecoder &decoder_;
    std::unique_ptr<CellDecoder> twin_; // from the first row on
    char scratch_[CellDecoder::SCRATCH_SIZE];
};

} // namespace vexlo
