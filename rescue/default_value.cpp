#include "rescue/default_value.h"

#include "values/lob_locator.h"

namespace vexlo {

namespace {

constexpr size_t LONGEST_VALUE = 0xFFFF;

// Thrown where a LOB turns out to hold no value that is whole, so that it is not read to its end.
struct NoValue {};

struct ValueSink final : LobSink {
    std::vector<uint8_t> bytes;

    void data(std::span<const uint8_t> piece) override {
        if (piece.size() > LONGEST_VALUE - bytes.size())
            throw NoValue();
        bytes.insert(bytes.end(), piece.begin(), piece.end());
    }
    void missing(uint64_t) override { throw NoValue(); }
};

bool read_whole(const LobLocator &lob, LobReader &reader, const LobSegment &segment, ValueSink &sink) {
    try {
        return reader.read(lob, segment, sink).is_whole();
    } catch (const NoValue &) {
        return false;
    }
}

} // namespace

std::optional<std::vector<uint8_t>> read_default_value(std::string_view locator, LobReader &reader,
                                                       const LobSegment &segment) {
    std::string fault;
    const auto *bytes = reinterpret_cast<const uint8_t *>(locator.data());
    const std::optional<LobLocator> lob = decode_lob_locator({bytes, locator.size()}, fault);
    if (!lob || !segment.allows(*lob))
        return std::nullopt;
    ValueSink sink;
    const uint64_t visited = reader.visited();
    const bool whole = read_whole(*lob, reader, segment, sink);
    segment.budget().take(reader.visited() - visited);
    if (!whole)
        return std::nullopt;
    return std::move(sink.bytes);
}

} // namespace vexlo
