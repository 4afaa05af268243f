#include "output/row_batch.h"

namespace vexlo {

void RowLosses::tell(TableReport &report) {
    for (const Loss &loss : kept_)
        report.row_loss(loss.row, loss.offset, loss.text);
    report.more_row_losses(count_ - kept_.size());
    kept_.clear();
    count_ = 0;
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
