// The database that a run reads: its files and its dictionary.
#pragma once

#include <vector>

#include "output/cell.h"
#include "output/report.h"
#include "rescue/dictionary.h"
#include "rescue/options.h"
#include "rescue/record.h"

namespace vexlo {

struct OpenDatabase {
    FileSet files;
    ScanIndexes scans;
    Dictionary dictionary;

    // Opens what the options name and tells `report` what is to be said of files and dictionary; lost blocks
    // of the dictionary are a loss. Throws UsageError and InputError.
    OpenDatabase(const RescueOptions &options, Report &report);
};

// The database character set that the user names. Throws UsageError for one that is not known.
std::optional<Charset> user_charset(const RescueOptions &options);

// The character sets of the database: the user's or else those its properties name. One that is not known is
// a loss and text is read as UTF-8. Throws UsageError for a set of the user that is not known.
TextCharsets text_charsets(const Dictionary &dictionary, const RescueOptions &options, Report &report);

// The files as a record has them: the inputs, and those that the dictionary or a table asked for in vain.
std::vector<FileEntry> file_entries(const FileSet &files, const Dictionary &dictionary);

} // namespace vexlo
