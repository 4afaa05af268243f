// The handful of SSE2's operations that scans of text are written in, and the same for processors without it.
#pragma once

#ifdef __SSE2__

#include <emmintrin.h>

#else

#include <cstring>

using __m128i = signed char __attribute__((vector_size(16)));

inline __m128i _mm_loadu_si128(const __m128i *p) {
    __m128i bytes;
    std::memcpy(&bytes, p, sizeof bytes);
    return bytes;
}

inline __m128i _mm_set1_epi8(char byte) {
    __m128i bytes;
    std::memset(&bytes, byte, sizeof bytes);
    return bytes;
}

inline __m128i _mm_cmpeq_epi8(__m128i a, __m128i b) {
    return a == b;
}

inline __m128i _mm_cmplt_epi8(__m128i a, __m128i b) {
    return a < b;
}

inline __m128i _mm_or_si128(__m128i a, __m128i b) {
    return a | b;
}

inline int _mm_movemask_epi8(__m128i bytes) {
    int mask = 0;
    for (int i = 0; i < 16; ++i)
        mask |= (bytes[i] < 0) << i;
    return mask;
}

#endif
