#include "rescue/default_value.h"

#include "values/lob_locator.h"

namespace vexlo {

namespace {

constexpr size_t LONGEST_VALUE = 0xFFFF;

// Keeps a value and, of more than can be one, no more than that.
struct ValueSink final : LobSink {
    std::vector<uint8_t> bytes;
    bool too_long = false;

    void data(std::span<const uint8_t> piece) override {
        too_long = too_long || piece.size() > LONGEST_VALUE - bytes.size();
        if (!too_long)
            bytes.insert(bytes.end(), piece.begin(), piece.end());
    }
    void missing(uint64_t) override {}
};

} // namespace

std::optional<std::vector<uint8_t>> read_default_value(std::string_view locator, LobReader &reader,
                                                       const LobSegment &segment) {
    std::string fault;
    const auto *bytes = reinterpret_cast<const uint8_t *>(locator.data());
    const std::optional<LobLocator> lob = decode_lob_locator({bytes, locator.size()}, fault);
    ValueSink sink;
    if (!lob || !reader.read(*lob, segment, sink).is_whole() || sink.too_long)
        return std::nullopt;
    return std::move(sink.bytes);
}

} // namespace vexlo
