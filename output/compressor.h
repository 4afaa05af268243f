// Compression of outputs on their way into files.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "output/byte_buffer.h"

namespace vexlo {

enum class Compression : uint8_t { none, gzip, zstd };

// The compression of a name, "gzip" or "zstd"; none for an empty one. Throws UsageError for another name, and
// when the program was built without the library.
Compression compression_of(const std::string &name);

// What names of compressed files end with: ".gz", ".zst" or nothing.
std::string_view compression_extension(Compression compression);

class Compressor {
public:
    virtual ~Compressor() = default;
    // Appends to `out` what can be told so far of `size` bytes more. False when the library failed.
    virtual bool add(const char *data, size_t size, ByteBuffer &out) = 0;
    // Appends the rest; nothing may be added then. False when the library failed.
    virtual bool end(ByteBuffer &out) = 0;
};

// Null for no compression.
std::unique_ptr<Compressor> make_compressor(Compression compression);

} // namespace vexlo
