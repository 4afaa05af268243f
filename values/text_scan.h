// Questions about runs of bytes and copies of them, in blocks of 32 bytes: most values are shorter than one
// block, so that their length decides no branch. Blocks run over the end of the value: READ_SLACK bytes
// behind it must be readable, whatever they are (values/padded_bytes.h). What asks words of eight bytes
// instead, and needs no such slack, makes a conversion to CSV a tenth slower, plain loops over bytes a third.
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

// The bits of two halves of a block as those of the block.
inline uint64_t joined(int first, int second) {
    return static_cast<uint32_t>(first) | uint64_t{static_cast<uint32_t>(second)} << 16;
}

// Whether one of the first `size` bytes has its bit set in what `mask_of(half)` gives for 16 bytes.
template <class MaskOf>
bool any_byte(const char *data, size_t size, MaskOf mask_of) {
    for (; size > BLOCK_SIZE; data += BLOCK_SIZE, size -= BLOCK_SIZE)
        if ((mask_of(load_16(data)) | mask_of(load_16(data + 16))) != 0)
            return true;
    const uint64_t mask = joined(mask_of(load_16(data)), mask_of(load_16(data + 16)));
    return (mask & ((uint64_t{1} << size) - 1)) != 0;
}

// Whether every byte is below 0x80.
inline bool is_ascii(const char *data, size_t size) {
    return !any_byte(data, size, [](__m128i half) { return _mm_movemask_epi8(half); });
}

// The same of every byte that is not a either.
template <char a>
bool is_ascii_without(const char *data, size_t size) {
    return !any_byte(data, size, [](__m128i half) {
        return _mm_movemask_epi8(_mm_or_si128(half, _mm_cmpeq_epi8(half, _mm_set1_epi8(a))));
    });
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

// Whether two zero bytes stand side by side.
inline bool holds_zero_pair(const char *data, size_t size) {
    constexpr size_t HALF = 16;
    if (size < 2)
        return false;
    const __m128i zero = _mm_set1_epi8(0);
    const auto pairs_at = [zero](const char *p) { // of the bytes from `p` on each with the next one
        return _mm_cmpeq_epi8(_mm_or_si128(load_16(p), load_16(p + 1)), zero);
    };
    size_t pairs = size - 1;
    __m128i found = zero;
    for (; pairs > HALF; data += HALF, pairs -= HALF)
        found = _mm_or_si128(found, pairs_at(data));
    const auto last = static_cast<uint32_t>(_mm_movemask_epi8(pairs_at(data)));
    return _mm_movemask_epi8(found) != 0 || (last & ((1U << pairs) - 1)) != 0;
}

// Copies a text to `out`, which has room for WRITE_SLACK bytes more. Whether it is plain: ASCII from the
// blank on, and neither a nor b.
template <char a>
bool copy_if_plain(char b, const char *data, size_t size, char *out) {
    const __m128i last = _mm_set1_epi8(b);
    const auto others_in = [last](__m128i half) { // bytes from 0x80 on are negative ones
        const __m128i ab = _mm_or_si128(_mm_cmpeq_epi8(half, _mm_set1_epi8(a)), _mm_cmpeq_epi8(half, last));
        return _mm_movemask_epi8(_mm_or_si128(ab, _mm_cmplt_epi8(half, _mm_set1_epi8(' '))));
    };
    for (uint64_t others = 0;; data += BLOCK_SIZE, out += BLOCK_SIZE, size -= BLOCK_SIZE) {
        const __m128i first = load_16(data), second = load_16(data + BLOCK_SIZE / 2);
        std::memcpy(out, &first, sizeof first);
        std::memcpy(out + BLOCK_SIZE / 2, &second, sizeof second);
        const uint64_t found = joined(others_in(first), others_in(second));
        if (size <= BLOCK_SIZE)
            return (others | (found & ((uint64_t{1} << size) - 1))) == 0;
        others |= found;
    }
}

// Copies a text to `out`, which has room for WRITE_SLACK bytes more; returns the end.
inline char *copy_text(char *out, const char *data, size_t size) {
    for (size_t at = 0;; at += BLOCK_SIZE) {
        std::memcpy(out + at, data + at, BLOCK_SIZE);
        if (size <= at + BLOCK_SIZE)
            return out + size;
    }
}

} // namespace vexlo
