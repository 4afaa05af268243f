#include "convert/long_stream.h"

#include "convert/byte_window.h"
#include "convert/dump_format.h"
#include "format/byte_order.h"
#include "values/errors.h"
#include "values/padded_bytes.h"

namespace vexlo {

namespace {

constexpr size_t STREAM_WINDOW = 1 << 18;
constexpr size_t PIECE = 1 << 16; // short chunks are handed out together

// The size of the chunk at the window's begin; the window moves to its bytes.
uint16_t next_chunk(ByteWindow &window, const std::string &path) {
    if (window.require(sizeof(uint16_t))) {
        const uint16_t size = load_be16(window.data());
        window.advance(sizeof size);
        if (window.require(size))
            return size;
    }
    throw InputError(path + ": a LONG value is not what it was: the file has changed");
}

} // namespace

void LongStream::for_each_piece(const Take &take) {
    ByteWindow window(fd_, path_, begin_, end_, STREAM_WINDOW);
    PaddedBytes piece;
    while (const uint16_t size = next_chunk(window, path_)) {
        piece.append({window.data(), size});
        window.advance(size);
        if (piece.size() >= PIECE) {
            take(piece.bytes());
            piece.clear();
        }
    }
    if (piece.size() > 0)
        take(piece.bytes());
}

} // namespace vexlo
