// What stands at the start of a datafile: block 0, which belongs to the operating system's view of the file,
// and behind it the file header block. Offsets count from the start of each.
#pragma once

#include <cstdint>

// Block 0
constexpr int BLK0_SIZE = 20;     // size of block 0 itself
constexpr int BLK0_BLOCKS = 24;   // size of the file in blocks, block 0 not counted
constexpr int BLK0_PLATFORM = 28; // marker of the platform
constexpr uint8_t PLATFORM_MARK[4] = {0x7A, 0x7B, 0x7C, 0x7D};

// File header block
constexpr uint8_t BLOCK_FILE_HEADER = 0x0B;
constexpr int KCCFHCVN = 24;          // compatibility version
constexpr int KCCFHDBI = 28;          // database id
constexpr int KCCFHDBN = 32;          // database name, DBNAME_SIZE bytes
constexpr int KCCFHFSZ = 44;          // file size in blocks
constexpr int KCCFHBSZ = 48;          // block size
constexpr int KCCFHFNO = 52;          // absolute file number, 16 bits
constexpr int KCCFHTYP = 54;          // file type, 16 bits
constexpr int ROOTDBA = 96;           // bootstrap$ segment header, in the SYSTEM datafile
constexpr int KCVFHTSN = 332;         // tablespace number
constexpr int KCVFHTLN = 336;         // length of the tablespace name, 16 bits
constexpr int KCVFHTNM = 338;         // tablespace name, TSNAME_SIZE bytes
constexpr int KCVFHRFN = 368;         // relative file number
constexpr int FILE_HEADER_SIZE = 372; // bytes up to here are in every version's header
constexpr int KCVCPSCN = 484;         // checkpoint SCN: base, then wrap in 16 bits
constexpr int CHECKPOINT_END = 490;

constexpr uint32_t DBNAME_SIZE = 8;
constexpr uint32_t TSNAME_SIZE = 30;

// KCCFHTYP
constexpr uint16_t FILE_TYPE_CONTROL = 1;
constexpr uint16_t FILE_TYPE_REDO_LOG = 2;
constexpr uint16_t FILE_TYPE_DATA = 3;
constexpr uint16_t FILE_TYPE_TEMP = 6;
