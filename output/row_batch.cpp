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
    const bool rejecting = rejecting_;
    const uint64_t row = rejecting ? rejects.back().row : 0;
    spill(*this);
    ends_in_row = false;
    if (rejecting)
        rejects.push_back({row, rejected.size(), true});
}

void RowBatch::begin_reject(uint64_t row) {
    rejects.push_back({row, rejected.size(), false});
    rejecting_ = true;
}

std::string_view RowBatch::rejected_row(size_t i) const {
    const size_t end = i + 1 < rejects.size() ? rejects[i + 1].at : rejected.size();
    return rejected.view().substr(rejects[i].at, end - rejects[i].at);
}

bool is_large_row(const Row &row, size_t columns) {
    uint64_t size = 0;
    for (const Field *field = row.fields, *const end = field + columns; field != end; ++field)
        size += field->kind == FieldKind::stream ? LARGE_ROW_SIZE : field->size;
    return size >= LARGE_ROW_SIZE;
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
