#include "rescue/lob_reader.h"

#include <algorithm>

#include "format/block_address.h"
#include "format/lob_block.h"
#include "rescue/block_health.h"
#include "values/lob_inflater.h"

namespace vexlo {

namespace {

constexpr uint32_t RUN_BYTES = 1 << 20;
constexpr uint32_t SECURE_BLOCK_OVERHEAD = 132; // of a SecureFile block with one transaction entry

uint64_t chunks_of(uint64_t length, uint64_t chunk_size) {
    return length / chunk_size + (length % chunk_size != 0);
}

bool has_id(const uint8_t *id, const LobLocator &lob) {
    return std::equal(lob.id.begin(), lob.id.end(), id);
}

// The data object number of a block is compared where the dictionary tells the segment's.
bool has_object(uint32_t object, const LobSegment &segment) {
    const uint32_t wanted = segment.places().data.data_object;
    return wanted == 0 || object == wanted;
}

} // namespace

// What has been given of a LOB so far.
class LobReader::Output {
public:
    Output(LobSink &sink, uint64_t length) : sink_(sink), left_(length) {}

    // Bytes behind the length of the LOB are dropped.
    void data(std::span<const uint8_t> bytes) {
        bytes = bytes.first(static_cast<size_t>(std::min<uint64_t>(left_, bytes.size())));
        if (bytes.empty())
            return;
        left_ -= bytes.size();
        outcome_.bytes += bytes.size();
        sink_.data(bytes);
    }
    void missing(uint64_t bytes, LobFault fault) {
        bytes = std::min(left_, bytes);
        left_ -= bytes;
        outcome_.missing += bytes;
        fail(fault);
        if (bytes != 0)
            sink_.missing(bytes);
    }
    void fail(LobFault fault) {
        if (outcome_.fault == LobFault::none)
            outcome_.fault = fault;
    }
    void set_length(uint64_t length) { left_ = length; }
    uint64_t left() const { return left_; }
    // A LOB of which nothing could be read has the fault `why` in place of `found`.
    void explain(LobFault found, LobFault why) {
        if (outcome_.fault == found && outcome_.bytes == 0)
            outcome_.fault = why;
    }
    const LobOutcome &outcome() const { return outcome_; }

private:
    LobSink &sink_;
    uint64_t left_;
    LobOutcome outcome_;
};

LobReader::LobReader(BlockReader &blocks) : blocks_(blocks) {}

LobOutcome LobReader::read(const LobLocator &lob, const LobSegment &segment, LobSink &sink) {
    Output out(sink, lob.length);
    const LobPlaces &places = segment.places();
    if (places.encrypted && lob.place != LobPlace::empty)
        out.missing(lob.length, LobFault::encrypted);
    else
        read_data(lob, segment, out);
    if (places.compress_low && lob.secure_file)
        out.explain(LobFault::damaged_stream, LobFault::compress_low);
    if (places.deduplicated && lob.secure_file)
        out.explain(LobFault::missing_pages, LobFault::deduplicated);
    return out.outcome();
}

std::optional<std::span<const uint8_t>> LobReader::in_row(const LobLocator &lob, const LobSegment &segment) {
    if (lob.place != LobPlace::in_row || lob.compressed || segment.places().encrypted)
        return std::nullopt;
    return lob.data.first(static_cast<size_t>(std::min<uint64_t>(lob.length, lob.data.size())));
}

void LobReader::read_data(const LobLocator &lob, const LobSegment &segment, Output &out) {
    switch (lob.place) {
    case LobPlace::empty:
        break;
    case LobPlace::in_row:
        if (lob.compressed)
            inflate_in_row(lob, out);
        else
            out.data(lob.data);
        break;
    case LobPlace::list_block:
        out.missing(lob.length, LobFault::list_block);
        break;
    case LobPlace::chunks:
    case LobPlace::index:
        read_chunks(lob, segment, out);
        break;
    case LobPlace::extents:
        read_extents(lob, segment, out);
        break;
    }
}

// Hands `count` blocks from `rdba` on to take(const BLOCK *, uint32_t), one by one, until that returns false;
// returns whether it never did. Null stands for so many blocks that are bad or not there: those that no file
// holds come at once, because their number is a claim.
template <class TAKE>
bool LobReader::for_each_block(uint32_t tablespace, uint32_t rdba, uint32_t count, TAKE &&take) {
    const BlockPlace place = blocks_.files().find(tablespace, rdba);
    uint32_t held = 0; // blocks that the file holds
    if (place.file != nullptr && place.block != 0 && place.block < place.file->blocks())
        held = static_cast<uint32_t>(std::min<uint64_t>(count, place.file->blocks() - place.block));
    const uint32_t bsz = place.file != nullptr ? place.file->block_size() : 0;
    const auto take_lost = [&](LossKind kind, uint32_t i, uint32_t blocks) {
        return take(lost_block(kind, tablespace, rdba + i, {place.file, place.block + i}), blocks);
    };
    buffer_.resize(RUN_BYTES);
    uint32_t done = 0;
    while (done < held) {
        const uint32_t wanted = std::min(RUN_BYTES / bsz, held - done);
        const uint32_t got = blocks_.read(tablespace, rdba + done, wanted, buffer_.data());
        visited_ += uint64_t{wanted} * bsz;
        for (uint32_t i = 0; i < got; ++i) {
            const BLOCK blk{buffer_.data() + size_t{i} * bsz, bsz, rdba + done + i};
            const Health health = block_health(blk.data, bsz, blk.rdba, blocks_.trusts_blocks());
            loss_.reset();
            if (!(is_bad(health) ? take_lost(loss_of(health), done + i, 1)
                                 : take(health == Health::sound ? &blk : nullptr, 1)))
                return false;
        }
        done += got;
        if (got < wanted && !take_lost(LossKind::unreadable, done++, 1)) // one block cannot be read
            return false;
    }
    const LossKind kind = place.file != nullptr ? LossKind::unreadable : LossKind::missing_file;
    return done == count || take_lost(kind, done, count - done);
}

// Keeps what the block is, as which null is handed out.
const BLOCK *LobReader::lost_block(LossKind kind, uint32_t tablespace, uint32_t rdba,
                                   const BlockPlace &place) {
    const bool known = place.file != nullptr;
    loss_ = {kind,
             tablespace,
             known ? place.file->identity().file : 0,
             known ? place.file->identity().relative_file : rdba_file(rdba),
             place.block,
             1};
    return nullptr;
}

// Of the blocks handed out last so many should have held data.
void LobReader::note_loss(uint64_t blocks) {
    if (!loss_)
        return;
    loss_->blocks = blocks;
    lost_.add_loss(*loss_);
}

// ---- BasicFile

void LobReader::read_chunks(const LobLocator &lob, const LobSegment &segment, Output &out) {
    if (!segment.places().known || segment.block_size() <= LOB_BLOCK_OVERHEAD)
        return out.fail(LobFault::no_segment);
    page_size_ = segment.block_size() - LOB_BLOCK_OVERHEAD;
    const LobPlan plan(lob, segment, blocks_, page_size_);
    visited_ += plan.visited();
    if (plan.fault() != LobFault::none)
        return out.fail(plan.fault());
    if (plan.length_fault() != LobFault::none)
        out.fail(plan.length_fault());
    out.set_length(plan.length());
    write_pieces(lob, segment, plan, out);
}

// Writes the LOB up to its length. Pieces that nothing leads to are holes or lost; more of them than the
// tablespace has bytes are no holes but damage.
void LobReader::write_pieces(const LobLocator &lob, const LobSegment &segment, const LobPlan &plan,
                             Output &out) {
    const uint64_t piece_size = uint64_t{page_size_} * plan.piece_blocks();
    const auto write_gap = [&](uint64_t bytes, bool is_hole) {
        bytes = std::min(out.left(), bytes);
        if (is_hole && bytes <= segment.tablespace_bytes())
            write_hole(lob, bytes, out);
        else
            out.missing(bytes, LobFault::missing_pages);
    };
    uint64_t next = 0;
    for (size_t i = 0; i < plan.pieces().size() && out.left() != 0;) {
        const LobPiece &piece = plan.pieces()[i];
        if (piece.number > next)
            write_gap((piece.number - next) * piece_size, plan.gaps_are_holes());
        size_t count = 1;
        if (piece.rdba != 0)
            count = write_run(lob, segment, plan, i, out);
        else
            write_gap(piece_size, true);
        next = piece.number + count;
        i += count;
    }
    if (out.left() != 0)
        write_gap(out.left(), plan.gaps_are_holes());
}

// Holes read as zeros or, of characters, as spaces.
void LobReader::write_hole(const LobLocator &lob, uint64_t bytes, Output &out) {
    constexpr size_t FILL_SIZE = 8192;
    visited_ += bytes;
    PaddedBytes fill(FILL_SIZE);
    const size_t step = lob.utf16 ? 2 : 1;
    for (size_t i = lob.utf16 && !lob.little_endian ? 1 : 0; lob.type != LobType::blob && i < FILL_SIZE;
         i += step)
        fill.data()[i] = ' ';
    for (uint64_t left = bytes; left != 0;) {
        const size_t piece = static_cast<size_t>(std::min<uint64_t>(left, FILL_SIZE));
        out.data({fill.data(), piece});
        left -= piece;
    }
}

// Writes piece `first` of the plan and those behind it that lie next to each other; returns how many.
size_t LobReader::write_run(const LobLocator &lob, const LobSegment &segment, const LobPlan &plan,
                            size_t first, Output &out) {
    const uint32_t blocks = plan.piece_blocks();
    const LobPiece &start = plan.pieces()[first];
    const uint64_t wanted = chunks_of(out.left(), uint64_t{page_size_} * blocks);
    size_t count = 1;
    while (count < wanted && first + count < plan.pieces().size() && count < RUN_BYTES / blocks &&
           plan.pieces()[first + count].number == start.number + count &&
           plan.pieces()[first + count].rdba == start.rdba + count * blocks)
        ++count;
    const uint64_t last_blocks = chunks_of(out.left(), page_size_);
    const uint64_t run = std::min<uint64_t>(count * blocks, last_blocks);
    uint64_t block = 0;
    for_each_block(
        segment.places().data.tablespace, start.rdba, static_cast<uint32_t>(run),
        [&](const BLOCK *blk, uint32_t blocks_handed) {
            std::span<const uint8_t> data;
            if (blk != nullptr &&
                is_page_of(*blk, lob, segment, static_cast<uint32_t>(plan.page_of(start, block)), &data)) {
                out.data(data);
            } else {
                note_loss(blocks_handed);
                out.missing(uint64_t{blocks_handed} * page_size_, LobFault::missing_pages);
            }
            block += blocks_handed;
            return true;
        });
    return count;
}

bool LobReader::is_page_of(const BLOCK &blk, const LobLocator &lob, const LobSegment &segment, uint32_t page,
                           std::span<const uint8_t> *data) const {
    LOB_PAGE found;
    if (!locate_lob_page(blk, &found) || !has_id(found.id, lob) || !has_object(found.object, segment) ||
        found.page != page || found.size != page_size_)
        return false;
    *data = {found.data, found.size};
    return true;
}

// ---- SecureFile

// A LOB that was emptied may have its extents still.
void LobReader::read_extents(const LobLocator &lob, const LobSegment &segment, Output &out) {
    if (lob.length == 0)
        return;
    if (!segment.places().known)
        return out.fail(LobFault::no_segment);
    if (!lob.compressed)
        return read_plain_extents(lob, segment, out);
    if (!LobInflater::is_available())
        return out.missing(lob.length, LobFault::no_zlib);
    LobInflater inflater(lob.length, [&](std::span<const uint8_t> bytes) { out.data(bytes); });
    uint64_t left = lob.stored_length;
    LobFault fault = LobFault::none; // nothing can be inflated behind a block that is lost
    for_each_extent_block(lob, segment, [&](const BLOCK *blk, uint32_t) {
        std::span<const uint8_t> data;
        if (!secure_data(blk, lob, segment, &data)) {
            note_loss(1);
            fault = LobFault::missing_pages;
        }
        data = data.first(static_cast<size_t>(std::min<uint64_t>(left, data.size())));
        left -= data.size();
        if (fault == LobFault::none && !inflater.feed(data))
            fault = LobFault::damaged_stream;
        return fault == LobFault::none && left != 0;
    });
    if (out.left() != 0)
        out.missing(out.left(), fault != LobFault::none ? fault : LobFault::damaged_stream);
}

void LobReader::read_plain_extents(const LobLocator &lob, const LobSegment &segment, Output &out) {
    // Of a block that is lost, how much it held is not known: it is taken for a full one.
    uint64_t full = std::max(segment.block_size(), SECURE_BLOCK_OVERHEAD + 1) - SECURE_BLOCK_OVERHEAD;
    for_each_extent_block(lob, segment, [&](const BLOCK *blk, uint32_t blocks) {
        std::span<const uint8_t> data;
        if (secure_data(blk, lob, segment, &data)) {
            full = std::max<uint64_t>(full, data.size());
            out.data(data);
        } else {
            const uint64_t lost = std::min<uint64_t>(blocks, chunks_of(out.left(), full));
            note_loss(lost);
            out.missing(lost * full, LobFault::missing_pages);
        }
        return out.left() != 0;
    });
    if (out.left() != 0)
        out.missing(out.left(), LobFault::missing_pages);
}

// Hands the blocks of all extents to take(const BLOCK *, uint32_t) until it returns false. Extents that begin
// with blocks of other LOBs alone are not this LOB's, or no longer: they end there.
template <class TAKE>
void LobReader::for_each_extent_block(const LobLocator &lob, const LobSegment &segment, TAKE &&take) {
    constexpr uint32_t FOREIGN_BLOCKS = 64;
    uint32_t foreign = 0;
    bool has_own = false;
    const auto take_own = [&](const BLOCK *blk, uint32_t blocks) {
        std::span<const uint8_t> data;
        has_own = has_own || secure_data(blk, lob, segment, &data);
        foreign += blk != nullptr && !has_own;
        return take(blk, blocks) && (has_own || foreign < FOREIGN_BLOCKS);
    };
    for (const LobExtent &extent : lob.extents)
        if (!for_each_block(segment.places().data.tablespace, extent.rdba, extent.blocks, take_own))
            break;
}

// Finds the bytes of the LOB in a block; false when it is not there or holds something else.
bool LobReader::secure_data(const BLOCK *blk, const LobLocator &lob, const LobSegment &segment,
                            std::span<const uint8_t> *data) const {
    SECURE_PAGE page;
    if (blk == nullptr || !locate_secure_page(*blk, &page) || !has_id(page.id, lob) ||
        !has_object(page.object, segment))
        return false;
    *data = {page.data, page.size};
    return true;
}

void LobReader::inflate_in_row(const LobLocator &lob, Output &out) {
    if (!LobInflater::is_available())
        return out.missing(lob.length, LobFault::no_zlib);
    LobInflater inflater(lob.length, [&](std::span<const uint8_t> bytes) { out.data(bytes); });
    inflater.feed(lob.data);
    if (out.left() != 0)
        out.missing(out.left(), LobFault::damaged_stream);
}

} // namespace vexlo
