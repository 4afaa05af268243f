// Questions about runs of bytes and copies of them, in blocks of 32 bytes: most values are shorter than one
// block, so that their length decides no branch. Blocks run over the end of the value: READ_SLACK bytes
// behind it must be readable, though not initialised to anything. What asks words of eight bytes instead, and
// needs no such slack, makes a conversion to CSV a tenth slower, plain loops over bytes a third.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "values/sse2.h"

namespace vexlo {

constexpr size_t BLOCK_SIZE = 32;
constexpr size_t READ_SLACK = BLOCK_SIZE;  // readable bytes behind a text that is scanned or copied
constexpr size_t WRITE_SLACK = BLOCK_SIZE; // writable bytes behind the place that a text is copied to

inline __m128i load_16(const char *p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
}

// Whether one of the first `size` bytes has its bit set in what `mask_of(half)` gives for 16 bytes.
template <class MaskOf>
bool any_byte(const char *data, size_t size, MaskOf mask_of) {
    for (; size > BLOCK_SIZE; data += BLOCK_SIZE, size -= BLOCK_SIZE)
        if ((mask_of(load_16(data)) | mask_of(load_16(data + 16))) != 0)
            return true;
    const uint64_t mask = static_cast<uint32_t>(mask_of(load_16(data))) |
                          (static_cast<uint64_t>(static_cast<uint32_t>(mask_of(load_16(data + 16)))) << 16);
    return (mask & ((uint64_t{1} << size) - 1)) != 0;
}

// Whether every byte is below 0x80.
inline bool is_ascii(const char *data, size_t size) {
    return !any_byte(data, size, [](__m128i half) { return _mm_movemask_epi8(half); });
}

// Whether one of the bytes is a, b, c or d.
template <char a, char b, char c>
bool holds_any(char d, const char *data, size_t size) {
    const __m128i last = _mm_set1_epi8(d);
    return any_byte(data, size, [last](__m128i half) {
        const __m128i ab =
            _mm_or_si128(_mm_cmpeq_epi8(half, _mm_set1_epi8(a)), _mm_cmpeq_epi8(half, _mm_set1_epi8(b)));
        const __m128i cd = _mm_or_si128(_mm_cmpeq_epi8(half, _mm_set1_epi8(c)), _mm_cmpeq_epi8(half, last));
        return _mm_movemask_epi8(_mm_or_si128(ab, cd));
    });
}

// The first byte that is not zero from `data` on; `end` when there is none.
inline const uint8_t *skip_zeros(const uint8_t *data, const uint8_t *end) {
    for (uint64_t word; static_cast<size_t>(end - data) >= sizeof word; data += sizeof word) {
        std::memcpy(&word, data, sizeof word);
        if (word != 0)
            break;
    }
    while (data != end && *data == 0)
        ++data;
    return data;
}

// Copies a text to `out`, which has room for WRITE_SLACK bytes more, as long as every byte is below 0x80 and
// none is a, b, c or d; returns the end, or null when one is.
template <char a, char b, char c>
char *copy_without(char d, const char *data, size_t size, char *out) {
    const __m128i last = _mm_set1_epi8(d);
    const auto copy_half = [&](size_t at) {
        const __m128i half = load_16(data + at);
        std::memcpy(out + at, &half, sizeof half);
        const __m128i ab =
            _mm_or_si128(_mm_cmpeq_epi8(half, _mm_set1_epi8(a)), _mm_cmpeq_epi8(half, _mm_set1_epi8(b)));
        const __m128i cd = _mm_or_si128(_mm_cmpeq_epi8(half, _mm_set1_epi8(c)), _mm_cmpeq_epi8(half, last));
        return static_cast<uint32_t>(_mm_movemask_epi8(_mm_or_si128(half, _mm_or_si128(ab, cd))));
    };
    for (; size > BLOCK_SIZE; data += BLOCK_SIZE, out += BLOCK_SIZE, size -= BLOCK_SIZE)
        if ((copy_half(0) | copy_half(16)) != 0)
            return nullptr;
    const uint64_t mask = copy_half(0) | uint64_t{copy_half(16)} << 16;
    return (mask & ((uint64_t{1} << size) - 1)) == 0 ? out + size : nullptr;
}

// Copies a text to `out`, which has room for WRITE_SLACK bytes more; returns the end.
inline char *copy_text(char *out, const char *data, size_t size) {
    std::memcpy(out, data, BLOCK_SIZE);
    if (size > BLOCK_SIZE)
        std::memcpy(out + BLOCK_SIZE, data + BLOCK_SIZE, size - BLOCK_SIZE);
    return out + size;
}

} // namespace vexlo
