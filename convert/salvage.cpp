#include "convert/salvage.h"

#include <algorithm>
#include <cstring>

#include "convert/byte_window.h"
#include "convert/dump_format.h"
#include "format/byte_order.h"
#include "output/file_handle.h"
#include "values/text_scan.h"

namespace vexlo {

namespace {

constexpr size_t SALVAGE_WINDOW = 1 << 20;
constexpr size_t COLUMNS_MAX_IN_LIST = 4096;
constexpr size_t LISTS_MAX = 100000; // a file of nothing but column entries ends the search

// The first place in `size` bytes where a column entry stands or may begin that goes on behind them. Most
// places are told by one byte: an entry begins with a zero, and the last byte of its type is none.
size_t find_entry(const uint8_t *data, size_t size) {
    constexpr size_t TYPE_END = COL_CTYP + sizeof(uint32_t); // in an entry
    const uint8_t *const end = data + size;
    const uint8_t *at = data;
    while (static_cast<size_t>(end - at) >= COL_SIZE) {
        if (*at != 0) {
            const void *const zero = std::memchr(at, 0, static_cast<size_t>(end - at));
            at = zero == nullptr ? end : static_cast<const uint8_t *>(zero);
        } else if (at[TYPE_END - 1] == 0) {
            at = skip_zeros(at + TYPE_END, end) - (TYPE_END - 1);
        } else if (is_column_entry(at)) {
            break;
        } else {
            ++at;
        }
    }
    return static_cast<size_t>(at - data);
}

bool is_behind_end_mark(int fd, const std::string &path, uint64_t offset) {
    uint8_t mark[2];
    return offset >= sizeof mark &&
           read_at(fd, mark, sizeof mark, offset - sizeof mark, path) == sizeof mark &&
           load_be16(mark) == TABLE_END;
}

// How many damaged entries stand before the list at `offset`. They begin at `floor`, where the data begins or
// the list before this one ends, or behind the end mark of a table.
size_t damaged_before(int fd, const std::string &path, uint64_t floor, uint64_t offset) {
    for (size_t count = 0; count <= DAMAGED_MAX && offset - floor >= count * COL_SIZE; ++count) {
        const uint64_t begin = offset - count * COL_SIZE;
        if (begin == floor || is_behind_end_mark(fd, path, begin))
            return count;
    }
    return 0;
}

// Adds `count` damaged entries from `offset` on.
void add_damaged(int fd, const std::string &path, uint64_t offset, size_t count, FoundList &list) {
    uint8_t entry[COL_SIZE];
    for (size_t i = 0;
         i < count && read_at(fd, entry, sizeof entry, offset + i * COL_SIZE, path) == sizeof entry; ++i) {
        const bool sound = may_be_column_entry(entry);
        list.columns.push_back(sound ? column_entry(entry) : damaged_column_entry(entry));
        list.damaged += !sound;
    }
}

// Adds the sound entries from `offset` on, of whatever type: only the first must be known as one.
void add_list(int fd, const std::string &path, uint64_t offset, uint64_t end, FoundList &list) {
    uint8_t entry[COL_SIZE];
    for (uint64_t at = offset; end - at >= COL_SIZE && list.columns.size() < COLUMNS_MAX_IN_LIST;
         at += COL_SIZE) {
        if (read_at(fd, entry, sizeof entry, at, path) < sizeof entry || !may_be_column_entry(entry))
            break;
        list.columns.push_back(column_entry(entry));
    }
}

uint64_t end_of(const FoundList &list) {
    return list.offset + list.columns.size() * COL_SIZE;
}

} // namespace

std::vector<FoundList> find_column_lists(int fd, const std::string &path, uint64_t begin, uint64_t end) {
    std::vector<FoundList> lists;
    if (begin >= end)
        return lists;
    ByteWindow window(fd, path, begin, end, SALVAGE_WINDOW);
    while (window.require(COL_SIZE) && lists.size() < LISTS_MAX) {
        window.advance(find_entry(window.data(), window.available()));
        if (window.available() < COL_SIZE)
            continue;
        const uint64_t found = window.position();
        const uint64_t floor = lists.empty() ? begin : end_of(lists.back());
        const size_t damaged = damaged_before(fd, path, floor, found);
        const uint64_t list_begin = found - damaged * COL_SIZE;
        if (lists.empty() || list_begin != floor || damaged == 0)
            lists.push_back({list_begin, {}});
        add_damaged(fd, path, list_begin, damaged, lists.back());
        add_list(fd, path, found, end, lists.back());
        window.move_to(end_of(lists.back()));
    }
    return lists;
}

} // namespace vexlo
