// The files that the command line names.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "convert/dump_file.h"
#include "convert/options.h"
#include "output/report.h"

namespace vexlo {

constexpr char STANDARD_INPUT[] = "-";

// Opens the files one after the other. STANDARD_INPUT is standard input: used in place when it is a file,
// copied to a nameless file in $TMPDIR (or /tmp) when it is a pipe, since a dump is not read from front to
// back.
class InputFiles {
public:
    // Both must outlive the object. Throws InputError when the dictionary that the options name cannot be
    // read.
    InputFiles(const Options &options, Report &report);

    // The next file that is a dump; those that cannot be read are reported, and so are those that are none:
    // as a failure when nothing else was asked for, as a loss when they stand among dumps.
    std::optional<DumpFile> next();

private:
    DumpFile open_dump(const std::string &path) const;

    const std::vector<std::string> &paths_;
    Report &report_;
    std::optional<Salvage> salvage_;
    size_t next_ = 0;
    size_t opened_ = 0, skipped_ = 0;
};

} // namespace vexlo
