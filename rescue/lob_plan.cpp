#include "rescue/lob_plan.h"

#include <algorithm>

#include "format/lob_block.h"

namespace vexlo {

namespace {

uint64_t ceil_div(uint64_t bytes, uint64_t unit) {
    return (bytes + unit - 1) / unit;
}

} // namespace

LobPlan::LobPlan(const LobLocator &lob, const LobSegment &segment, BlockReader &blocks, uint32_t page_size)
    : lob_(lob), segment_(segment), blocks_(blocks), page_size_(page_size),
      chunk_blocks_(segment.places().chunk_blocks), piece_blocks_(chunk_blocks_), whole_(lob.blocks),
      rest_(lob.bytes) {}

std::optional<LobPlan> LobPlan::make(const LobLocator &lob, const LobSegment &segment, BlockReader &blocks,
                                     uint32_t page_size) {
    LobPlan plan(lob, segment, blocks, page_size);
    if (!plan.find_pieces())
        return std::nullopt;
    if (plan.piece_blocks_ > 1)
        plan.choose_page_numbers();
    plan.choose_length();
    return plan;
}

// False when nothing leads to the LOB.
bool LobPlan::find_pieces() {
    for (size_t i = 0; i < lob_.addresses.size(); ++i)
        pieces_.push_back({i, lob_.addresses[i]});
    sort_pieces();
    bool head_found = lob_.place == LobPlace::chunks;
    if (head_found && reaches_last_chunk())
        return true;
    const bool whole = add_index_entries(&head_found);
    const bool has_gaps = pieces_.size() != end();
    if (!whole && (!head_found || has_gaps || !reaches_last_chunk()))
        add_scanned_blocks();
    // Without any piece or entry the LOB is EMPTY, if an index that is whole does not know it.
    length_known_ = head_found || pieces_.empty();
    return whole || head_found || !pieces_.empty();
}

// Adds what the LOB index has of the LOB. `*head_found` is set when an entry states the length. False when
// the index may lack something.
bool LobPlan::add_index_entries(bool *head_found) {
    std::vector<LobIndexEntry> entries;
    gaps_are_holes_ = segment_.index().find(lob_.id, blocks_, entries) && segment_.index().is_complete();
    // Pages of entries count chunks or blocks. Those of chunks are 0, 4, 12, 20, ... or, where the row holds
    // the first twelve addresses, 12, 20, ...; those of blocks are these times the blocks of a chunk.
    const auto counts_blocks = [&](const LobIndexEntry &entry) {
        const uint32_t chunk = entry.page / chunk_blocks_;
        return entry.page % chunk_blocks_ == 0 && (chunk == 0 || chunk % 8 == 4);
    };
    const uint32_t unit = std::all_of(entries.begin(), entries.end(), counts_blocks) ? chunk_blocks_ : 1;
    for (const LobIndexEntry &entry : entries) {
        if (entry.page == 0 && lob_.place == LobPlace::index) {
            whole_ = entry.blocks;
            rest_ = entry.bytes;
            *head_found = true;
        }
        for (size_t i = 0; i < entry.addresses.size(); ++i)
            pieces_.push_back({entry.page / unit + i, entry.addresses[i]});
    }
    sort_pieces();
    return gaps_are_holes_;
}

// Takes what no address leads to from the blocks themselves.
void LobPlan::add_scanned_blocks() {
    const std::span<const ScannedPage> pages = segment_.scan().find(lob_.id);
    const auto same_page = [](const ScannedPage &a, const ScannedPage &b) { return a.page == b.page; };
    const bool count_chunks = std::adjacent_find(pages.begin(), pages.end(), same_page) != pages.end();
    if (!count_chunks && !pages.empty())
        split_chunks();
    const ScannedPage *before = nullptr;
    for (const ScannedPage &page : pages) { // of the blocks of a chunk the first one stands for all
        if (before == nullptr || before->page != page.page)
            pieces_.push_back({page.page, page.rdba});
        before = &page;
    }
    sort_pieces();
}

// Leaves one piece of each number, the one that came first, addresses before holes, and no holes at the end:
// behind the last chunk of a LOB stands no address either.
void LobPlan::sort_pieces() {
    std::stable_sort(pieces_.begin(), pieces_.end(), [](const LobPiece &a, const LobPiece &b) {
        return a.number != b.number ? a.number < b.number : a.rdba != 0 && b.rdba == 0;
    });
    const auto same = [](const LobPiece &a, const LobPiece &b) { return a.number == b.number; };
    pieces_.erase(std::unique(pieces_.begin(), pieces_.end(), same), pieces_.end());
    while (!pieces_.empty() && pieces_.back().rdba == 0)
        pieces_.pop_back();
}

// Makes the blocks of the chunks the pieces.
void LobPlan::split_chunks() {
    std::vector<LobPiece> split;
    split.reserve(pieces_.size() * piece_blocks_);
    for (const LobPiece &chunk : pieces_)
        for (uint32_t i = 0; i < piece_blocks_; ++i)
            split.push_back({chunk.number * piece_blocks_ + i, chunk.rdba != 0 ? chunk.rdba + i : 0});
    pieces_.swap(split);
    piece_blocks_ = 1;
}

// With chunks of several blocks, page numbers count blocks or chunks: the second block of the first chunk, or
// the first one of the second chunk, tells.
void LobPlan::choose_page_numbers() {
    const auto page_at = [&](uint32_t rdba) -> int64_t {
        const FetchedBlock block = blocks_.fetch(segment_.places().data.tablespace, rdba);
        LOB_PAGE page;
        const bool found = block.is_sound() && locate_lob_page(block.blk, &page) &&
                           std::equal(lob_.id.begin(), lob_.id.end(), page.id);
        return found ? int64_t{page.page} : -1;
    };
    for (const LobPiece &chunk : pieces_) {
        if (chunk.rdba == 0)
            continue;
        const uint32_t second = chunk.number == 0 ? 1 : 0;
        const int64_t page = page_at(chunk.rdba + second);
        if (page < 0)
            continue;
        pages_count_blocks_ = static_cast<uint64_t>(page) != chunk.number;
        break;
    }
}

// A length that reaches behind the last chunk is cut there.
void LobPlan::choose_length() {
    length_ = end() * piece_blocks_ * page_size_;
    if (!length_known_)
        length_fault_ = LobFault::unknown_length;
    else if (!reaches_last_chunk())
        length_fault_ = LobFault::length;
    else
        length_ = stated_length();
}

// Whether the chunks found are as many as the length asks for.
bool LobPlan::reaches_last_chunk() const {
    return ceil_div(stated_length(), chunk_size()) <= chunks();
}

uint64_t LobPlan::stated_length() const {
    return whole_ * (counts_chunks() ? chunk_size() : page_size_) + rest_;
}

// Whether the whole blocks that a length states are chunks: they are where as blocks they would need fewer
// chunks than there are, or where the bytes behind them are more than a block holds. Where both readings fit,
// a length counts what page numbers count.
bool LobPlan::counts_chunks() const {
    if (chunk_blocks_ == 1 || rest_ > page_size_)
        return true;
    const uint64_t needed = ceil_div(uint64_t{whole_} * page_size_ + rest_, chunk_size());
    const bool both_fit =
        needed == chunks() && ceil_div(whole_ * chunk_size() + rest_, chunk_size()) == chunks();
    return needed < chunks() || (both_fit && !pages_count_blocks_);
}

} // namespace vexlo
