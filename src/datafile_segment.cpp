#include "datafile_segment.h"

#include "file_io.h"

uint32_t DATAFILE_SEGMENT::peek_next_map(const DATAFILE *df, uint32_t rdba) const {
    uint8_t start[288]; // as far as the map header that lies furthest behind
    const ssize_t n =
        pread_all(df->fd, start, std::min<size_t>(sizeof start, df->bsz), block_offset(df, rdba));
    EXTENT_MAP map{};
    if (n <= 0 || !locate_extent_map(BLOCK{start, static_cast<uint32_t>(n), rdba}, &map))
        return 0;
    return map.next;
}

void DATAFILE_SEGMENT::map_cut(uint32_t rdba) const {
    report("extent map at rdba=0x%08x claims more extents than fit into its block.\n", rdba);
}

int DATAFILE_SEGMENT::map_error(uint8_t type) const {
    report("error block type: %x\n", type);
    return -1;
}

int DATAFILE_SEGMENT::loop_error(uint32_t rdba) const {
    report("extent map at rdba=0x%08x comes again, the chain of maps loops.\n", rdba);
    return -1;
}

int DATAFILE_SEGMENT::size_error(uint32_t rdba) const {
    report("extent map at rdba=0x%08x names more blocks than the datafiles hold.\n", rdba);
    return -1;
}
