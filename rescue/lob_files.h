// LOBs in files of their own, beside the output of their table:
//
//   STEM.lobs/COLUMN/000/000000017.txt
//
// numbered by the row in the table's output, a thousand rows a directory; .txt is text in UTF-8, .bin is
// bytes. The directory has its name only when it is complete.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "output/digest.h"
#include "output/file_handle.h"
#include "output/output_file.h"
#include "rescue/record.h"

namespace vexlo {

// The path of the directory of a table's LOBs, from the stem of its outputs.
std::string lob_directory(const std::string &stem);

class LobFiles {
public:
    // The files go below `directory`/`stem`.lobs; `columns` are the names of the table's columns. Destroyed
    // before finish(), none are left.
    LobFiles(const std::string &directory, const std::string &stem, const std::vector<std::string> &columns);
    ~LobFiles();

    // All files are there: their directory gets its name, in place of an older one, which goes in any case.
    // Appends it to `entries`, unless there is no file.
    void finish(std::vector<LobFilesEntry> &entries);

    // A file being written. Bytes that are missing leave a hole.
    class File {
    public:
        // `owner` counts what is written.
        File(LobFiles &owner, std::string path, std::string name);

        void append(const void *data, size_t size);
        void skip(uint64_t bytes);
        // The file is complete.
        void finish();
        // Its path below the output directory, as the row has it.
        const std::string &name() const { return name_; }

    private:
        LobFiles &owner_;
        FileHandle file_;
        Digest digest_;
        std::string path_;
        std::string name_;
    };

    // Begins the file of a value in row `row` (from 1). Throws OutputError, as File does.
    File open(uint64_t row, size_t column, bool is_text);

private:
    PendingPath path_;
    LobFilesEntry written_;
    std::vector<std::string> columns_; // as directories are named
    std::vector<uint64_t> made_;       // number of the directory made last, by column
};

} // namespace vexlo
