#include "segment.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "vexlo.h"

namespace sample {

namespace {

constexpr size_t MAP_HEADER_SIZE = 16;
constexpr size_t MAP_ENTRY_SIZE = 8;
constexpr uint32_t MIN_EXTENT_BLOCKS = 4;

uint8_t header_type(SegmentKind kind) {
    return kind == SegmentKind::bitmap ? BLOCK_ASSM_SEGMENT_HEADER : BLOCK_SEGMENT_HEADER;
}

uint8_t map_type(SegmentKind kind) {
    return kind == SegmentKind::bitmap ? BLOCK_ASSM_EXTENT_MAP : BLOCK_EXTENT_MAP;
}

std::span<const Extent> take_front(std::span<const Extent> &from, size_t count) {
    std::span<const Extent> front = from.first(std::min(count, from.size()));
    from = from.subspan(front.size());
    return front;
}

} // namespace

size_t extent_map_offset(uint8_t type) {
    if (type == BLOCK_SEGMENT_HEADER)
        return 92;
    if (type == BLOCK_ASSM_SEGMENT_HEADER)
        return 264;
    return 20;
}

Bytes encode_extent_map(size_t block_size, const CacheHeader &header, uint32_t objd,
                        std::span<const Extent> extents, uint32_t next) {
    if (extents.size() > extent_map_capacity(block_size, header.type))
        throw std::length_error("too many extents for a map block");
    Bytes block = empty_block(block_size, header);
    uint8_t *p = &block[extent_map_offset(header.type)];
    store_le32(p, static_cast<uint32_t>(extents.size()));
    store_le32(p + 4, next);
    store_le32(p + 8, objd);
    p += MAP_HEADER_SIZE;
    for (const Extent &e : extents) {
        store_le32(p, e.rdba);
        store_le32(p + 4, e.blocks);
        p += MAP_ENTRY_SIZE;
    }
    seal_block(block);
    return block;
}

size_t extent_map_capacity(size_t block_size, uint8_t type) {
    return (block_size - extent_map_offset(type) - MAP_HEADER_SIZE - TAIL_SIZE) / MAP_ENTRY_SIZE;
}

Segment::Segment(Tablespace &tablespace, SegmentOptions options)
    : tablespace_(tablespace), options_(std::move(options)) {
    if (options_.extent_blocks < MIN_EXTENT_BLOCKS)
        throw std::invalid_argument("extents of a segment need at least 4 blocks");
    if (options_.kind == SegmentKind::bitmap) {
        // The first extent begins with the two levels of the space bitmap.
        write_space_block(next_block(), BLOCK_ASSM_LEVEL1);
        write_space_block(next_block(), BLOCK_ASSM_LEVEL2);
    }
    header_ = next_block();
}

uint32_t Segment::header_file() const {
    return tablespace_.bigfile() ? BIGFILE_RFN : header_ >> 22;
}

uint32_t Segment::header_block() const {
    return tablespace_.bigfile() ? header_ : header_ & BLOCK_MASK;
}

void Segment::grow(Lane &lane) {
    lane.next = tablespace_.allocate_extent(options_.extent_blocks);
    lane.left = options_.extent_blocks;
    extents_.push_back({lane.next, lane.left});
    if (options_.old_objd)
        for (uint32_t b = 0; b < lane.left; b += 2)
            write_old_block(lane.next + b);
}

// What an earlier owner of the space left there.
void Segment::write_old_block(uint32_t rdba) {
    constexpr uint32_t earlier = 0x1000; // of SCNs
    TableBlockOptions o = block_options(rdba, 1);
    o.objd = *options_.old_objd;
    o.scn_base = o.cache.scn_base = options_.scn_base - earlier;
    TableBlock block(o);
    for (int row = 1; row <= 3; row++)
        block.add(encode_piece({}, Row{number(-row), text("left by an earlier owner")}));
    write_block(rdba, block.finish());
}

uint32_t Segment::next_block(int lane_number) {
    Lane &lane = lanes_[lane_number];
    if (lane.left == 0)
        grow(lane);
    lane.left--;
    return lane.next++;
}

uint32_t Segment::next_run(uint32_t blocks, int lane_number) {
    if (blocks > options_.extent_blocks)
        throw std::length_error("a run of blocks is longer than an extent");
    Lane &lane = lanes_[lane_number];
    if (lane.left < blocks)
        grow(lane);
    lane.left -= blocks;
    return std::exchange(lane.next, lane.next + blocks);
}

void Segment::write_block(uint32_t rdba, ByteView bytes) {
    tablespace_.write_block(rdba, bytes);
}

void Segment::write_space_block(uint32_t rdba, uint8_t type) {
    CacheHeader header;
    header.type = type;
    header.rdba = rdba;
    header.scn_base = options_.scn_base;
    Bytes block = empty_block(tablespace_.block_size(), header);
    seal_block(block);
    write_block(rdba, block);
}

TableBlockOptions Segment::block_options(uint32_t rdba, int tables) const {
    TableBlockOptions o;
    o.block_size = tablespace_.block_size();
    o.cache.rdba = rdba;
    o.cache.scn_base = options_.scn_base;
    o.cache.flags = options_.block_flags;
    o.data_flags = options_.data_flags;
    o.objd = options_.objd;
    o.scn_base = options_.scn_base;
    o.itl.resize(static_cast<size_t>(options_.itl_entries));
    o.itl_count_high = options_.itl_count_high;
    o.extra = options_.extra;
    if (!o.extra && options_.kind == SegmentKind::bitmap)
        o.extra = ExtraArea{};
    if (options_.kind == SegmentKind::bitmap)
        o.free_list_next = extents_.front().rdba;
    o.tables = tables;
    o.reserve = o.block_size * options_.free_percent / 100;
    return o;
}

void Segment::close() {
    if (closed_)
        return;
    closed_ = true;
    size_t block_size = tablespace_.block_size();
    auto entries = [&](uint8_t type) {
        size_t capacity = extent_map_capacity(block_size, type);
        return options_.map_entries == 0 ? capacity : std::min(capacity, options_.map_entries);
    };
    size_t in_header = entries(header_type(options_.kind));
    size_t in_map = entries(map_type(options_.kind));

    // A map block may itself need a new extent, so the chain grows until it covers the extents it lies in.
    std::vector<uint32_t> chain{header_};
    while (in_header + (chain.size() - 1) * in_map < extents_.size())
        chain.push_back(next_block());

    std::span<const Extent> rest = extents_;
    for (size_t i = 0; i < chain.size(); i++) {
        CacheHeader header;
        header.type = i == 0 ? header_type(options_.kind) : map_type(options_.kind);
        header.rdba = chain[i];
        header.scn_base = options_.scn_base;
        uint32_t next = i + 1 < chain.size() ? chain[i + 1] : 0;
        write_block(chain[i], encode_extent_map(block_size, header, options_.objd,
                                                take_front(rest, i == 0 ? in_header : in_map), next));
    }
}

} // namespace sample
