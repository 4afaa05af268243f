// A LONG value that is gathered from the pieces of its row: in memory up to a limit, behind it in a file
// without a name.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "output/file_handle.h"
#include "values/padded_bytes.h"
#include "values/row.h"

namespace vexlo {

class LongValue final : public ValueStream {
public:
    static constexpr size_t IN_MEMORY = 8 << 20; // most bytes that are kept in memory

    // `directory` takes the file. Without one the bytes that memory does not keep are zero when they are read
    // again: for those who want the size alone.
    explicit LongValue(std::string directory) : directory_(std::move(directory)) {}

    void clear();
    // Throws OutputError when the file cannot be written.
    void append(const uint8_t *data, size_t size);

    // The value as a field: bytes in memory or, when there are too many, a stream; null when it is empty.
    Field field();

    StreamForm form() const override { return StreamForm::stored; }
    void for_each_piece(const Take &take) override;

private:
    uint64_t size() const { return written_ + memory_.size(); }
    size_t read(uint64_t offset, uint8_t *to, size_t size);
    void flush();

    std::string directory_;
    PaddedBytes memory_; // what is not in the file
    FileHandle file_;
    uint64_t written_ = 0; // bytes in the file
};

} // namespace vexlo
