// A CRC is the remainder of the data, taken as a polynomial, on division by that of CRC-32. What stands 128
// bits in front of other data may be replaced by its product with the remainder of x^128, exclusive-ored into
// the data: the remainder of the whole stays. So 64 bytes shrink into the next 64, and in the end into 16.
//
// Bits are reflected: the lowest bit of a byte is the highest power. A product of two reflected halves of 64
// bits lies one bit too low, which the constants, shifted up by one, make good.
#include "output/crc32_folding.h"

#if defined(__x86_64__)

#include <wmmintrin.h>

namespace vexlo {

namespace {

// The remainder of x^n, reflected, as a factor.
constexpr uint64_t power(int n) {
    uint32_t remainder = 0x80000000; // of x^0
    for (; n > 0; --n)
        remainder = remainder >> 1 ^ ((remainder & 1) != 0 ? CRC32_POLYNOMIAL : 0);
    return uint64_t{remainder} << 1;
}

constexpr int LANES = 4; // of 128 bits each, independent of each other

// What carries a lane over `bits`: for its lower half, whose powers are higher, and its upper one. A factor
// has 32 bits, which count as powers themselves.
struct Factors {
    uint64_t low, high;
};
constexpr Factors factors(int bits) {
    return {power(bits + 32), power(bits - 32)};
}

[[gnu::target("pclmul")]] inline __m128i load(const uint8_t *data) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(data));
}

// The lane carried into the data that stands behind it.
[[gnu::target("pclmul")]] inline __m128i carry(__m128i lane, __m128i by, __m128i data) {
    const __m128i low = _mm_clmulepi64_si128(lane, by, 0x00), high = _mm_clmulepi64_si128(lane, by, 0x11);
    return _mm_xor_si128(_mm_xor_si128(low, high), data);
}

[[gnu::target("pclmul")]] inline __m128i vector_of(const Factors &by) {
    return _mm_set_epi64x(static_cast<int64_t>(by.high), static_cast<int64_t>(by.low));
}

} // namespace

bool can_fold_crc32() {
    return __builtin_cpu_supports("pclmul") != 0;
}

[[gnu::target("pclmul")]] size_t fold_crc32(const uint8_t *data, size_t size, uint32_t state,
                                            uint8_t (&rest)[16]) {
    constexpr size_t LANE = sizeof(__m128i);
    const uint8_t *p = data, *end = data + size;
    __m128i lanes[LANES];
    for (__m128i &lane : lanes) {
        lane = load(p);
        p += LANE;
    }
    lanes[0] = _mm_xor_si128(lanes[0], _mm_cvtsi32_si128(static_cast<int>(state)));
    const __m128i over_all = vector_of(factors(128 * LANES)), over_one = vector_of(factors(128));
    for (; static_cast<size_t>(end - p) >= LANES * LANE; p += LANES * LANE)
        for (size_t i = 0; i < LANES; ++i)
            lanes[i] = carry(lanes[i], over_all, load(p + i * LANE));
    __m128i whole = lanes[0];
    for (int i = 1; i < LANES; ++i)
        whole = carry(whole, over_one, lanes[i]);
    for (; static_cast<size_t>(end - p) >= LANE; p += LANE)
        whole = carry(whole, over_one, load(p));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(rest), whole);
    return static_cast<size_t>(p - data);
}

} // namespace vexlo

#else

namespace vexlo {

bool can_fold_crc32() {
    return false;
}

size_t fold_crc32(const uint8_t *, size_t, uint32_t, uint8_t (&)[16]) {
    return 0;
}

} // namespace vexlo

#endif
