// The blocks of a BasicFile LOB segment by LOB, found by going through them: what is left when the LOB index
// is lost. Which runs of blocks are a LOB's is kept; what else a LOB needs of them is read again.
#pragma once

#include <cstdint>
#include <vector>

#include "rescue/block_reader.h"
#include "rescue/scan_index.h"
#include "rescue/segment.h"
#include "values/lob_locator.h"

namespace vexlo {

struct ScannedPage {
    uint32_t page;
    uint32_t rdba;
    uint64_t version;
};

class LobScan {
public:
    // Of the segment with this data object number, in a tablespace. Throws Stopped when the run is to end.
    LobScan(const ScanIndex &scan, uint32_t tablespace, uint32_t data_object, ReadOptions options);

    // Appends the blocks of a LOB by page; of several versions of a page those of the newest, by address.
    // Returns how many blocks were read for that.
    uint64_t find(const LobId &id, BlockReader &blocks, std::vector<ScannedPage> &pages) const;

private:
    // Blocks of one LOB that lie next to each other: 16 bytes, since a segment may have many millions.
    struct Run {
        LobId id;
        uint16_t blocks;
        uint32_t rdba; // of the first one
    };

    void add_run(const BlockRun &run, std::vector<uint8_t> &buffer, ReadOptions options);
    void add_block(const LobId &id, uint32_t rdba);

    const uint32_t tablespace_, data_object_;
    std::vector<Run> runs_; // by id, address
};

} // namespace vexlo
