// The header, table directory and column lists of a dump file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "convert/column_list.h"
#include "convert/dictionary.h"
#include "convert/salvage.h"
#include "output/file_handle.h"

namespace vexlo {

constexpr size_t NO_COLUMN = SIZE_MAX;

struct TableInfo {
    std::string name; // bytes as stored
    bool has_long;
    bool has_lob;
    uint32_t ncol;    // columns as the directory counts them
    uint32_t nrows;   // rows the directory says there are
    bool counted;     // the directory says so
    uint64_t offset;  // of the table's section
    uint64_t rows_at; // file offset of the first row
    uint64_t end;     // file offset of the section's end
    std::vector<ColumnInfo> columns;
    // The column of each entry of a row, NO_COLUMN for one that belongs to none; empty when entry and column
    // are the same.
    std::vector<size_t> entry_columns;
    std::string remark; // on entries that belong to no column; empty when there are none
    bool open = false;  // which entries these are could not be told
    std::string fault;  // why the section cannot be read; empty when it can
};

constexpr uint32_t COLUMNS_MAX = 4096;    // no table has more
constexpr uint32_t TABLES_MAX = 1U << 17; // that are taken from one directory

// How a dump without a sound header and directory is read: the tables are found by their column lists, and
// get the names that the directory, as far as it is sound, or the dictionary has for them.
struct Salvage {
    std::optional<Dictionary> dictionary;
};

class DumpFile {
public:
    // Opens and reads the file; throws InputError when it cannot be read, NoDumpError when it is no dump
    // file. With `salvage` a header or a directory that is damaged is made up for.
    explicit DumpFile(const std::string &path, const Salvage *salvage = nullptr);
    // The same of an open descriptor, which is taken over; `path` is for messages.
    DumpFile(FileHandle file, const std::string &path, const Salvage *salvage = nullptr);

    int fd() const { return file_.get(); }
    uint64_t size() const { return size_; }
    const std::string &path() const { return path_; }
    const std::string &owner() const { return owner_; }
    const std::string &nls_lang() const { return nls_lang_; }
    const std::string &ncharset() const { return ncharset_; }
    const std::string &dbtimezone() const { return dbtimezone_; }
    // The database character set: what follows the last "." of nls_lang().
    std::string charset() const;
    const std::vector<TableInfo> &tables() const { return tables_; }
    // What is wrong with the header and the directory, one text each.
    const std::vector<std::string> &faults() const { return faults_; }

private:
    bool is_sound() const;
    void salvage(const Salvage &salvage);
    void add_found(const Dictionary *dictionary, const std::vector<TableInfo> &directory, FoundList &&list,
                   uint64_t end, std::vector<std::string> &remarks);
    void name_found(const Dictionary *dictionary, const std::vector<TableInfo> &directory, TableInfo &table);
    void read_head(bool strict);
    void read_directory(uint32_t count, bool counted);
    bool is_table_record(const uint8_t *record, bool counted) const;
    bool is_column_list(uint64_t offset) const;
    uint64_t data_begin() const;
    void find_sections();
    void read_columns(TableInfo &table);

    FileHandle file_;
    std::string path_;
    uint64_t size_ = 0;
    uint64_t directory_end_ = 0; // behind its last record
    bool has_magic_ = false;
    std::string owner_, nls_lang_, ncharset_, dbtimezone_;
    std::vector<TableInfo> tables_;
    std::vector<std::string> faults_;
};

} // namespace vexlo
