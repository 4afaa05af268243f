// The data of LOBs, piece by piece. No LOB is held whole.
//
// Every block that a LOB's chunks or extents lead to is compared with the LOB before it counts: data object,
// LOB id, page number and bytes used. What does not agree is no data of this LOB.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "rescue/block_reader.h"
#include "rescue/lob_fault.h"
#include "rescue/lob_plan.h"
#include "rescue/lob_segment.h"
#include "rescue/loss.h"
#include "values/lob_locator.h"
#include "values/padded_bytes.h"

namespace vexlo {

// Takes the bytes of a LOB in their order. Pieces are padded where the locator is.
class LobSink {
public:
    virtual ~LobSink() = default;
    virtual void data(std::span<const uint8_t> bytes) = 0;
    // So many bytes that belong here are lost.
    virtual void missing(uint64_t bytes) = 0;
};

struct LobOutcome {
    uint64_t bytes = 0;   // given, holes included
    uint64_t missing = 0; // known to be missing
    LobFault fault = LobFault::none;

    bool is_whole() const { return fault == LobFault::none; }
};

// One reader a thread.
class LobReader {
public:
    // `blocks` must outlive the reader.
    explicit LobReader(BlockReader &blocks);

    // Gives the data of `lob`, a LOB of the column whose segments `segment` has, to `sink`.
    LobOutcome read(const LobLocator &lob, const LobSegment &segment, LobSink &sink);

    // The data of a LOB that the row holds as it is; nothing where it has to be read.
    static std::optional<std::span<const uint8_t>> in_row(const LobLocator &lob, const LobSegment &segment);

    // Bytes of blocks, holes and index entries that all LOBs so far have led to.
    uint64_t visited() const { return visited_; }
    // Blocks of all LOBs so far that should hold data and could not be read.
    const SegmentTally &lost_blocks() const { return lost_; }

private:
    class Output;

    void read_data(const LobLocator &lob, const LobSegment &segment, Output &out);
    void read_chunks(const LobLocator &lob, const LobSegment &segment, Output &out);
    void write_pieces(const LobLocator &lob, const LobSegment &segment, const LobPlan &plan, Output &out);
    void write_hole(const LobLocator &lob, uint64_t bytes, Output &out);
    size_t write_run(const LobLocator &lob, const LobSegment &segment, const LobPlan &plan, size_t first,
                     Output &out);
    bool is_page_of(const BLOCK &blk, const LobLocator &lob, const LobSegment &segment, uint32_t page,
                    std::span<const uint8_t> *data) const;

    void read_extents(const LobLocator &lob, const LobSegment &segment, Output &out);
    void read_plain_extents(const LobLocator &lob, const LobSegment &segment, Output &out);
    template <class TAKE>
    void for_each_extent_block(const LobLocator &lob, const LobSegment &segment, TAKE &&take);
    bool secure_data(const BLOCK *blk, const LobLocator &lob, const LobSegment &segment,
                     std::span<const uint8_t> *data) const;
    void inflate_in_row(const LobLocator &lob, Output &out);

    template <class TAKE>
    bool for_each_block(uint32_t tablespace, uint32_t rdba, uint32_t count, TAKE &&take);
    const BLOCK *lost_block(LossKind kind, uint32_t tablespace, uint32_t rdba, const BlockPlace &place);
    void note_loss(uint64_t blocks);

    BlockReader &blocks_;
    uint64_t visited_ = 0;
    uint32_t page_size_ = 0; // bytes of data in a block of the segment being read
    PaddedBytes buffer_;
    SegmentTally lost_;
    std::optional<Loss> loss_; // what the blocks handed out last are, when they are none
};

} // namespace vexlo
