// The steps that all exports share.
#pragma once

#include "datafile_segment.h"
#include "dict/dict_file.h"
#include "dict/export.h"
#include "dict/row_decoders.h"

// The segment of a dictionary table. All its blocks are looked for in the SYSTEM datafile.
template <class REC, auto DECODE>
struct DICT_SEGMENT : DATAFILE_SEGMENT {
    uint8_t *cblk; // one block, for the decoder
    REC *records;
    uint32_t tabn;
    int max_rows;
    int nrow;

    DATAFILE *find(uint32_t) const { return g_ctx.sysf; }
    int file_error(uint32_t) const { return -1; }
    int header_error(uint32_t rdba) const { return extent_error(rdba); }

    int extent_error(uint32_t rdba) const {
        report("read extent rdba=%x error.\n", rdba);
        return -1;
    }

    void begin_run(const BLOCK_RUN &) const {}
    int block(const BLOCK &blk) { return DECODE(cblk, blk, records, tabn, max_rows, &nrow); }
};

// Exports the table whose segment header is at `rdba`; `DECODE` is its row decoder. Half of the buffer holds
// records, then come the header block, the decoder's block, and blocks read ahead.
template <class REC, auto DECODE>
int export_segment(const DICT_FACTS &table, uint32_t tabn, uint32_t rdba, uint8_t *rbuf, int buf_sz) {
    const int max_rows = buf_sz / 2 / static_cast<int>(sizeof(REC));
    const int64_t header = (static_cast<int64_t>(max_rows) * static_cast<int64_t>(sizeof(REC)) + 7) / 8 * 8;
    uint8_t *hblk = rbuf + header;
    uint8_t *cblk = hblk + g_ctx.sysf->bsz;
    uint8_t *buf = cblk + g_ctx.sysf->bsz;

    g_ctx.sys.*table.count = 0;
    DICT_SEGMENT<REC, DECODE> segment{{}, cblk, reinterpret_cast<REC *>(rbuf), tabn, max_rows, 0};
    if (walk_datafile_segment(segment, rdba, WALK_BUFFERS{hblk, buf, buf_sz - (buf - rbuf)}) < 0 ||
        write_records(table, segment.records, segment.nrow, sizeof(REC)) < 0)
        return -1;
    close_dict_file();
    g_ctx.sys.*table.count += static_cast<uint32_t>(segment.nrow);
    return 0;
}

// Exports a table that bootstrap$ describes.
template <class REC, auto DECODE>
int export_bootstrap_table(const DICT_FACTS &table, const BOOTSTRAP *bs, int nbr, uint8_t *rbuf, int buf_sz) {
    int tabn;
    uint32_t rdba;
    if (get_boot_table_rdba(bs, nbr, table.table, &tabn, &rdba) < 0) {
        report("get %s table segment header rdba error.\n", table.table);
        return -1;
    }
    return export_segment<REC, DECODE>(table, static_cast<uint32_t>(tabn), rdba, rbuf, buf_sz);
}
