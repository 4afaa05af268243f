// Segments: their extents and the extent maps that list them.
#pragma once

#include <map>

#include "tablespace.h"

namespace sample {

struct Extent {
    uint32_t rdba;
    uint32_t blocks;
};

// A segment header or extent map block: type 0x10, 0x12, 0x23 or 0x24 with the map at 92, 20, 264 and 20.
// `next` is the rdba of the next map block, 0 for the last.
Bytes encode_extent_map(size_t block_size, const CacheHeader &header, uint32_t objd,
                        std::span<const Extent> extents, uint32_t next);

// Where the map begins in a block of this type.
size_t extent_map_offset(uint8_t type);

// Entries that fit in a map block of this type.
size_t extent_map_capacity(size_t block_size, uint8_t type);

enum class SegmentKind { freelist, bitmap };

struct SegmentOptions {
    SegmentKind kind = SegmentKind::bitmap;
    uint32_t objd = 0;
    uint32_t extent_blocks = 8; // at least 4
    size_t map_entries = 0;     // entries of each map block, so that few extents chain; 0 for all that fit
    uint32_t scn_base = 0x0010F3A1;
    int itl_entries = 2;
    uint8_t itl_count_high = 0;
    std::optional<ExtraArea> extra; // when not given, an empty one in bitmap segments and none in others
    unsigned free_percent = 10;     // of each block, left for later updates
    std::optional<uint32_t>
        old_objd; // every second block of a new extent still holds rows of this data object
    uint8_t block_flags = CACHE_FLAG_CHECKED; // of the cache header of table blocks
    uint8_t data_flags = 0;                   // of their data header
};

// A segment being written. Its header address is known from the start; the extent map is written by close.
class Segment {
public:
    Segment(Tablespace &tablespace, SegmentOptions options);

    // rdba of the segment header block, and the same as the numbers the dictionary holds (FILE# is 1024 in a
    // bigfile tablespace).
    uint32_t header() const { return header_; }
    uint32_t header_file() const;
    uint32_t header_block() const;

    // rdba of the next unused block. Each lane takes extents of its own, so that the pieces of a row that are
    // written through two lanes lie in different extents, and in different files when there are several.
    uint32_t next_block(int lane = 0);

    // rdba of the first of `blocks` unused blocks in a row, at most those of an extent.
    uint32_t next_run(uint32_t blocks, int lane = 0);

    void write_block(uint32_t rdba, ByteView bytes);
    size_t block_size() const { return tablespace_.block_size(); }

    // Options of a table block of this segment at the given address.
    TableBlockOptions block_options(uint32_t rdba, int tables) const;

    // Writes the header and the extent map blocks. Idempotent.
    void close();

    const std::vector<Extent> &extents() const { return extents_; }
    const SegmentOptions &options() const { return options_; }

private:
    struct Lane {
        uint32_t next = 0;
        uint32_t left = 0;
    };
    void grow(Lane &lane);
    void write_old_block(uint32_t rdba);
    void write_space_block(uint32_t rdba, uint8_t type);

    Tablespace &tablespace_;
    SegmentOptions options_;
    std::vector<Extent> extents_;
    std::map<int, Lane> lanes_;
    uint32_t header_ = 0;
    bool closed_ = false;
};

} // namespace sample
