// The character sets of one dump and its names in UTF-8.
#pragma once

#include <cstddef>
#include <string>

#include "convert/dump_file.h"
#include "convert/options.h"
#include "output/cell.h"
#include "output/report.h"
#include "values/text_decoder.h"

namespace vexlo {

class DumpTexts {
public:
    // Takes the character sets from the options or else from the header; one that is not known is reported as
    // a loss and read as UTF-8. Throws UsageError for a set of the options that is not known.
    DumpTexts(const DumpFile &dump, const Options &options, Report &report);

    const TextCharsets &charsets() const { return charsets_; }
    // A name of the dump in UTF-8.
    std::string name(const std::string &stored);
    // The table as the output sees it: names in UTF-8, column names unique and not empty. Columns that are
    // renamed for that and names with characters that are not valid are reported, but for those of the table
    // and its first `told` columns when that has been done.
    Table describe(const DumpFile &dump, const TableInfo &info, Report &report, size_t told = 0);

private:
    TextCharsets charsets_;
    TextDecoder names_;
};

} // namespace vexlo
