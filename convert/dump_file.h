// The header, table directory and column lists of a dump file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "convert/column_list.h"
#include "output/file_handle.h"

namespace vexlo {

struct TableInfo {
    std::string name; // bytes as stored
    bool has_long;
    bool has_lob;
    uint32_t ncol;    // columns as the directory counts them
    uint32_t nrows;   // rows the directory says there are
    uint64_t offset;  // of the table's section
    uint64_t rows_at; // file offset of the first row
    uint64_t end;     // file offset of the section's end
    std::vector<ColumnInfo> columns;
    std::string fault; // why the section cannot be read; empty when it can
};

constexpr uint32_t COLUMNS_MAX = 4096; // no table has more

class DumpFile {
public:
    // Opens and reads the file; throws InputError when it cannot be read or is no dump file.
    explicit DumpFile(const std::string &path);
    // The same of an open descriptor, which is taken over; `path` is for messages.
    DumpFile(FileHandle file, const std::string &path);

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
    void read_head();
    void read_directory(uint32_t count);
    void find_sections();
    void read_columns(TableInfo &table);

    FileHandle file_;
    std::string path_;
    uint64_t size_ = 0;
    std::string owner_, nls_lang_, ncharset_, dbtimezone_;
    std::vector<TableInfo> tables_;
    std::vector<std::string> faults_;
};

} // namespace vexlo
