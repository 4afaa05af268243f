// LOB segments read back block by block: the data by the addresses of the inode or the index.
#include <gtest/gtest.h>

#include "definitions.h"
#include "reader.h"
#include "sample/demo.h"
#include "sample/lob_data.h"
#include "sample/zlib_stream.h"

using namespace sample;
using namespace sample_test;

namespace {

constexpr size_t LOB_BLOCK = 2048;

uint64_t be(const Bytes &b, size_t at, size_t size) {
    uint64_t v = 0;
    for (size_t i = 0; i < size; i++)
        v = v << 8 | b.at(at + i);
    return v;
}

Bytes cut(Bytes bytes, size_t size) {
    bytes.resize(size);
    return bytes;
}

struct IndexEntry {
    uint8_t flag;
    Bytes id;
    uint32_t page;
    Bytes data;
};

class LobSegment : public testing::Test {
protected:
    void open(LobStorage storage, SegmentKind kind = SegmentKind::bitmap, uint32_t type = BLOB) {
        DatabaseOptions options;
        options.block_size = LOB_BLOCK;
        db_ = std::make_unique<Database>(dir_.path(), options);
        TablespaceDef space;
        space.name = "USERS";
        space.kind = kind;
        space.files = 2;
        tsn_ = db_->add_tablespace(space);
        std::vector<ColumnDef> columns{number_column("ID"), typed_column("DOC", type, 4000)};
        columns[1].lobs = storage;
        table_ = db_->add_table(table_def(USER_SYS, "T", tsn_, columns));
    }

    Bytes store(ByteView data, const LobPlacement &placement = {}) {
        return db_->store_lob(table_, 1, data, placement).value();
    }

    void finish() {
        db_->finish();
        reader_ = std::make_unique<Reader>(db_->datafiles());
        EXPECT_EQ(reader_->bad_blocks(), 0);
    }

    const LobEntry &lob() const { return db_->model().tables[table_].lobs.at(0); }

    // The data of a BasicFile block after its header has been compared.
    Bytes page(uint32_t rdba, const Bytes &locator, uint32_t number, uint8_t type = 0x28) const {
        Bytes block = reader_->block(tsn_, rdba);
        EXPECT_EQ(block[0], type);
        EXPECT_EQ(fetch_le32(&block[20]), lob().lob.objd);
        EXPECT_EQ(Bytes(block.begin() + 24, block.begin() + 34),
                  Bytes(locator.begin() + 10, locator.begin() + 20));
        EXPECT_EQ(fetch_le32(&block[44]), number);
        return {block.begin() + 56, block.end() - 4};
    }

    // Rows of all leaf blocks, in the order of their chain.
    std::vector<IndexEntry> index(size_t header_at = 100) const {
        const SegmentPlace &place = lob().index;
        std::vector<IndexEntry> entries;
        std::map<uint32_t, Bytes> leaves;
        for (uint32_t rdba : reader_->segment_blocks(tsn_, make_rdba(place.file, place.block))) {
            Bytes b = reader_->block(tsn_, rdba);
            if (b[0] == BLOCK_TABLE && b[20] == 2 && b[header_at] == 0)
                leaves[rdba] = b;
        }
        uint32_t next = 0;
        for (const auto &[rdba, b] : leaves)
            if (fetch_le32(&b[header_at + 24]) == 0)
                next = rdba;
        for (; next != 0; next = fetch_le32(&leaves.at(next)[header_at + 20])) {
            const Bytes &b = leaves.at(next);
            EXPECT_EQ(b[header_at + 28], 32) << "data size";
            EXPECT_EQ(fetch_le16(&b[header_at + 10]), 36 + 2 * fetch_le16(&b[header_at + 8]));
            for (size_t r = 0; r < fetch_le16(&b[header_at + 8]); r++) {
                size_t at = header_at + fetch_le16(&b[header_at + 36 + 2 * r]);
                auto row = b.begin() + static_cast<ptrdiff_t>(at);
                EXPECT_EQ(row[34], 10);
                EXPECT_EQ(row[45], 4);
                entries.push_back({row[0], Bytes(row + 35, row + 45),
                                   static_cast<uint32_t>(be(b, at + 46, 4)), Bytes(row + 2, row + 34)});
            }
        }
        return entries;
    }

    TempDir dir_;
    std::unique_ptr<Database> db_;
    std::unique_ptr<Reader> reader_;
    uint32_t tsn_ = 0;
    size_t table_ = 0;
};

constexpr size_t USABLE = LOB_BLOCK - 60;

TEST_F(LobSegment, InodeAddressesTwelveChunksAndTheIndexTheOthers) {
    open({});
    Bytes data = lob_bytes({1, 1, 1}, 12 * USABLE + 100);
    Bytes locator = store(data);
    Bytes small = store(lob_bytes({1, 2, 1}, 3965));
    EXPECT_EQ(store(lob_bytes({1, 3, 1}, 3964)).size(), 4000U) << "in the row";
    finish();
    EXPECT_EQ(be(locator, 24, 4), 12U);
    EXPECT_EQ(be(locator, 28, 2), 100U);
    Bytes found;
    for (uint32_t p = 0; p < 12; p++)
        append(found, page(static_cast<uint32_t>(be(locator, 36 + 4 * p, 4)), locator, p));
    std::vector<IndexEntry> entries = index();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].page, 12U);
    append(found, page(static_cast<uint32_t>(be(entries[0].data, 0, 4)), locator, 12));
    EXPECT_EQ(cut(found, data.size()), data);
    EXPECT_EQ(be(small, 24, 4), 1U);
    EXPECT_EQ(small.size(), 36U + 2 * 4);
}

TEST_F(LobSegment, WithoutStorageInTheRowTheIndexHasAll) {
    LobStorage storage;
    storage.in_row = false;
    open(storage, SegmentKind::freelist);
    Bytes data = lob_bytes({1, 1, 1}, 6 * USABLE);
    Bytes locator = store(data);
    EXPECT_EQ(store({}).size(), 20U);
    EXPECT_EQ(locator.size(), 20U);
    finish();
    std::vector<IndexEntry> entries = index(92);
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].page, 0U);
    EXPECT_EQ(be(entries[0].data, 4, 4), 6U);
    EXPECT_EQ(be(entries[0].data, 8, 2), 0U);
    EXPECT_EQ(entries[1].page, 4U);
    Bytes found;
    for (uint32_t p = 0; p < 6; p++) {
        const Bytes &entry = entries[p < 4 ? 0 : 1].data;
        append(found,
               page(static_cast<uint32_t>(be(entry, p < 4 ? 16 + 4 * p : 4 * (p - 4), 4)), locator, p, 0x1B));
    }
    EXPECT_EQ(found, data);
}

TEST_F(LobSegment, ChunksOfSeveralBlocksCountChunksOrBlocks) {
    for (bool count_blocks : {false, true}) {
        LobStorage storage;
        storage.chunk_blocks = 4;
        storage.count_blocks = count_blocks;
        open(storage);
        Bytes data = lob_bytes({1, 1, 1}, 5 * USABLE + 7);
        Bytes locator = store(data);
        finish();
        EXPECT_EQ(be(locator, 24, 4), count_blocks ? 5U : 1U);
        EXPECT_EQ(be(locator, 28, 2), count_blocks ? 7U : USABLE + 7);
        EXPECT_EQ(locator.size(), 36U + 2 * 4);
        Bytes found;
        for (uint32_t b = 0; b < 8; b++) {
            auto chunk = static_cast<uint32_t>(be(locator, 36 + 4 * (b / 4), 4));
            append(found, page(chunk + b % 4, locator, count_blocks ? b : b / 4));
        }
        EXPECT_EQ(cut(found, data.size()), data);
        DictionaryTable lobs(*reader_, db_->model(), "LOB$");
        EXPECT_EQ(lobs.numbers("CHUNK", "OBJ#", db_->model().tables[table_].place.objn),
                  (std::vector<int64_t>{4}));
    }
}

TEST_F(LobSegment, HolesHaveNoAddress) {
    open({});
    LobPlacement placement;
    placement.holes = {0, 2};
    Bytes locator = store(lob_bytes({1, 1, 1}, 4 * USABLE), placement);
    finish();
    EXPECT_EQ(be(locator, 36, 4), 0U);
    EXPECT_NE(be(locator, 40, 4), 0U);
    EXPECT_EQ(be(locator, 44, 4), 0U);
}

TEST_F(LobSegment, OldVersionsStayInTheSegment) {
    open({});
    LobPlacement placement;
    placement.old_versions = 2;
    Bytes data = lob_bytes({1, 1, 1}, 14 * USABLE);
    Bytes locator = store(data, placement);
    finish();
    std::map<uint32_t, int> versions;
    const SegmentPlace &place = lob().lob;
    for (uint32_t rdba : reader_->segment_blocks(tsn_, make_rdba(place.file, place.block))) {
        Bytes b = reader_->block(tsn_, rdba);
        if (b[0] == BLOCK_ASSM_LOB)
            versions[fetch_le32(&b[36])]++;
    }
    EXPECT_EQ(versions, (std::map<uint32_t, int>{{1, 14}, {2, 14}, {3, 14}}));
    EXPECT_EQ(be(locator, 30, 6), 3U);
    int deleted = 0;
    for (const IndexEntry &e : index())
        deleted += e.flag;
    EXPECT_EQ(deleted, 2);
}

TEST_F(LobSegment, IndexOfManyLobsHasBranches) {
    LobStorage storage;
    storage.in_row = false;
    open(storage);
    for (uint64_t row = 0; row < 3000; row++)
        store(lob_bytes({1, row, 1}, 10));
    finish();
    std::vector<IndexEntry> entries = index();
    ASSERT_EQ(entries.size(), 3000U);
    for (size_t i = 1; i < entries.size(); i++)
        EXPECT_LT(entries[i - 1].id, entries[i].id);
    const SegmentPlace &place = lob().index;
    Bytes root = reader_->block(tsn_, make_rdba(place.file, place.block) + 1);
    EXPECT_EQ(root[100], 2) << "two levels above the leaves";
}

TEST_F(LobSegment, SecureFileBlocksSayHowMuchIsInThem) {
    LobStorage storage;
    storage.secure = true;
    open(storage);
    Bytes data = lob_bytes({1, 1, 1}, 30000);
    Bytes locator = store(data);
    finish();
    EXPECT_EQ(locator[7] & 0x80, 0x80);
    Bytes found;
    size_t at = 20 + 2 + 2 + 2 + 2 + 2 + 1; // behind the length of 2 bytes and the version
    size_t extents = locator.at(at++) + size_t{1};
    for (; extents > 0; extents--, at += 6)
        for (uint32_t b = 0; b < locator.at(at + 5); b++) {
            Bytes block = reader_->block(tsn_, static_cast<uint32_t>(be(locator, at + 1, 4)) + b);
            EXPECT_EQ(block[0], BLOCK_TABLE);
            EXPECT_EQ(block[20], 5);
            EXPECT_EQ(fetch_le32(&block[24]), lob().lob.objd);
            EXPECT_EQ(Bytes(block.begin() + 84, block.begin() + 94),
                      Bytes(locator.begin() + 10, locator.begin() + 20));
            auto used = fetch_le16(&block[124]);
            append(found, ByteView(block).subspan(128, used));
        }
    EXPECT_EQ(at, locator.size());
    EXPECT_EQ(found, data);
    DictionaryTable lobs(*reader_, db_->model(), "LOB$");
    EXPECT_EQ(lobs.numbers("PROPERTY", "OBJ#", db_->model().tables[table_].place.objn),
              (std::vector<int64_t>{0x802}));
}

TEST_F(LobSegment, CompressedSecureFileIsSmaller) {
    LobStorage storage;
    storage.secure = storage.compress = true;
    open(storage, SegmentKind::bitmap, CLOB);
    Bytes data = utf16_bytes(std::u16string(5000, u'x'));
    Bytes in_row = store(data);
    Bytes incompressible = store(lob_bytes({1, 1, 1}, 9000));
    finish();
    EXPECT_EQ(in_row[23], 0xD2);
    EXPECT_LT(in_row.size(), 200U);
    EXPECT_EQ(incompressible[23], 0x92);
    EXPECT_EQ(incompressible[28], 0x01) << "not compressed";
}

TEST(LobData, EveryByteDependsOnItsPlaceAndKey) {
    EXPECT_EQ(lob_bytes({1, 2, 3}, 100), cut(lob_bytes({1, 2, 3}, 5000), 100));
    EXPECT_NE(lob_bytes({1, 2, 3}, 100), lob_bytes({1, 3, 3}, 100));
    EXPECT_NE(lob_bytes({1, 2, 3}, 100), lob_bytes({1, 2, 4}, 100));
    EXPECT_NE(lob_bytes({1, 2, 3}, 100), lob_bytes({2, 2, 3}, 100));
}

TEST(LobData, CharactersInTheirForms) {
    std::u16string text = lob_characters({1, 1, 1}, 4000);
    EXPECT_EQ(text.size(), 4000U);
    EXPECT_EQ(utf16_bytes(text).size(), 8000U);
    EXPECT_EQ(utf8_text(u"a\u20AC\U0001F600"), "a\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(utf16_bytes(u"\u20AC"), (Bytes{0x20, 0xAC}));
    bool high_at_odd_place = false;
    for (size_t i = 1; i < text.size(); i += 2)
        high_at_odd_place |= (text[i] & 0xFC00) == 0xD800;
    EXPECT_TRUE(high_at_odd_place);
    for (char16_t unit : lob_characters({1, 1, 1}, 4000, false))
        EXPECT_LT(unit, 0x100);
}

TEST(ZlibStream, MapsStateTheirSizes) {
    Bytes data = lob_bytes({1, 1, 1}, 300000);
    Bytes maps = compression_maps(data);
    size_t at = 0;
    uint64_t uncompressed = 0;
    while (at < maps.size()) {
        EXPECT_EQ(be(maps, at, 4), 0xDEADBEEFU);
        uncompressed += be(maps, at + 5, 8);
        size_t stream = at + be(maps, at + 23, 2);
        for (size_t i = 0; i < be(maps, at + 21, 2); i++) {
            EXPECT_EQ(maps.at(stream), 0x78);
            stream += be(maps, at + 29 + 8 * i + 4, 4);
        }
        at += be(maps, at + 17, 4);
        EXPECT_EQ(stream, at);
    }
    EXPECT_EQ(at, maps.size());
    EXPECT_EQ(uncompressed, data.size());
}

} // namespace
