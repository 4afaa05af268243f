// The command line.
#pragma once

#include <string>
#include <vector>

#include "output/format.h"

namespace vexlo {

constexpr char PROGRAM_NAME[] = "vexlo-convert";

struct Options {
    bool list = false;
    bool json = false;  // of the list
    bool quick = false; // a list that trusts the counts of the directory
    FormatOptions format;
    std::vector<std::string> tables;   // patterns; empty for all
    std::vector<std::string> excluded; // patterns
    unsigned jobs = 1;                 // tables converted at the same time
    std::string output = ".";          // directory, or "-" for standard output
    std::string charset;               // in place of the header's; empty for that
    std::string ncharset;              // the same of the national character set
    bool salvage = false;   // tables are found by their column lists where the directory is damaged
    std::string dictionary; // directory of dictionary files that name them; empty for none
    bool quiet = false;
    std::vector<std::string> files;
};

// Reads the command line into `options`. Returns -1 to go on, or the exit status when there is nothing more
// to do: help and version have been printed, or what is wrong has been.
int parse_options(int argc, char **argv, Options &options);

} // namespace vexlo
