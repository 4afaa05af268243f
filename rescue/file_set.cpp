#include "rescue/file_set.h"

#include <algorithm>
#include <cstdio>
#include <set>

#include "format/block_address.h"
#include "rescue/file_search.h"
#include "values/errors.h"

namespace vexlo {

namespace {

std::vector<std::unique_ptr<Datafile>> open_all(const std::vector<std::string> &paths) {
    std::vector<std::unique_ptr<Datafile>> files;
    for (const std::string &path : paths) {
        try {
            files.push_back(Datafile::open(path));
        } catch (const InputError &error) {
            files.push_back(Datafile::absent(path, error.what()));
        }
    }
    return files;
}

bool has_database(const Datafile &file) {
    return file.is_used() && file.identity().dbid != 0;
}

std::string quoted(const Datafile &file) {
    return "\"" + file.path() + "\"";
}

// The databases among the files, with a line that names each.
std::map<uint32_t, std::string> databases(std::span<const std::unique_ptr<Datafile>> files) {
    std::map<uint32_t, std::string> found;
    for (const auto &file : files)
        if (has_database(*file))
            found.emplace(file->identity().dbid, std::to_string(file->identity().dbid) + " (" +
                                                     file->identity().database + ", as " + quoted(*file) +
                                                     ")");
    return found;
}

std::string joined(const std::map<uint32_t, std::string> &names) {
    std::string text;
    for (const auto &[dbid, name] : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

} // namespace

FileSet::FileSet(const FileQuery &query) : FileSet(open_all(find_files(query)), query.dbid) {}

FileSet::FileSet(std::vector<std::unique_ptr<Datafile>> files, std::optional<uint32_t> dbid)
    : inputs_(std::move(files)) {
    drop_repeated_paths();
    choose_database(dbid);
    drop_duplicates();
    index_files();
    if (by_tablespace_.empty() && placeless_.empty())
        throw InputError("none of the files is a datafile that can be read");
}

// A file that was named twice, by links or overlapping patterns, is one file.
void FileSet::drop_repeated_paths() {
    std::set<std::pair<dev_t, ino_t>> seen;
    std::erase_if(inputs_, [&](const std::unique_ptr<Datafile> &file) {
        return file->status() != FileStatus::missing && !seen.emplace(file->device(), file->inode()).second;
    });
}

void FileSet::choose_database(std::optional<uint32_t> dbid) {
    const std::map<uint32_t, std::string> found = databases(inputs_);
    if (!dbid && found.size() > 1)
        throw UsageError("the files are of several databases, choose one with --dbid: " + joined(found));
    if (dbid && !found.contains(*dbid))
        throw UsageError("no file is of database " + std::to_string(*dbid) +
                         (found.empty() ? "" : ", there are " + joined(found)));
    if (!found.empty())
        dbid_ = dbid.value_or(found.begin()->first);
    for (const auto &file : inputs_)
        if (has_database(*file) && file->identity().dbid != dbid_)
            file->set_status(FileStatus::other_database,
                             "of database " + std::to_string(file->identity().dbid));
}

// Of the copies of one file the one with the newest checkpoint stays, the first of equal ones.
void FileSet::drop_duplicates() {
    std::map<uint32_t, Datafile *> kept; // by absolute number
    for (const auto &file : inputs_) {
        if (file->status() != FileStatus::used)
            continue;
        auto [it, first] = kept.emplace(file->identity().file, file.get());
        if (first)
            continue;
        Datafile *loser = file.get();
        if (file->identity().checkpoint > it->second->identity().checkpoint)
            std::swap(loser, it->second);
        loser->set_status(
            FileStatus::duplicate,
            "copy of " + quoted(*it->second) + ", whose checkpoint is " +
                (loser->identity().checkpoint == it->second->identity().checkpoint ? "the same" : "newer"));
    }
}

void FileSet::index_files() {
    by_tablespace_.clear();
    placeless_.clear();
    notes_.clear();
    root_ = nullptr;
    for (const auto &file : inputs_) {
        if (!file->remark().empty() || !file->is_used())
            notes_.push_back(quoted(*file) + ": " +
                             (file->is_used() ? "" : std::string(status_text(file->status())) + ": ") +
                             file->remark());
        if (!file->is_used())
            continue;
        const FileIdentity &identity = file->identity();
        compatibility_ = std::max(compatibility_, identity.compatibility);
        if (identity.root_rdba != 0 && (root_ == nullptr || identity.file < root_->identity().file))
            root_ = file.get();
        if (identity.tablespace)
            by_tablespace_[*identity.tablespace].push_back(file.get());
        else
            placeless_.push_back(file.get());
    }
    sort_tablespaces();
}

void FileSet::sort_tablespaces() {
    for (auto &[number, files] : by_tablespace_) {
        std::stable_sort(files.begin(), files.end(), [](const Datafile *a, const Datafile *b) {
            return a->identity().relative_file < b->identity().relative_file;
        });
        const auto same =
            std::adjacent_find(files.begin(), files.end(), [](const Datafile *a, const Datafile *b) {
                return a->identity().relative_file == b->identity().relative_file;
            });
        if (same != files.end() && (*same)->status() == FileStatus::used &&
            same[1]->status() == FileStatus::used)
            throw UsageError(quoted(**same) + " and " + quoted(*same[1]) + " are both relative file " +
                             std::to_string((*same)->identity().relative_file) + " of tablespace " +
                             std::to_string(number) +
                             ": files of several containers? Give those of one at a time");
    }
}

const Datafile *FileSet::find_file(uint32_t tablespace, uint32_t relative_file) const {
    const auto it = by_tablespace_.find(tablespace);
    if (it != by_tablespace_.end()) {
        const std::vector<const Datafile *> &files = it->second;
        const auto at = std::partition_point(files.begin(), files.end(), [&](const Datafile *file) {
            return file->identity().relative_file < relative_file;
        });
        if (at != files.end() && (*at)->identity().relative_file == relative_file)
            return *at;
        // A bigfile is its tablespace's only file, and its addresses name none.
        if (files.front()->identity().bigfile)
            return files.front();
    }
    for (const Datafile *file : placeless_)
        if (file->identity().relative_file == relative_file)
            return file;
    return nullptr;
}

BlockPlace FileSet::find(uint32_t tablespace, uint32_t rdba) const {
    const uint32_t relative_file = rdba_file(rdba);
    const Datafile *file = find_file(tablespace, relative_file);
    if (file != nullptr)
        return {file, file->block_number(rdba)};
    const std::lock_guard<std::mutex> guard(missing_lock_);
    missing_.insert({tablespace, relative_file});
    return {nullptr, rdba & RDBA_BLOCK_MASK};
}

std::span<const Datafile *const> FileSet::tablespace(uint32_t tablespace) const {
    const auto it = by_tablespace_.find(tablespace);
    return it == by_tablespace_.end() ? std::span<const Datafile *const>()
                                      : std::span<const Datafile *const>(it->second);
}

std::vector<const Datafile *> FileSet::scanned(uint32_t number) const {
    const std::span<const Datafile *const> own = tablespace(number);
    std::vector<const Datafile *> files(own.begin(), own.end());
    files.insert(files.end(), placeless_.begin(), placeless_.end());
    return files;
}

std::vector<uint32_t> FileSet::tablespaces() const {
    std::vector<uint32_t> numbers;
    for (const auto &[number, files] : by_tablespace_)
        numbers.push_back(number);
    return numbers;
}

std::vector<MissingFile> FileSet::missing() const {
    const std::lock_guard<std::mutex> guard(missing_lock_);
    return {missing_.begin(), missing_.end()};
}

void FileSet::place_file(uint32_t file, uint32_t tablespace, uint32_t relative_file) {
    for (const auto &input : inputs_)
        if (input->status() == FileStatus::damaged_header &&
            input->identity().relative_file == relative_file &&
            !claims_place(tablespace, relative_file, *input)) {
            input->set_place(file, tablespace);
            index_files();
            return;
        }
}

// Whether another file, whose header is sound, has this place.
bool FileSet::claims_place(uint32_t tablespace, uint32_t relative_file, const Datafile &other_than) const {
    return std::any_of(inputs_.begin(), inputs_.end(), [&](const std::unique_ptr<Datafile> &file) {
        return file.get() != &other_than && file->status() == FileStatus::used &&
               file->identity().tablespace == tablespace && file->identity().relative_file == relative_file;
    });
}

} // namespace vexlo
