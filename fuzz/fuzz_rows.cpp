// The rows of data blocks: whole, chained, migrated, clustered, with LONG and LOB columns. Every buffer is a
// heap block of its own, so that a step beyond it is noticed, and the cache is small, so that it is written
// in the middle of rows. The blocks are taken twice: one by one, followed pieces being read from the file,
// and as a run in memory without the short way for ordinary rows. What comes out must be the same. Input: a
// byte of options, the table number, how full the cache is (16 bits), the number of columns and a byte for
// each, then the blocks of relative file 1 from address 1 on.
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "data/lob_value.h"
#include "data/long_value.h"
#include "data/ordinary_row.h"
#include "datafile.h"
#include "harness.h"

namespace {

constexpr uint32_t BLOCK_SIZES[] = {512, 1024, 2048, 4096};
constexpr uint32_t RFN = 1;
constexpr size_t MOST_COLUMNS = 40;
constexpr size_t MOST_BLOCKS = 16;
constexpr int SMALL_CACHE = 0x10000; // a LONG block and more than one block fit

// Options; the lowest bits choose the block size
constexpr uint8_t BIGFILE = 0x8;
constexpr uint8_t VERIFY = 0x10;
constexpr uint8_t ROW_EXTRA = 0x40;

constexpr uint32_t COLUMN_TYPES[] = {1, TYPE_LONG, TYPE_CLOB, TYPE_LONG_RAW, TYPE_BLOB, 2, 12, 23};
constexpr uint32_t COLUMN_FLAGS[] = {0,
                                     COL_HIDDEN,
                                     COL_DROPPED,
                                     COL_UNUSED,
                                     COL_CLUSTER_KEY,
                                     COL_CLUSTER_KEY | COL_HIDDEN,
                                     COL_NATIONAL,
                                     COL_ENCRYPTED};

// A column for each byte: its type, and in the upper half its flags.
std::vector<COL> make_columns(fuzz::Bytes kinds) {
    std::vector<COL> columns;
    for (const uint8_t kind : kinds) {
        COL col{};
        col.ctyp = COLUMN_TYPES[kind % std::size(COLUMN_TYPES)];
        col.flag = COLUMN_FLAGS[kind / 16 % std::size(COLUMN_FLAGS)];
        col.cid = static_cast<uint32_t>(columns.size());
        columns.push_back(col);
    }
    return columns;
}

// The state of an unload with buffers of its own. What they hold at first is the same in every run.
struct Unload {
    static constexpr uint8_t OLD_BYTES = 0xEE;

    std::vector<uint8_t> cache, cblk, lbuf;
    std::vector<LOBD> lobs;
    ULDR ul{};

    Unload(const TAB &tab, std::span<const COL> columns, uint32_t bsz, int32_t fill)
        : cache(SMALL_CACHE, OLD_BYTES), cblk(bsz, OLD_BYTES), lbuf(LONG_SIZE, OLD_BYTES) {
        const auto lob_columns = std::count_if(columns.begin(), columns.end(), is_lob);
        lobs.resize(static_cast<size_t>(lob_columns));
        for (LOBD &lob : lobs)
            memset(&lob, OLD_BYTES, sizeof lob);
        ul.fd = fuzz::dump_file().fd();
        ul.lfd = -1;
        ul.tabp = &tab;
        ul.tabn = static_cast<int32_t>(tab.tabn);
        ul.clen = fill;
        ul.bsz = static_cast<int32_t>(bsz);
        ul.csz = SMALL_CACHE;
        ul.cache = cache.data();
        ul.cblk = cblk.data();
        ul.lbuf = lbuf.data();
        ul.lobc = lobs.data();
        ul.lob_room = ul.nlob = static_cast<int32_t>(lob_columns);
        ul.cols = columns;
        ul.ordinary = has_ordinary_rows(tab, columns);
    }

    // False when the table ends with this block.
    bool take(const BLOCK &blk) {
        const int result = process_data_block(&ul, blk);
        fuzz::require(ul.clen >= 0 && ul.clen <= ul.csz, "more in the cache than it holds");
        fuzz::require(ul.lfd == -1, "temporary file stayed open");
        return result == 0;
    }
};

// What an unload wrote and counted.
struct Outcome {
    bool complete = true;
    uint32_t nrow = 0;
    std::vector<uint8_t> bytes;
    bool operator==(const Outcome &) const = default;
};

Outcome outcome_of(const Unload &unload, bool complete) {
    Outcome o{complete, unload.ul.nrow, std::vector<uint8_t>(unload.ul.data_ofs)};
    const ssize_t n = pread(unload.ul.fd, o.bytes.data(), o.bytes.size(), 0);
    fuzz::require(n == static_cast<ssize_t>(o.bytes.size()), "dump file shorter than what was written");
    o.bytes.insert(o.bytes.end(), unload.cache.begin(), unload.cache.begin() + unload.ul.clen);
    return o;
}

// The whole blocks of a file, `first` being the address of the first one.
struct Blocks {
    fuzz::Bytes bytes;
    uint32_t bsz;
    uint32_t first;

    uint32_t count() const { return static_cast<uint32_t>(bytes.size() / bsz); }
};

// Takes the blocks one by one, each alone in memory: a followed piece is read from the file.
Outcome take_single(Unload &unload, const Blocks &blocks) {
    bool complete = true;
    for (uint32_t i = 0; i < blocks.count() && complete; i++) {
        const fuzz::HeapBlock alone(blocks.bytes.subspan(i * blocks.bsz, blocks.bsz), blocks.bsz);
        complete = unload.take(alone.view(blocks.first + i));
    }
    return outcome_of(unload, complete);
}

// Takes the blocks as one run that stands in memory.
Outcome take_run(Unload &unload, const Blocks &blocks) {
    bool complete = true;
    const fuzz::HeapBlock all(blocks.bytes, blocks.count() * blocks.bsz);
    const uint8_t *data = all.view(blocks.first).data;
    unload.ul.run = {data, blocks.first, blocks.count()};
    for (uint32_t i = 0; i < blocks.count() && complete; i++)
        complete = unload.take(BLOCK{data + i * blocks.bsz, blocks.bsz, blocks.first + i});
    return outcome_of(unload, complete);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const fuzz::MemoryFile file;
    fuzz::Input in(data, size);
    const uint8_t options = in.u8();
    const bool bigfile = (options & BIGFILE) != 0, verify = (options & VERIFY) != 0;
    const uint32_t bsz = BLOCK_SIZES[options % std::size(BLOCK_SIZES)];
    TAB tab{};
    tab.tabn = in.u8() % 4;
    tab.flag = (options & ROW_EXTRA) != 0 ? TAB_ROW_DEPENDENCIES : 0;
    const uint16_t fill = in.u16();
    const std::vector<COL> columns = make_columns(in.bytes(in.u8() % (MOST_COLUMNS + 1)));
    const Blocks blocks{in.bytes(MOST_BLOCKS * bsz), bsz, bigfile ? 1 : make_rdba(RFN, 1)};
    file.assign(blocks.bytes, bsz); // behind block 0

    const fuzz::Run run;
    fuzz::add_datafile(file, 0, RFN, bsz, bigfile ? DF_BIGFILE : 0);
    fuzz::add_datafile(file, 0, RFN + 1, 2 * bsz);
    g_ctx.par.flag = verify ? PAR_CHECKSUM : 0;
    Unload single(tab, columns, bsz, fill);
    const Outcome read = take_single(single, blocks);
    fuzz::dump_file().assign({});
    Unload ahead(tab, columns, bsz, fill);
    ahead.ul.ordinary = false;
    const Outcome at_hand = take_run(ahead, blocks);
    fuzz::require(verify || read == at_hand, "rows differ with the way that they are taken");
    return 0;
}
