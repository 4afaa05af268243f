#include "index_segment.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace sample {

namespace {

constexpr uint8_t TRANSACTION_TYPE_INDEX = 2;
constexpr size_t ITL_ENTRIES = 2;
constexpr size_t EXTRA_SIZE = 8;
constexpr size_t COMMON_HEADER = 16;               // of leaves and branches
constexpr size_t LEAF_HEADER = COMMON_HEADER + 20; // the row directory follows
constexpr size_t BRANCH_HEADER = COMMON_HEADER + 8;
constexpr size_t UNUSED_END = LEAF_HEADER + ITL_SIZE; // between the rows and the tail
constexpr uint8_t INDEX_OPTIONS = 0x80;

// A block with an index header that is filled from its end.
class IndexBlock {
public:
    IndexBlock(const Segment &segment, uint32_t rdba, size_t header_size, uint8_t level, uint8_t key_columns)
        : rdba_(rdba), header_size_(header_size) {
        TableBlockOptions o = segment.block_options(rdba, 1);
        block_ = empty_block(o.block_size, o.cache);
        bool extra = segment.options().kind == SegmentKind::bitmap;
        start_ = ITL_OFFSET + ITL_ENTRIES * ITL_SIZE + (extra ? EXTRA_SIZE : 0);
        top_ = low_ = o.block_size - TAIL_SIZE - UNUSED_END - start_;
        uint8_t *transaction = &block_[TRANSACTION_HEADER];
        transaction[0] = TRANSACTION_TYPE_INDEX;
        store_le32(transaction + 4, o.objd);
        store_le32(transaction + 8, o.scn_base);
        store_le16(transaction + 16, ITL_ENTRIES);
        transaction[18] = extra ? TRANSACTION_FLAGS_EXTRA : TRANSACTION_FLAGS_PLAIN;
        header()[0] = level;
        header()[2] = INDEX_OPTIONS;
        header()[3] = key_columns;
    }

    uint32_t rdba() const { return rdba_; }
    size_t rows() const { return rows_; }
    uint8_t *header() { return &block_[start_]; }
    uint16_t usable() const { return static_cast<uint16_t>(top_); }

    // False when the block is full.
    bool add(ByteView row) {
        if (header_size_ + SLOT_SIZE * (rows_ + 1) + row.size() > low_)
            return false;
        low_ -= row.size();
        std::copy(row.begin(), row.end(), block_.begin() + static_cast<ptrdiff_t>(start_ + low_));
        store_le16(header() + header_size_ + SLOT_SIZE * rows_, static_cast<uint16_t>(low_));
        rows_++;
        return true;
    }

    const Bytes &finish() {
        size_t directory_end = header_size_ + SLOT_SIZE * rows_;
        store_le16(header() + 8, static_cast<uint16_t>(rows_));
        store_le16(header() + 10, static_cast<uint16_t>(directory_end));
        store_le16(header() + 12, static_cast<uint16_t>(low_));
        store_le16(header() + 14, static_cast<uint16_t>(low_ - directory_end));
        seal_block(block_);
        return block_;
    }

private:
    Bytes block_;
    uint32_t rdba_;
    size_t header_size_;
    size_t start_; // of the index header, from which row offsets count
    size_t top_;   // where the first row ends
    size_t low_;   // where the last row begins
    size_t rows_ = 0;
};

// A block of the level below, by the first key in it.
struct Child {
    uint32_t rdba;
    Bytes key;
};

Bytes leaf_row(const IndexRow &row, uint8_t data_size) {
    if (row.data.size() != data_size)
        throw std::invalid_argument("index row with other data");
    Bytes bytes{row.flag, 0};
    append(bytes, row.data);
    append(bytes, row.key);
    return bytes;
}

class IndexWriter {
public:
    IndexWriter(Segment &segment, uint8_t data_size, uint8_t key_columns)
        : segment_(segment), data_size_(data_size), key_columns_(key_columns), root_(segment.next_block()) {}

    void write(std::span<const IndexRow> rows) {
        std::vector<Child> level = write_leaves(rows);
        for (uint8_t height = 1; level.size() > 1; height++)
            level = write_branches(level, height);
    }

private:
    size_t row_room(size_t header_size) const {
        IndexBlock probe(segment_, root_, header_size, 0, key_columns_);
        return probe.usable() - header_size;
    }

    // Leaves are filled evenly in size of rows, so their number is known before the first is written.
    std::vector<Child> write_leaves(std::span<const IndexRow> rows) {
        size_t row_size = rows.empty() ? 1 : leaf_row(rows.front(), data_size_).size() + SLOT_SIZE;
        bool single = rows.size() * row_size <= row_room(LEAF_HEADER);
        std::vector<Child> children;
        uint32_t rdba = single ? root_ : segment_.next_block(), previous = 0;
        size_t next_row = 0;
        do {
            IndexBlock leaf(segment_, rdba, LEAF_HEADER, 0, key_columns_);
            Bytes first_key = rows.empty() ? Bytes{} : rows[next_row].key;
            uint16_t deleted = 0;
            while (next_row < rows.size() && leaf.add(leaf_row(rows[next_row], data_size_)))
                deleted = static_cast<uint16_t>(deleted + (rows[next_row++].flag & 1));
            uint32_t next = next_row < rows.size() ? segment_.next_block() : 0;
            uint8_t *extension = leaf.header() + COMMON_HEADER;
            store_le16(extension + 2, deleted);
            store_le32(extension + 4, next);
            store_le32(extension + 8, previous);
            extension[12] = data_size_;
            store_le16(extension + 16, leaf.usable());
            segment_.write_block(rdba, leaf.finish());
            children.push_back({rdba, std::move(first_key)});
            previous = std::exchange(rdba, next);
        } while (rdba != 0);
        return children;
    }

    std::vector<Child> write_branches(const std::vector<Child> &below, uint8_t height) {
        size_t bytes = 0;
        for (const Child &c : below)
            bytes += sizeof c.rdba + c.key.size() + SLOT_SIZE;
        bool single = bytes <= row_room(BRANCH_HEADER);
        std::vector<Child> children;
        for (size_t next = 0; next < below.size();) {
            uint32_t rdba = single ? root_ : segment_.next_block();
            IndexBlock branch(segment_, rdba, BRANCH_HEADER, height, key_columns_);
            children.push_back({rdba, below[next].key});
            store_le32(branch.header() + COMMON_HEADER, below[next++].rdba);
            for (bool room = true; room && next < below.size(); next += room ? 1 : 0) {
                Bytes row(sizeof below[next].rdba);
                store_le32(row.data(), below[next].rdba);
                append(row, below[next].key);
                room = branch.add(row);
            }
            store_le16(branch.header() + COMMON_HEADER + 6, branch.usable());
            segment_.write_block(rdba, branch.finish());
        }
        return children;
    }

    Segment &segment_;
    uint8_t data_size_;
    uint8_t key_columns_;
    uint32_t root_;
};

} // namespace

void write_index(Segment &segment, std::span<const IndexRow> rows, uint8_t data_size, uint8_t key_columns) {
    IndexWriter(segment, data_size, key_columns).write(rows);
}

} // namespace sample
