// LOBs in files of their own, beside the output of their table:
//
//   STEM.lobs/COLUMN/000/000000017.txt
//
// numbered by the row in the table's output, a thousand rows a directory; .txt is text in UTF-8, .bin is
// bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "output/file_handle.h"

namespace vexlo {

class LobFiles {
public:
    // The files go below `directory`/`stem`.lobs, which must not exist; `columns` are the names of the
    // table's columns.
    LobFiles(const std::string &directory, const std::string &stem, const std::vector<std::string> &columns);

    // A file being written. Bytes that are missing leave a hole.
    class File {
    public:
        File(std::string path, std::string name);

        void append(const void *data, size_t size);
        void skip(uint64_t bytes) { size_ += bytes; }
        // The file is complete.
        void finish();
        // Its path below the output directory, as the row has it.
        const std::string &name() const { return name_; }

    private:
        FileHandle file_;
        std::string path_;
        std::string name_;
        uint64_t size_ = 0;
    };

    // Begins the file of a value in row `row` (from 1). Throws OutputError, as File does.
    File open(uint64_t row, size_t column, bool is_text);

private:
    std::string directory_;
    std::vector<std::string> columns_; // "STEM.lobs/COLUMN"
    std::vector<uint64_t> made_;       // number of the directory made last, by column
};

} // namespace vexlo
