// Datafiles in memory for the targets of vexlo-rescue.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>

#include "output/file_handle.h"
#include "rescue/datafile.h"

namespace fuzz {

// A datafile of these bytes that has no name.
inline std::unique_ptr<vexlo::Datafile> memory_datafile(std::span<const uint8_t> bytes,
                                                        const std::string &path) {
    vexlo::FileHandle file(memfd_create("datafile", MFD_CLOEXEC));
    if (write(file.get(), bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        abort();
    return vexlo::Datafile::adopt(std::move(file), path);
}

// Ends the process with a finding when `holds` is false.
inline void check(bool holds) {
    if (!holds)
        abort();
}

} // namespace fuzz
