#include "rescue/lob_reader.h"

#include <algorithm>
#include <array>

#include "format/block_address.h"
#include "format/lob_block.h"
#include "rescue/block_health.h"
#include "values/lob_inflater.h"
#include "values/text_scan.h"

namespace vexlo {

namespace {

constexpr uint32_t RUN_BYTES = 1 << 20;
constexpr uint32_t SECURE_BLOCK_OVERHEAD = 132; // of a SecureFile block with one transaction entry

uint64_t chunks_of(uint64_t length, uint64_t chunk_size) {
    return (length + chunk_size - 1) / chunk_size;
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

std::string_view lob_fault_text(LobFault fault) {
    switch (fault) {
    case LobFault::none:
        break;
    case LobFault::no_segment:
        return "the segment of the LOB is not known";
    case LobFault::lost:
        return "nothing leads to the data of the LOB";
    case LobFault::missing_pages:
        return "blocks of the LOB are lost";
    case LobFault::unknown_length:
        return "the length of the LOB is lost, whole pages are given";
    case LobFault::length:
        return "the stated length of the LOB reaches behind its last chunk";
    case LobFault::damaged_stream:
        return "the compressed data of the LOB is damaged";
    case LobFault::list_block:
        return "the LOB lies behind a list of extents, which is not decoded";
    case LobFault::compress_low:
        return "the LOB is compressed by the method LOW, which is not decoded";
    case LobFault::deduplicated:
        return "the LOB is deduplicated, which is not decoded";
    case LobFault::encrypted:
        return "the LOB is encrypted";
    case LobFault::no_zlib:
        return "the LOB is compressed, and this program was built without zlib";
    }
    return {};
}

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

// Hands each of `count` blocks from `rdba` on to take(const BLOCK *), null for one that is bad or not there,
// until that returns false; returns whether it never did.
template <class TAKE>
bool LobReader::for_each_block(uint32_t tablespace, uint32_t rdba, uint32_t count, TAKE &&take) {
    const BlockPlace place = blocks_.files().find(tablespace, rdba);
    uint32_t held = 0; // blocks that the file holds
    if (place.file != nullptr && place.block != 0 && place.block < place.file->blocks())
        held = static_cast<uint32_t>(std::min<uint64_t>(count, place.file->blocks() - place.block));
    const uint32_t bsz = place.file != nullptr ? place.file->block_size() : 0;
    const auto take_lost = [&](LossKind kind, uint32_t i) {
        return take(lost_block(kind, tablespace, rdba + i, {place.file, place.block + i}));
    };
    buffer_.resize(RUN_BYTES + READ_SLACK);
    uint32_t done = 0;
    while (done < held) {
        const uint32_t wanted = std::min(RUN_BYTES / bsz, held - done);
        const uint32_t got = blocks_.read(tablespace, rdba + done, wanted, buffer_.data());
        for (uint32_t i = 0; i < got; ++i) {
            const BLOCK blk{buffer_.data() + size_t{i} * bsz, bsz, rdba + done + i};
            const Health health = block_health(blk.data, bsz, blk.rdba, blocks_.trusts_blocks());
            loss_.reset();
            if (!(is_bad(health) ? take_lost(loss_of(health), done + i)
                                 : take(health == Health::sound ? &blk : nullptr)))
                return false;
        }
        done += got;
        if (got < wanted && !take_lost(LossKind::unreadable, done++)) // one block cannot be read
            return false;
    }
    const LossKind kind = place.file != nullptr ? LossKind::unreadable : LossKind::missing_file;
    for (; done < count; ++done)
        if (!take_lost(kind, done))
            return false;
    return true;
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

// The block handed out last should have held data.
void LobReader::note_loss() {
    if (loss_)
        lost_.add_loss(*loss_);
}

// ---- BasicFile

void LobReader::read_chunks(const LobLocator &lob, const LobSegment &segment, Output &out) {
    if (!segment.places().known || segment.block_size() <= LOB_BLOCK_OVERHEAD)
        return out.fail(LobFault::no_segment);
    page_size_ = segment.block_size() - LOB_BLOCK_OVERHEAD;
    Plan plan;
    if (!make_plan(lob, segment, plan))
        return out.fail(LobFault::lost);
    if (const LobFault fault = choose_length(plan); fault != LobFault::none)
        out.fail(fault);
    out.set_length(plan.length);
    write_pieces(lob, segment, plan, out);
}

// Where the LOB's chunks are. False when nothing leads to them. A LOB of no bytes has a plan without pieces.
bool LobReader::make_plan(const LobLocator &lob, const LobSegment &segment, Plan &plan) {
    plan.chunk_blocks = plan.piece_blocks = segment.places().chunk_blocks;
    plan.blocks = lob.blocks;
    plan.bytes = lob.bytes;
    for (size_t i = 0; i < lob.addresses.size(); ++i)
        plan.pieces.push_back({i, lob.addresses[i]});
    plan.sort_pieces();
    bool head_found = lob.place == LobPlace::chunks;
    if (!head_found || !reaches_last_chunk(plan)) {
        const bool whole = add_index_entries(lob, segment, plan, &head_found);
        plan.length_known = head_found;
        const bool has_gaps = plan.pieces.size() != plan.end();
        if (!whole && (!head_found || has_gaps || !reaches_last_chunk(plan)))
            add_scanned_blocks(lob, segment, plan);
        if (!head_found && plan.pieces.empty()) {
            plan.length_known = true; // EMPTY, where an index that is whole does not know it
            return whole;
        }
    }
    if (plan.piece_blocks > 1)
        choose_page_numbers(segment, lob, plan);
    return true;
}

// Leaves one piece of each number, the one that came first, addresses before holes, and no holes at the end:
// behind the last chunk of a LOB stands no address either.
void LobReader::Plan::sort_pieces() {
    std::stable_sort(pieces.begin(), pieces.end(), [](const Piece &a, const Piece &b) {
        return a.number != b.number ? a.number < b.number : a.rdba != 0 && b.rdba == 0;
    });
    const auto same = [](const Piece &a, const Piece &b) { return a.number == b.number; };
    pieces.erase(std::unique(pieces.begin(), pieces.end(), same), pieces.end());
    while (!pieces.empty() && pieces.back().rdba == 0)
        pieces.pop_back();
}

// Makes the blocks of the chunks the pieces.
void LobReader::Plan::split_chunks() {
    std::vector<Piece> split;
    split.reserve(pieces.size() * piece_blocks);
    for (const Piece &chunk : pieces)
        for (uint32_t i = 0; i < piece_blocks; ++i)
            split.push_back({chunk.number * piece_blocks + i, chunk.rdba != 0 ? chunk.rdba + i : 0});
    pieces.swap(split);
    piece_blocks = 1;
}

// Adds what the LOB index has of the LOB. `*head_found` is set when an entry states the length. False when
// the index may lack something.
bool LobReader::add_index_entries(const LobLocator &lob, const LobSegment &segment, Plan &plan,
                                  bool *head_found) {
    std::vector<LobIndexEntry> entries;
    const bool whole = segment.index().find(lob.id, blocks_, entries) && segment.index().is_complete();
    // Pages of entries count chunks or blocks. Those of chunks are 0, 4, 12, 20, ... or, where the row holds
    // the first twelve addresses, 12, 20, ...; those of blocks are these times the blocks of a chunk.
    const auto counts_blocks = [&](const LobIndexEntry &entry) {
        const uint32_t unit = plan.chunk_blocks;
        return entry.page % unit == 0 && (entry.page / unit == 0 || (entry.page / unit) % 8 == 4);
    };
    const uint32_t unit = std::all_of(entries.begin(), entries.end(), counts_blocks) ? plan.chunk_blocks : 1;
    for (const LobIndexEntry &entry : entries) {
        if (entry.page == 0 && lob.place == LobPlace::index) {
            plan.blocks = entry.blocks;
            plan.bytes = entry.bytes;
            *head_found = true;
        }
        for (size_t i = 0; i < entry.addresses.size(); ++i)
            plan.pieces.push_back({entry.page / unit + i, entry.addresses[i]});
    }
    plan.sort_pieces();
    plan.gaps_are_holes = whole;
    return whole;
}

// Takes what no address leads to from the blocks themselves.
void LobReader::add_scanned_blocks(const LobLocator &lob, const LobSegment &segment, Plan &plan) {
    const std::span<const ScannedPage> pages = segment.scan().find(lob.id);
    const auto same_page = [](const ScannedPage &a, const ScannedPage &b) { return a.page == b.page; };
    const bool counts_chunks = std::adjacent_find(pages.begin(), pages.end(), same_page) != pages.end();
    if (!counts_chunks && !pages.empty())
        plan.split_chunks();
    const ScannedPage *before = nullptr;
    for (const ScannedPage &page : pages) { // of the blocks of a chunk the first one stands for all
        if (before == nullptr || before->page != page.page)
            plan.pieces.push_back({page.page, page.rdba});
        before = &page;
    }
    plan.sort_pieces();
}

// With chunks of several blocks, page numbers count blocks or chunks: the second block of the first chunk, or
// the first one of the second chunk, tells.
void LobReader::choose_page_numbers(const LobSegment &segment, const LobLocator &lob, Plan &plan) {
    const auto page_at = [&](uint32_t rdba) -> int64_t {
        const FetchedBlock block = blocks_.fetch(segment.places().data.tablespace, rdba);
        LOB_PAGE page;
        const bool found = block.is_sound() && locate_lob_page(block.blk, &page) && has_id(page.id, lob);
        return found ? int64_t{page.page} : -1;
    };
    for (const Piece &chunk : plan.pieces) {
        if (chunk.rdba == 0)
            continue;
        const uint32_t second = chunk.number == 0 ? 1 : 0;
        const int64_t page = page_at(chunk.rdba + second);
        if (page < 0)
            continue;
        plan.pages_count_blocks = static_cast<uint64_t>(page) != chunk.number;
        break;
    }
}

// Whether the chunks found are as many as the length asks for, in one of its readings.
bool LobReader::reaches_last_chunk(const Plan &plan) const {
    Plan copy;
    copy.chunk_blocks = plan.chunk_blocks;
    copy.piece_blocks = plan.piece_blocks;
    copy.blocks = plan.blocks;
    copy.bytes = plan.bytes;
    if (!plan.pieces.empty())
        copy.pieces.push_back(plan.pieces.back());
    return choose_length(copy) == LobFault::none;
}

// The length in bytes. A length that reaches behind the last chunk is cut there.
LobFault LobReader::choose_length(Plan &plan) const {
    const uint64_t chunk_size = uint64_t{page_size_} * plan.chunk_blocks;
    const uint64_t found = plan.end() * plan.piece_blocks * page_size_;
    if (!plan.length_known) {
        plan.length = found;
        return LobFault::unknown_length;
    }
    plan.length = plan.blocks * (counts_chunks(plan) ? chunk_size : page_size_) + plan.bytes;
    if (chunks_of(plan.length, chunk_size) <= plan.chunks())
        return LobFault::none;
    plan.length = found;
    return LobFault::length;
}

// Whether the whole blocks that a length states are chunks: they are where as blocks they would need fewer
// chunks than there are, or where the bytes behind them are more than a block holds. Where both readings fit,
// a length counts what page numbers count.
bool LobReader::counts_chunks(const Plan &plan) const {
    if (plan.chunk_blocks == 1 || plan.bytes > page_size_)
        return true;
    const uint64_t chunk_size = uint64_t{page_size_} * plan.chunk_blocks, chunks = plan.chunks();
    const uint64_t needed = chunks_of(uint64_t{plan.blocks} * page_size_ + plan.bytes, chunk_size);
    const bool both_fit =
        needed == chunks && chunks_of(plan.blocks * chunk_size + plan.bytes, chunk_size) == chunks;
    return needed < chunks || (both_fit && !plan.pages_count_blocks);
}

// Writes the LOB up to its length. Pieces that nothing leads to are holes or lost; more of them than the
// tablespace has bytes are no holes but damage.
void LobReader::write_pieces(const LobLocator &lob, const LobSegment &segment, const Plan &plan,
                             Output &out) {
    const uint64_t piece_size = uint64_t{page_size_} * plan.piece_blocks;
    const auto write_gap = [&](uint64_t bytes, bool is_hole) {
        bytes = std::min(out.left(), bytes);
        if (is_hole && bytes <= segment.tablespace_bytes())
            write_hole(lob, bytes, out);
        else
            out.missing(bytes, LobFault::missing_pages);
    };
    uint64_t next = 0;
    for (size_t i = 0; i < plan.pieces.size() && out.left() != 0;) {
        const Piece &piece = plan.pieces[i];
        if (piece.number > next)
            write_gap((piece.number - next) * piece_size, plan.gaps_are_holes);
        size_t count = 1;
        if (piece.rdba != 0)
            count = write_run(lob, segment, plan, i, out);
        else
            write_gap(piece_size, true);
        next = piece.number + count;
        i += count;
    }
    if (out.left() != 0)
        write_gap(out.left(), plan.gaps_are_holes);
}

// Holes read as zeros or, of characters, as spaces.
void LobReader::write_hole(const LobLocator &lob, uint64_t bytes, Output &out) {
    constexpr size_t FILL_SIZE = 8192;
    std::array<uint8_t, FILL_SIZE + READ_SLACK> fill{};
    if (lob.type != LobType::blob && !lob.utf16)
        fill.fill(' ');
    for (size_t i = lob.little_endian ? 0 : 1; lob.type != LobType::blob && lob.utf16 && i < fill.size();
         i += 2)
        fill[i] = ' ';
    for (uint64_t left = bytes; left != 0;) {
        const size_t piece = static_cast<size_t>(std::min<uint64_t>(left, FILL_SIZE));
        out.data({fill.data(), piece});
        left -= piece;
    }
}

// Writes piece `first` of the plan and those behind it that lie next to each other; returns how many.
size_t LobReader::write_run(const LobLocator &lob, const LobSegment &segment, const Plan &plan, size_t first,
                            Output &out) {
    const uint32_t blocks = plan.piece_blocks;
    const Piece &start = plan.pieces[first];
    const uint64_t wanted = chunks_of(out.left(), uint64_t{page_size_} * blocks);
    size_t count = 1;
    while (count < wanted && first + count < plan.pieces.size() && count < RUN_BYTES / blocks &&
           plan.pieces[first + count].number == start.number + count &&
           plan.pieces[first + count].rdba == start.rdba + count * blocks)
        ++count;
    const uint64_t last_blocks = chunks_of(out.left(), page_size_);
    const uint64_t run = std::min<uint64_t>(count * blocks, last_blocks);
    uint64_t block = 0;
    for_each_block(
        segment.places().data.tablespace, start.rdba, static_cast<uint32_t>(run), [&](const BLOCK *blk) {
            const uint64_t page =
                plan.pages_count_blocks ? start.number * blocks + block : start.number + block / blocks;
            std::span<const uint8_t> data;
            if (blk != nullptr && is_page_of(*blk, lob, segment, static_cast<uint32_t>(page), &data)) {
                out.data(data);
            } else {
                note_loss();
                out.missing(page_size_, LobFault::missing_pages);
            }
            ++block;
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

void LobReader::read_extents(const LobLocator &lob, const LobSegment &segment, Output &out) {
    if (!segment.places().known)
        return out.fail(LobFault::no_segment);
    if (!lob.compressed)
        return read_plain_extents(lob, segment, out);
    if (!LobInflater::is_available())
        return out.missing(lob.length, LobFault::no_zlib);
    LobInflater inflater(lob.length, [&](std::span<const uint8_t> bytes) { out.data(bytes); });
    uint64_t left = lob.stored_length;
    LobFault fault = LobFault::none; // nothing can be inflated behind a block that is lost
    for_each_extent_block(lob, segment, [&](const BLOCK *blk) {
        std::span<const uint8_t> data;
        if (!secure_data(blk, lob, segment, &data)) {
            note_loss();
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
    uint64_t full = segment.block_size() - std::min(segment.block_size(), SECURE_BLOCK_OVERHEAD);
    for_each_extent_block(lob, segment, [&](const BLOCK *blk) {
        std::span<const uint8_t> data;
        if (secure_data(blk, lob, segment, &data)) {
            full = std::max<uint64_t>(full, data.size());
            out.data(data);
        } else {
            note_loss();
            out.missing(std::max<uint64_t>(full, 1), LobFault::missing_pages);
        }
        return out.left() != 0;
    });
    if (out.left() != 0)
        out.missing(out.left(), LobFault::missing_pages);
}

// Hands the blocks of all extents to take(const BLOCK *) until it returns false. Extents that begin with
// blocks of other LOBs alone are not this LOB's, or no longer: they end there.
template <class TAKE>
void LobReader::for_each_extent_block(const LobLocator &lob, const LobSegment &segment, TAKE &&take) {
    constexpr uint32_t FOREIGN_BLOCKS = 64;
    uint32_t foreign = 0;
    bool has_own = false;
    const auto take_own = [&](const BLOCK *blk) {
        std::span<const uint8_t> data;
        has_own = has_own || secure_data(blk, lob, segment, &data);
        foreign += blk != nullptr && !has_own;
        return take(blk) && (has_own || foreign < FOREIGN_BLOCKS);
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
