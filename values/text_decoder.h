// Turns the bytes of a character column into UTF-8.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "values/charset.h"
#include "values/iconv_library.h"
#include "values/padded_bytes.h"
#include "values/single_byte.h"
#include "values/text_scan.h"

namespace vexlo {

class TextDecoder {
public:
    // Throws UsageError when neither a table that is built in nor the C library has the set.
    explicit TextDecoder(const Charset &charset);
    ~TextDecoder();
    TextDecoder(const TextDecoder &) = delete;
    TextDecoder &operator=(const TextDecoder &) = delete;

    // The UTF-8 form of `size` bytes at `data`: a view of `data` itself where nothing had to change,
    // otherwise of a buffer that holds until the next call. Either is padded, which `data` must be.
    // What is not valid becomes U+FFFD and is added to `replaced`.
    std::string_view decode(const uint8_t *data, size_t size, uint64_t &replaced) {
        const char *text = reinterpret_cast<const char *>(data);
        return charset_.ascii && is_ascii(text, size) ? std::string_view(text, size)
                                                      : convert(data, size, replaced);
    }

    // The same of the begin of a longer text, or of the next part of it: `used` is set to the bytes that make
    // whole characters. The rest, a few bytes, belongs in front of the next part.
    std::string_view decode_part(const uint8_t *data, size_t size, uint64_t &replaced, size_t &used);

    // Whether text of ASCII characters alone stays as it is.
    bool keeps_ascii() const { return charset_.ascii; }

    // Oracle's name of the set, or iconv's where the user gave that.
    std::string_view charset_name() const { return charset_.oracle; }

private:
    std::string_view convert(const uint8_t *data, size_t size, uint64_t &replaced);
    std::string_view decode_utf8(const uint8_t *data, size_t size, uint64_t &replaced);
    std::string_view decode_utf16(const uint8_t *data, size_t size, uint64_t &replaced);
    std::string_view decode_single_byte(const uint8_t *data, size_t size, uint64_t &replaced);
    std::string_view decode_combining(const uint8_t *data, size_t size, uint64_t &replaced);
    std::string_view decode_iconv(const uint8_t *data, size_t size, uint64_t &replaced,
                                  size_t *used_bytes = nullptr);
    size_t whole_characters(const uint8_t *data, size_t size) const;
    size_t without_open_letter(const uint8_t *data, size_t size) const;
    char *room_for(size_t bytes);

    // A character of a single-byte set in UTF-8.
    struct Utf8Character {
        std::array<char, 3> bytes;
        uint8_t size;
    };
    struct SingleByteDecoder {
        SingleByteSet set;
        std::array<Utf8Character, 256> utf8;
    };

    Charset charset_;
    std::unique_ptr<SingleByteDecoder> single_byte_; // null when the set is none of these
    iconv_t iconv_;
    PaddedBytes buffer_;
};

} // namespace vexlo
