#include "block.h"

#include <algorithm>
#include <bit>
#include <stdexcept>

namespace sample {

namespace {

constexpr size_t EXTRA_FIXED_SIZE = 8;
constexpr size_t DATA_HEADER_SIZE = 14;
constexpr size_t TABLE_ENTRY_SIZE = 4;
constexpr int16_t NO_FREE_SLOT = -1;
constexpr uint8_t TRANSACTION_TYPE_DATA = 1;

size_t room_for_rows(const TableBlockOptions &o) {
    size_t fixed = data_header_offset(o) + DATA_HEADER_SIZE +
                   TABLE_ENTRY_SIZE * static_cast<size_t>(o.tables) + TAIL_SIZE;
    return o.block_size > fixed ? o.block_size - fixed : 0;
}

void write_transaction_header(Bytes &block, const TableBlockOptions &o) {
    uint8_t *h = block.data() + TRANSACTION_HEADER;
    h[0] = TRANSACTION_TYPE_DATA;
    store_le32(h + 4, o.objd);
    store_le32(h + 8, o.scn_base);
    store_le16(h + 12, o.scn_wrap);
    h[16] = static_cast<uint8_t>(o.itl.size());
    h[17] = o.itl_count_high;
    h[18] = o.flags.value_or(o.extra ? TRANSACTION_FLAGS_EXTRA : TRANSACTION_FLAGS_PLAIN);
    h[19] = o.free_list_slot;
    store_le32(h + 20, o.free_list_next);
}

void write_itl(uint8_t *p, const ItlEntry &e) {
    store_le16(p, e.undo_segment);
    store_le16(p + 2, e.undo_slot);
    store_le32(p + 4, e.undo_sequence);
    store_le32(p + 8, e.undo_rdba);
    store_le16(p + 12, e.undo_block_sequence);
    p[14] = e.undo_record;
    store_le16(p + 16, e.flags);
    store_le16(p + 18, e.scn_wrap);
    store_le32(p + 20, e.scn_base);
}

void write_extra(uint8_t *p, const ExtraArea &extra) {
    store_le32(p, extra.inc);
    store_le16(p + 4, static_cast<uint16_t>(extra.body.size()));
    store_le16(p + 6, extra.upper_flags);
    std::copy(extra.body.begin(), extra.body.end(), p + EXTRA_FIXED_SIZE);
}

// The signed 16-bit header fields hold sizes and offsets, all below 32 KiB.
void store_size(uint8_t *p, size_t v) {
    store_le16(p, static_cast<uint16_t>(v));
}

} // namespace

uint8_t format_byte(size_t block_size) {
    // The top three bits are the size class: 3 for 2 KiB to 7 for 32 KiB.
    int size_class = std::countr_zero(block_size) - 8;
    return static_cast<uint8_t>(size_class << 5 | 0x02);
}

Bytes empty_block(size_t block_size, const CacheHeader &header) {
    Bytes block(block_size);
    block[0] = header.type;
    block[1] = header.format.value_or(format_byte(block_size));
    store_le32(&block[4], header.rdba);
    store_le32(&block[8], header.scn_base);
    store_le16(&block[12], header.scn_wrap);
    block[14] = header.sequence;
    block[15] = header.flags;
    write_tail(block);
    return block;
}

void write_tail(std::span<uint8_t> block) {
    uint8_t *tail = block.data() + block.size() - TAIL_SIZE;
    tail[0] = block[14];
    tail[1] = block[0];
    tail[2] = block[8];
    tail[3] = block[9];
}

uint16_t fold_words(ByteView block) {
    uint16_t fold = 0;
    for (size_t i = 0; i + 1 < block.size(); i += 2)
        fold = static_cast<uint16_t>(fold ^ fetch_le16(&block[i]));
    return fold;
}

void seal_block(std::span<uint8_t> block) {
    store_le16(&block[CHECK_VALUE_OFFSET], 0);
    store_le16(&block[CHECK_VALUE_OFFSET], fold_words(block));
}

void patch_block(std::span<uint8_t> block, size_t offset, ByteView bytes, bool reseal) {
    if (offset > block.size() || bytes.size() > block.size() - offset)
        throw std::out_of_range("patch outside the block");
    std::copy(bytes.begin(), bytes.end(), block.begin() + static_cast<ptrdiff_t>(offset));
    if (reseal)
        seal_block(block);
}

size_t data_header_offset(const TableBlockOptions &options) {
    size_t extra = options.extra ? EXTRA_FIXED_SIZE + options.extra->body.size() : 0;
    return ITL_OFFSET + ITL_SIZE * options.itl.size() + extra;
}

TableBlock::TableBlock(TableBlockOptions options)
    : options_(std::move(options)), tables_(static_cast<size_t>(options_.tables)) {}

bool TableBlock::fits(size_t bytes, size_t pieces, bool use_reserve) const {
    size_t need = used_ + bytes + SLOT_SIZE * (slots_ + pieces) + (use_reserve ? 0 : options_.reserve);
    return need <= room_for_rows(options_);
}

size_t TableBlock::max_piece(const TableBlockOptions &options) {
    size_t room = room_for_rows(options);
    return room > SLOT_SIZE ? room - SLOT_SIZE : 0;
}

uint16_t TableBlock::add_slot(Slot slot, int table) {
    if (table < 0 || table >= options_.tables)
        throw std::length_error("table number outside the block's table directory");
    if (!fits(slot.piece.size(), 1, true))
        throw std::length_error("row piece does not fit in the block");
    used_ += slot.piece.size();
    slots_++;
    auto &list = tables_[static_cast<size_t>(table)];
    list.push_back(std::move(slot));
    return static_cast<uint16_t>(list.size() - 1);
}

uint16_t TableBlock::add(Bytes piece, int table) {
    return add_slot({Slot::Kind::piece, std::move(piece), 0}, table);
}

uint16_t TableBlock::add_free(int table) {
    return add_slot({Slot::Kind::free, {}, 0}, table);
}

uint16_t TableBlock::add_raw_offset(int16_t offset, int table) {
    return add_slot({Slot::Kind::raw, {}, offset}, table);
}

void TableBlock::replace(uint16_t slot, Bytes piece, int table) {
    Slot &s = tables_.at(static_cast<size_t>(table)).at(slot);
    if (piece.size() > s.piece.size())
        throw std::length_error("replacement row piece is longer");
    used_ -= s.piece.size() - piece.size();
    s.piece = std::move(piece);
}

const Bytes &TableBlock::piece(uint16_t slot, int table) const {
    return tables_.at(static_cast<size_t>(table)).at(slot).piece;
}

uint16_t TableBlock::slots(int table) const {
    return static_cast<uint16_t>(tables_.at(static_cast<size_t>(table)).size());
}

bool TableBlock::empty() const {
    return slots_ == 0;
}

int TableBlock::stored_tables() const {
    int n = options_.tables;
    while (n > 1 && tables_[static_cast<size_t>(n) - 1].empty())
        n--;
    return n;
}

void TableBlock::write_headers(Bytes &block, size_t data_header) const {
    write_transaction_header(block, options_);
    for (size_t i = 0; i < options_.itl.size(); i++)
        write_itl(&block[ITL_OFFSET + ITL_SIZE * i], options_.itl[i]);
    if (options_.extra)
        write_extra(&block[ITL_OFFSET + ITL_SIZE * options_.itl.size()], *options_.extra);

    int ntab = stored_tables();
    block[data_header + 1] = static_cast<uint8_t>(ntab);
    size_t first = 0;
    for (size_t t = 0; t < static_cast<size_t>(ntab); t++) {
        uint8_t *entry = &block[data_header + DATA_HEADER_SIZE + TABLE_ENTRY_SIZE * t];
        store_size(entry, first);
        store_size(entry + 2, tables_[t].size());
        first += tables_[t].size();
    }
}

// Writes pieces from the end of the block downwards and the row directory; returns the offset of the lowest
// piece from the data header. Chains the free entries in directory order.
size_t TableBlock::write_rows(Bytes &block, size_t data_header) const {
    size_t directory =
        data_header + DATA_HEADER_SIZE + TABLE_ENTRY_SIZE * static_cast<size_t>(stored_tables());
    size_t low = options_.block_size - TAIL_SIZE;
    uint8_t *free_link = &block[data_header + 4];
    size_t index = 0;
    for (const auto &table : tables_) {
        for (const Slot &slot : table) {
            uint8_t *entry = &block[directory + SLOT_SIZE * index];
            if (slot.kind == Slot::Kind::piece) {
                low -= slot.piece.size();
                std::copy(slot.piece.begin(), slot.piece.end(), block.begin() + static_cast<ptrdiff_t>(low));
                store_size(entry, low - data_header);
            } else if (slot.kind == Slot::Kind::raw) {
                store_le16(entry, static_cast<uint16_t>(slot.offset));
            } else {
                store_size(free_link, index);
                free_link = entry;
            }
            index++;
        }
    }
    store_le16(free_link, static_cast<uint16_t>(NO_FREE_SLOT));
    return low - data_header;
}

Bytes TableBlock::finish() const {
    Bytes block = empty_block(options_.block_size, options_.cache);
    size_t data_header = data_header_offset(options_);
    write_headers(block, data_header);
    size_t free_end = write_rows(block, data_header);
    size_t free_begin =
        DATA_HEADER_SIZE + TABLE_ENTRY_SIZE * static_cast<size_t>(stored_tables()) + SLOT_SIZE * slots_;
    uint8_t *h = &block[data_header];
    h[0] = options_.data_flags;
    store_size(h + 2, slots_);
    store_size(h + 6, free_begin);
    store_size(h + 8, free_end);
    store_size(h + 10, free_end - free_begin);
    store_size(h + 12, free_end - free_begin);
    seal_block(block);
    return block;
}

} // namespace sample
