#include "output/row_batch.h"

namespace vexlo {

void RowLosses::tell(TableReport &report) {
    for (const Loss &loss : kept_)
        report.row_loss(loss.row, loss.offset, loss.text);
    report.more_row_losses(count_ - kept_.size());
    report.count_nulls(nulls_);
    *this = {};
}

void RowBatch::give_away() {
    ends_in_row = true;
    spill(*this);
    ends_in_row = false;
}

bool is_large_row(const Row &row, size_t columns) {
    constexpr uint64_t LARGE = 1 << 17;
    uint64_t size = 0;
    for (const Field *field = row.fields, *const end = field + columns; field != end; ++field)
        size += field->kind == FieldKind::stream ? LARGE : field->size;
    return size >= LARGE;
}

void RowBatch::number_from(uint64_t rows_before) {
    losses.shift(rows_before);
    for (Rejected &reject : rejects)
        reject.row += rows_before;
}

void RowBatch::clear() {
    bytes.clear();
    rejected.clear();
    rejects.clear();
    rows = 0;
    losses = {};
    longest_record = 0;
    longest.clear();
}

} // namespace vexlo
