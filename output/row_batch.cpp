#include "output/row_batch.h"

namespace vexlo {

void RowLosses::tell(TableReport &report) {
    for (const Loss &loss : kept_)
        report.row_loss(loss.row, loss.offset, loss.text);
    report.more_row_losses(count_ - kept_.size());
    kept_.clear();
    count_ = 0;
}

void RowBatch::clear() {
    bytes.clear();
    rejected.clear();
    rows = rejected_rows = 0;
    losses = {};
    longest_record = 0;
    longest.clear();
}

} // namespace vexlo
