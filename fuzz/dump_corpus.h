// Seeds made of dump files.
#pragma once

#include <string>
#include <vector>

struct DumpSeed {
    std::string target;
    std::string name;
    std::string bytes;
};

// The seeds of the targets that read dump files.
std::vector<DumpSeed> dump_seeds();
