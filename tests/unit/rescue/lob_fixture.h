// A datafile of LOB blocks put where a test wants them.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "rescue/block_reader.h"
#include "rescue/file_set.h"
#include "rescue/lob_reader.h"
#include "rescue/lob_segment.h"
#include "sample/datafile.h"
#include "scratch_dir.h"

namespace vexlo_test {

constexpr uint32_t LOB_TABLESPACE = 4;
constexpr uint32_t LOB_FILE = 4;
constexpr uint32_t LOB_OBJECT = 700;
constexpr uint32_t INDEX_OBJECT = 701;
constexpr size_t LOB_BLOCK_SIZE = 2048;
constexpr size_t LOB_PAGE_SIZE = LOB_BLOCK_SIZE - 60;
constexpr size_t SECURE_PAGE_SIZE = LOB_BLOCK_SIZE - 132;

using LobBytes = std::vector<uint8_t>;

// The data of a LOB: every byte depends on the LOB and on its place.
LobBytes lob_bytes(uint8_t lob, size_t size);

// Takes what a reader gives; missing bytes become 0xEE.
struct CollectingSink : vexlo::LobSink {
    LobBytes bytes;
    uint64_t lost = 0;

    void data(std::span<const uint8_t> piece) override {
        bytes.insert(bytes.end(), piece.begin(), piece.end());
    }
    void missing(uint64_t count) override {
        lost += count;
        bytes.insert(bytes.end(), count, 0xEE);
    }
};

// A row of a LOB index.
struct IndexRow {
    uint8_t lob;
    uint32_t page;
    uint32_t blocks = 0, bytes = 0; // page 0
    std::vector<uint32_t> addresses;
    bool deleted = false;
};

class LobFile {
public:
    LobFile();

    static vexlo::LobId id(uint8_t lob);
    static uint32_t rdba(uint32_t block) { return sample::make_rdba(LOB_FILE, block); }

    // One page of BasicFile data at `block`.
    void put_page(uint32_t block, uint8_t lob, uint32_t page, std::span<const uint8_t> data,
                  uint32_t version = 1, uint8_t type = 0x28, uint32_t object = LOB_OBJECT);
    void put_secure_page(uint32_t block, uint8_t lob, std::span<const uint8_t> data);
    // A segment of one extent: its header at `block`, one leaf block for each of `leaves` behind it, which
    // name those beside them.
    void put_index(uint32_t block, const std::vector<std::vector<IndexRow>> &leaves);
    // The header of the LOB segment, whose map has itself alone.
    void put_segment_header(uint32_t block);
    void put_block(uint32_t block, const LobBytes &bytes);
    // Changes a byte of a block, which stays sound, when the file is closed.
    void change(uint32_t block, size_t offset, uint8_t value);
    // Makes a block one that was never written.
    void clear(uint32_t block);

    // The whole pages of a LOB from `block` on, one behind the other.
    void put_pages(uint32_t block, uint8_t lob, const LobBytes &data, uint32_t first_page = 0);

    // Closes the file and hands it to `use`, alone in its set.
    using UseFiles = std::function<void(const vexlo::FileSet &files, const vexlo::ScanIndexes &scans)>;
    void open_files(const UseFiles &use);
    // Closes the file and hands a column of it with a reader of single blocks to `use`; `index_block` is the
    // header of the index, 0 for none.
    using Use = std::function<void(const vexlo::LobSegment &column, vexlo::BlockReader &blocks)>;
    void open(const Use &use, uint32_t index_block = 0, uint32_t chunk_blocks = 1);
    // Closes the file and reads a LOB.
    vexlo::LobOutcome read(const vexlo::LobLocator &lob, vexlo::LobSink &sink, uint32_t index_block = 0,
                           uint32_t chunk_blocks = 1);

    // How it is read and what the dictionary says.
    vexlo::ReadOptions options;
    vexlo::SegmentRef segment{LOB_TABLESPACE, 0, 0, LOB_OBJECT, LOB_OBJECT};
    std::optional<vexlo::SegmentRef> index; // in place of that with its header at `index_block`

private:
    struct Change {
        uint32_t block;
        size_t offset;
        uint8_t value;
    };

    scratch_dir dir_;
    std::optional<sample::Datafile> file_;
    std::vector<Change> changes_;
};

} // namespace vexlo_test
