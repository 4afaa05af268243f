// The command line of vexlo-rescue.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "output/format.h"
#include "output/name_pattern.h"
#include "rescue/file_set.h"
#include "rescue/segment.h"

namespace vexlo {

constexpr char RESCUE_PROGRAM[] = "vexlo-rescue";
constexpr unsigned JOBS_MAX = 256;

enum class Verb : uint8_t { list, unload, check };

// Where LOBs come out.
enum class LobMode : uint8_t {
    in_line, // in their columns
    files,   // each in a file of its own, whose name is in the column
    none,    // nowhere, the columns are empty
};

struct RescueOptions {
    Verb verb = Verb::list;
    FileQuery where;
    std::vector<NamePattern> patterns; // none for all tables
    bool all_owners = false;           // Oracle's own among them
    ReadOptions reading;
    LobMode lobs = LobMode::in_line;
    std::optional<uint64_t> lob_limit; // bytes of a LOB that come out at most
    bool columns = false;              // of list: show them
    bool hidden = false;               // hidden, unused and virtual columns are columns too
    bool by_partition = false;
    FormatOptions format;
    std::string charset;  // in place of the database's; empty for that
    std::string ncharset; // the same of the national character set
    std::string output;   // directory
    bool overwrite = false;
    bool resume = false;
    unsigned jobs = 1;
    bool quiet = false;
    bool json = false;
    std::vector<std::string> command; // as typed
};

// Reads the command line into `options`. Returns -1 to go on, or the exit status when there is nothing more
// to do: help and version have been printed to standard output, or one line to standard error says what is
// wrong.
int parse_rescue_options(const std::vector<std::string> &command, RescueOptions &options);

// Whether a run with these options writes the same outputs as one with the others, given the same input
// files.
bool same_outputs(const RescueOptions &one, const RescueOptions &other);

} // namespace vexlo
