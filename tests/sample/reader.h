// Reads datafiles back, independently of the writer: blocks by address, segments by their extent maps, rows
// by their pieces. For well-formed input only: anything else throws std::out_of_range.
#pragma once

#include <map>
#include <string>

#include "sample/database.h"

namespace sample_test {

using sample::Bytes;
using sample::Row;

// A directory below the system's temporary one, removed with its content at the end.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;
    const std::filesystem::path &path() const { return path_; }

private:
    std::filesystem::path path_;
};

// The whole file.
Bytes read_file(const std::filesystem::path &path);

// What a row was found as.
struct FoundRow {
    Row columns; // cluster key first, then the member's own
    int pieces = 0;
    bool migrated = false;
    std::vector<uint32_t> blocks; // rdba of each piece, first to last
};

class Reader {
public:
    // Loads all files.
    explicit Reader(const std::vector<std::filesystem::path> &files);

    uint32_t rootdba() const { return rootdba_; }
    Bytes block(uint32_t tsn, uint32_t rdba) const;

    // rdba of every block of the segment's extents in map order; `maps` counts the map blocks followed.
    std::vector<uint32_t> segment_blocks(uint32_t tsn, uint32_t header, int *maps = nullptr) const;

    // Live rows of a table: the rows of table `tabno` of each block. `extra` bytes are skipped in head
    // pieces.
    std::vector<FoundRow> rows(uint32_t tsn, uint32_t header, int tabno = 0, size_t extra = 0) const;

    // All blocks of all files: number whose words do not fold to 0.
    int bad_blocks() const;

private:
    struct File {
        uint32_t tsn, rfn;
        size_t block_size;
        Bytes bytes;
    };
    FoundRow follow(uint32_t tsn, uint32_t rdba, const Bytes &head_block, size_t piece, int tabno,
                    size_t extra) const;

    std::vector<File> files_;
    uint32_t rootdba_ = 0;
};

// Integer value of a non-negative NUMBER; -1 for NULL.
int64_t to_integer(const sample::Value &v);

// The bytes as text; "" for NULL.
std::string to_text(const sample::Value &v);

// The dictionary's rows of one table, by the names of its columns.
class DictionaryTable {
public:
    // Finds the table's segment by the model.
    DictionaryTable(const Reader &reader, const sample::Model &model, std::string_view name);

    size_t size() const { return rows_.size(); }
    // Value of a column of the row whose column `where` is the number `equals`. Throws when there is no such
    // row.
    sample::Value get(std::string_view column, std::string_view where, int64_t equals) const;
    // Values of a column of all rows whose column `where` is that number.
    std::vector<int64_t> numbers(std::string_view column, std::string_view where, int64_t equals) const;

private:
    sample::Value at(const Row &row, std::string_view column) const;
    std::map<std::string, size_t, std::less<>> position_; // in a found row
    std::vector<Row> rows_;
};

} // namespace sample_test
