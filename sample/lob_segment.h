// LOB segments: the blocks that hold LOB data, and the index that finds them.
#pragma once

#include "lob_locator.h"
#include "row_writer.h"

namespace sample {

// LOB blocks of manual and of automatic space management
constexpr uint8_t BLOCK_LOB = 0x1B;
constexpr uint8_t BLOCK_ASSM_LOB = 0x28;

constexpr size_t LOB_BLOCK_HEADER = 56;
constexpr size_t LOB_BLOCK_OVERHEAD = LOB_BLOCK_HEADER + TAIL_SIZE;

// How a column keeps its LOBs.
struct LobStorage {
    bool secure = false;       // SecureFile, else BasicFile
    bool in_row = true;        // storage in the row enabled
    uint32_t chunk_blocks = 1; // BasicFile
    bool count_blocks = false; // BasicFile: page numbers and lengths count blocks, else chunks
    bool compress = false;     // SecureFile
    uint32_t flags = 1;        // LOB$.FLAGS
};

// How one LOB is stored.
struct LobPlacement {
    std::vector<uint32_t> holes; // BasicFile: chunks that were never written
    unsigned old_versions = 0;   // earlier states of the data, which lie in the segment as well
    bool maps = false;           // compressed SecureFile: compression maps, whatever the size
    uint32_t extent_blocks = 0;  // SecureFile: blocks of a run at most; runs grow from 1 when 0
};

// Writes the LOBs of one column, or of one partition of it.
class LobWriter {
public:
    // The segments hold nothing yet.
    LobWriter(std::unique_ptr<Segment> data, std::unique_ptr<Segment> index, LobStorage storage);

    // Stores the data and returns what the row holds. Throws std::length_error for what the layout cannot
    // express.
    Value store(LobHead head, ByteView data, const LobPlacement &placement = {});

    // Writes the index and the maps of both segments. Idempotent.
    void close();

    // Data bytes of a whole block.
    size_t block_capacity() const;

private:
    // An index entry: the addresses of some chunks, by LOB id and number of the first one's page.
    struct Entry {
        Bytes id;
        uint32_t page;
        Bytes data;
        bool deleted;
    };

    Value store_basic(const LobHead &head, ByteView data, const LobPlacement &placement);
    Value store_secure(const LobHead &head, ByteView data, const LobPlacement &placement);
    std::vector<uint32_t> write_chunks(const LobHead &head, ByteView data, const LobPlacement &placement);
    void write_chunk(const LobHead &head, uint32_t rdba, uint32_t chunk, ByteView data);
    void index_chunks(const LobHead &head, std::span<const uint32_t> chunks, size_t first, bool deleted);
    void index_whole(const LobHead &head, uint32_t pages, uint16_t last_bytes,
                     std::span<const uint32_t> chunks, bool deleted);
    std::vector<LobExtent> write_runs(const LobHead &head, ByteView stored, const LobPlacement &placement);
    void write_secure_block(const LobHead &head, uint32_t rdba, ByteView data);
    uint32_t page_of(size_t chunk) const;
    size_t chunk_capacity() const { return block_capacity() * storage_.chunk_blocks; }

    std::unique_ptr<Segment> data_;
    std::unique_ptr<Segment> index_;
    LobStorage storage_;
    std::vector<Entry> entries_;
    bool closed_ = false;
};

} // namespace sample
