#include "segment_fixture.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "datafile.h"

namespace unload_unit {

// Bytes behind the work buffer that nothing may touch.
static constexpr size_t GUARD_SIZE = 1 << 20;
static constexpr uint8_t GUARD_BYTE = 0xA5;

SegmentTest::SegmentTest() : clean_context(WORK_SIZE + GUARD_SIZE) {
    std::fill_n(g_ctx.wrk + WORK_SIZE, GUARD_SIZE, GUARD_BYTE);
    snprintf(g_ctx.par.data_dir, sizeof g_ctx.par.data_dir, "%s", dir_.path().c_str());
    add_file(RFN, 2048);
    columns(plain_columns(3));
}

SegmentTest::~SegmentTest() {
    for (const DATAFILE &df : files_)
        if (df.fd >= 0)
            close(df.fd);
    uint8_t *const wrk = g_ctx.wrk;
    g_ctx = {}; // its tables and files are the fixtures' own
    g_ctx.fd = -1;
    g_ctx.wrk = wrk;
}

void SegmentTest::add_file(uint32_t rfn, uint32_t bsz, uint32_t tsn, uint32_t flag) {
    DATAFILE df{};
    df.flag = flag;
    df.fno = df.rfn = rfn;
    df.tsn = tsn;
    df.bsz = df.blk0_sz = bsz;
    snprintf(df.name, sizeof df.name, "%s", file_name(rfn).c_str());
    df.fd = open(df.name, O_RDWR | O_CREAT | O_TRUNC, 0600);
    if (df.fd < 0)
        throw std::runtime_error("no datafile");
    files_.push_back(df);
}

void SegmentTest::use_block_size(uint32_t bsz, uint32_t flag) {
    close(files_.front().fd);
    files_.clear();
    has_header_ = false;
    add_file(RFN, bsz, TSN, flag);
}

std::string SegmentTest::file_name(uint32_t rfn) const {
    return dir_.file("file" + std::to_string(rfn) + ".dbf");
}

DATAFILE &SegmentTest::file(uint32_t rfn) {
    return *std::find_if(files_.begin(), files_.end(), [&](const DATAFILE &df) { return df.rfn == rfn; });
}

void SegmentTest::break_file(uint32_t rfn) {
    close(file(rfn).fd);
    file(rfn).fd = -1;
}

sample::TableBlock SegmentTest::block(uint32_t number, int tables, uint32_t rfn) const {
    sample::TableBlockOptions options;
    const auto df =
        std::find_if(files_.begin(), files_.end(), [&](const DATAFILE &f) { return f.rfn == rfn; });
    options.block_size = df->bsz;
    options.cache.rdba = (df->flag & DF_BIGFILE) != 0 ? number : sample::make_rdba(rfn, number);
    options.tables = tables;
    return sample::TableBlock(options);
}

void SegmentTest::store(const sample::TableBlock &blk) {
    store(blk.rdba(), blk.finish());
}

void SegmentTest::store(uint32_t rdba, const Bytes &blk) {
    const DATAFILE &first = files_.front();
    const bool bigfile = (first.flag & DF_BIGFILE) != 0;
    const DATAFILE &df = bigfile ? first : file(rdba >> 22);
    const uint64_t number = bigfile ? rdba : rdba & 0x3FFFFF;
    if (df.rfn == RFN && number == HEADER_BLOCK)
        has_header_ = true;
    if (pwrite(df.fd, blk.data(), blk.size(), static_cast<off_t>(number * df.bsz)) < 0)
        throw std::runtime_error("datafile not written");
}

void SegmentTest::store_pieces(uint32_t number, const std::vector<Bytes> &pieces) {
    sample::TableBlock blk = block(number);
    for (const Bytes &p : pieces)
        blk.add(p);
    store(blk);
}

void SegmentTest::store_large_piece(uint32_t number, uint32_t bsz, const Bytes &piece) {
    constexpr size_t KDBH = 44 + 24, DIRECTORY = KDBH + 14 + 4, PIECE_AT = 400;
    Bytes raw(bsz);
    raw[0] = BLOCK_TABLE_DATA;
    raw[36] = 1;        // one ITL entry
    raw[KDBH + 1] = 1;  // one table
    raw[KDBH + 16] = 1; // of one row
    sample::store_le16(&raw[KDBH + 4], 0xFFFF);
    sample::store_le16(&raw[DIRECTORY], PIECE_AT - KDBH);
    if (PIECE_AT + piece.size() > raw.size())
        throw std::length_error("row piece does not fit in the block");
    std::copy(piece.begin(), piece.end(), raw.begin() + PIECE_AT);
    store(at(number).rdba, raw);
}

void SegmentTest::store_map(uint32_t rdba, uint8_t type, const std::vector<sample::Extent> &extents,
                            uint32_t next) {
    sample::CacheHeader header;
    header.type = type;
    header.rdba = rdba;
    store(rdba, sample::encode_extent_map(files_.front().bsz, header, 0, extents, next));
}

void SegmentTest::columns(const std::vector<COL> &cols) {
    cols_ = cols;
    tab_.tcol = static_cast<uint32_t>(cols_.size());
    tab_.ncol = static_cast<uint32_t>(
        std::count_if(cols_.begin(), cols_.end(), [](const COL &c) { return (c.flag & COL_UNLISTED) == 0; }));
}

ULDR SegmentTest::begin_unload() {
    tab_.tsn = TSN;
    tab_.fno = (files_.front().flag & DF_BIGFILE) != 0 ? 0 : RFN;
    tab_.blk = header_block_;
    g_ctx.df = files_.data();
    g_ctx.sys.nf = static_cast<uint32_t>(files_.size());
    g_ctx.col = cols_.data();
    g_ctx.sys.ncol = g_ctx.cap.ncol = static_cast<uint32_t>(cols_.size());
    ULDR ul{};
    ul.lfd = -1;
    ul.tabp = &tab_;
    ul.in_order = find_part_order();
    ul.nlob = static_cast<int32_t>(std::count_if(
        cols_.begin(), cols_.end(), [](const COL &c) { return c.ctyp == TYPE_CLOB || c.ctyp == TYPE_BLOB; }));
    return ul;
}

Outcome SegmentTest::unload(uint32_t last) {
    ULDR ul = begin_unload();
    const uint32_t header = tab_.fno << 22 | HEADER_BLOCK;
    if (!has_header_)
        store_map(header, sample::BLOCK_ASSM_SEGMENT_HEADER, {{header + 1, last - 1}}, 0);
    const std::string path = dump_path_.empty() ? dir_.file("rows") : dump_path_;
    ul.fd = open(path.c_str(), dump_path_.empty() ? O_RDWR | O_CREAT | O_TRUNC : O_RDWR, 0600);

    Outcome outcome;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    outcome.result = unload_one_table(&ul);
    EXPECT_TRUE(std::all_of(g_ctx.wrk + WORK_SIZE, g_ctx.wrk + WORK_SIZE + GUARD_SIZE,
                            [](uint8_t byte) { return byte == GUARD_BYTE; }));
    fflush(stdout);
    outcome.err = testing::internal::GetCapturedStderr();
    outcome.out = testing::internal::GetCapturedStdout();
    nrow_ = ul.nrow;
    close(ul.fd);
    if (!dump_path_.empty())
        return outcome;
    outcome.file = vexlo_test::read_file(path);
    if (outcome.result == 0 && outcome.file.size() >= list_size() + 2)
        outcome.rows.assign(outcome.file.begin() + static_cast<ptrdiff_t>(list_size()),
                            outcome.file.end() - 2);
    return outcome;
}

void SegmentTest::expect_rows(const Bytes &rows, const std::string &err, uint32_t nrow) {
    const Outcome got = unload();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.err, err);
    EXPECT_EQ(got.rows, rows);
    EXPECT_EQ(nrow_, nrow);
}

Outcome SegmentTest::unload_pieces(const std::vector<Bytes> &pieces) {
    store_pieces(2, pieces);
    return unload();
}

Bytes SegmentTest::rows_of(const std::vector<Bytes> &pieces) {
    store_pieces(2, pieces);
    return rows_of_segment();
}

Bytes SegmentTest::rows_of_segment(uint32_t last) {
    const Outcome got = unload(last);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.err, "");
    EXPECT_EQ(got.out, "");
    return got.rows;
}

COL column(uint32_t ctyp, uint32_t flag, uint32_t cid) {
    COL col{};
    col.ctyp = ctyp;
    col.flag = flag;
    col.cid = cid;
    return col;
}

std::vector<COL> plain_columns(size_t n) {
    return std::vector<COL>(n, column());
}

Bytes piece(uint8_t flags, const Row &values, std::optional<RowAddress> next) {
    PieceHead head;
    head.flags = flags;
    head.next = next;
    return sample::encode_piece(head, values);
}

RowAddress at(uint32_t block, uint16_t slot) {
    return {sample::make_rdba(RFN, block), slot};
}

Bytes pattern(size_t n, unsigned seed) {
    Bytes b(n);
    for (size_t i = 0; i < n; i++)
        b[i] = static_cast<uint8_t>(seed + 7 * i + i / 251);
    return b;
}

Bytes text(std::string_view s) {
    return Bytes(s.begin(), s.end());
}

std::string damaged_row(uint32_t block, int row) {
    char line[100];
    snprintf(line, sizeof line, "block rdba=0x%08x row %d damaged, skip this row data.\n", at(block).rdba,
             row);
    return line;
}

} // namespace unload_unit
