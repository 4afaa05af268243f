// The end of an output's way: bytes are compressed, written to a descriptor and counted.
#pragma once

#include <memory>

#include "output/byte_buffer.h"
#include "output/compressor.h"
#include "output/digest.h"

namespace vexlo {

class FileSink {
public:
    // `fd` must stay open as long as the sink is used. `digest`, unless null, gets what is written.
    FileSink(int fd, Digest *digest, Compression compression);

    // Writes `size` bytes at `data`; returns 0 or an errno.
    int write(const char *data, size_t size);
    // Writes what the compression has held back; returns 0 or an errno.
    int finish();

private:
    int write_through(const char *data, size_t size);
    int write_packed();

    int fd_;
    Digest *digest_;
    std::unique_ptr<Compressor> compressor_; // null for none
    ByteBuffer packed_;
};

} // namespace vexlo
