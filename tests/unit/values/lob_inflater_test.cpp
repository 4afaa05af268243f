#include <algorithm>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "bytes.h"
#include "values/lob_inflater.h"
#include "values/lob_locator.h"

namespace {

using ByteVector = vexlo_test::bytes;
using vexlo_test::from_hex;

struct Inflated {
    bool sound = true;
    ByteVector bytes;
};

Inflated inflate(const ByteVector &stored, uint64_t length, size_t piece) {
    Inflated result;
    vexlo::LobInflater inflater(length, [&](std::span<const uint8_t> bytes) {
        result.bytes.insert(result.bytes.end(), bytes.begin(), bytes.end());
    });
    for (size_t at = 0; at < stored.size() && result.sound; at += piece)
        result.sound = inflater.feed(std::span(stored).subspan(at, std::min(piece, stored.size() - at)));
    EXPECT_EQ(inflater.produced(), result.bytes.size());
    return result;
}

// zlib streams of 3000 bytes, a "C" and many "G"s, as two databases stored them.
const char MEDIUM[] = "78017376"
                      "1f05a321301a02a321301a02a321301a02a321301a02a321301a02833d0400c97f4032";
const char HIGH[] = "789cedc1210100000002a07106ff3ff28601480100807703c97f4032";

// What `count` of them stand for.
ByteVector plain(size_t count) {
    ByteVector bytes(3000 * count, 'G');
    for (size_t at = 0; at < bytes.size(); at += 3000)
        bytes[at] = 'C';
    return bytes;
}

// With `gap` bytes in front of the streams and `behind` behind them.
ByteVector with_map(const std::vector<ByteVector> &streams, uint32_t plain_size, size_t gap,
                    size_t behind = 0) {
    ByteVector map = from_hex("deadbeef01");
    const auto number = [&](uint64_t value, int size) {
        for (int shift = 8 * (size - 1); shift >= 0; shift -= 8)
            map.push_back(static_cast<uint8_t>(value >> shift));
    };
    size_t stored = 0;
    for (const ByteVector &stream : streams)
        stored += stream.size();
    const size_t first = 29 + 8 * streams.size() + gap;
    number(uint64_t{plain_size} * streams.size(), 8);
    number(0, 4);
    number(first + stored + behind, 4);
    number(streams.size(), 2);
    number(first, 2);
    number(0x270F, 4);
    for (const ByteVector &stream : streams) {
        number(plain_size, 4);
        number(stream.size(), 4);
    }
    map.resize(first);
    for (const ByteVector &stream : streams)
        map.insert(map.end(), stream.begin(), stream.end());
    map.resize(map.size() + behind);
    return map;
}

TEST(LobInflater, OneStream) {
    for (const char *hex : {MEDIUM, HIGH})
        for (const size_t piece : {1U, 3U, 4U, 5U, 100U}) {
            const Inflated result = inflate(from_hex(hex), 3000, piece);
            EXPECT_TRUE(result.sound);
            EXPECT_EQ(result.bytes, plain(1)) << hex << " " << piece;
        }
}

TEST(LobInflater, MapsOfStreams) {
    ByteVector stored = with_map({from_hex(MEDIUM), from_hex(HIGH), from_hex(MEDIUM)}, 3000, 7);
    const ByteVector second = with_map({from_hex(HIGH)}, 3000, 0);
    stored.insert(stored.end(), second.begin(), second.end());
    for (const size_t piece : {1U, 28U, 29U, 30U, 1000U}) {
        const Inflated result = inflate(stored, 12000, piece);
        EXPECT_TRUE(result.sound) << piece;
        EXPECT_EQ(result.bytes, plain(4)) << piece;
    }
}

// The next map stands where the size of the one before says.
TEST(LobInflater, MapsMayHaveBytesBehindTheirStreams) {
    ByteVector stored = with_map({from_hex(MEDIUM), from_hex(HIGH)}, 3000, 0, 300);
    const ByteVector second = with_map({from_hex(HIGH)}, 3000, 5, 1);
    stored.insert(stored.end(), second.begin(), second.end());
    for (const size_t piece : {1U, 100U, 1000U}) {
        const Inflated result = inflate(stored, 9000, piece);
        EXPECT_TRUE(result.sound) << piece;
        EXPECT_EQ(result.bytes, plain(3)) << piece;
    }
}

// The first map of a LOB of 100,000,000 bytes, every thousandth of them a "K".
TEST(LobInflater, StoredMap) {
    std::ifstream in(VEXLO_TEST_DATA "/lob_compression_map.txt");
    std::string line, hex;
    while (std::getline(in, line))
        if (!line.starts_with('#'))
            hex += line;
    const ByteVector stored = from_hex(hex);
    ASSERT_EQ(stored.size(), 0x31BFu);
    for (const size_t piece : {size_t{8060}, stored.size()}) {
        const Inflated result = inflate(stored, 0x3FF3E0, piece);
        EXPECT_TRUE(result.sound);
        ASSERT_EQ(result.bytes.size(), 0x3FF3E0u);
        EXPECT_EQ(std::count(result.bytes.begin(), result.bytes.end(), 'K'), 4192);
        EXPECT_EQ(std::count(result.bytes.begin(), result.bytes.end(), 'G'), 0x3FF3E0 - 4192);
    }
}

TEST(LobInflater, NoMoreComesOutThanTheLobIsLong) {
    const Inflated result = inflate(from_hex(HIGH), 1234, 100);
    EXPECT_TRUE(result.sound);
    EXPECT_EQ(result.bytes.size(), 1234u);
    EXPECT_EQ(result.bytes.back(), 'G');
}

TEST(LobInflater, DamagedStreamsAreRefused) {
    ByteVector stored = from_hex(MEDIUM);
    stored[0] = 0x12;
    EXPECT_FALSE(inflate(stored, 3000, 100).sound);
    stored = with_map({from_hex(MEDIUM), from_hex(HIGH)}, 3000, 0);
    stored[4] = 2; // version of the map
    EXPECT_FALSE(inflate(stored, 6000, 100).sound);
    stored = with_map({from_hex(MEDIUM), from_hex(HIGH)}, 3000, 0);
    stored[29 + 8 + 7] = 5; // stored size of the second stream
    const Inflated result = inflate(stored, 6000, 1000);
    EXPECT_FALSE(result.sound);
    EXPECT_GE(result.bytes.size(), 3000u);
}

TEST(LobInflater, AMapThatOverlapsItsStreamsIsRefused) {
    ByteVector stored = with_map({from_hex(MEDIUM)}, 3000, 0);
    stored[24] = 30;
    EXPECT_FALSE(inflate(stored, 3000, 1000).sound);
}

} // namespace
