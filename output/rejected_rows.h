// Rows that the target would refuse: what is kept of them instead.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "output/cell.h"
#include "output/output_file.h"

namespace vexlo {

// Writes rejected rows into batches as JSON objects, one a line: "_ROW", "_REASON" and the columns.
class RowRejecter {
public:
    // For the table of `decoder`, which must outlive this.
    explicit RowRejecter(const CellDecoder &decoder);

    void reject(const Row &row, const std::string &reason, RowBatch &batch);

private:
    const CellDecoder &decoder_;
    std::unique_ptr<CellDecoder> plain_; // from the first rejected row on
    std::vector<std::string> keys_;
    char scratch_[CellDecoder::SCRATCH_SIZE];
};

// The file of the rejected rows of one table, beside its output and made when there is one; with standard
// output as destination they go to standard error.
class RejectedFile {
public:
    // `path` of the table's output; not used for standard output.
    RejectedFile(Destination &destination, const std::string &path);

    // Takes what a batch has of rejected rows.
    void take(RowBatch &batch);
    // Gives the file its name; without any row an older file of that name is removed.
    void finish();

    // Tells how many rows there are and where.
    void tell(TableReport &report) const;

private:
    Destination *destination_;
    std::string path_;
    std::unique_ptr<OutputFile> file_;
    uint64_t rows_ = 0;
};

} // namespace vexlo
