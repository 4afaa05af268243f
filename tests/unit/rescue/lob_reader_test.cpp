#include <functional>

#include <gtest/gtest.h>

#include "lob_fixture.h"
#include "rescue/lob_reader.h"

namespace {

using namespace vexlo_test;
using vexlo::LobFault;
using vexlo::LobLocator;
using vexlo::LobOutcome;
using vexlo::LobPlace;
using vexlo::LobType;

LobLocator by_index(uint8_t lob) {
    LobLocator locator;
    locator.id = LobFile::id(lob);
    locator.place = LobPlace::index;
    return locator;
}

LobLocator by_chunks(uint8_t lob, uint32_t blocks, uint32_t bytes, std::vector<uint32_t> addresses) {
    LobLocator locator = by_index(lob);
    locator.place = LobPlace::chunks;
    locator.blocks = blocks;
    locator.bytes = bytes;
    locator.addresses = std::move(addresses);
    return locator;
}

// A LOB of `size` bytes whose pages lie behind each other from block `first` on, its first chunks' addresses
// in the row.
LobLocator by_chunks_of(uint8_t lob, size_t size, uint32_t first, uint32_t chunk_blocks = 1) {
    std::vector<uint32_t> addresses;
    for (size_t i = 0; i < 12 && i * chunk_blocks * LOB_PAGE_SIZE < size; ++i)
        addresses.push_back(LobFile::rdba(first + static_cast<uint32_t>(i) * chunk_blocks));
    return by_chunks(lob, static_cast<uint32_t>(size / LOB_PAGE_SIZE),
                     static_cast<uint32_t>(size % LOB_PAGE_SIZE), addresses);
}

// Rows of the index for pages from `page` on, each for `step` pages, that lie behind each other from block
// `block` on.
std::vector<IndexRow> rows_of(uint8_t lob, uint32_t page, uint32_t pages, uint32_t block, uint32_t unit = 1,
                              uint32_t chunk_blocks = 1) {
    std::vector<IndexRow> rows;
    while (page < pages) {
        IndexRow row{lob, page * unit, 0, 0, {}, false};
        for (const uint32_t most = page == 0 ? 4 : 8; row.addresses.size() < most && page < pages; ++page)
            row.addresses.push_back(LobFile::rdba(block + page * chunk_blocks));
        rows.push_back(row);
    }
    return rows;
}

struct CountingSink : vexlo::LobSink {
    uint64_t given = 0;

    void data(std::span<const uint8_t> piece) override { given += piece.size(); }
    void missing(uint64_t) override {}
};

void expect_whole(const LobOutcome &outcome, const CollectingSink &sink, const LobBytes &bytes) {
    EXPECT_EQ(lob_fault_text(outcome.fault), "");
    EXPECT_EQ(outcome.bytes, bytes.size());
    EXPECT_EQ(outcome.missing, 0u);
    EXPECT_TRUE(sink.bytes == bytes);
}

TEST(LobReader, InRowAndEmpty) {
    LobFile file;
    const LobBytes bytes = lob_bytes(1, 100);
    LobLocator lob;
    lob.place = LobPlace::in_row;
    lob.data = bytes;
    lob.length = bytes.size();
    CollectingSink sink;
    expect_whole(file.read(lob, sink), sink, bytes);
    lob.place = LobPlace::empty;
    lob.length = 0;
    CollectingSink empty;
    expect_whole(LobFile().read(lob, empty), empty, {});
}

TEST(LobReader, ChunksOfTheRow) {
    for (const size_t size :
         {size_t{1}, LOB_PAGE_SIZE - 1, LOB_PAGE_SIZE, LOB_PAGE_SIZE + 1, 12 * LOB_PAGE_SIZE}) {
        LobFile file;
        const LobBytes bytes = lob_bytes(1, size);
        file.put_pages(20, 1, bytes);
        CollectingSink sink;
        expect_whole(file.read(by_chunks_of(1, size, 20), sink), sink, bytes);
    }
}

TEST(LobReader, ChunksInAnyOrder) {
    LobFile file;
    const LobBytes bytes = lob_bytes(1, 3 * LOB_PAGE_SIZE);
    const uint32_t blocks[] = {40, 20, 30};
    for (uint32_t page = 0; page < 3; ++page)
        file.put_page(blocks[page], 1, page, std::span(bytes).subspan(page * LOB_PAGE_SIZE, LOB_PAGE_SIZE));
    CollectingSink sink;
    const LobLocator lob = by_chunks(1, 3, 0, {LobFile::rdba(40), LobFile::rdba(20), LobFile::rdba(30)});
    expect_whole(file.read(lob, sink), sink, bytes);
}

TEST(LobReader, ManualSegmentsHaveABlockTypeOfTheirOwn) {
    LobFile file;
    const LobBytes bytes = lob_bytes(1, 100);
    file.put_page(20, 1, 0, bytes, 1, 0x1B);
    CollectingSink sink;
    expect_whole(file.read(by_chunks_of(1, 100, 20), sink), sink, bytes);
}

TEST(LobReader, WhatDoesNotAgreeIsNoDataOfTheLob) {
    const LobBytes bytes = lob_bytes(1, LOB_PAGE_SIZE);
    const auto outcome_of = [&](auto put) {
        LobFile file;
        put(file);
        CollectingSink sink;
        const LobOutcome outcome = file.read(by_chunks_of(1, LOB_PAGE_SIZE, 20), sink);
        EXPECT_EQ(outcome.missing, LOB_PAGE_SIZE);
        EXPECT_EQ(outcome.bytes, 0u);
        return outcome.fault;
    };
    EXPECT_EQ(outcome_of([&](LobFile &f) { f.put_page(20, 2, 0, bytes); }), LobFault::missing_pages);
    EXPECT_EQ(outcome_of([&](LobFile &f) { f.put_page(20, 1, 1, bytes); }), LobFault::missing_pages);
    EXPECT_EQ(outcome_of([&](LobFile &f) { f.put_page(20, 1, 0, bytes, 1, 0x06); }), LobFault::missing_pages);
    EXPECT_EQ(outcome_of([&](LobFile &f) { f.put_page(20, 1, 0, bytes, 1, 0x28, 9); }),
              LobFault::missing_pages);
    EXPECT_EQ(outcome_of([](LobFile &) {}), LobFault::missing_pages);
}

TEST(LobReader, ALostPageKeepsItsPlace) {
    LobFile file;
    LobBytes bytes = lob_bytes(1, 3 * LOB_PAGE_SIZE + 5);
    file.put_pages(20, 1, bytes);
    file.put_page(21, 2, 1, std::span(bytes).first(LOB_PAGE_SIZE));
    CollectingSink sink;
    const LobOutcome outcome = file.read(by_chunks_of(1, bytes.size(), 20), sink);
    EXPECT_EQ(outcome.missing, LOB_PAGE_SIZE);
    EXPECT_EQ(outcome.fault, LobFault::missing_pages);
    std::fill_n(bytes.begin() + LOB_PAGE_SIZE, LOB_PAGE_SIZE, 0xEE);
    EXPECT_TRUE(sink.bytes == bytes);
}

TEST(LobReader, MoreThanTwelveChunksGoOnInTheIndex) {
    for (const uint32_t pages : {13u, 20u, 21u, 45u}) {
        LobFile file;
        const LobBytes bytes = lob_bytes(1, pages * LOB_PAGE_SIZE - 3);
        file.put_pages(20, 1, bytes);
        file.put_index(300, {rows_of(1, 12, pages, 20)});
        CollectingSink sink;
        expect_whole(file.read(by_chunks_of(1, bytes.size(), 20), sink, 300), sink, bytes);
    }
}

TEST(LobReader, StorageInRowDisabledIsReadByTheIndex) {
    for (const uint32_t pages : {1u, 4u, 5u, 13u}) {
        LobFile file;
        const LobBytes bytes = lob_bytes(1, pages * LOB_PAGE_SIZE - 3);
        file.put_pages(20, 1, bytes);
        std::vector<IndexRow> rows = rows_of(1, 0, pages, 20);
        rows[0].blocks = pages - 1;
        rows[0].bytes = LOB_PAGE_SIZE - 3;
        file.put_index(300, {rows});
        CollectingSink sink;
        expect_whole(file.read(by_index(1), sink, 300), sink, bytes);
    }
}

TEST(LobReader, EntriesOfALobSpreadOverLeaves) {
    LobFile file;
    const LobBytes bytes = lob_bytes(3, 30 * LOB_PAGE_SIZE);
    file.put_pages(20, 3, bytes);
    std::vector<IndexRow> rows = rows_of(3, 0, 30, 20);
    rows[0].blocks = 30;
    std::vector<IndexRow> other = rows_of(1, 0, 4, 20);
    file.put_index(300, {{other[0], rows[0]}, {rows[1], rows[2]}, {rows[3], rows[4]}});
    CollectingSink sink;
    expect_whole(file.read(by_index(3), sink, 300), sink, bytes);
}

TEST(LobReader, WithoutAnEntryInAnIndexThatIsWholeTheLobIsEmpty) {
    LobFile file;
    file.put_index(300, {rows_of(1, 0, 4, 20)});
    CollectingSink sink;
    expect_whole(file.read(by_index(2), sink, 300), sink, {});
}

TEST(LobReader, WithoutAnEntryInALostIndexTheLobIsLost) {
    LobFile file;
    CollectingSink sink;
    const LobOutcome outcome = file.read(by_index(2), sink, 300);
    EXPECT_EQ(outcome.fault, LobFault::lost);
    EXPECT_EQ(outcome.bytes, 0u);
}

TEST(LobReader, HolesReadAsZeros) {
    LobFile file;
    LobBytes bytes = lob_bytes(1, 3 * LOB_PAGE_SIZE);
    file.put_pages(20, 1, bytes);
    std::fill_n(bytes.begin() + LOB_PAGE_SIZE, LOB_PAGE_SIZE, 0);
    file.put_index(300, {{}});
    CollectingSink sink;
    const LobLocator lob = by_chunks(1, 3, 0, {LobFile::rdba(20), 0, LobFile::rdba(22)});
    expect_whole(file.read(lob, sink, 300), sink, bytes);
}

TEST(LobReader, HolesOfCharactersReadAsSpaces) {
    LobFile file;
    LobBytes bytes = lob_bytes(1, 2 * LOB_PAGE_SIZE);
    file.put_pages(20, 1, bytes);
    for (size_t i = 0; i < LOB_PAGE_SIZE; ++i)
        bytes[i] = i % 2 == 0 ? 0 : ' ';
    LobLocator lob = by_chunks(1, 2, 0, {0, LobFile::rdba(21)});
    lob.type = LobType::clob;
    lob.utf16 = true;
    CollectingSink sink;
    expect_whole(file.read(lob, sink), sink, bytes);
}

TEST(LobReader, AClaimedLengthIsBelievedAsFarAsTheLastChunk) {
    LobFile file;
    const LobBytes bytes = lob_bytes(1, 2 * LOB_PAGE_SIZE);
    file.put_pages(20, 1, bytes);
    file.put_index(300, {{}});
    CollectingSink sink;
    const LobLocator lob = by_chunks(1, 0xFFFFFFFF, 0, {LobFile::rdba(20), LobFile::rdba(21)});
    const LobOutcome outcome = file.read(lob, sink, 300);
    EXPECT_EQ(outcome.fault, LobFault::length);
    EXPECT_TRUE(sink.bytes == bytes);
}

TEST(LobReader, MoreHolesThanTheFilesHaveBytesAreMissing) {
    LobFile file;
    const LobBytes bytes = lob_bytes(1, LOB_PAGE_SIZE);
    file.put_page(20, 1, 0, bytes);
    IndexRow head{1, 0, 0xFFFFFF05, 0, {LobFile::rdba(20)}, false};
    IndexRow far{1, 0xFFFFFF04, 0, 0, {LobFile::rdba(20)}, false};
    file.put_index(300, {{head, far}});
    CountingSink sink;
    EXPECT_EQ(file.read(by_index(1), sink, 300).fault, LobFault::missing_pages);
    EXPECT_EQ(sink.given, 4 * LOB_PAGE_SIZE); // with the holes that the first entry names
}

TEST(LobReader, ALostIndexIsReplacedByTheBlocksThemselves) {
    LobFile file;
    const LobBytes bytes = lob_bytes(1, 20 * LOB_PAGE_SIZE - 9);
    file.put_pages(20, 1, bytes);
    file.put_page(60, 1, 15, lob_bytes(9, LOB_PAGE_SIZE), 0); // an older version of a page
    CollectingSink sink;
    expect_whole(file.read(by_chunks_of(1, bytes.size(), 20), sink, 300), sink, bytes);
}

TEST(LobReader, WithoutAnIndexTheLengthIsThatOfWholePages) {
    LobFile file;
    LobBytes bytes = lob_bytes(1, 3 * LOB_PAGE_SIZE - 9);
    file.put_pages(20, 1, bytes);
    CollectingSink sink;
    const LobOutcome outcome = file.read(by_index(1), sink, 300);
    EXPECT_EQ(outcome.fault, LobFault::unknown_length);
    bytes.resize(3 * LOB_PAGE_SIZE);
    EXPECT_TRUE(sink.bytes == bytes);
}

// Three leaves with the entries of LOB 1, 30 pages from block 20 on, between those of others.
void put_three_leaves(LobFile &file, const LobBytes &bytes) {
    file.put_pages(20, 1, bytes);
    std::vector<IndexRow> rows = rows_of(1, 0, 30, 20);
    rows[0].blocks = static_cast<uint32_t>(bytes.size() / LOB_PAGE_SIZE);
    rows[0].bytes = static_cast<uint32_t>(bytes.size() % LOB_PAGE_SIZE);
    file.put_index(300, {{rows[0]}, {rows[1], rows[2]}, {rows[3], rows[4]}});
}

constexpr size_t KDXCO_AT = 92, DATA_SIZE_AT = KDXCO_AT + 28, KEY_SIZE_AT = LOB_BLOCK_SIZE - 4 - 50 + 34;

// What can be wrong with a leaf in the middle, whose block is 302.
const std::vector<std::function<void(LobFile &)>> LEAF_DAMAGE = {
    [](LobFile &file) { file.clear(302); },
    [](LobFile &file) { file.change(302, DATA_SIZE_AT, 31); },
    [](LobFile &file) { file.change(302, KEY_SIZE_AT, 9); },
};

TEST(LobReader, PagesOfALeafThatIsGoneAreFoundByTheirBlocks) {
    for (size_t i = 0; i < LEAF_DAMAGE.size(); ++i) {
        SCOPED_TRACE(i);
        LobFile file;
        const LobBytes bytes = lob_bytes(1, 30 * LOB_PAGE_SIZE - 9);
        put_three_leaves(file, bytes);
        LEAF_DAMAGE[i](file);
        CollectingSink sink;
        expect_whole(file.read(by_index(1), sink, 300), sink, bytes);
    }
}

TEST(LobReader, PagesOfALeafThatIsGoneAreNoHoles) {
    for (size_t i = 0; i < LEAF_DAMAGE.size(); ++i) {
        SCOPED_TRACE(i);
        LobFile file;
        LobBytes bytes = lob_bytes(1, 30 * LOB_PAGE_SIZE - 9);
        put_three_leaves(file, bytes);
        LEAF_DAMAGE[i](file);
        file.clear(20 + 6); // page 6
        CollectingSink sink;
        const LobOutcome outcome = file.read(by_index(1), sink, 300);
        EXPECT_EQ(outcome.fault, LobFault::missing_pages);
        EXPECT_EQ(outcome.missing, LOB_PAGE_SIZE);
        std::fill_n(bytes.begin() + 6 * LOB_PAGE_SIZE, LOB_PAGE_SIZE, 0xEE);
        EXPECT_TRUE(sink.bytes == bytes);
    }
}

TEST(LobReader, WhereALeafIsGoneALobWithoutEntriesIsLost) {
    for (const uint32_t leaf : {301u, 302u, 303u}) {
        LobFile file;
        put_three_leaves(file, lob_bytes(1, 30 * LOB_PAGE_SIZE));
        file.clear(leaf);
        CollectingSink sink;
        EXPECT_EQ(file.read(by_index(2), sink, 300).fault, LobFault::lost) << leaf;
    }
}

TEST(LobReader, AnIndexWithoutAnyLeafIsNotWhole) {
    LobFile file;
    file.put_index(300, {{}});
    file.clear(301);
    CollectingSink sink;
    EXPECT_EQ(file.read(by_index(2), sink, 300).fault, LobFault::lost);
}

TEST(LobReader, ALeafWithoutRowsOutsideTheChainIsNoneOfTheIndex) {
    LobFile file;
    put_three_leaves(file, lob_bytes(1, 30 * LOB_PAGE_SIZE));
    file.put_index(400, {{}, {}});
    file.clear(402); // what the leaf at 401 names is gone
    file.options.ignore_maps = true;
    CollectingSink sink;
    expect_whole(file.read(by_index(2), sink, 300), sink, {});
}

TEST(LobReader, AnIndexFoundWithoutItsMapIsWholeWhenItsLeavesMakeAChain) {
    LobFile file;
    const LobBytes bytes = lob_bytes(1, 30 * LOB_PAGE_SIZE - 9);
    put_three_leaves(file, bytes);
    file.options.ignore_maps = true;
    CollectingSink sink;
    expect_whole(file.read(by_index(2), sink, 300), sink, {});
}

TEST(LobReader, AnIndexWhosePlaceIsLostIsLookedFor) {
    LobFile file;
    const LobBytes bytes = lob_bytes(1, 30 * LOB_PAGE_SIZE - 9);
    put_three_leaves(file, bytes);
    file.index = vexlo::SegmentRef{LOB_TABLESPACE, 0, 0, INDEX_OBJECT, INDEX_OBJECT, true};
    CollectingSink sink;
    expect_whole(file.read(by_index(1), sink, 300), sink, bytes);
}

TEST(LobReader, AHoleThatAnEntryNamesIsOneWhateverElseIsLost) {
    LobFile file;
    LobBytes bytes = lob_bytes(1, 3 * LOB_PAGE_SIZE);
    file.put_pages(20, 1, bytes);
    std::vector<IndexRow> rows = rows_of(1, 0, 3, 20);
    rows[0].blocks = 3;
    rows[0].addresses[1] = 0;
    file.put_index(300, {rows, {}});
    file.clear(302);
    file.clear(21);
    std::fill_n(bytes.begin() + LOB_PAGE_SIZE, LOB_PAGE_SIZE, 0);
    CollectingSink sink;
    expect_whole(file.read(by_index(1), sink, 300), sink, bytes);
}

TEST(LobReader, WithoutItsDataObjectTheHeaderOfTheSegmentTellsIt) {
    LobFile file;
    const LobBytes bytes = lob_bytes(1, 20 * LOB_PAGE_SIZE - 9);
    file.put_pages(20, 1, bytes);
    file.put_segment_header(200);
    file.segment = {LOB_TABLESPACE, LOB_FILE, 200, LOB_OBJECT - 1, 0};
    CollectingSink sink;
    expect_whole(file.read(by_chunks_of(1, bytes.size(), 20), sink, 300), sink, bytes);
}

// What the length, the index and the page numbers count where a chunk has several blocks.
struct Units {
    uint32_t chunk_blocks;
    bool length_in_chunks, index_in_chunks, pages_in_chunks;
};

class LobReaderUnits : public testing::TestWithParam<Units> {};

void put_chunks(LobFile &file, const Units &units, const LobBytes &bytes) {
    for (uint32_t i = 0; i * LOB_PAGE_SIZE < bytes.size(); ++i)
        file.put_page(20 + i, 1, units.pages_in_chunks ? i / units.chunk_blocks : i,
                      std::span(bytes).subspan(i * LOB_PAGE_SIZE,
                                               std::min(LOB_PAGE_SIZE, bytes.size() - i * LOB_PAGE_SIZE)));
}

TEST_P(LobReaderUnits, TheReadingUnderWhichAllAgreeIsTaken) {
    const Units units = GetParam();
    const uint32_t c = units.chunk_blocks;
    for (const size_t size :
         {size_t{5}, LOB_PAGE_SIZE, LOB_PAGE_SIZE + 1, c * LOB_PAGE_SIZE, c * LOB_PAGE_SIZE + 7,
          12 * c * LOB_PAGE_SIZE - 1, 13 * c * LOB_PAGE_SIZE - 1, 30 * c * LOB_PAGE_SIZE + 9}) {
        SCOPED_TRACE(size);
        if (units.length_in_chunks != units.pages_in_chunks && size == c * LOB_PAGE_SIZE)
            continue; // either length fits
        LobFile file;
        const LobBytes bytes = lob_bytes(1, size);
        put_chunks(file, units, bytes);
        const size_t whole = units.length_in_chunks ? c * LOB_PAGE_SIZE : LOB_PAGE_SIZE;
        LobLocator lob = by_chunks_of(1, size, 20, c);
        lob.blocks = static_cast<uint32_t>(size / whole);
        lob.bytes = static_cast<uint32_t>(size % whole);
        const uint32_t chunks = static_cast<uint32_t>((size + c * LOB_PAGE_SIZE - 1) / (c * LOB_PAGE_SIZE));
        file.put_index(300, {rows_of(1, 12, chunks, 20, units.index_in_chunks ? 1 : c, c)});
        CollectingSink sink;
        expect_whole(file.read(lob, sink, 300, c), sink, bytes);
    }
}

// Only what the row states is left.
TEST_P(LobReaderUnits, BlocksFoundWithoutAnIndexAreReadTheSameWay) {
    const Units units = GetParam();
    const uint32_t c = units.chunk_blocks;
    for (const size_t size : {13 * c * LOB_PAGE_SIZE - 1, 29 * c * LOB_PAGE_SIZE + 9}) {
        SCOPED_TRACE(size);
        LobFile file;
        const LobBytes bytes =
            lob_bytes(1, (size + c * LOB_PAGE_SIZE - 1) / (c * LOB_PAGE_SIZE) * c * LOB_PAGE_SIZE);
        put_chunks(file, units, bytes);
        const size_t whole = units.length_in_chunks ? c * LOB_PAGE_SIZE : LOB_PAGE_SIZE;
        LobLocator lob = by_chunks_of(1, size, 20, c);
        lob.blocks = static_cast<uint32_t>(size / whole);
        lob.bytes = static_cast<uint32_t>(size % whole);
        CollectingSink sink;
        expect_whole(file.read(lob, sink, 0, c), sink,
                     LobBytes(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size)));
    }
}

INSTANTIATE_TEST_SUITE_P(ChunkSizes, LobReaderUnits,
                         testing::Values(Units{1, true, true, true}, Units{2, false, false, false},
                                         Units{2, true, true, true}, Units{2, true, true, false},
                                         Units{2, false, true, false}, Units{3, false, false, false},
                                         Units{3, true, true, true}, Units{3, true, true, false},
                                         Units{3, false, true, false}, Units{4, false, false, false},
                                         Units{4, true, true, true}, Units{4, true, true, false}));

// The row leads nowhere, and of the index one entry is left: its page 12 is chunk 12 or, with three blocks a
// chunk, chunk 4.
TEST(LobReader, AnIndexEntryThatCanBeReadInTwoWaysIsNotGuessed) {
    LobFile file;
    const LobBytes bytes = lob_bytes(1, LOB_PAGE_SIZE);
    file.put_page(20, 1, 12, bytes);
    file.put_index(300, {rows_of(1, 12, 13, 20U - 12 * 3, 1, 3)});
    CollectingSink sink;
    const LobOutcome outcome = file.read(by_index(1), sink, 300, 3);
    EXPECT_EQ(outcome.fault, LobFault::ambiguous);
    EXPECT_TRUE(sink.bytes.empty());
}

// With the second block of a chunk, what page numbers count is known, and so is the entry's chunk.
TEST(LobReader, TheSecondBlockOfAChunkTellsWhichChunkAnIndexEntryHas) {
    for (const bool count_blocks : {false, true}) {
        LobFile file;
        const LobBytes bytes = lob_bytes(1, 3 * LOB_PAGE_SIZE);
        for (uint32_t i = 0; i < 3; ++i)
            file.put_page(20 + i, 1, count_blocks ? 12 + i : 12,
                          std::span(bytes).subspan(i * LOB_PAGE_SIZE, LOB_PAGE_SIZE));
        const uint32_t chunk = count_blocks ? 4 : 12;
        IndexRow head{1, 0, 3 * (chunk + 1), 0, {}, false};
        IndexRow entry{1, 12, 0, 0, {LobFile::rdba(20)}, false};
        file.put_index(300, {{head, entry}});
        CollectingSink sink;
        LobBytes expected(chunk * 3 * LOB_PAGE_SIZE);
        expected.insert(expected.end(), bytes.begin(), bytes.end());
        expect_whole(file.read(by_index(1), sink, 300, 3), sink, expected);
    }
}

LobLocator by_extents(uint8_t lob, uint64_t length, std::vector<vexlo::LobExtent> extents) {
    LobLocator locator = by_index(lob);
    locator.secure_file = true;
    locator.place = LobPlace::extents;
    locator.length = length;
    locator.extents = std::move(extents);
    return locator;
}

TEST(LobReader, SecureFileExtents) {
    LobFile file;
    const LobBytes bytes = lob_bytes(1, 5 * SECURE_PAGE_SIZE - 11);
    const uint32_t blocks[] = {20, 21, 30, 31, 32};
    for (size_t i = 0; i < 5; ++i)
        file.put_secure_page(
            blocks[i], 1,
            std::span(bytes).subspan(i * SECURE_PAGE_SIZE,
                                     std::min(SECURE_PAGE_SIZE, bytes.size() - i * SECURE_PAGE_SIZE)));
    CollectingSink sink;
    const LobLocator lob = by_extents(1, bytes.size(), {{LobFile::rdba(20), 2}, {LobFile::rdba(30), 3}});
    expect_whole(file.read(lob, sink), sink, bytes);
}

TEST(LobReader, SecureFileBlocksGiveTheBytesTheyUse) {
    LobFile file;
    const LobBytes bytes = lob_bytes(1, 300);
    file.put_secure_page(20, 1, std::span(bytes).first(100));
    file.put_secure_page(21, 1, std::span(bytes).subspan(100));
    CollectingSink sink;
    expect_whole(file.read(by_extents(1, 300, {{LobFile::rdba(20), 2}}), sink), sink, bytes);
}

TEST(LobReader, SecureFileBlocksOfAnotherLobAreMissing) {
    LobFile file;
    LobBytes bytes = lob_bytes(1, 3 * SECURE_PAGE_SIZE);
    for (uint32_t i = 0; i < 3; ++i)
        file.put_secure_page(20 + i, i == 1 ? 2 : 1,
                             std::span(bytes).subspan(i * SECURE_PAGE_SIZE, SECURE_PAGE_SIZE));
    CollectingSink sink;
    const LobOutcome outcome = file.read(by_extents(1, bytes.size(), {{LobFile::rdba(20), 3}}), sink);
    EXPECT_EQ(outcome.fault, LobFault::missing_pages);
    EXPECT_EQ(outcome.missing, SECURE_PAGE_SIZE);
    std::fill_n(bytes.begin() + SECURE_PAGE_SIZE, SECURE_PAGE_SIZE, 0xEE);
    EXPECT_TRUE(sink.bytes == bytes);
}

TEST(LobReader, SecureFileWithFewerBytesThanItsLengthHasLostThem) {
    LobFile file;
    const LobBytes bytes = lob_bytes(1, 100);
    file.put_secure_page(20, 1, bytes);
    CollectingSink sink;
    const LobOutcome outcome = file.read(by_extents(1, 150, {{LobFile::rdba(20), 1}}), sink);
    EXPECT_EQ(outcome.fault, LobFault::missing_pages);
    EXPECT_EQ(outcome.missing, 50u);
}

namespace {

// Counts how often something was missing.
struct GapSink : vexlo::LobSink {
    uint64_t times = 0, lost = 0;

    void data(std::span<const uint8_t>) override {}
    void missing(uint64_t bytes) override {
        ++times;
        lost += bytes;
    }
};

} // namespace

TEST(LobReader, BlocksOfAFileThatIsNotThereAreLostAtOnce) {
    constexpr uint32_t BLOCKS = 65535;
    constexpr uint64_t LENGTH = uint64_t{BLOCKS} * SECURE_PAGE_SIZE + 1;
    const uint32_t elsewhere = sample::make_rdba(LOB_FILE + 1, 20);
    LobFile file;
    file.put_secure_page(20, 1, lob_bytes(1, 100));
    file.open([&](const vexlo::LobSegment &column, vexlo::BlockReader &blocks) {
        vexlo::LobReader reader(blocks);
        GapSink sink;
        const LobOutcome outcome = reader.read(
            by_extents(1, LENGTH, {{elsewhere, BLOCKS}, {elsewhere + BLOCKS, BLOCKS}}), column, sink);
        EXPECT_EQ(outcome.missing, LENGTH);
        EXPECT_EQ(sink.times, 2u);
        EXPECT_EQ(sink.lost, LENGTH);
        ASSERT_EQ(reader.lost_blocks().losses.size(), 1u);
        EXPECT_EQ(reader.lost_blocks().losses[0].kind, vexlo::LossKind::missing_file);
        EXPECT_EQ(reader.lost_blocks().losses[0].blocks, BLOCKS + 1);
    });
}

TEST(LobReader, SoAreThoseBehindTheEndOfAFile) {
    constexpr uint32_t BLOCKS = 65535;
    constexpr uint64_t LENGTH = uint64_t{BLOCKS} * SECURE_PAGE_SIZE;
    LobFile file;
    const LobBytes bytes = lob_bytes(1, SECURE_PAGE_SIZE);
    file.put_secure_page(20, 1, bytes);
    file.open([&](const vexlo::LobSegment &column, vexlo::BlockReader &blocks) {
        vexlo::LobReader reader(blocks);
        GapSink sink;
        const LobOutcome outcome =
            reader.read(by_extents(1, LENGTH, {{LobFile::rdba(20), BLOCKS}}), column, sink);
        EXPECT_EQ(outcome.bytes, SECURE_PAGE_SIZE);
        EXPECT_EQ(outcome.missing, LENGTH - SECURE_PAGE_SIZE);
        EXPECT_LT(sink.times, 5000u); // the file is a small one
        ASSERT_EQ(reader.lost_blocks().losses.size(), 1u);
        EXPECT_EQ(reader.lost_blocks().losses[0].kind, vexlo::LossKind::unreadable);
        const vexlo::Loss &loss = reader.lost_blocks().losses[0];
        EXPECT_EQ(loss.block + loss.blocks, 20 + uint64_t{BLOCKS});
    });
}

TEST(LobReader, ASecureFileThatWasEmptiedMayHaveItsExtentsStill) {
    LobFile file;
    file.put_secure_page(20, 2, lob_bytes(2, 100));
    CollectingSink sink;
    expect_whole(file.read(by_extents(1, 0, {{LobFile::rdba(20), 2}}), sink), sink, {});
}

// So that rows of a damaged file cannot lead through the same blocks again and again.
TEST(LobReader, ExtentsThatBeginWithBlocksOfOthersEndThere) {
    LobFile file;
    const LobBytes bytes = lob_bytes(1, SECURE_PAGE_SIZE);
    for (uint32_t i = 0; i < 100; ++i)
        file.put_secure_page(20 + i, 2, bytes);
    file.put_secure_page(120, 1, bytes);
    CollectingSink sink;
    const uint64_t length = 101 * SECURE_PAGE_SIZE;
    const LobOutcome outcome = file.read(by_extents(1, length, {{LobFile::rdba(20), 101}}), sink);
    EXPECT_EQ(outcome.fault, LobFault::missing_pages);
    EXPECT_EQ(outcome.missing, length);
}

TEST(LobReader, CompressedExtents) {
    const LobBytes stored = {0x78, 0x9c, 0xed, 0xc1, 0x21, 0x01, 0x00, 0x00, 0x00, 0x02,
                             0xa0, 0x71, 0x06, 0xff, 0x3f, 0xf2, 0x86, 0x01, 0x48, 0x01,
                             0x00, 0x80, 0x77, 0x03, 0xc9, 0x7f, 0x40, 0x32};
    LobBytes plain(3000, 'G');
    plain[0] = 'C';
    for (const bool damaged : {false, true}) {
        LobFile file;
        file.put_secure_page(20, 1, std::span(stored).first(10));
        file.put_secure_page(21, damaged ? 2 : 1, std::span(stored).subspan(10));
        LobLocator lob = by_extents(1, 3000, {{LobFile::rdba(20), 2}});
        lob.compressed = true;
        lob.stored_length = stored.size();
        CollectingSink sink;
        const LobOutcome outcome = file.read(lob, sink);
        if (!damaged) {
            expect_whole(outcome, sink, plain);
        } else {
            EXPECT_EQ(outcome.fault, LobFault::missing_pages);
            EXPECT_EQ(outcome.bytes + outcome.missing, 3000u);
        }
    }
}

TEST(LobReader, ListsOfExtentsAreNamedAsNotRecovered) {
    LobFile file;
    LobLocator lob = by_extents(1, 100000, {});
    lob.place = LobPlace::list_block;
    CollectingSink sink;
    const LobOutcome outcome = file.read(lob, sink);
    EXPECT_EQ(outcome.fault, LobFault::list_block);
    EXPECT_EQ(outcome.missing, 100000u);
}

} // namespace
