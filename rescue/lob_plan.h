// Where the data of a BasicFile LOB lies and how long it is: as its row says, the LOB index, and, where that
// is not whole, the blocks themselves.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "rescue/block_reader.h"
#include "rescue/lob_fault.h"
#include "rescue/lob_segment.h"
#include "values/lob_locator.h"

namespace vexlo {

// Piece number `number` of a LOB is at `rdba`; 0 where it is known to be a hole.
struct LobPiece {
    uint64_t number;
    uint32_t rdba;
};

class LobPlan {
public:
    // Of a LOB of the column whose segments `segment` has, with `page_size` bytes of data in a block. A LOB
    // of no bytes has a plan without pieces.
    LobPlan(const LobLocator &lob, const LobSegment &segment, BlockReader &blocks, uint32_t page_size);

    // Why there is no plan: nothing leads to the data, or what does can be read in two ways.
    LobFault fault() const { return fault_; }

    // By number; the last one is no hole.
    std::span<const LobPiece> pieces() const { return pieces_; }
    // Blocks of a piece: those of a chunk, or 1.
    uint32_t piece_blocks() const { return piece_blocks_; }
    // Whether pieces that are not in the plan are holes; lost otherwise.
    bool gaps_are_holes() const { return gaps_are_holes_; }
    // The page number that block `block` states, counted from the begin of `piece` on.
    uint64_t page_of(const LobPiece &piece, uint64_t block) const {
        return pages_count_blocks_ ? piece.number * piece_blocks_ + block
                                   : piece.number + block / piece_blocks_;
    }
    // Bytes of the LOB, and what is wrong with them: whether they are only those of the pieces because the
    // length is lost, or because it reaches behind the last chunk.
    uint64_t length() const { return length_; }
    LobFault length_fault() const { return length_fault_; }
    // Bytes of index entries and blocks that were gone through.
    uint64_t visited() const { return visited_; }

private:
    LobFault find_pieces();
    bool add_index_entries(bool *head_found);
    std::optional<uint32_t> choose_index_unit(const std::vector<LobIndexEntry> &entries);
    bool fits(const LobIndexEntry &entry, uint32_t unit) const;
    bool agrees(const std::vector<LobIndexEntry> &entries, uint32_t unit, bool pages_count_blocks);
    bool states_pages(uint64_t chunk, uint32_t rdba, bool pages_count_blocks);
    std::optional<uint32_t> page_at(uint32_t rdba);
    void add_scanned_blocks();
    void sort_pieces();
    void split_chunks();
    void choose_page_numbers();
    void choose_length();
    uint64_t stated_length() const;
    bool counts_chunks() const;
    bool reaches_last_chunk() const;
    // Pieces up to the last one, and the chunks they are in.
    uint64_t end() const { return pieces_.empty() ? 0 : pieces_.back().number + 1; }
    uint64_t chunks() const { return (end() * piece_blocks_ + chunk_blocks_ - 1) / chunk_blocks_; }
    uint64_t chunk_size() const { return uint64_t{page_size_} * chunk_blocks_; }

    const LobLocator &lob_;
    const LobSegment &segment_;
    BlockReader &blocks_;
    const uint32_t page_size_;
    const uint32_t chunk_blocks_;
    uint32_t piece_blocks_;
    std::vector<LobPiece> pieces_;
    bool pages_count_blocks_ = true; // page numbers of blocks; of their chunks otherwise
    bool gaps_are_holes_ = true;
    bool length_known_ = true;
    uint32_t whole_, rest_; // the length as stated: whole blocks or chunks, and bytes behind them
    uint64_t length_ = 0;
    LobFault length_fault_ = LobFault::none;
    LobFault fault_ = LobFault::none;
    uint64_t visited_ = 0;
};

} // namespace vexlo
