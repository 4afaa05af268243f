#include "convert/salvage.h"

#include <algorithm>
#include <cstring>

#include "convert/dump_format.h"
#include "output/file_handle.h"

namespace vexlo {

namespace {

constexpr size_t CHUNK_SIZE = 1 << 20;
constexpr size_t COLUMNS_MAX_IN_LIST = 4096;
constexpr size_t LISTS_MAX = 100000; // a file of nothing but column entries ends the search

// The first column entry in `size` bytes; `size` when there is none.
size_t find_entry(const uint8_t *data, size_t size) {
    for (size_t at = 0; at + COL_SIZE <= size; ++at) {
        const auto *zero = static_cast<const uint8_t *>(std::memchr(data + at, 0, size - COL_SIZE + 1 - at));
        if (zero == nullptr)
            break;
        at = static_cast<size_t>(zero - data);
        if (is_column_entry(zero))
            return at;
    }
    return size;
}

FoundList read_list(int fd, const std::string &path, uint64_t offset, uint64_t end) {
    FoundList list{offset, {}};
    uint8_t entry[COL_SIZE];
    for (uint64_t at = offset; end - at >= COL_SIZE && list.columns.size() < COLUMNS_MAX_IN_LIST;
         at += COL_SIZE) {
        if (read_at(fd, entry, sizeof entry, at, path) < sizeof entry || !is_column_entry(entry))
            break;
        list.columns.push_back(column_entry(entry));
    }
    return list;
}

} // namespace

std::vector<FoundList> find_column_lists(int fd, const std::string &path, uint64_t begin, uint64_t end) {
    std::vector<FoundList> lists;
    std::vector<uint8_t> chunk(CHUNK_SIZE);
    while (begin < end && end - begin >= COL_SIZE && lists.size() < LISTS_MAX) {
        const size_t want = static_cast<size_t>(std::min<uint64_t>(chunk.size(), end - begin));
        const size_t got = read_at(fd, chunk.data(), want, begin, path);
        if (got < COL_SIZE)
            break;
        const size_t at = find_entry(chunk.data(), got);
        if (at == got) {
            begin += got - COL_SIZE + 1;
            continue;
        }
        lists.push_back(read_list(fd, path, begin + at, end));
        begin += at + lists.back().columns.size() * COL_SIZE;
    }
    return lists;
}

} // namespace vexlo
