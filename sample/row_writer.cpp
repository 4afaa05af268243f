#include "row_writer.h"

#include <stdexcept>

namespace sample {

namespace {

constexpr int MAIN_LANE = 0;
constexpr int OVERFLOW_LANE = 1;
constexpr int KEY_LANE = 2;
constexpr size_t ADDRESS_SIZE = 6;
constexpr size_t STUB_SIZE = 3 + ADDRESS_SIZE;
// Most that precedes the columns of a piece: flags, lock, count, key index, and three fields of six bytes.
constexpr size_t MAX_PIECE_HEAD = 4 + 3 * ADDRESS_SIZE;
constexpr size_t WIDE_DEPENDENCY = 2; // bytes more than an address of the longer dependency SCN
constexpr uint16_t MAX_KEYS = 255;    // the key index of a member row is one byte
constexpr int KEY_TABLE = 0;
const Bytes DEPENDENCY_SCN{0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0xF3, 0xA1};

uint8_t head_flags(uint8_t part_flags, int table, const RowPlacement &placement) {
    auto flags = static_cast<uint8_t>(part_flags | ROW_H);
    if (table > KEY_TABLE)
        flags |= ROW_C;
    if (placement.deleted)
        flags |= ROW_D;
    return placement.flags.value_or(flags);
}

// The SCN that the head piece carries, its low bytes last.
std::optional<Bytes> dependency(const RowPlacement &placement) {
    if (placement.extra)
        return Bytes(DEPENDENCY_SCN.end() - static_cast<ptrdiff_t>(placement.extra_bytes),
                     DEPENDENCY_SCN.end());
    return std::nullopt;
}

size_t head_size(const RowPlacement &placement) {
    return MAX_PIECE_HEAD + (placement.extra_bytes > ADDRESS_SIZE ? WIDE_DEPENDENCY : 0);
}

} // namespace

RowWriter::RowWriter(std::unique_ptr<Segment> segment, int tables)
    : segment_(std::move(segment)), tables_(tables),
      max_piece_(TableBlock::max_piece(segment_->block_options(0, tables))) {}

RowAddress RowWriter::insert(std::span<const Value> row, const RowPlacement &placement) {
    return store_row(0, row, placement);
}

void RowWriter::begin_key(std::span<const Value> key, KeyForm form) {
    if (form == KeyForm::chained && key.size() < 2)
        throw std::invalid_argument("a key of one column cannot be chained");
    key_form_ = form;
    key_.emplace(key.begin(), key.end());
    key_index_.reset();
}

RowAddress RowWriter::insert_member(int table, std::span<const Value> row, const RowPlacement &placement) {
    if (table <= KEY_TABLE || table >= tables_ || !key_)
        throw std::invalid_argument("cluster row without a key or with an unknown table number");
    return store_row(table, row, placement);
}

RowAddress RowWriter::store_row(int table, std::span<const Value> row, const RowPlacement &placement) {
    if (!placement.keep_trailing_nulls)
        row = trim_trailing_nulls(row);
    std::vector<Cut> cuts = placement.cuts;
    if (cuts.empty())
        cuts = plan_cuts(row, max_piece_ - head_size(placement) - key_cost(), placement.cut_order);
    if (!cuts.empty() || placement.migrated)
        return store_parts(table, cut_row(row, cuts), placement);

    PieceHead head;
    head.flags = head_flags(ROW_F | ROW_L, table, placement);
    head.extra = dependency(placement);
    if (table > KEY_TABLE)
        head.key_index = 0; // store_head sets it
    return store_head(table, encode_piece(head, row, placement.form));
}

// Stores the last part first, so that every part's address is known to the one before it.
RowAddress RowWriter::store_parts(int table, std::span<const RowPart> parts, const RowPlacement &placement) {
    std::optional<RowAddress> next;
    for (size_t i = parts.size(); i-- > 1;) {
        PieceHead head;
        head.flags = parts[i].flags;
        head.next = next;
        next = store_overflow(table, encode_piece(head, parts[i].columns, placement.form),
                              placement.piece_per_block);
    }
    if (placement.migrated)
        return store_migrated(table, parts.front(), next, placement);

    PieceHead head;
    head.flags = head_flags(parts.front().flags, table, placement);
    head.extra = dependency(placement);
    head.next = next;
    if (table > KEY_TABLE)
        head.key_index = 0;
    return store_head(table, encode_piece(head, parts.front().columns, placement.form));
}

// The row's first piece goes to another block and knows its stub's address, which becomes the row's own.
RowAddress RowWriter::store_migrated(int table, const RowPart &first, std::optional<RowAddress> next,
                                     const RowPlacement &placement) {
    make_room(STUB_SIZE);
    RowAddress stub{main_->rdba(), main_->slots(table)};

    PieceHead moved;
    moved.flags = first.flags;
    moved.head_rowid = stub;
    moved.next = next;
    if (table > KEY_TABLE)
        moved.key_index = *key_index_;
    Bytes piece = encode_piece(moved, first.columns, placement.form);
    if (table > KEY_TABLE)
        copy_keys_to_overflow(piece.size());

    PieceHead head;
    head.flags = head_flags(0, table, placement);
    head.extra = dependency(placement);
    head.next = store_overflow(table, std::move(piece), placement.piece_per_block && table == KEY_TABLE);
    main_->add(encode_piece(head, {}), table);
    if (table > KEY_TABLE)
        key_members_[*key_index_]++;
    return stub;
}

RowAddress RowWriter::store_head(int table, Bytes piece) {
    make_room(piece.size());
    if (table > KEY_TABLE) {
        piece[3] = *key_index_;
        key_members_[*key_index_]++;
    }
    uint16_t slot = main_->add(std::move(piece), table);
    return {main_->rdba(), slot};
}

RowAddress RowWriter::store_overflow(int table, Bytes piece, bool in_new_block) {
    make_overflow_room(piece.size(), in_new_block);
    uint16_t slot = overflow_->add(std::move(piece), table);
    return {overflow_->rdba(), slot};
}

void RowWriter::make_overflow_room(size_t bytes, bool in_new_block) {
    if (overflow_ && (in_new_block || !overflow_->fits(bytes, 1, true)))
        flush_overflow();
    if (!overflow_)
        overflow_ = new_block(OVERFLOW_LANE);
}

// Sees that the current block takes a piece of that size and, in a cluster, holds a row of the current key.
void RowWriter::make_room(size_t bytes) {
    auto fits = [&] {
        bool key_missing = key_ && !key_index_;
        if (key_missing && main_->slots(KEY_TABLE) == MAX_KEYS)
            return false;
        return main_->fits(bytes + (key_missing ? key_cost() : 0), key_missing ? 2 : 1, main_->empty());
    };
    if (main_ && !fits())
        flush();
    if (!main_)
        main_ = new_block(MAIN_LANE);
    if (key_ && !key_index_)
        add_key_row();
}

Bytes RowWriter::key_piece(RowAddress self) const {
    KeyHead head;
    head.previous = self;
    head.next = self;
    return encode_key_piece(head, *key_);
}

// The piece in which a key that does not lie whole in the block of its members goes on.
RowAddress RowWriter::store_key_rest(RowAddress stub, std::span<const Value> columns) {
    KeyHead head;
    bool migrated = key_form_ == KeyForm::migrated;
    head.flags = ROW_K | ROW_L | (migrated ? ROW_F : 0);
    if (migrated)
        head.head_rowid = stub;
    Bytes piece = encode_key_piece(head, columns);
    if (key_rests_ && !key_rests_->fits(piece.size(), 1, true))
        flush_key_rests();
    if (!key_rests_)
        key_rests_ = new_block(KEY_LANE);
    uint16_t slot = key_rests_->add(std::move(piece), KEY_TABLE);
    return {key_rests_->rdba(), slot};
}

void RowWriter::add_key_row() {
    RowAddress self{main_->rdba(), main_->slots(KEY_TABLE)};
    if (key_form_ == KeyForm::whole) {
        main_->add(key_piece(self), KEY_TABLE);
    } else {
        size_t here = key_form_ == KeyForm::chained ? 1 : 0;
        KeyHead head;
        head.flags = ROW_K | ROW_H | (here > 0 ? ROW_F : 0);
        head.previous = self;
        head.next = self;
        head.next_piece = store_key_rest(self, std::span<const Value>(*key_).subspan(here));
        main_->add(encode_key_piece(head, std::span<const Value>(*key_).first(here)), KEY_TABLE);
    }
    key_index_ = static_cast<uint8_t>(self.slot);
    key_members_.push_back(0);
}

size_t RowWriter::key_cost() const {
    size_t next_piece = key_form_ == KeyForm::whole ? 0 : ADDRESS_SIZE;
    return key_ ? key_piece({}).size() + next_piece + sizeof(uint16_t) : 0;
}

// Readers look up the key of a migrated member row by its index in the stub's block or in the row's own
// block, so both blocks must hold the same key under that index.
void RowWriter::copy_keys_to_overflow(size_t bytes) {
    size_t missing = 0;
    uint16_t first = overflow_ ? overflow_->slots(KEY_TABLE) : uint16_t{0};
    for (uint16_t k = first; k < main_->slots(KEY_TABLE); k++)
        missing += main_->piece(k, KEY_TABLE).size();
    size_t pieces = size_t{1} + main_->slots(KEY_TABLE) - first;
    if (overflow_ && !overflow_->fits(missing + bytes, pieces, true))
        flush_overflow();
    if (!overflow_)
        overflow_ = new_block(OVERFLOW_LANE);
    for (uint16_t k = overflow_->slots(KEY_TABLE); k < main_->slots(KEY_TABLE); k++)
        overflow_->add(main_->piece(k, KEY_TABLE), KEY_TABLE);
}

void RowWriter::add_free_slot(int table) {
    make_room(0);
    main_->add_free(table);
}

RowAddress RowWriter::insert_piece(Bytes piece, int table) {
    make_room(piece.size());
    uint16_t slot = main_->add(std::move(piece), table);
    return {main_->rdba(), slot};
}

void RowWriter::flush() {
    if (!main_)
        return;
    for (uint16_t k = 0; k < key_members_.size(); k++) {
        Bytes key = main_->piece(k, KEY_TABLE);
        store_le16(&key[3], key_members_[k]);
        store_le16(&key[5], key_members_[k]);
        main_->replace(k, std::move(key), KEY_TABLE);
    }
    segment_->write_block(main_->rdba(), main_->finish());
    main_.reset();
    // The key rows of the overflow block mirror those of this block.
    if (tables_ > 1)
        flush_overflow();
    key_index_.reset();
    key_members_.clear();
}

void RowWriter::flush_overflow() {
    if (!overflow_)
        return;
    segment_->write_block(overflow_->rdba(), overflow_->finish());
    overflow_.reset();
}

void RowWriter::flush_key_rests() {
    if (!key_rests_)
        return;
    segment_->write_block(key_rests_->rdba(), key_rests_->finish());
    key_rests_.reset();
}

void RowWriter::close() {
    if (closed_)
        return;
    closed_ = true;
    flush();
    flush_overflow();
    flush_key_rests();
    segment_->close();
}

TableBlock RowWriter::new_block(int lane) {
    return TableBlock(segment_->block_options(segment_->next_block(lane), tables_));
}

} // namespace sample
