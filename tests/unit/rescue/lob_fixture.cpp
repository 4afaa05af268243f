#include "lob_fixture.h"

#include <algorithm>

#include "sample/segment.h"

namespace vexlo_test {

namespace {

constexpr uint32_t FILE_BLOCKS = 4000;

sample::DatafileInfo file_info(const std::string &path) {
    sample::DatafileInfo info;
    info.path = path;
    info.fno = LOB_FILE;
    info.rfn = LOB_FILE;
    info.tsn = LOB_TABLESPACE;
    info.tablespace = "LOBS";
    info.block_size = LOB_BLOCK_SIZE;
    return info;
}

LobBytes new_block(uint32_t block, uint8_t type) {
    sample::CacheHeader header;
    header.type = type;
    header.rdba = LobFile::rdba(block);
    return sample::empty_block(LOB_BLOCK_SIZE, header);
}

void store_be32(uint8_t *p, uint32_t value) {
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

void put_index_row(uint8_t *row, const IndexRow &content) {
    row[0] = content.deleted ? 0x01 : 0x00;
    uint8_t *data = row + 2;
    if (content.page == 0) {
        store_be32(data + 4, content.blocks);
        data[8] = static_cast<uint8_t>(content.bytes >> 8);
        data[9] = static_cast<uint8_t>(content.bytes);
    }
    const size_t first = content.page == 0 ? 16 : 0;
    for (size_t i = 0; i < content.addresses.size(); ++i)
        store_be32(data + first + 4 * i, content.addresses[i]);
    row[34] = 10;
    const vexlo::LobId id = LobFile::id(content.lob);
    std::copy(id.begin(), id.end(), row + 35);
    row[45] = 4;
    store_be32(row + 46, content.page);
}

LobBytes leaf_block(uint32_t block, const std::vector<IndexRow> &rows, uint32_t next, uint32_t previous) {
    constexpr size_t KDXCO = 92, DIRECTORY = KDXCO + 36, ROW_SIZE = 50;
    LobBytes image = new_block(block, 0x06);
    image[20] = 2;
    sample::store_le32(&image[24], INDEX_OBJECT);
    image[36] = 2;
    image[KDXCO + 2] = 0x80;
    image[KDXCO + 3] = 2;
    sample::store_le16(&image[KDXCO + 8], static_cast<uint16_t>(rows.size()));
    sample::store_le32(&image[KDXCO + 20], next);
    sample::store_le32(&image[KDXCO + 24], previous);
    image[KDXCO + 28] = 32;
    for (size_t i = 0; i < rows.size(); ++i) {
        const size_t at = LOB_BLOCK_SIZE - 4 - ROW_SIZE * (i + 1);
        sample::store_le16(&image[DIRECTORY + 2 * i], static_cast<uint16_t>(at - KDXCO));
        put_index_row(&image[at], rows[i]);
    }
    return image;
}

} // namespace

LobBytes lob_bytes(uint8_t lob, size_t size) {
    LobBytes image(size);
    for (size_t i = 0; i < size; ++i)
        image[i] = static_cast<uint8_t>(lob * 31 + i * 7 + i / 251);
    return image;
}

LobFile::LobFile() : file_(file_info(dir_.file("lobs.dbf"))) {
    file_->allocate(FILE_BLOCKS);
}

vexlo::LobId LobFile::id(uint8_t lob) {
    return {0, 0, 0, 1, 0, 0, 0, 0, 0x77, lob};
}

void LobFile::put_block(uint32_t block, const LobBytes &image) {
    LobBytes sealed = image;
    sample::seal_block(sealed);
    file_->write_block(block, sealed);
}

void LobFile::put_page(uint32_t block, uint8_t lob, uint32_t page, std::span<const uint8_t> data,
                       uint32_t version, uint8_t type, uint32_t object) {
    LobBytes image = new_block(block, type);
    sample::store_le32(&image[20], object);
    const vexlo::LobId lob_id = id(lob);
    std::copy(lob_id.begin(), lob_id.end(), &image[24]);
    sample::store_le32(&image[36], version);
    sample::store_le32(&image[44], page);
    std::copy(data.begin(), data.end(), &image[56]);
    put_block(block, image);
}

void LobFile::put_pages(uint32_t block, uint8_t lob, const LobBytes &data, uint32_t first_page) {
    for (size_t at = 0, page = first_page; at < data.size(); at += LOB_PAGE_SIZE, ++page, ++block)
        put_page(block, lob, static_cast<uint32_t>(page),
                 std::span(data).subspan(at, std::min(LOB_PAGE_SIZE, data.size() - at)));
}

void LobFile::put_secure_page(uint32_t block, uint8_t lob, std::span<const uint8_t> data) {
    constexpr size_t KDLICH = 76;
    LobBytes image = new_block(block, 0x06);
    image[20] = 5;
    sample::store_le32(&image[24], LOB_OBJECT);
    image[36] = 1;
    image[38] = 0x20;
    image[KDLICH + 6] = 0x20;
    const vexlo::LobId lob_id = id(lob);
    std::copy(lob_id.begin(), lob_id.end(), &image[KDLICH + 8]);
    sample::store_le16(&image[KDLICH + 48], static_cast<uint16_t>(data.size()));
    std::copy(data.begin(), data.end(), &image[KDLICH + 52]);
    put_block(block, image);
}

void LobFile::put_index(uint32_t block, const std::vector<std::vector<IndexRow>> &leaves) {
    sample::CacheHeader header;
    header.type = sample::BLOCK_SEGMENT_HEADER;
    header.rdba = rdba(block);
    const sample::Extent extent{rdba(block + 1), static_cast<uint32_t>(leaves.size())};
    put_block(block, sample::encode_extent_map(LOB_BLOCK_SIZE, header, INDEX_OBJECT, {&extent, 1}, 0));
    for (uint32_t i = 0; i < leaves.size(); ++i) {
        const uint32_t leaf = block + 1 + i;
        put_block(leaf, leaf_block(leaf, leaves[i], i + 1 < leaves.size() ? rdba(leaf + 1) : 0,
                                   i > 0 ? rdba(leaf - 1) : 0));
    }
}

void LobFile::put_segment_header(uint32_t block) {
    sample::CacheHeader header;
    header.type = sample::BLOCK_SEGMENT_HEADER;
    header.rdba = rdba(block);
    const sample::Extent extent{rdba(block), 1};
    put_block(block, sample::encode_extent_map(LOB_BLOCK_SIZE, header, LOB_OBJECT, {&extent, 1}, 0));
}

void LobFile::change(uint32_t block, size_t offset, uint8_t value) {
    changes_.push_back({block, offset, value});
}

void LobFile::clear(uint32_t block) {
    file_->write_block(block, LobBytes(LOB_BLOCK_SIZE));
}

void LobFile::open_files(const UseFiles &use) {
    file_->close(0);
    for (const Change &change : changes_)
        sample::patch_file(dir_.file("lobs.dbf"), LOB_BLOCK_SIZE, change.block, change.offset,
                           {&change.value, 1});
    std::vector<std::unique_ptr<vexlo::Datafile>> inputs;
    inputs.push_back(vexlo::Datafile::open(dir_.file("lobs.dbf")));
    const vexlo::FileSet files(std::move(inputs), std::nullopt);
    const vexlo::ScanIndexes scans(files);
    use(files, scans);
}

void LobFile::open(const Use &use, uint32_t index_block, uint32_t chunk_blocks) {
    vexlo::LobPlaces places;
    places.data = segment;
    if (index)
        places.index = *index;
    else if (index_block != 0)
        places.index = {LOB_TABLESPACE, LOB_FILE, index_block, INDEX_OBJECT, INDEX_OBJECT};
    places.chunk_blocks = chunk_blocks;
    places.known = true;
    open_files([&](const vexlo::FileSet &files, const vexlo::ScanIndexes &scans) {
        const vexlo::LobSegment column(files, scans, places, options);
        vexlo::BlockReader blocks(files, false);
        use(column, blocks);
    });
}

vexlo::LobOutcome LobFile::read(const vexlo::LobLocator &lob, vexlo::LobSink &sink, uint32_t index_block,
                                uint32_t chunk_blocks) {
    vexlo::LobOutcome outcome;
    const Use read = [&](const vexlo::LobSegment &column, vexlo::BlockReader &blocks) {
        outcome = vexlo::LobReader(blocks).read(lob, column, sink);
    };
    open(read, index_block, chunk_blocks);
    return outcome;
}

} // namespace vexlo_test
