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
    const __m128i zero = _mm_set1_epi8(0);
    for (size_t at = 0; at + 1 < size; at += HALF) {
        const __m128i both = _mm_or_si128(load_16(data + at), load_16(data + at + 1));
        const auto pairs = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(both, zero)));
        const size_t places = size - 1 - at;
        if ((places < HALF ? pairs & ((1U << places) - 1) : pairs) != 0)
            return true;
    }
    return false;
}

// What a text has been found to hold while it was copied.
struct CopiedText {
    bool foreign; // bytes from 0x80 on, or the character a
    bool marked;  // the characters b, c or d
};

// Copies a text to `out`, which has room for WRITE_SLACK bytes more, and looks for characters in it.
template <char a, char b, char c>
CopiedText copy_and_look(char d, const char *data, size_t size, char *out) {
    const __m128i last = _mm_set1_epi8(d);
    const auto foreign_in = [](__m128i half) {
        return _mm_movemask_epi8(_mm_or_si128(half, _mm_cmpeq_epi8(half, _mm_set1_epi8(a))));
    };
    const auto marked_in = [last](__m128i half) {
        const __m128i bc =
            _mm_or_si128(_mm_cmpeq_epi8(half, _mm_set1_epi8(b)), _mm_cmpeq_epi8(half, _mm_set1_epi8(c)));
        return _mm_movemask_epi8(_mm_or_si128(bc, _mm_cmpeq_epi8(half, last)));
    };
    bool foreign = false, marked = false;
    for (;; data += BLOCK_SIZE, out += BLOCK_SIZE, size -= BLOCK_SIZE) {
        const __m128i first = load_16(data), second = load_16(data + BLOCK_SIZE / 2);
        std::memcpy(out, &first, sizeof first);
        std::memcpy(out + BLOCK_SIZE / 2, &second, sizeof second);
        const uint64_t inside = size < BLOCK_SIZE ? (uint64_t{1} << size) - 1 : UINT32_MAX;
        foreign |= (joined(foreign_in(first), foreign_in(second)) & inside) != 0;
        marked |= (joined(marked_in(first), marked_in(second)) & inside) != 0;
        if (size <= BLOCK_SIZE)
            return {foreign, marked};
    }
}

// Copies a text to `out`, which has room for WRITE_SLACK bytes more; returns the end.
inline char *copy_text(char *out, const char *data, size_t size) {
    std::memcpy(out, data, BLOCK_SIZE);
    if (size > BLOCK_SIZE)
        std::memcpy(out + BLOCK_SIZE, data + BLOCK_SIZE, size - BLOCK_SIZE);
    return out + size;
}

} // namespace vexlo
