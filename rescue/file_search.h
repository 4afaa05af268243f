// The paths that a user asks for.
#pragma once

#include <string>
#include <vector>

#include "rescue/file_set.h"

namespace vexlo {

struct FoundPath {
    std::string path;
    bool named; // by the user; else it was met in a directory, or a pattern matched it
};

struct FoundFiles {
    std::vector<FoundPath> paths;
    std::vector<std::string> texts; // the list and the configuration that were read to find them
};

// All files that `query` names: what a directory holds by name, what a pattern matches, what a list lists in
// its order. Throws UsageError for a path, pattern, list or configuration that gives nothing.
FoundFiles find_files(const FileQuery &query);

} // namespace vexlo
