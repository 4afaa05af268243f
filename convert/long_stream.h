// A LONG value as it stands in the dump, handed out in pieces.
#pragma once

#include <cstdint>
#include <string>

#include "values/row.h"

namespace vexlo {

class LongStream final : public ValueStream {
public:
    // A value of the file `fd`, which must stay open; `path` is for messages and must outlive the stream.
    LongStream(int fd, const std::string &path) : fd_(fd), path_(path) {}

    // The value whose LONG block has its first chunk at the file offset `begin` and ends at `end`.
    void set_block(uint64_t begin, uint64_t end) {
        begin_ = begin;
        end_ = end;
    }

    StreamForm form() const override { return StreamForm::stored; }
    // Throws InputError when the block cannot be read as it was before.
    void for_each_piece(const Take &take) override;

private:
    int fd_;
    const std::string &path_;
    uint64_t begin_ = 0, end_ = 0;
};

} // namespace vexlo
