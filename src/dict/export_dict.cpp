#include <cstring>

#include "command_map.h"
#include "datafile_segment.h"
#include "dict/bootstrap.h"
#include "dict/dict_file.h"
#include "dict/export.h"
#include "dict/sort.h"
#include "dict_table.h"

namespace {

// The bootstrap rows stay at the start of the work buffer while the tables that they describe are exported.
constexpr int BOOTSTRAP_SIZE = BOOTSTRAP_ROWS * static_cast<int>(sizeof(BOOTSTRAP));
static_assert(BOOTSTRAP_SIZE == 0x40000);

// The bootstrap$ segment.
struct BOOTSTRAP_SEGMENT : DATAFILE_SEGMENT {
    BOOTSTRAP *bs;
    int nbr;

    DATAFILE *find(uint32_t) const { return g_ctx.sysf; }
    int file_error(uint32_t) const { return -1; }

    int header_error(uint32_t rdba) const {
        report("read extent rdba=%x error.\n", rdba);
        return -1;
    }

    // An unreadable extent is reported with the address at which the whole segment begins.
    int extent_error(uint32_t) const { return header_error(g_ctx.sys.rootdba); }

    void begin_run(const BLOCK_RUN &) const {}

    int block(const BLOCK &blk) {
        nbr += process_bootstrap_block(blk, bs, nbr);
        return 0;
    }
};

// Reads all bootstrap$ rows to the start of the work buffer. Returns their number, or -1 after its message.
int read_bootstrap() {
    BOOTSTRAP_SEGMENT segment{{}, reinterpret_cast<BOOTSTRAP *>(g_ctx.wrk), 0};
    uint8_t *hblk = g_ctx.wrk + BOOTSTRAP_SIZE;
    const int64_t bsz = g_ctx.sysf->bsz;
    const WALK_BUFFERS buffers{hblk, hblk + bsz, WORK_SIZE - BOOTSTRAP_SIZE - bsz};
    return walk_datafile_segment(segment, g_ctx.sys.rootdba, buffers) < 0 ? -1 : segment.nbr;
}

// Runs one step of a table behind its progress line.
template <class STEP>
int run_step(const char *verb, const DICT_FACTS &table, STEP &&step) {
    show_dict_step(verb, table.label);
    if (step() < 0)
        return -1;
    show_rows_done(g_ctx.sys.*table.count);
    return 0;
}

template <class STEP>
int export_step(const DICT_FACTS &table, STEP &&step) {
    if (run_step("export", table, step) == 0)
        return 0;
    report("export %s$ error.\n", table.label);
    return -1;
}

// Exports the tables that bootstrap$ describes.
int export_bootstrap_tables(const BOOTSTRAP *bs, int nbr) {
    uint8_t *rbuf = g_ctx.wrk + BOOTSTRAP_SIZE;
    const auto step = [&](const DICT_FACTS &table, auto export_table) {
        return export_step(table, [&] { return export_table(bs, nbr, rbuf, WORK_SIZE - BOOTSTRAP_SIZE); });
    };
    if (step(USER_TABLE, export_user) < 0 || step(TS_TABLE, export_ts) < 0 ||
        step(OBJ_TABLE, export_obj) < 0 || step(TAB_TABLE, export_tab) < 0 ||
        step(CLU_TABLE, export_clu) < 0 || step(COL_TABLE, export_col) < 0 ||
        step(IND_TABLE, export_lob_ind) < 0)
        return -1;
    return 0;
}

// Address and cluster table number of the special tables, as the sorts find them.
struct SPECIAL_SEGMENTS {
    uint32_t obj[SPECIAL_TABLES];
    uint32_t it[SPECIAL_TABLES];
    uint32_t dba[SPECIAL_TABLES];
};

int sort_bootstrap_tables(SPECIAL_SEGMENTS *special) {
    const auto sort_obj = [&] { return sort_obj_by_objn(special->obj); };
    const auto sort_tab = [&] { return sort_tab_by_objn(special->obj, special->it, special->dba); };
    if (run_step("sort", USER_TABLE, sort_user_by_uid) < 0 ||
        run_step("sort", TS_TABLE, sort_ts_by_tsn) < 0 || run_step("sort", OBJ_TABLE, sort_obj) < 0 ||
        run_step("sort", TAB_TABLE, sort_tab) < 0 || run_step("sort", COL_TABLE, sort_col_by_scid) < 0 ||
        run_step("sort", IND_TABLE, sort_lob_index_by_objn) < 0)
        return -1;
    return 0;
}

int export_special_tables(const SPECIAL_SEGMENTS &special) {
    const auto step = [&](const DICT_FACTS &table, auto export_table) {
        const int at = table.segment;
        return export_step(
            table, [&] { return export_table(special.it[at], special.dba[at], g_ctx.wrk, WORK_SIZE); });
    };
    if (step(LOB_TABLE, export_lob) < 0 || step(TABPART_TABLE, export_tabpart) < 0 ||
        step(TABSUBPART_TABLE, export_tabsubpart) < 0 || step(TABCOMPART_TABLE, export_tabcompart) < 0 ||
        step(PROPS_TABLE, export_props) < 0)
        return -1;
    return 0;
}

int sort_special_tables() {
    if (run_step("sort", LOB_TABLE, sort_lob_by_objn) < 0 ||
        run_step("sort", TABPART_TABLE, sort_tabpart_by_objp) < 0 ||
        run_step("sort", TABSUBPART_TABLE, sort_tabsubpart_by_objp) < 0 ||
        run_step("sort", TABCOMPART_TABLE, sort_tabcompart_by_objp) < 0)
        return -1;
    return 0;
}

int export_dict() {
    const int nbr = read_bootstrap();
    if (nbr < 0)
        return -1;
    g_ctx.fd = -1;
    SPECIAL_SEGMENTS special{};
    int result = export_bootstrap_tables(reinterpret_cast<const BOOTSTRAP *>(g_ctx.wrk), nbr);
    if (result == 0)
        result = sort_bootstrap_tables(&special);
    if (result == 0)
        result = export_special_tables(special);
    if (result == 0)
        result = sort_special_tables();
    close_dict_file(); // still open when a step failed behind its first batch
    return result;
}

} // namespace

int export_dict_handle(char *args) {
    if (strncmp(args, "dict", 4) != 0) {
        report("export command format error.\n");
        return -1;
    }
    if (g_ctx.sys.rootdba == 0) {
        report("root dba not found, 1# datafile not in file list.\n");
        return -1;
    }
    return export_dict();
}
