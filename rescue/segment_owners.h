// Whose blocks are at an address: the way back from blocks to the objects of the dictionary.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "rescue/block_census.h"
#include "rescue/dictionary.h"

namespace vexlo {

// A range of blocks that is not sound, and the object whose extents hold it; empty where none does.
struct OwnedRange {
    const Datafile *file;
    HealthRange range;
    std::string owner; // OWNER.OBJECT, UTF-8
};

// Splits ranges, sorted by file and block, where extents of segments begin and end, and names their owners.
// Goes through the extent maps of every segment of the dictionary.
std::vector<OwnedRange> name_owners(std::vector<OwnedRange> ranges, const FileSet &files,
                                    const ScanIndexes &scans, const Dictionary &dictionary);

} // namespace vexlo
