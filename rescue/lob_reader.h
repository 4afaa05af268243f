// The data of LOBs, piece by piece. No LOB is held whole.
//
// Every block that a LOB's chunks or extents lead to is compared with the LOB before it counts: data object,
// LOB id, page number and bytes used. What does not agree is no data of this LOB.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "rescue/block_reader.h"
#include "rescue/lob_segment.h"
#include "rescue/loss.h"
#include "values/lob_locator.h"

namespace vexlo {

// Takes the bytes of a LOB in their order. Pieces have READ_SLACK where the locator has.
class LobSink {
public:
    virtual ~LobSink() = default;
    virtual void data(std::span<const uint8_t> bytes) = 0;
    // So many bytes that belong here are lost.
    virtual void missing(uint64_t bytes) = 0;
};

// Why a LOB is not whole; the first reason found.
enum class LobFault : uint8_t {
    none,
    no_segment,     // the dictionary does not say where its data lies
    lost,           // nothing leads to its data
    missing_pages,  // blocks that are not there or hold something else
    unknown_length, // the entry that states it is lost: whole pages are given
    length,         // the stated length reaches behind the last chunk
    damaged_stream, // what is compressed cannot be inflated
    list_block,     // a list of extents in blocks of its own: not decoded
    compress_low,   // compressed by a method that is not decoded
    deduplicated,   // its blocks belong to another LOB
    encrypted,      // ciphertext
    no_zlib,        // compressed, and this program was built without zlib
};

constexpr size_t LOB_FAULTS = static_cast<size_t>(LobFault::no_zlib) + 1;

// "blocks of the LOB are lost", ...; empty for none.
std::string_view lob_fault_text(LobFault fault);

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

    // Blocks of all LOBs so far that should hold data and could not be read.
    const SegmentTally &lost_blocks() const { return lost_; }

private:
    class Output;

    void read_data(const LobLocator &lob, const LobSegment &segment, Output &out);
    // Piece number `number` of a LOB, a chunk or a block of one, is at `rdba`; 0 where it is known to be a
    // hole.
    struct Piece {
        uint64_t number;
        uint32_t rdba;
    };
    // Where the pieces of a BasicFile LOB are and how long it is.
    struct Plan {
        std::vector<Piece> pieces;      // rising; the last one is no hole
        uint32_t chunk_blocks = 1;      // blocks of a chunk
        uint32_t piece_blocks = 1;      // of a piece: those of a chunk, or 1
        bool pages_count_blocks = true; // page numbers of blocks; of their chunks otherwise
        bool gaps_are_holes = true;
        bool length_known = true;
        uint32_t blocks = 0, bytes = 0; // the length as stored
        uint64_t length = 0;            // bytes

        // Pieces up to the last one, and the chunks they are in.
        uint64_t end() const { return pieces.empty() ? 0 : pieces.back().number + 1; }
        uint64_t chunks() const { return (end() * piece_blocks + chunk_blocks - 1) / chunk_blocks; }
        void sort_pieces();
        void split_chunks();
    };

    void read_chunks(const LobLocator &lob, const LobSegment &segment, Output &out);
    bool make_plan(const LobLocator &lob, const LobSegment &segment, Plan &plan);
    bool add_index_entries(const LobLocator &lob, const LobSegment &segment, Plan &plan, bool *head_found);
    void add_scanned_blocks(const LobLocator &lob, const LobSegment &segment, Plan &plan);
    void choose_page_numbers(const LobSegment &segment, const LobLocator &lob, Plan &plan);
    LobFault choose_length(Plan &plan) const;
    bool counts_chunks(const Plan &plan) const;
    bool reaches_last_chunk(const Plan &plan) const;
    void write_pieces(const LobLocator &lob, const LobSegment &segment, const Plan &plan, Output &out);
    void write_hole(const LobLocator &lob, uint64_t bytes, Output &out);
    size_t write_run(const LobLocator &lob, const LobSegment &segment, const Plan &plan, size_t first,
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
    void note_loss();

    BlockReader &blocks_;
    uint32_t page_size_ = 0; // bytes of data in a block of the segment being read
    std::vector<uint8_t> buffer_;
    SegmentTally lost_;
    std::optional<Loss> loss_; // what the block handed out last is, when it is none
};

} // namespace vexlo
