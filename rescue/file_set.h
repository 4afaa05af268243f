// The files of one database: where they are looked for, which of them are used, and the finding of blocks by
// tablespace and address.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "rescue/datafile.h"
#include "rescue/file_places.h"

namespace vexlo {

// Where to look for datafiles. With nothing set: every file of the current directory.
struct FileQuery {
    std::vector<std::string>
        files;                    // paths, directories (each regular file in them), or patterns as of a shell
    std::string list;             // text file of one path a line, "#" begins a comment
    std::string config;           // text file whose "datafiles" key names such a list
    std::optional<uint32_t> dbid; // the database, when there are files of several
};

// Where a block lies. `file` is null when no file given holds it; `block` can lie behind the end of the file.
struct BlockPlace {
    const Datafile *file;
    uint64_t block;
};

// A file that blocks were looked for in and that is not among the inputs.
struct MissingFile {
    uint32_t tablespace;
    uint32_t relative_file;

    auto operator<=>(const MissingFile &) const = default;
};

constexpr uint32_t SYSTEM_TABLESPACE = 0;

struct FoundFiles;

class FileSet {
public:
    // Opens the files that `query` asks for. Throws UsageError when a path, list or pattern gives nothing, or
    // when there are several databases and none is chosen; InputError when none of the files is a datafile.
    // What has to be said of single files is in notes().
    explicit FileSet(const FileQuery &query);
    // Of files that are open already, in the order given.
    FileSet(std::vector<std::unique_ptr<Datafile>> files, std::optional<uint32_t> dbid);

    // The text files that named inputs.
    std::span<const std::string> texts() const { return texts_; }
    // Every input in the order found, those that are not used among them.
    std::span<const std::unique_ptr<Datafile>> inputs() const { return inputs_; }
    // Lines about duplicates, damaged headers and files passed over.
    const std::vector<std::string> &notes() const { return notes_; }
    // The database id; 0 when no header tells it.
    uint32_t dbid() const { return dbid_; }
    // Compatibility version of the database, the highest of all headers.
    uint32_t compatibility() const { return compatibility_; }
    // The file whose header leads to bootstrap$; null when there is none.
    const Datafile *root() const { return root_; }

    // Finds the block at `rdba` of a tablespace; a file that is not there is remembered. Thread-safe.
    BlockPlace find(uint32_t tablespace, uint32_t rdba) const;
    // The files of a tablespace by relative number.
    std::span<const Datafile *const> tablespace(uint32_t tablespace) const;
    // The files that may hold blocks of a tablespace: its own, and those whose headers are damaged and whose
    // place is not known.
    std::vector<const Datafile *> scanned(uint32_t tablespace) const;
    // The numbers of all tablespaces that have a file.
    std::vector<uint32_t> tablespaces() const;
    // Files that find() was asked for in vain.
    std::vector<MissingFile> missing() const;

    // The files of a tablespace that the dictionary names and that are not there.
    std::vector<ExpectedFile> missing_of(uint32_t tablespace) const;

    // Whether there are files whose place FILE$ would have to tell.
    bool has_damaged_headers() const;
    // Gives files with damaged headers their places as the dictionary states them, `expected`, or else as the
    // headers do; one whose place another file has is a copy of that. Of files of one number the one that the
    // dictionary names is used. Files that it does not name where they say they belong are told of in
    // notes(). Not while other threads read.
    void place_files(std::vector<ExpectedFile> expected);

private:
    FileSet(FoundFiles found, std::optional<uint32_t> dbid);

    void drop_repeated_paths();
    void choose_database(std::optional<uint32_t> dbid);
    void drop_duplicates();
    void drop_equal_numbers();
    void drop_damaged_copies();
    void place_unexpected();
    void note_unexpected();
    void drop_placeless_copies();
    void index_files();
    void refuse_several_roots() const;
    void choose_root();
    void sort_tablespaces();
    const Datafile *holder_of(uint32_t tablespace, uint32_t relative_file) const;
    const Datafile *find_file(uint32_t tablespace, uint32_t relative_file) const;

    std::vector<std::unique_ptr<Datafile>> inputs_;
    std::vector<std::string> texts_;
    std::vector<std::string> notes_;
    uint32_t dbid_ = 0;
    uint32_t compatibility_ = 0;
    const Datafile *root_ = nullptr;
    std::map<uint32_t, std::vector<const Datafile *>> by_tablespace_;
    std::vector<const Datafile *> placeless_; // used, of a tablespace that is not known for sure
    std::vector<ExpectedFile> expected_;      // empty when the dictionary names none
    mutable std::mutex missing_lock_;
    mutable std::set<MissingFile> missing_;
};

} // namespace vexlo
