// What the two formats for PostgreSQL have in common.
#pragma once

#include <memory>
#include <string>

#include "output/column_types.h"

namespace vexlo {

constexpr CellStyle POSTGRESQL_STYLE{MomentStyle::postgresql, IntervalStyle::micros};

// Why the server would refuse the cell, with the name of the column; empty when it takes it. A stream is read
// for that.
std::string postgresql_refusal(const Column &column, const Cell &cell);

// Throws OutputError when the table has more columns than a table of the server can have.
void check_postgresql_columns(const Table &table);

// The least that a row takes in the server, which has it on one page, but for long values.
class PostgresqlRowSize {
public:
    explicit PostgresqlRowSize(size_t columns);

    void add(const Column &column, const Cell &cell);
    // Why the server would refuse the row of the cells since the last call, if for its size; empty when it
    // takes it.
    std::string refusal();

private:
    void add_aligned(size_t size, size_t alignment);

    size_t bitmap_;
    bool can_be_too_large_;
    bool has_null_ = false;
    size_t size_ = 0;
};

// Looks at rows before they are the server's.
class PostgresqlCheck {
public:
    // For the table of `decoder`, which must outlive this.
    explicit PostgresqlCheck(const CellDecoder &decoder);

    // Why the server would refuse the next cell of a row; empty when it takes it.
    std::string cell_refusal(const Column &column, const Cell &cell);
    // The same of the row, when all its cells have been taken.
    std::string row_refusal() { return row_size_.refusal(); }
    // The same of a whole row: of one that is written in parts nothing can be taken back.
    std::string refusal(const Row &row);

private:
    const CellDecoder &decoder_;
    PostgresqlRowSize row_size_;
    std::unique_ptr<CellDecoder> twin_; // from the first row on
    char scratch_[CellDecoder::SCRATCH_SIZE];
};

} // namespace vexlo
