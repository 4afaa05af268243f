#include "rescue/row_reader.h"

#include <algorithm>
#include <optional>
#include <unordered_set>

#include "format/block_address.h"
#include "format/cache_header.h"
#include "rescue/cluster_key.h"
#include "rescue/dependency_width.h"
#include "rescue/row_builder.h"

namespace vexlo {

namespace {

constexpr uint8_t ROW_WHOLE = ROW_FIRST | ROW_LAST;
constexpr uint8_t KDBH_COMPRESSED = 0x40; // in the flags of the data header

RowFault fault_of(const FetchedBlock &block) {
    switch (block.health) {
    case Health::check_value:
        return RowFault::check_value;
    case Health::tail:
        return RowFault::tail;
    case Health::address:
    case Health::unformatted:
        return RowFault::address;
    case Health::unreadable:
        return block.loss == LossKind::missing_file ? RowFault::missing_file : RowFault::unreadable;
    default:
        return RowFault::none;
    }
}

// Whether the rows of a bad block are given all the same, as ones that cannot be trusted.
bool gives_suspects(Health health) {
    return health == Health::check_value || health == Health::tail;
}

// Whether a row with this fault may have values that were not found.
bool is_cut(RowFault fault) {
    switch (fault) {
    case RowFault::none:
    case RowFault::check_value:
    case RowFault::tail:
    case RowFault::cluster_key:
    case RowFault::lost_head:
    case RowFault::surplus:
        return false;
    default:
        return true;
    }
}

// The pieces of one row that were followed. Most rows have few.
class PieceTrail {
public:
    void clear() {
        few_.clear();
        many_.clear();
    }
    // False when the piece was followed before.
    bool add(uint32_t rdba, uint16_t slot) {
        constexpr size_t FEW = 16;
        const uint64_t piece = static_cast<uint64_t>(rdba) << 16 | slot;
        if (std::find(few_.begin(), few_.end(), piece) != few_.end())
            return false;
        if (few_.size() < FEW) {
            few_.push_back(piece);
            return true;
        }
        return many_.insert(piece).second;
    }

private:
    std::vector<uint64_t> few_;
    std::unordered_set<uint64_t> many_;
};

} // namespace

std::string_view fault_text(RowFault fault) {
    static constexpr std::string_view TEXTS[] = {
        "",
        "check value of the block is wrong",
        "tail of the block is torn",
        "block is not the one of its place",
        "block cannot be read",
        "file is missing",
        "row piece leaves the block",
        "value leaves the block",
        "value is longer than any can be",
        "chain of pieces is broken",
        "chain of pieces comes back to itself",
        "cluster key is lost",
        "block that leads to the row is lost",
        "more values than the table has columns",
    };
    return TEXTS[static_cast<size_t>(fault)];
}

RowCounts &RowCounts::operator+=(const RowCounts &other) {
    rows += other.rows;
    suspect += other.suspect;
    lost_defaults += other.lost_defaults;
    encrypted_values += other.encrypted_values;
    pieces += other.pieces;
    followed_pieces += other.followed_pieces;
    deleted_chains += other.deleted_chains;
    return *this;
}

PieceBudget::PieceBudget(const FileSet &files, uint32_t tablespace, RowOrder order) : order_(order) {
    uint64_t bytes = 0;
    for (const Datafile *file : files.scanned(tablespace))
        bytes += file->size();
    left_ = static_cast<int64_t>(bytes / (PIECE_HEADER + ROWID_SIZE));
}

// Reads the rows of one block after the other.
class RowReader::State {
public:
    explicit State(const RowSource &source)
        : source_(source), layout_(source.layout), tabn_(source.layout.cluster_table),
          reader_(source.files, source.options.trust_blocks),
          builder_(source.layout, source.temporary_directory),
          pieces_(source.pieces ? source.pieces
                                : std::make_shared<PieceBudget>(source.files, source.tablespace)) {}

    bool open_block(const LoadedRun &run, uint32_t i, SegmentTally &tally, ROW_AREA *area, TABLE_ROWS *rows);
    const RescuedRow *decode(const ROW_AREA &area, int slot, const uint8_t *piece);

    BlockReader &blocks() { return reader_; }
    const RowCounts &counts() {
        counts_.lost_defaults = builder_.lost_defaults();
        counts_.encrypted_values = builder_.encrypted_values();
        return counts_;
    }

private:
    // A block of the run at hand or of anywhere else.
    struct PieceBlock {
        FetchedBlock block;
        bool holds; // its bytes stay as long as the row
    };

    Health judge(const LoadedRun &run, uint32_t i) const;
    bool count_block(const BLOCK &blk, Health health, SegmentTally &tally);
    void count_other(uint32_t object, BlockCounts &counts) const;
    bool is_own(const BLOCK &blk) const {
        return source_.data_object == 0 || block_object(blk.data) == source_.data_object;
    }

    void set_fault(RowFault fault) {
        if (row_.fault == RowFault::none)
            row_.fault = fault;
        cut_ = cut_ || is_cut(fault);
    }
    // Whether nothing but a row's values stands behind the header of a head piece with these flags.
    bool is_plain(uint8_t flags) const {
        constexpr uint8_t PARTS = ROW_HEAD | ROW_WHOLE | ROW_PREVIOUS | ROW_NEXT;
        return (flags & PARTS) == (ROW_HEAD | ROW_WHOLE) && tabn_ == 0 && dependency_width_ == 0;
    }
    void read_head(const ROW_AREA &area, const uint8_t *piece);
    void read_moved(const ROW_AREA &area, const uint8_t *piece);
    bool take_key(const ROW_AREA &area, const uint8_t *&p, const uint8_t *end, bool holds);
    void take_values(const uint8_t *p, const uint8_t *end, unsigned count, uint8_t flags, bool holds);
    void follow(uint32_t rdba, uint16_t slot, bool moved);
    bool take_followed(const ROW_AREA &area, const uint8_t *piece, bool moved, bool holds, uint32_t *rdba,
                       uint16_t *slot);
    PieceBlock piece_block(uint32_t rdba);
    bool leads_to(const FetchedBlock &head, uint16_t slot, uint32_t rdba, uint32_t piece_slot) const;
    bool is_lost_head(uint32_t head, uint16_t head_slot, uint32_t piece_slot);
    const RescuedRow *finish();
    bool is_free(const ROW_AREA &area, int32_t entry) const;

    const RowSource source_;
    const TableLayout &layout_;
    const uint32_t tabn_;
    BlockReader reader_;
    RowBuilder builder_;
    PieceTrail trail_;
    const std::shared_ptr<PieceBudget> pieces_;

    LoadedRun run_;
    uint32_t rdba_ = 0;            // of the block opened last
    int32_t first_entry_ = 0;      // of the table there
    std::optional<SLOT_SET> free_; // the chain of free entries there
    RowFault block_fault_ = RowFault::none;
    uint32_t dependency_width_ = 0;
    RescuedRow row_;
    bool cut_ = false; // values of the row may not have been found
    RowCounts counts_;
};

// ---- Blocks

Health RowReader::State::judge(const LoadedRun &run, uint32_t i) const {
    if (std::binary_search(run.unreadable.begin(), run.unreadable.end(), i))
        return Health::unreadable;
    const uint32_t bsz = run.run.file->block_size();
    return block_health(run.data + size_t{i} * bsz, bsz, run.run.file->rdba(run.run.first + i),
                        source_.options.trust_blocks);
}

bool RowReader::State::open_block(const LoadedRun &run, uint32_t i, SegmentTally &tally, ROW_AREA *area,
                                  TABLE_ROWS *rows) {
    if (i == 0 || run_.data != run.data)
        run_ = run;
    const Datafile &file = *run.run.file;
    const uint64_t number = run.run.first + i;
    const BLOCK blk{run.data + size_t{i} * file.block_size(), file.block_size(), file.rdba(number)};
    const Health health = judge(run, i);
    if (is_bad(health))
        tally.add_loss({loss_of(health), source_.tablespace, file.identity().file,
                        file.identity().relative_file, number, 1});
    if (!count_block(blk, health, tally))
        return false;
    if (!locate_rows(blk, area)) {
        if (!is_bad(health))
            tally.add_loss({LossKind::unreadable, source_.tablespace, file.identity().file,
                            file.identity().relative_file, number, 1});
        return false;
    }
    if ((blk.data[area->kdbh] & KDBH_COMPRESSED) != 0) {
        tally.counts.compressed += !is_bad(health);
        return false;
    }
    if (!find_table(*area, tabn_, rows))
        return false;
    rdba_ = blk.rdba;
    first_entry_ = rows->first;
    free_.reset();
    if (has_free_slots(*area, *rows))
        free_ = free_slots(*area);
    block_fault_ = fault_of({blk, health, LossKind::unreadable, &file});
    if (layout_.dependencies != Dependencies::none)
        dependency_width_ = find_dependency_width(*area, tabn_, source_.files.compatibility(),
                                                  layout_.dependencies == Dependencies::unknown);
    row_.relative_file = file.identity().relative_file;
    row_.block = number;
    row_.row.offset = file.offset(number);
    return true;
}

// Counts a block of the segment. True when it is a data block that rows are read from.
bool RowReader::State::count_block(const BLOCK &blk, Health health, SegmentTally &tally) {
    BlockCounts ignored; // what goes through the files comes by blocks that are not the segment's
    BlockCounts &others = run_.run.scanned ? ignored : tally.counts;
    if (is_bad(health))
        return gives_suspects(health) && block_type(blk.data) == BLOCK_TABLE_DATA && is_own(blk);
    if (health == Health::unformatted) {
        ++others.unformatted;
    } else if ((block_flags(blk.data) & CACHE_FLAG_ENCRYPTED) != 0) {
        ++tally.counts.encrypted; // nothing tells whose it is but the place
    } else if (block_type(blk.data) != BLOCK_TABLE_DATA) {
        ++others.space;
    } else if (!is_own(blk)) {
        count_other(block_object(blk.data), others);
    } else {
        ++tally.counts.data;
        return true;
    }
    return false;
}

// A data object number between the table's first and its present one that no other object has was its own
// once.
void RowReader::State::count_other(uint32_t object, BlockCounts &counts) const {
    const bool between = object >= source_.object && object < source_.data_object;
    const bool taken = source_.dictionary != nullptr && source_.dictionary->has_data_object(object);
    ++(between && !taken ? counts.older : counts.foreign);
}

// ---- Rows

// An entry on the chain holds a link. One that holds the offset of a row instead is a row: the start of the
// chain is what is wrong then.
bool RowReader::State::is_free(const ROW_AREA &area, int32_t entry) const {
    return free_ && has_slot(area, entry) && (*free_)[static_cast<size_t>(entry)] && looks_free(area, entry);
}

const RescuedRow *RowReader::State::decode(const ROW_AREA &area, int slot, const uint8_t *piece) {
    if (is_free(area, first_entry_ + slot))
        return nullptr;
    row_.slot = static_cast<uint32_t>(slot);
    row_.fault = block_fault_;
    cut_ = false;
    if (piece == nullptr) {
        builder_.begin();
        set_fault(RowFault::piece_leaves_block);
        return finish();
    }
    const uint8_t flags = piece[0];
    if ((flags & ROW_DELETED) != 0) {
        counts_.deleted_chains += (flags & (ROW_HEAD | ROW_LAST)) == ROW_HEAD;
        return nullptr;
    }
    if ((flags & ROW_HEAD) != 0) {
        if (!is_plain(flags) || !builder_.take_plain_row(piece + PIECE_HEADER, block_end(area.blk), piece[2]))
            read_head(area, piece);
        return finish();
    }
    counts_.pieces += block_fault_ == RowFault::none;
    constexpr uint8_t MOVED = ROW_FIRST | ROW_PREVIOUS;
    if ((flags & MOVED) != ROW_FIRST || block_fault_ != RowFault::none)
        return nullptr;
    read_moved(area, piece);
    if (row_.fault != RowFault::lost_head)
        return nullptr;
    ++counts_.followed_pieces;
    return finish();
}

const RescuedRow *RowReader::State::finish() {
    if (builder_.in_parts())
        builder_.end_parts();
    if (layout_.all_stored && builder_.has_surplus())
        set_fault(RowFault::surplus);
    counts_.suspect += row_.is_suspect();
    if (!cut_)
        builder_.fill_defaults();
    row_.row.number = ++counts_.rows;
    row_.row.fields = builder_.fields();
    row_.columns = builder_.columns();
    return &row_;
}

// Reads the row that begins with a head piece.
void RowReader::State::read_head(const ROW_AREA &area, const uint8_t *piece) {
    const uint8_t flags = piece[0];
    const bool first = (flags & ROW_FIRST) != 0;
    const uint8_t *p = piece + PIECE_HEADER, *end = block_end(area.blk);
    builder_.begin();
    if (first && !take_key(area, p, end, true))
        set_fault(RowFault::cluster_key);
    if (end - p < static_cast<int64_t>(dependency_width_))
        return set_fault(RowFault::piece_leaves_block);
    p += dependency_width_;
    if ((flags & ROW_WHOLE) == ROW_WHOLE)
        return take_values(p, end, piece[2], flags, true);

    uint32_t rdba = 0;
    uint16_t slot = 0;
    const bool goes_on = (flags & ROW_LAST) == 0;
    if (goes_on && !next_address(p, end, &rdba, &slot))
        return set_fault(RowFault::piece_leaves_block);
    if (first)
        take_values(p, end, piece[2], flags, true);
    if (!goes_on)
        return set_fault(RowFault::broken_chain); // a head without columns that leads nowhere
    trail_.clear();
    trail_.add(rdba_, static_cast<uint16_t>(row_.slot));
    follow(rdba, slot, !first);
}

// Reads a row from its first piece, which was moved away from its head, when the block of the head is lost.
void RowReader::State::read_moved(const ROW_AREA &area, const uint8_t *piece) {
    const uint8_t *p = piece + PIECE_HEADER, *end = block_end(area.blk);
    if (tabn_ > 0)
        ++p;
    uint32_t head = 0;
    uint16_t head_slot = 0;
    if (p > end || !next_address(p, end, &head, &head_slot) || !is_lost_head(head, head_slot, row_.slot))
        return;
    builder_.begin();
    uint32_t rdba = 0;
    uint16_t slot = 0;
    row_.fault = RowFault::lost_head;
    if (tabn_ > 0) {
        p = piece + PIECE_HEADER;
        take_key(area, p, end, true);
        p += ROWID_SIZE;
    }
    if ((piece[0] & ROW_LAST) == 0 && !next_address(p, end, &rdba, &slot))
        return set_fault(RowFault::piece_leaves_block);
    take_values(p, end, piece[2], piece[0], true);
    if (rdba == 0)
        return;
    trail_.clear();
    trail_.add(rdba_, static_cast<uint16_t>(row_.slot));
    follow(rdba, slot, false);
}

// Whether the block that should lead to a moved row does not, because it is lost. A head in a block whose
// rows are given as suspects leads to the row from there.
bool RowReader::State::is_lost_head(uint32_t head, uint16_t head_slot, uint32_t piece_slot) {
    const FetchedBlock block = piece_block(head).block;
    if (block.is_sound())
        return false;
    return !gives_suspects(block.health) || !leads_to(block, head_slot, rdba_, piece_slot);
}

// Whether entry `slot` of the block is a head that goes on at the given piece.
bool RowReader::State::leads_to(const FetchedBlock &head, uint16_t slot, uint32_t rdba,
                                uint32_t piece_slot) const {
    ROW_AREA area;
    if (block_type(head.blk.data) != BLOCK_TABLE_DATA || !is_own(head.blk) || !locate_rows(head.blk, &area))
        return false;
    const uint8_t *piece = find_piece(area, table_slot(area, tabn_, slot));
    if (piece == nullptr || (piece[0] & (ROW_HEAD | ROW_FIRST | ROW_LAST | ROW_DELETED)) != ROW_HEAD)
        return false;
    const uint8_t *p = piece + PIECE_HEADER + dependency_width_, *end = block_end(head.blk);
    uint32_t next = 0;
    uint16_t next_slot = 0;
    return p <= end && next_address(p, end, &next, &next_slot) && next == rdba && next_slot == piece_slot;
}

// Takes the values of the cluster key that a piece names, and steps over the name. True outside a cluster.
bool RowReader::State::take_key(const ROW_AREA &area, const uint8_t *&p, const uint8_t *end, bool holds) {
    if (tabn_ == 0)
        return true;
    if (p >= end)
        return false;
    return read_cluster_key({area, holds, source_.tablespace}, *p++, reader_, builder_);
}

// Takes the values of one piece. With ROW_PREVIOUS the first one goes on with the last of the piece before,
// with ROW_NEXT the last one goes on in the next piece.
void RowReader::State::take_values(const uint8_t *p, const uint8_t *end, unsigned count, uint8_t flags,
                                   bool holds) {
    VALUE value;
    const bool previous = (flags & ROW_PREVIOUS) != 0;
    const bool next = (flags & ROW_NEXT) != 0 && (flags & ROW_LAST) == 0;
    if (builder_.in_parts() != previous)
        set_fault(RowFault::broken_chain);
    if (builder_.in_parts() && !previous)
        builder_.end_parts();
    if (previous && count > 0) {
        if (!next_cut_value(p, end, &value))
            return set_fault(RowFault::value_leaves_block);
        if (!builder_.add_part(value))
            return set_fault(RowFault::value_too_long);
        if (--count == 0 && next) // it goes on once more
            return;
        builder_.end_parts();
    }
    const unsigned whole = next && count > 0 ? count - 1 : count;
    if (!builder_.add_values(p, end, whole, holds))
        return set_fault(RowFault::value_leaves_block);
    if (whole == count)
        return;
    if (!next_cut_value(p, end, &value))
        return set_fault(RowFault::value_leaves_block);
    if (!builder_.add_part(value))
        set_fault(RowFault::value_too_long);
}

RowReader::State::PieceBlock RowReader::State::piece_block(uint32_t rdba) {
    const BlockPlace place = source_.files.find(source_.tablespace, rdba);
    const BlockRun &run = run_.run;
    if (place.file != run.file || place.block < run.first || place.block - run.first >= run.count)
        return {reader_.fetch(source_.tablespace, rdba), false};
    const uint32_t i = static_cast<uint32_t>(place.block - run.first), bsz = run.file->block_size();
    const Health health = judge(run_, i);
    return {{{run_.data + size_t{i} * bsz, bsz, rdba}, health, loss_of(health), run.file}, true};
}

// Follows a row from piece to piece. `moved`: the first one holds the row's first column.
void RowReader::State::follow(uint32_t rdba, uint16_t slot, bool moved) {
    for (bool more = true; more; moved = false) {
        if (!trail_.add(rdba, slot))
            return set_fault(RowFault::looping_chain);
        if (!pieces_->take())
            return set_fault(RowFault::broken_chain);
        const PieceBlock found = piece_block(rdba);
        const FetchedBlock &block = found.block;
        if (!block.is_sound())
            set_fault(fault_of(block));
        ROW_AREA area;
        if ((!block.is_sound() && !gives_suspects(block.health)) ||
            block_type(block.blk.data) != BLOCK_TABLE_DATA || !is_own(block.blk) ||
            !locate_rows(block.blk, &area))
            return set_fault(RowFault::broken_chain);
        const int32_t entry = table_slot(area, tabn_, slot);
        const uint8_t *piece = find_piece(area, entry);
        if (piece == nullptr)
            return set_fault(entry < 0 ? RowFault::broken_chain : RowFault::piece_leaves_block);
        more = take_followed(area, piece, moved, found.holds, &rdba, &slot);
    }
}

// Takes the values of a followed piece and the address of the next one. False when it is the last, or none of
// this row.
bool RowReader::State::take_followed(const ROW_AREA &area, const uint8_t *piece, bool moved, bool holds,
                                     uint32_t *rdba, uint16_t *slot) {
    const uint8_t flags = piece[0];
    const bool first = (flags & ROW_FIRST) != 0;
    const uint8_t *p = piece + PIECE_HEADER, *end = block_end(area.blk);
    if ((flags & (ROW_HEAD | ROW_DELETED)) != 0 || first != moved) {
        set_fault(RowFault::broken_chain);
        return false;
    }
    ++counts_.followed_pieces;
    if (first) {
        uint32_t head = 0;
        uint16_t head_slot = 0;
        if (!take_key(area, p, end, holds))
            set_fault(RowFault::cluster_key);
        if (!next_address(p, end, &head, &head_slot)) {
            set_fault(RowFault::piece_leaves_block);
            return false;
        }
        if (head != rdba_ || head_slot != row_.slot) {
            set_fault(RowFault::broken_chain);
            return false;
        }
    }
    const bool more = (flags & ROW_LAST) == 0;
    if (more && !next_address(p, end, rdba, slot)) {
        set_fault(RowFault::piece_leaves_block);
        return false;
    }
    take_values(p, end, piece[2], flags, holds);
    return more;
}

// ---- The reader

RowReader::RowReader(const RowSource &source) : state_(std::make_unique<State>(source)) {}

RowReader::~RowReader() = default;

bool RowReader::open_block(const LoadedRun &run, uint32_t i, SegmentTally &tally, ROW_AREA *area,
                           TABLE_ROWS *rows) {
    return state_->open_block(run, i, tally, area, rows);
}

const RescuedRow *RowReader::decode(const ROW_AREA &area, int slot, const uint8_t *piece) {
    return state_->decode(area, slot, piece);
}

const RowCounts &RowReader::counts() const {
    return state_->counts();
}

BlockReader &RowReader::blocks() {
    return state_->blocks();
}

} // namespace vexlo
