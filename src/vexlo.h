// The records and the one global context that every room of the program shares.
//
// Dictionary records have the same bytes in memory and in the dictionary files: unsigned 32-bit fields in
// host order and NUL-terminated character arrays. Records refer to each other by array index, never by
// pointer; NO_INDEX stands for "none" and, as an owner, for PUBLIC. An index that came from a file or from a
// load that stopped half-way may point anywhere: compare it before use (see dict_array.h).
#pragma once

#include <cstddef>
#include <cstdint>

#include "format/block_address.h"

constexpr int WORK_SIZE = 0x800000; // bytes of the work buffer
constexpr int NAME_SIZE = 32;       // bytes of a name, its NUL included
constexpr int DIR_SIZE = 1024;      // bytes of a configured path, its NUL included
constexpr int PATH_SIZE = 2048;     // bytes for a path formed from a directory and names
constexpr uint32_t NO_INDEX = 0xFFFFFFFF;

// ---- Configuration and counts

constexpr uint32_t PAR_CHECKSUM = 0x1; // CFGPAR.flag: verify the check value of every block read

struct CFGPAR {
    uint32_t flag;
    uint32_t rsv;
    char dict_dir[DIR_SIZE]; // dictionary files; no trailing "/"
    char data_dir[DIR_SIZE]; // dump files; no trailing "/"
};

// Number of records of each array, and the address at which the dictionary begins.
struct ZUKSYS {
    uint32_t nf;      // datafiles
    uint32_t nu;      // users
    uint32_t nts;     // tablespaces
    uint32_t nobj;    // objects
    uint32_t ntab;    // tables
    uint32_t ncol;    // columns
    uint32_t ntp;     // table partitions
    uint32_t ntcp;    // composite table partitions
    uint32_t ntsp;    // table subpartitions
    uint32_t nlob;    // LOB columns
    uint32_t nidx;    // LOB indexes
    uint32_t rootdba; // rdba of the bootstrap$ segment header; 0 when no SYSTEM datafile was found
};

// ---- Datafiles

constexpr uint32_t DF_MARKED = 0x1;   // DATAFILE.flag: block 0 carries the platform marker 7A 7B 7C 7D
constexpr uint32_t DF_BIGFILE = 0x10; // DATAFILE.flag: all 32 bits of an rdba are the block number

struct DATAFILE {
    uint32_t flag;
    int32_t fd;       // read-only descriptor, -1 when closed
    uint32_t fno;     // absolute file number
    uint32_t rfn;     // relative file number
    uint32_t tsn;     // tablespace number
    uint32_t blks;    // file size in blocks, as its header states it
    uint32_t bsz;     // block size in bytes
    uint32_t blk0_sz; // size of block 0 in bytes
    char name[DIR_SIZE];
};
static_assert(sizeof(DATAFILE) == 1056);

// ---- Dictionary records

struct USER {
    uint32_t uid;
    uint32_t status;
    uint32_t dts; // default tablespace
    uint32_t tts; // temporary tablespace
    char name[NAME_SIZE];
};
static_assert(sizeof(USER) == 48);

struct TS {
    uint32_t tsn;
    uint32_t owner;
    char name[NAME_SIZE];
};
static_assert(sizeof(TS) == 40);

constexpr uint32_t OBJ_TEMPORARY = 0x2; // OBJ.flag
constexpr uint32_t OBJ_DROPPED = 0x80;  // OBJ.flag: in the recycle bin

struct OBJ {
    uint32_t flag;
    uint32_t objn;
    uint32_t owner; // on disk the owner's user number, after load the index of its USER
    uint32_t type;
    char name[NAME_SIZE];
};
static_assert(sizeof(OBJ) == 48);

// TAB.flag
constexpr uint32_t TAB_HAS_LOB = 0x1;
constexpr uint32_t TAB_HAS_LONG = 0x2;          // set by the load from the columns
constexpr uint32_t TAB_OBJECT_COLUMNS = 0x4;    // with TAB_UNSUPPORTED
constexpr uint32_t TAB_HAS_ENCRYPTED = 0x8;     // set by the load from the columns
constexpr uint32_t TAB_GLOBAL_TEMPORARY = 0x10; // with TAB_UNSUPPORTED
constexpr uint32_t TAB_PARTITIONED = 0x20;
constexpr uint32_t TAB_CLUSTERED = 0x40;
constexpr uint32_t TAB_INDEX_ORGANIZED = 0x80;     // with TAB_UNSUPPORTED
constexpr uint32_t TAB_COMPOSITE = 0x100;          // set by the load: owns a composite partition
constexpr uint32_t TAB_DROPPED = 0x2000;           // set by the load from the object
constexpr uint32_t TAB_ROW_DEPENDENCIES = 0x10000; // each head piece has an SCN of 6 bytes before its columns
constexpr uint32_t TAB_UNSUPPORTED = 0x1000000;    // one of many features that the unload refuses

struct TAB {
    uint32_t flag;
    uint32_t objn;
    uint32_t objd; // data object number of the segment
    uint32_t objb; // object number of the cluster, 0 outside one
    uint32_t tabn; // table number inside the cluster
    uint32_t ncol; // columns as TAB$ counts them
    uint32_t ui;   // after load: owner's index in USER
    uint32_t oi;   // after load: index in OBJ
    uint32_t coff; // after load: index in COL of the first column
    uint32_t fno;  // segment header: relative file number
    uint32_t blk;  // segment header: block number
    uint32_t tsn;
    uint32_t tcol; // after load: number of COL records
    uint32_t rsv;
};
static_assert(sizeof(TAB) == 56);

constexpr uint32_t CLU_ROW_DEPENDENCIES = 0x10000; // CLU.flag: the load carries it to the cluster's tables

struct CLU {
    uint32_t flag;
    uint32_t objn;
    uint32_t objd;
    uint32_t ncol; // cluster key columns
};
static_assert(sizeof(CLU) == 16);

// COL.flag; the first four exclude each other as exported
constexpr uint32_t COL_HIDDEN = 0x1;
constexpr uint32_t COL_DROPPED = 0x2;
constexpr uint32_t COL_UNUSED = 0x4; // its values are still in the rows
constexpr uint32_t COL_ENCRYPTED = 0x100;
constexpr uint32_t COL_NATIONAL = 0x1000;     // national character set
constexpr uint32_t COL_CLUSTER_KEY = 0x10000; // set by the load

// A column with any of these has no record in the column list of a dump file. Of hidden and unused ones the
// values are stored all the same and are stepped over.
constexpr uint32_t COL_UNLISTED = COL_HIDDEN | COL_DROPPED | COL_UNUSED;
constexpr uint32_t COL_NO_SEGMENT_PLACE = 65535; // COL.scid of a column that is not stored in the row

// Column types the program treats specially
constexpr uint32_t TYPE_LONG = 8;
constexpr uint32_t TYPE_LONG_RAW = 24;
constexpr uint32_t TYPE_CLOB = 112;
constexpr uint32_t TYPE_BLOB = 113;

struct COL {
    uint32_t flag;
    uint32_t objn;
    uint32_t cid;  // column number shown to users
    uint32_t scid; // place in the stored row; COL_NO_SEGMENT_PLACE when it has none
    uint32_t ctyp;
    uint32_t clen; // declared length in bytes
    char name[NAME_SIZE];
};
static_assert(sizeof(COL) == 56);

// A table partition; also a composite partition, which has only flag, objn, objp and oi.
struct TABPART {
    uint32_t flag;
    uint32_t objn;
    uint32_t objd;
    uint32_t objp; // object number of the parent
    uint32_t oi;   // after load: index in OBJ
    uint32_t fno;
    uint32_t blk;
    uint32_t tsn;
};
static_assert(sizeof(TABPART) == 32);

struct TABSUBPART {
    uint32_t flag;
    uint32_t objn;
    uint32_t objd;
    uint32_t objp;
    uint32_t oi;
    uint32_t fno;
    uint32_t blk;
    uint32_t tsn;
};
static_assert(sizeof(TABSUBPART) == 32);

// LOB.flag; nothing reads it
constexpr uint32_t LOB_ENCRYPTED = 0x1;
constexpr uint32_t LOB_COMPRESSED = 0x2;

struct LOB {
    uint32_t flag;
    uint32_t objp; // table that owns the column
    uint32_t cid;
    uint32_t objn; // LOB segment
    uint32_t indn; // LOB index
    uint32_t chunk;
    uint32_t fno;
    uint32_t blk;
    uint32_t tsn;
    uint32_t rsv;
};
static_assert(sizeof(LOB) == 40);

struct LOBIDX {
    uint32_t flag;
    uint32_t objn;
    uint32_t objd;
    uint32_t objp; // indexed object
    uint32_t tsn;
    uint32_t fno;
    uint32_t blk;
    uint32_t rsv;
};
static_assert(sizeof(LOBIDX) == 32);

constexpr int PROPS_VALUE_SIZE = 128;

struct PROPS {
    char name[NAME_SIZE];
    char value[PROPS_VALUE_SIZE];
};
static_assert(sizeof(PROPS) == 160);

// ---- The global context

struct ZUKCTX {
    int fd; // dictionary file being written, -1 when none
    CFGPAR par;
    ZUKSYS sys;
    uint8_t *wrk; // work buffer of every command; nothing stays in it when a command returns
    USER *usr;
    TS *ts;
    DATAFILE *df;
    DATAFILE *sysf; // the datafile whose absolute number is 1; points into df
    OBJ *obj;
    TAB *tab;
    COL *col;
    TABPART *tp;
    TABPART *tcp;
    TABSUBPART *tsp;
    LOB *lob;
    LOBIDX *lidx;
    uint8_t *prsv;
    char cur_usr[NAME_SIZE]; // current user, empty when not set

    // Records that the block behind each array slot really holds. sys may say more: a failed export leaves
    // its own counts beside the arrays of an earlier load.
    ZUKSYS cap;
    uint32_t damaged; // damaged rows and blocks met in the segment being walked
    struct {
        uint32_t tsn;
        uint32_t rfn;
        uint32_t index;
    } last_df; // last answer of get_datafile
};

extern ZUKCTX g_ctx;
extern char g_cfgname[DIR_SIZE];     // path of the configuration file
extern char g_dbfile_list[DIR_SIZE]; // path of the datafile list
