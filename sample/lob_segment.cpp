#include "lob_segment.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "index_segment.h"
#include "zlib_stream.h"

namespace sample {

namespace {

constexpr size_t IN_ROW_COLUMN_MAX = 4000; // of the locator with the data
constexpr size_t INODE_CHUNKS = 12;
constexpr size_t FIRST_ENTRY_CHUNKS = 4; // the first entry has the length as well
constexpr size_t ENTRY_CHUNKS = 8;
constexpr uint8_t INDEX_DATA_SIZE = 4 * ENTRY_CHUNKS;
constexpr uint8_t INDEX_KEY_COLUMNS = 2;
constexpr size_t MAPS_FROM = 65536; // compressed LOBs of that size are divided into maps
constexpr uint32_t LONGEST_RUN = 16;

constexpr uint8_t TRANSACTION_TYPE_LOB = 5;
constexpr size_t SECURE_HEADERS = 52; // LOB headers between the transaction headers and the data
constexpr uint8_t SECURE_DATA_BLOCK = 0x20;
constexpr size_t SECURE_USED = 48; // offset of the used bytes from the LOB part

size_t secure_start(const Segment &segment) {
    TableBlockOptions o = segment.block_options(0, 1);
    o.itl.resize(1);
    return data_header_offset(o);
}

uint32_t ceil_div(size_t bytes, size_t unit) {
    return static_cast<uint32_t>((bytes + unit - 1) / unit);
}

// The data as an earlier version had it.
Bytes earlier(ByteView data, unsigned versions_ago) {
    Bytes old(data.begin(), data.end());
    for (uint8_t &byte : old)
        byte = static_cast<uint8_t>(byte ^ 0x55 ^ versions_ago);
    return old;
}

ByteView part_of(ByteView data, size_t offset, size_t size) {
    offset = std::min(offset, data.size());
    return data.subspan(offset, std::min(size, data.size() - offset));
}

} // namespace

LobWriter::LobWriter(std::unique_ptr<Segment> data, std::unique_ptr<Segment> index, LobStorage storage)
    : data_(std::move(data)), index_(std::move(index)), storage_(storage) {}

size_t LobWriter::block_capacity() const {
    size_t overhead =
        storage_.secure ? secure_start(*data_) + SECURE_HEADERS + TAIL_SIZE : LOB_BLOCK_OVERHEAD;
    return data_->block_size() - overhead;
}

Value LobWriter::store(LobHead head, ByteView data, const LobPlacement &placement) {
    if (closed_)
        throw std::logic_error("LOB segment is closed already");
    return storage_.secure ? store_secure(head, data, placement) : store_basic(head, data, placement);
}

// ---- BasicFiles

uint32_t LobWriter::page_of(size_t chunk) const {
    return static_cast<uint32_t>(storage_.count_blocks ? chunk * storage_.chunk_blocks : chunk);
}

Value LobWriter::store_basic(const LobHead &given, ByteView data, const LobPlacement &placement) {
    LobHead head = given;
    head.version = placement.old_versions + 1;
    if (storage_.in_row && data.size() <= BASIC_IN_ROW_MAX)
        return basic_in_row(head, data);
    if (data.empty())
        return basic_bare(head);
    size_t unit = storage_.count_blocks ? block_capacity() : chunk_capacity();
    auto pages = static_cast<uint32_t>(data.size() / unit);
    if (unit > 0xFFFF)
        throw std::length_error("the bytes of the last page do not fit their field");
    auto last_bytes = static_cast<uint16_t>(data.size() % unit);

    for (unsigned ago = placement.old_versions; ago > 0; ago--) {
        LobHead old = head;
        old.version = head.version - ago;
        std::vector<uint32_t> chunks = write_chunks(old, earlier(data, ago), placement);
        if (!storage_.in_row)
            index_whole(old, pages, last_bytes, chunks, true);
        else
            index_chunks(old, chunks, INODE_CHUNKS, true);
    }
    std::vector<uint32_t> chunks = write_chunks(head, data, placement);
    if (!storage_.in_row) {
        index_whole(head, pages, last_bytes, chunks, false);
        return basic_bare(head);
    }
    index_chunks(head, chunks, INODE_CHUNKS, false);
    return basic_inode(head, pages, last_bytes, chunks);
}

std::vector<uint32_t> LobWriter::write_chunks(const LobHead &head, ByteView data,
                                              const LobPlacement &placement) {
    std::vector<uint32_t> chunks;
    for (uint32_t c = 0; c < ceil_div(data.size(), chunk_capacity()); c++) {
        bool hole = std::count(placement.holes.begin(), placement.holes.end(), c) > 0;
        chunks.push_back(hole ? 0 : data_->next_run(storage_.chunk_blocks));
        if (!hole)
            write_chunk(head, chunks.back(), c, part_of(data, c * chunk_capacity(), chunk_capacity()));
    }
    return chunks;
}

// Every block of the chunk has the header, those without data too.
void LobWriter::write_chunk(const LobHead &head, uint32_t rdba, uint32_t chunk, ByteView data) {
    Bytes id = lob_id_bytes(head.id);
    for (uint32_t b = 0; b < storage_.chunk_blocks; b++) {
        CacheHeader cache = data_->block_options(rdba + b, 1).cache;
        cache.type = data_->options().kind == SegmentKind::bitmap ? BLOCK_ASSM_LOB : BLOCK_LOB;
        Bytes block = empty_block(data_->block_size(), cache);
        store_le32(&block[20], data_->options().objd);
        std::copy(id.begin(), id.end(), block.begin() + 24);
        store_le32(&block[36], head.version);
        store_le32(&block[44], page_of(chunk) + (storage_.count_blocks ? b : 0));
        store_le32(&block[48], data_->header());
        ByteView part = part_of(data, b * block_capacity(), block_capacity());
        std::copy(part.begin(), part.end(), block.begin() + LOB_BLOCK_HEADER);
        seal_block(block);
        data_->write_block(rdba + b, block);
    }
}

// Entries for the chunks from `first` on.
void LobWriter::index_chunks(const LobHead &head, std::span<const uint32_t> chunks, size_t first,
                             bool deleted) {
    for (size_t c = first; c < chunks.size(); c += ENTRY_CHUNKS) {
        Bytes data;
        for (size_t i = c; i < std::min(c + ENTRY_CHUNKS, chunks.size()); i++)
            append_be32(data, chunks[i]);
        data.resize(INDEX_DATA_SIZE);
        entries_.push_back({lob_id_bytes(head.id), page_of(c), std::move(data), deleted});
    }
}

void LobWriter::index_whole(const LobHead &head, uint32_t pages, uint16_t last_bytes,
                            std::span<const uint32_t> chunks, bool deleted) {
    Bytes data(4);
    append_be32(data, pages);
    append_be16(data, last_bytes);
    data.resize(INDEX_DATA_SIZE - 4 * FIRST_ENTRY_CHUNKS);
    for (uint32_t rdba : chunks.first(std::min(FIRST_ENTRY_CHUNKS, chunks.size())))
        append_be32(data, rdba);
    data.resize(INDEX_DATA_SIZE);
    entries_.push_back({lob_id_bytes(head.id), 0, std::move(data), deleted});
    index_chunks(head, chunks, FIRST_ENTRY_CHUNKS, deleted);
}

// ---- SecureFiles

Value LobWriter::store_secure(const LobHead &head, ByteView data, const LobPlacement &placement) {
    SecureInode inode;
    inode.length = data.size();
    inode.compress_option = storage_.compress;
    if (data.empty()) {
        inode.version = 0;
        return storage_.in_row ? secure_in_row(head, inode, data) : secure_extents(head, inode, {});
    }
    Bytes compressed;
    if (storage_.compress)
        compressed = placement.maps || data.size() >= MAPS_FROM ? compression_maps(data) : zlib_stream(data);
    bool worth = storage_.compress && (compressed.size() < data.size() || placement.maps);
    ByteView stored = worth ? ByteView(compressed) : data;
    if (worth)
        inode.compressed = compressed.size();

    if (storage_.in_row && stored.size() <= IN_ROW_COLUMN_MAX) {
        Value value = secure_in_row(head, inode, stored);
        if (value->size() <= IN_ROW_COLUMN_MAX)
            return value;
    }
    for (unsigned ago = placement.old_versions; ago > 0; ago--)
        write_runs(head, earlier(stored, ago), placement);
    std::vector<LobExtent> extents = write_runs(head, stored, placement);
    if (extents.size() > 256)
        throw std::length_error("too many runs of blocks for a LOB");
    if (worth)
        extents.back().bytes = static_cast<uint32_t>(data.size());
    return secure_extents(head, inode, extents);
}

std::vector<LobExtent> LobWriter::write_runs(const LobHead &head, ByteView stored,
                                             const LobPlacement &placement) {
    uint32_t longest = std::min(data_->options().extent_blocks, uint32_t{0xFFFF});
    std::vector<LobExtent> extents;
    for (uint32_t run = 1; !stored.empty(); run = std::min(2 * run, LONGEST_RUN)) {
        uint32_t wanted = placement.extent_blocks != 0 ? placement.extent_blocks : run;
        uint32_t blocks = std::min({wanted, longest, ceil_div(stored.size(), block_capacity())});
        uint32_t first = data_->next_run(blocks);
        size_t bytes = std::min(stored.size(), blocks * block_capacity());
        extents.push_back({first, static_cast<uint16_t>(blocks), static_cast<uint32_t>(bytes)});
        for (uint32_t b = 0; b < blocks; b++)
            write_secure_block(head, first + b, part_of(stored, b * block_capacity(), block_capacity()));
        stored = stored.subspan(bytes);
    }
    return extents;
}

void LobWriter::write_secure_block(const LobHead &head, uint32_t rdba, ByteView data) {
    TableBlockOptions o = data_->block_options(rdba, 1);
    Bytes block = empty_block(o.block_size, o.cache);
    uint8_t *transaction = &block[CACHE_HEADER_SIZE];
    transaction[0] = TRANSACTION_TYPE_LOB;
    store_le32(transaction + 4, o.objd);
    store_le32(transaction + 8, o.scn_base);
    transaction[16] = 1; // transaction entries
    transaction[18] = o.extra ? TRANSACTION_FLAGS_EXTRA : TRANSACTION_FLAGS_PLAIN;
    store_le32(transaction + 20, 0xFFFFFFFF);

    size_t start = secure_start(*data_);
    uint8_t *lob = &block[start];
    Bytes id = lob_id_bytes(head.id);
    store_le32(lob, o.scn_base);
    lob[6] = SECURE_DATA_BLOCK;
    std::copy(id.begin(), id.end(), lob + 8);
    store_le16(lob + SECURE_USED, static_cast<uint16_t>(data.size()));
    std::copy(data.begin(), data.end(), lob + SECURE_HEADERS);
    seal_block(block);
    data_->write_block(rdba, block);
}

void LobWriter::close() {
    if (std::exchange(closed_, true))
        return;
    std::stable_sort(entries_.begin(), entries_.end(), [](const Entry &a, const Entry &b) {
        return std::tie(a.id, a.page, b.deleted) < std::tie(b.id, b.page, a.deleted);
    });
    std::vector<IndexRow> rows;
    for (const Entry &e : entries_) {
        IndexRow row;
        row.flag = e.deleted ? 1 : 0;
        row.data = e.data;
        row.key.push_back(static_cast<uint8_t>(e.id.size()));
        append(row.key, e.id);
        row.key.push_back(4);
        append_be32(row.key, e.page);
        rows.push_back(std::move(row));
    }
    write_index(*index_, rows, INDEX_DATA_SIZE, INDEX_KEY_COLUMNS);
    data_->close();
    index_->close();
}

} // namespace sample
