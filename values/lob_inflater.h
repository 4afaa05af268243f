// Compressed SecureFile LOBs: one zlib stream over a small LOB, or a sequence of compression maps over a
// large one, each followed by the streams it lists. A map:
//
//   0   4  DE AD BE EF
//   4   1  01
//   5   8  bytes that its streams stand for
//   17  4  bytes of the map and its streams
//   21  2  number of streams
//   23  2  offset of the first stream from the start of the map
//   29     for each stream: bytes that it stands for (4), bytes of it (4)
//
// All integers are big-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "values/padded_bytes.h"

namespace vexlo {

class LobInflater {
public:
    using Take = std::function<void(std::span<const uint8_t>)>;

    // Whether this program can inflate at all.
    static bool is_available();

    // Of a LOB of `length` bytes: no more than that comes out, whatever the streams hold.
    LobInflater(uint64_t length, Take take);
    ~LobInflater();
    LobInflater(const LobInflater &) = delete;
    LobInflater &operator=(const LobInflater &) = delete;

    // Takes the next stored bytes and hands out what they stand for. False when they are no such stream:
    // nothing more comes out then.
    bool feed(std::span<const uint8_t> stored);
    // Bytes that came out. The LOB is whole when these are all of its length.
    uint64_t produced() const { return produced_; }

private:
    struct Stream;
    // The part of the stored bytes that comes next.
    enum class Expect : uint8_t { start, map, gap, stream, failed };

    bool step(std::span<const uint8_t> &stored);
    bool gather(std::span<const uint8_t> &stored, size_t size);
    bool read_start(std::span<const uint8_t> &stored);
    bool read_map(std::span<const uint8_t> &stored);
    bool skip_gap(std::span<const uint8_t> &stored);
    bool inflate_stream(std::span<const uint8_t> &stored);
    bool next_stream();
    bool begin_stream(uint64_t stored_size);
    bool fail();

    uint64_t length_;
    Take take_;
    uint64_t produced_ = 0;
    Expect expect_ = Expect::start;
    bool has_maps_ = false;
    std::vector<uint8_t> head_;          // of a map, as far as it has come
    size_t map_size_ = 0;                // bytes of the map with its list of streams
    std::vector<uint32_t> stream_sizes_; // stored, of the streams to come
    size_t stream_ = 0;
    uint64_t behind_ = 0; // bytes of the map behind its last stream
    uint64_t left_ = 0;   // stored bytes of the gap or stream that have not come yet
    std::unique_ptr<Stream> zlib_;
    PaddedBytes out_;
};

} // namespace vexlo
