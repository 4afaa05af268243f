#include "output/rejected_rows.h"

#include <unistd.h>

#include <cstdio>

#include "output/json_values.h"
#include "output/names.h"

namespace vexlo {

namespace {

// A column of one of our names is called otherwise.
std::vector<std::string> keys_beside_ours(Table table) {
    UniqueNames names;
    names.take("_ROW");
    names.take("_REASON");
    for (Column &column : table.columns)
        column.name = names.take(column.name);
    return json_keys(table);
}

} // namespace

RowRejecter::RowRejecter(const CellDecoder &decoder) : decoder_(decoder) {}

void RowRejecter::reject(const Row &row, const std::string &reason, RowBatch &batch) {
    if (!plain_) {
        plain_ = decoder_.twin({});
        keys_ = keys_beside_ours(decoder_.table());
    }
    ByteBuffer &bytes = batch.rejected;
    batch.begin_reject(row.number);
    batch.losses.add(row.number, row.offset, reason + ", the row is rejected");
    bytes.append(",\"_REASON\":");
    put_json_string(reason, bytes);
    RowLosses known;
    const bool large = is_large_row(row, keys_.size());
    for (size_t i = 0; i < keys_.size(); ++i) {
        if (i == 0)
            bytes.put(',');
        bytes.append(keys_[i]);
        visit(plain_->decode(row, i, scratch_, known), JsonValues{decoder_.table().columns[i], batch, bytes});
        if (large)
            batch.relieve();
    }
    bytes.append("}\n");
    batch.end_reject();
}

RejectedFile::RejectedFile(Destination &destination, const std::string &path)
    : destination_(&destination), path_(path + ".rejected") {}

void RejectedFile::take(RowBatch &batch) {
    rows_ += batch.rejected_rows();
    if (batch.rejects.empty())
        return;
    ByteBuffer lines;
    for (size_t i = 0; i < batch.rejects.size(); ++i) {
        if (!batch.rejects[i].is_rest)
            lines.append("{\"_ROW\":" + std::to_string(batch.rejects[i].row));
        lines.append(batch.rejected_row(i));
    }
    if (destination_->is_standard_output()) {
        std::fwrite(lines.data(), 1, lines.size(), stderr);
        return;
    }
    if (!file_)
        file_ = destination_->open_path(path_);
    file_->take(lines);
}

void RejectedFile::finish() {
    if (file_)
        file_->finish();
    else if (!destination_->is_standard_output())
        unlink(path_.c_str());
}

void RejectedFile::tell(TableReport &report) const {
    if (rows_ > 0)
        report.note(std::to_string(rows_) + " rows that the target would refuse are " +
                    (destination_->is_standard_output() ? "above" : "in " + path_));
}

} // namespace vexlo
