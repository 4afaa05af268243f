// Which places of the database files with damaged headers have.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "rescue/datafile.h"

namespace vexlo {

// A file that the dictionary names.
struct ExpectedFile {
    // A segment header that stands in it.
    struct Witness {
        uint32_t block;
        uint32_t data_object;
    };

    uint32_t file;
    uint32_t tablespace;
    uint32_t relative_file;
    uint64_t blocks;
    std::vector<Witness> witnesses = {}; // some of them; asked where several files could have the place
};

// Gives files with damaged headers the places of `expected` that no sound file of `inputs` has. A header
// whose numbers are together those of a place is right about it. Else the relative number, which the blocks
// have told, leaves one place, or the segment headers that stand in the file choose one. A file for which
// nothing does stays without.
void place_damaged_files(std::span<const std::unique_ptr<Datafile>> inputs,
                         std::span<const ExpectedFile> expected);

} // namespace vexlo
