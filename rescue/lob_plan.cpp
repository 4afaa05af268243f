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
      rest_(lob.bytes) {
    fault_ = find_pieces();
    if (fault_ != LobFault::none)
        return;
    if (piece_blocks_ > 1)
        choose_page_numbers();
    choose_length();
}

LobFault LobPlan::find_pieces() {
    for (size_t i = 0; i < lob_.addresses.size(); ++i)
        pieces_.push_back({i, lob_.addresses[i]});
    sort_pieces();
    bool head_found = lob_.place == LobPlace::chunks;
    if (head_found && reaches_last_chunk())
        return LobFault::none;
    const bool whole = add_index_entries(&head_found);
    if (fault_ != LobFault::none)
        return fault_;
    const bool has_gaps = pieces_.size() != end();
    if (!whole && (!head_found || has_gaps || !reaches_last_chunk()))
        add_scanned_blocks();
    // Without any piece or entry the LOB is EMPTY, if an index that is whole does not know it.
    length_known_ = head_found || pieces_.empty();
    return whole || head_found || !pieces_.empty() ? LobFault::none : LobFault::lost;
}

// Adds what the LOB index has of the LOB. `*head_found` is set when an entry states the length. False when
// the index may lack something. With entries that can be read in two ways the plan has a fault.
bool LobPlan::add_index_entries(bool *head_found) {
    std::vector<LobIndexEntry> entries;
    uint64_t leaves = 0;
    gaps_are_holes_ =
        segment_.index().find(lob_.id, blocks_, entries, leaves) && segment_.index().is_complete();
    // The leaf that would have the LOB's entries, and the one behind it, are read for many LOBs.
    visited_ +=
        entries.size() * sizeof(LobIndexEntry) + (std::max<uint64_t>(leaves, 2) - 2) * segment_.block_size();
    const std::optional<uint32_t> unit = choose_index_unit(entries);
    if (!unit) {
        fault_ = LobFault::ambiguous;
        return gaps_are_holes_;
    }
    for (const LobIndexEntry &entry : entries) {
        if (entry.page == 0 && lob_.place == LobPlace::index) {
            whole_ = entry.blocks;
            rest_ = entry.bytes;
            *head_found = true;
        }
        for (size_t i = 0; i < entry.addresses.size(); ++i)
            pieces_.push_back({entry.page / *unit + i, entry.addresses[i]});
    }
    sort_pieces();
    return gaps_are_holes_;
}

// What the pages of index entries count: the blocks of a chunk, or 1 for chunks. Where both fit, the blocks
// that the entries lead to tell; nothing when they do not.
std::optional<uint32_t> LobPlan::choose_index_unit(const std::vector<LobIndexEntry> &entries) {
    const auto all_fit = [&](uint32_t unit) {
        return std::all_of(entries.begin(), entries.end(),
                           [&](const LobIndexEntry &entry) { return fits(entry, unit); });
    };
    const auto is_head = [](const LobIndexEntry &entry) { return entry.page == 0; };
    if (chunk_blocks_ == 1 || !all_fit(chunk_blocks_))
        return 1;
    if (std::all_of(entries.begin(), entries.end(), is_head) || !all_fit(1))
        return chunk_blocks_;
    std::optional<uint32_t> chosen;
    for (const uint32_t unit : {chunk_blocks_, 1u})
        if (agrees(entries, unit, true) || agrees(entries, unit, false)) {
            if (chosen)
                return std::nullopt;
            chosen = unit;
        }
    return chosen;
}

// Chunks of entries are 0, 4, 12, 20, ... or, behind the addresses that the row holds, 12, 20, ...
bool LobPlan::fits(const LobIndexEntry &entry, uint32_t unit) const {
    const uint32_t chunk = entry.page / unit;
    return entry.page % unit == 0 && (chunk == 0 || (chunk % 8 == 4 && chunk >= lob_.addresses.size()));
}

// Whether the blocks of the LOB, as far as a few are looked at, are the pages that this reading makes them.
bool LobPlan::agrees(const std::vector<LobIndexEntry> &entries, uint32_t unit, bool pages_count_blocks) {
    constexpr size_t ENTRIES = 4;
    const auto agree = [&](uint64_t first, const std::vector<uint32_t> &addresses) {
        for (size_t i = 0; i < addresses.size(); ++i)
            if (!states_pages(first + i, addresses[i], pages_count_blocks))
                return false;
        return true;
    };
    if (!agree(0, lob_.addresses))
        return false;
    const std::span few = std::span(entries).first(std::min(ENTRIES, entries.size()));
    return std::all_of(few.begin(), few.end(),
                       [&](const LobIndexEntry &entry) { return agree(entry.page / unit, entry.addresses); });
}

// Whether the first two blocks of a chunk state its pages, unless they are none of the LOB.
bool LobPlan::states_pages(uint64_t chunk, uint32_t rdba, bool pages_count_blocks) {
    for (uint32_t block = 0; rdba != 0 && block < 2; ++block) {
        const std::optional<uint32_t> page = page_at(rdba + block);
        if (page && *page != (pages_count_blocks ? chunk * chunk_blocks_ + block : chunk))
            return false;
    }
    return true;
}

// The page that a block of the LOB states.
std::optional<uint32_t> LobPlan::page_at(uint32_t rdba) {
    const FetchedBlock block = blocks_.fetch(segment_.places().data.tablespace, rdba);
    LOB_PAGE page;
    if (!block.is_sound() || !locate_lob_page(block.blk, &page) ||
        !std::equal(lob_.id.begin(), lob_.id.end(), page.id))
        return std::nullopt;
    return page.page;
}

// Takes what no address leads to from the blocks themselves.
void LobPlan::add_scanned_blocks() {
    std::vector<ScannedPage> pages;
    visited_ += segment_.scan().find(lob_.id, blocks_, pages) * segment_.block_size();
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
    for (const LobPiece &chunk : pieces_) {
        if (chunk.rdba == 0)
            continue;
        const uint32_t second = chunk.number == 0 ? 1 : 0;
        const std::optional<uint32_t> page = page_at(chunk.rdba + second);
        if (!page)
            continue;
        pages_count_blocks_ = *page != chunk.number;
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
