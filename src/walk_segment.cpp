#include "walk_segment.h"

#include "file_io.h"

uint32_t peek_next_map(const DATAFILE *df, uint32_t rdba) {
    uint8_t start[288]; // as far as the map header that lies furthest behind
    const ssize_t n =
        pread_all(df->fd, start, std::min<size_t>(sizeof start, df->bsz), block_offset(df, rdba));
    EXTENT_MAP map{};
    if (n <= 0 || !locate_extent_map(BLOCK{start, static_cast<uint32_t>(n), rdba}, &map))
        return 0;
    return map.next;
}
