#include "zlib_stream.h"

#include <algorithm>
#include <stdexcept>

#ifdef VEXLO_HAVE_ZLIB
#include <zlib.h>
#endif

namespace sample {

namespace {

constexpr size_t STREAM_DATA = 16384;
constexpr size_t MAP_STREAMS = 17;
constexpr size_t MAP_HEADER = 29;
constexpr size_t FIRST_STREAM = MAP_HEADER + 8 * MAP_STREAMS; // the table has its full size in every map
constexpr uint32_t MAP_MAGIC = 0xDEADBEEF;
constexpr uint32_t MAP_CONSTANT = 0x270F;

ByteView take_front(ByteView &from, size_t count) {
    ByteView front = from.first(std::min(count, from.size()));
    from = from.subspan(front.size());
    return front;
}

Bytes one_map(ByteView data) {
    Bytes table, streams;
    uint16_t count = 0;
    for (ByteView rest = data; !rest.empty(); count++) {
        ByteView part = take_front(rest, STREAM_DATA);
        Bytes stream = zlib_stream(part);
        append_be32(table, static_cast<uint32_t>(part.size()));
        append_be32(table, static_cast<uint32_t>(stream.size()));
        append(streams, stream);
    }
    table.resize(8 * MAP_STREAMS);
    Bytes map;
    append_be32(map, MAP_MAGIC);
    map.push_back(1);
    append_be32(map, 0);
    append_be32(map, static_cast<uint32_t>(data.size()));
    append_be32(map, 0);
    append_be32(map, static_cast<uint32_t>(FIRST_STREAM + streams.size()));
    append_be16(map, count);
    append_be16(map, FIRST_STREAM);
    append_be32(map, MAP_CONSTANT);
    append(map, table);
    append(map, streams);
    return map;
}

} // namespace

#ifdef VEXLO_HAVE_ZLIB

Bytes zlib_stream(ByteView data) {
    uLongf size = compressBound(static_cast<uLong>(data.size()));
    Bytes out(size);
    if (compress2(out.data(), &size, data.data(), static_cast<uLong>(data.size()), Z_BEST_SPEED) != Z_OK)
        throw std::runtime_error("cannot compress LOB data");
    out.resize(size);
    return out;
}

#else

Bytes zlib_stream(ByteView data) {
    constexpr size_t longest = 0xFFFF; // of a stored block
    constexpr uint32_t modulus = 65521;
    Bytes out{0x78, 0x01};
    uint32_t low = 1, high = 0;
    for (uint8_t byte : data) {
        low = (low + byte) % modulus;
        high = (high + low) % modulus;
    }
    do {
        ByteView part = take_front(data, longest);
        out.push_back(data.empty() ? 1 : 0);
        append_le16(out, static_cast<uint16_t>(part.size()));
        append_le16(out, static_cast<uint16_t>(~part.size()));
        append(out, part);
    } while (!data.empty());
    append_be32(out, high << 16 | low);
    return out;
}

#endif

Bytes compression_maps(ByteView data) {
    Bytes maps;
    while (!data.empty())
        append(maps, one_map(take_front(data, STREAM_DATA * MAP_STREAMS)));
    return maps;
}

} // namespace sample
