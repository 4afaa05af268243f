// The blocks of a segment as a sequence of runs: by its header and extent maps and, where those are lost, by
// the data object number in the blocks themselves.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "format/extent_map.h"
#include "rescue/block_reader.h"
#include "rescue/loss.h"
#include "rescue/scan_index.h"

namespace vexlo {

// Where a segment is and which blocks are its own, as the dictionary states it.
struct SegmentRef {
    uint32_t tablespace = 0;
    uint32_t file = 0;   // relative file number of the header; file and block are 0 when there is no storage
    uint32_t block = 0;  // block number of the header
    uint32_t object = 0; // object number: no block of the segment has a data object number below it
    uint32_t data_object = 0; // data object number; 0 when not known, the header's is taken then
    bool unplaced = false;    // where its header is is lost: only going through the files finds its blocks

    bool has_storage() const { return block != 0; }
};

// Consecutive blocks of one file.
struct BlockRun {
    const Datafile *file = nullptr;
    uint64_t first = 0;
    uint32_t count = 0;
    bool scanned = false; // by going through the file: blocks that are not the segment's are not told of
};

// How segments are read.
struct ReadOptions {
    bool ignore_maps = false;  // go through the files at once
    bool trust_blocks = false; // neither check values nor tails are tested
};

// How many blocks segments may be led to, by maps and by going through the files: twice those of their
// tablespace. One extent may well claim too much, but sound segments do not share blocks. One thread at a
// time.
struct BlockBudget {
    // For segments of which each is gone through `times` times.
    BlockBudget(const FileSet &files, uint32_t tablespace, uint64_t times = 1);

    uint64_t mapped;
    uint64_t scanned;
};

// The budgets that the segments of all tables share, so that tables whose maps lead to the same blocks do not
// cost as many times those blocks. One thread at a time.
class BlockBudgets {
public:
    // `files` must outlive the budgets.
    explicit BlockBudgets(const FileSet &files) : files_(&files) {}

    // The budget of the segments in a tablespace. That of clusters, whose segment is gone through for each of
    // their tables, is one of its own.
    const std::shared_ptr<BlockBudget> &of(uint32_t tablespace, bool is_cluster = false);
    // Budgets that have as much left as these.
    BlockBudgets copy() const;

private:
    static constexpr uint64_t CLUSTER_TABLES = 32; // a cluster has no more

    const FileSet *files_;
    std::map<std::pair<uint32_t, bool>, std::shared_ptr<BlockBudget>> budgets_;
};

// Goes through a segment. Each block comes once, whatever the maps say, and none that its file does not hold.
// One thread at a time.
class SegmentRuns {
public:
    // Longest run that next() gives, in bytes: with what becomes of it, it stays in the cache of a core.
    static constexpr uint32_t RUN_BYTES = 1 << 19;

    // `files` and `scans` must outlive the runs. Segments that share no blocks can share a `budget`; without
    // one the segment has its own. Where it leads to no more blocks by maps, the files are gone through.
    SegmentRuns(const FileSet &files, const ScanIndexes &scans, const SegmentRef &segment,
                ReadOptions options, std::shared_ptr<BlockBudget> budget = nullptr);
    ~SegmentRuns();

    // The next run; false behind the last one. Throws Stopped when the run of the program is to end.
    bool next(BlockRun &run);

    // The data object number of the segment's blocks: the one given or, where that is not known, the
    // header's.
    uint32_t data_object() const;
    // Whether maps were lost, or not asked for, and the files had to be gone through.
    bool was_scanned() const;
    // What was lost before any block could be read: files that are missing, extents behind the end of their
    // file, blocks of the maps themselves. Complete when next() has returned false.
    const SegmentTally &tally() const;
    // Blocks that next() has given so far, and those that the maps read so far name (0 when scanned).
    uint64_t blocks_given() const;
    uint64_t blocks_known() const;

private:
    class State;
    std::unique_ptr<State> state_;
};

// A run in memory. Blocks that could not be read are zero there.
struct LoadedRun {
    BlockRun run;
    const uint8_t *data = nullptr;
    std::vector<uint32_t> unreadable; // by place in the run, rising
};

// Bytes that must be readable behind the blocks of a run.
constexpr size_t RUN_SLACK = 64;

// Reads the blocks of `run` into `buffer`, which has room for them and RUN_SLACK bytes more. Thread-safe.
LoadedRun load_run(const BlockRun &run, uint8_t *buffer);

} // namespace vexlo
