#include "output/digest.h"

#include <array>

#include "format/byte_order.h"
#include "output/crc32_folding.h"

namespace vexlo {

namespace {

constexpr size_t STEP = 16; // bytes taken at once

using RemainderTables = std::array<std::array<uint32_t, 256>, STEP>;

// TABLES[k][b] is what byte b adds to the remainder when k bytes follow it.
constexpr RemainderTables TABLES = [] {
    RemainderTables tables{};
    for (uint32_t b = 0; b < 256; ++b) {
        uint32_t remainder = b;
        for (int bit = 0; bit < 8; ++bit)
            remainder = remainder >> 1 ^ ((remainder & 1) != 0 ? CRC32_POLYNOMIAL : 0);
        tables[0][b] = remainder;
    }
    for (size_t k = 1; k < STEP; ++k)
        for (uint32_t b = 0; b < 256; ++b)
            tables[k][b] = tables[k - 1][b] >> 8 ^ tables[0][tables[k - 1][b] & 0xFF];
    return tables;
}();

// What the four bytes of `word` add when `behind` bytes follow the last of them.
inline uint32_t four_bytes(uint32_t word, size_t behind) {
    return TABLES[behind + 3][word & 0xFF] ^ TABLES[behind + 2][word >> 8 & 0xFF] ^
           TABLES[behind + 1][word >> 16 & 0xFF] ^ TABLES[behind][word >> 24];
}

// Polynomials modulo that of the CRC, the highest bit standing for 1.
constexpr uint32_t ONE = uint32_t{1} << 31, X = ONE >> 1;

uint32_t product(uint32_t a, uint32_t b) {
    uint32_t sum = 0;
    for (uint32_t bit = ONE; bit != 0; bit >>= 1) {
        if ((a & bit) != 0)
            sum ^= b;
        b = b >> 1 ^ ((b & 1) != 0 ? CRC32_POLYNOMIAL : 0);
    }
    return sum;
}

uint32_t power_of_x(uint64_t exponent) {
    uint32_t power = ONE;
    for (uint32_t square = X; exponent != 0; exponent >>= 1, square = product(square, square))
        if ((exponent & 1) != 0)
            power = product(power, square);
    return power;
}

// The power of x that so many bytes are. Powers of x repeat.
uint32_t power_of_bytes(uint64_t bytes) {
    constexpr uint64_t PERIOD = 0xFFFFFFFF;
    return power_of_x(8 * (bytes % PERIOD));
}

} // namespace

void Digest::add_zeros(uint64_t size) {
    bytes_ += size;
    state_ = product(power_of_bytes(size), state_);
}

void Digest::append(const Digest &next) {
    state_ = ~(product(power_of_bytes(next.bytes_), crc32()) ^ next.crc32());
    bytes_ += next.bytes_;
}

void Digest::add(const char *data, size_t size) {
    static const bool CAN_FOLD = can_fold_crc32();
    bytes_ += size;
    const auto *p = reinterpret_cast<const uint8_t *>(data);
    if (CAN_FOLD && size >= FOLDED_LEAST) {
        uint8_t rest[16];
        const size_t taken = fold_crc32(p, size, state_, rest);
        state_ = crc32_by_tables(rest, sizeof rest, 0);
        p += taken;
        size -= taken;
    }
    state_ = crc32_by_tables(p, size, state_);
}

uint32_t crc32_by_tables(const uint8_t *p, size_t size, uint32_t state) {
    for (; size >= STEP; p += STEP, size -= STEP)
        state = four_bytes(load_le32(p) ^ state, 12) ^ four_bytes(load_le32(p + 4), 8) ^
                four_bytes(load_le32(p + 8), 4) ^ four_bytes(load_le32(p + 12), 0);
    for (; size > 0; ++p, --size)
        state = state >> 8 ^ TABLES[0][(state ^ *p) & 0xFF];
    return state;
}

} // namespace vexlo
