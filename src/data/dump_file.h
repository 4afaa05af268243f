// Dump files: their records, and what is written outside the rows. docs/dump-format.md tells the whole
// layout. All integers are big-endian in the file.
#pragma once

#include "data/uldr.h"

constexpr int HEAD_SPACE = 1024; // HEAD_INFO and zeros; the table directory follows
constexpr int DIRECTORY_UNIT = 512;

struct HEAD_INFO {
    char magic[32];
    char owner[32];
    char nls_lang[128];
    char ncharset[64];
    char dbtimezone[64];
    uint32_t tab_cnt;
};
static_assert(sizeof(HEAD_INFO) == 324);

// TAB_INFO.flag
constexpr uint32_t TAB_INFO_LONG = 0x1;
constexpr uint32_t TAB_INFO_LOB = 0x2;

struct TAB_INFO {
    uint32_t flag;
    uint32_t ncol;
    uint32_t nlob;
    uint32_t nrows; // until the table is unloaded: index of its TAB record
    uint64_t offset;
    char tab_name[NAME_SIZE];
};
static_assert(sizeof(TAB_INFO) == 56);

constexpr uint32_t COL_INFO_NATIONAL = 0x1; // COL_INFO.flag

struct COL_INFO {
    uint32_t flag;
    uint32_t ctyp;
    uint32_t clen;
    uint32_t rsv;
    char name[NAME_SIZE];
};
static_assert(sizeof(COL_INFO) == 48);

// Two-byte marks; every other pair of bytes is the length of a value.
constexpr uint16_t MARK_ROW_END = 0x0000;
constexpr uint16_t MARK_LONG = 0xFFFB;       // a LONG column; its data follows the row
constexpr uint16_t MARK_LOB = 0xFFFC;        // a LOB column; its data is not in the file
constexpr uint16_t MARK_LONG_BLOCK = 0xFFFD; // chunks of a LONG value follow
constexpr uint16_t MARK_NULL = 0xFFFE;
constexpr uint16_t MARK_TABLE_END = 0xFFFF;
constexpr int MARK_SIZE = 2;

// Fills the HEAD_INFO at the start of the work buffer, except `owner` and `tab_cnt`, from the properties
// file, which is read through the rest of the buffer. Returns 0, or -1 after "open %s: %s\n" or "read %s:
// %s\n".
int make_head();

// Writes `n` zero bytes at the current position of `fd`. Returns 0, or -1 after "write blank data error:
// %s\n".
int write_blank(int fd, int64_t n);

// Writes the cache to the dump file and empties it. Returns 0, or -1 after "write cache data error: %s\n"
// with the cache as it was.
int write_cache(ULDR *ul);

// Says that the dump file cannot be written, with errno's text; returns -1.
int write_cache_error();

// Writes `head` to the dump file, its count turned big-endian in place. Returns 0, or -1 after "write file
// header: %s\n".
int write_head(ULDR *ul, HEAD_INFO *head);

// Writes the table directory to the dump file, its integers turned big-endian in place. Returns 0, or -1
// after "write table information: %s\n".
int write_tab_info(ULDR *ul);
