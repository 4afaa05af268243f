#include "values/lob_inflater.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "format/byte_order.h"

#ifdef VEXLO_HAVE_ZLIB
#include <zlib.h>
#endif

namespace vexlo {

namespace {

constexpr uint32_t MAP_MAGIC = 0xDEADBEEF;
constexpr uint8_t MAP_VERSION = 1;
constexpr size_t MAGIC_SIZE = 4;
constexpr size_t VERSION_AT = 4, SIZE_AT = 17, STREAMS_AT = 21, FIRST_AT = 23, LIST_AT = 29;
constexpr size_t LIST_ENTRY = 8, STORED_AT = 4;
constexpr size_t OUT_SIZE = 1 << 16;

} // namespace

#ifdef VEXLO_HAVE_ZLIB

struct LobInflater::Stream {
    z_stream z{};
    bool open = false;
    bool ended = false;

    ~Stream() {
        if (open)
            inflateEnd(&z);
    }
    bool begin() {
        ended = false;
        if (open)
            return inflateReset(&z) == Z_OK;
        open = inflateInit(&z) == Z_OK;
        return open;
    }
    // Inflates from `in`, of which what was not used is left, into `out`; returns the bytes made, or -1 when
    // it is no zlib stream.
    int64_t run(std::span<const uint8_t> &in, std::span<uint8_t> out) {
        z.next_in = const_cast<Bytef *>(in.data()); // zlib reads there only
        z.avail_in = static_cast<uInt>(in.size());
        z.next_out = out.data();
        z.avail_out = static_cast<uInt>(out.size());
        const int result = inflate(&z, Z_NO_FLUSH);
        in = in.last(z.avail_in);
        ended = result == Z_STREAM_END;
        if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR)
            return -1;
        return static_cast<int64_t>(out.size() - z.avail_out);
    }
};

bool LobInflater::is_available() {
    return true;
}

#else

struct LobInflater::Stream {
    bool ended = false;

    bool begin() { return false; }
    int64_t run(std::span<const uint8_t> &, std::span<uint8_t>) { return -1; }
};

bool LobInflater::is_available() {
    return false;
}

#endif

LobInflater::LobInflater(uint64_t length, Take take)
    : length_(length), take_(std::move(take)), zlib_(std::make_unique<Stream>()), out_(OUT_SIZE) {}

LobInflater::~LobInflater() = default;

bool LobInflater::feed(std::span<const uint8_t> stored) {
    while (!stored.empty())
        if (!step(stored))
            return false;
    return true;
}

bool LobInflater::step(std::span<const uint8_t> &stored) {
    switch (expect_) {
    case Expect::start:
        return read_start(stored);
    case Expect::map:
        return read_map(stored);
    case Expect::gap:
        return skip_gap(stored);
    case Expect::stream:
        return inflate_stream(stored);
    case Expect::failed:
        break;
    }
    return false;
}

bool LobInflater::fail() {
    expect_ = Expect::failed;
    return false;
}

// Adds bytes to head_ until it holds `size` of them; true when it does.
bool LobInflater::gather(std::span<const uint8_t> &stored, size_t size) {
    const size_t take = std::min(stored.size(), size - std::min(size, head_.size()));
    head_.insert(head_.end(), stored.begin(), stored.begin() + static_cast<std::ptrdiff_t>(take));
    stored = stored.subspan(take);
    return head_.size() >= size;
}

// The first bytes tell maps from a single stream.
bool LobInflater::read_start(std::span<const uint8_t> &stored) {
    if (!gather(stored, MAGIC_SIZE))
        return true;
    has_maps_ = load_be32(head_.data()) == MAP_MAGIC;
    if (has_maps_) {
        expect_ = Expect::map;
        map_size_ = LIST_AT;
        return true;
    }
    if (!begin_stream(std::numeric_limits<uint64_t>::max()))
        return fail();
    std::vector<uint8_t> begin;
    begin.swap(head_);
    std::span<const uint8_t> rest(begin);
    while (!rest.empty())
        if (!inflate_stream(rest))
            return false;
    return true;
}

bool LobInflater::read_map(std::span<const uint8_t> &stored) {
    if (!gather(stored, map_size_))
        return true;
    const size_t streams = load_be16(&head_[STREAMS_AT]), whole = LIST_AT + LIST_ENTRY * streams;
    if (load_be32(head_.data()) != MAP_MAGIC || head_[VERSION_AT] != MAP_VERSION || streams == 0)
        return fail();
    if (head_.size() < whole) {
        map_size_ = whole;
        return true;
    }
    const size_t first = load_be16(&head_[FIRST_AT]);
    if (first < whole)
        return fail();
    stream_sizes_.resize(streams);
    uint64_t end = first;
    for (size_t i = 0; i < streams; ++i) {
        stream_sizes_[i] = load_be32(&head_[LIST_AT + LIST_ENTRY * i + STORED_AT]);
        end += stream_sizes_[i];
    }
    stream_ = 0;
    behind_ = std::max<uint64_t>(load_be32(&head_[SIZE_AT]), end) - end;
    head_.clear();
    map_size_ = LIST_AT;
    left_ = first - whole;
    expect_ = Expect::gap;
    return left_ != 0 || next_stream();
}

bool LobInflater::skip_gap(std::span<const uint8_t> &stored) {
    const size_t skipped = static_cast<size_t>(std::min<uint64_t>(left_, stored.size()));
    stored = stored.subspan(skipped);
    left_ -= skipped;
    return left_ != 0 || next_stream();
}

// Behind the last stream of a map comes the next map.
bool LobInflater::next_stream() {
    while (stream_ < stream_sizes_.size() && stream_sizes_[stream_] == 0)
        ++stream_;
    if (stream_ < stream_sizes_.size())
        return begin_stream(stream_sizes_[stream_++]) || fail();
    left_ = std::exchange(behind_, 0);
    expect_ = left_ != 0 ? Expect::gap : Expect::map;
    return true;
}

bool LobInflater::begin_stream(uint64_t stored_size) {
    left_ = stored_size;
    expect_ = Expect::stream;
    return zlib_->begin();
}

bool LobInflater::inflate_stream(std::span<const uint8_t> &stored) {
    std::span<const uint8_t> in = stored.first(static_cast<size_t>(std::min<uint64_t>(left_, stored.size())));
    const size_t before = in.size();
    while (!in.empty() && !zlib_->ended) {
        const uint64_t room = length_ - produced_;
        const std::span<uint8_t> out(out_.data(), static_cast<size_t>(std::min<uint64_t>(room, OUT_SIZE)));
        const size_t in_before = in.size();
        const int64_t made = zlib_->run(in, out);
        if (made < 0)
            return fail();
        produced_ += static_cast<uint64_t>(made);
        if (made != 0)
            take_(out.first(static_cast<size_t>(made)));
        else if (in.size() == in_before) // the LOB is full, or the stream does not go on
            break;
    }
    const bool stuck = !in.empty() && !zlib_->ended && produced_ < length_;
    stored = stored.subspan(before); // what lies behind the end of a stream belongs to nothing
    left_ -= before;
    if (stuck)
        return fail();
    if (produced_ == length_) {
        stored = {};
        return true;
    }
    if (left_ == 0)
        return zlib_->ended ? next_stream() : fail();
    return has_maps_ || !zlib_->ended || fail();
}

} // namespace vexlo
