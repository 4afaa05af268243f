// The blocks of a BasicFile LOB segment by LOB and page, found by going through them: what is left when the
// LOB index is lost.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "rescue/scan_index.h"
#include "rescue/segment.h"
#include "values/lob_locator.h"

namespace vexlo {

struct ScannedPage {
    LobId id;
    uint32_t page;
    uint32_t rdba;
    uint64_t version;
};

class LobScan {
public:
    // Of the segment with this data object number.
    LobScan(const ScanIndex &scan, uint32_t data_object, ReadOptions options);

    // The blocks of a LOB by page; of several versions of a page those of the newest, by address.
    std::span<const ScannedPage> find(const LobId &id) const;

private:
    void drop_old_versions();

    std::vector<ScannedPage> pages_; // by id, page, address
};

} // namespace vexlo
