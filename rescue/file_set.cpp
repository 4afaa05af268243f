#include "rescue/file_set.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <tuple>

#include "format/block_address.h"
#include "rescue/file_places.h"
#include "rescue/file_search.h"
#include "values/errors.h"

namespace vexlo {

namespace {

std::vector<std::unique_ptr<Datafile>> open_all(const std::vector<FoundPath> &paths) {
    std::vector<std::unique_ptr<Datafile>> files;
    for (const auto &[path, named] : paths) {
        try {
            files.push_back(Datafile::open(path));
        } catch (const InputError &error) {
            files.push_back(Datafile::absent(path, error.what()));
        }
        if (named)
            files.back()->set_named();
    }
    return files;
}

bool has_database(const Datafile &file) {
    return file.is_used() && file.identity().dbid != 0;
}

std::string quoted(const Datafile &file) {
    return "\"" + file.path() + "\"";
}

// The databases that headers of this kind name, with a line that names each, and how many files do.
struct Databases {
    std::map<uint32_t, std::string> names;
    std::map<uint32_t, size_t> files;

    Databases(std::span<const std::unique_ptr<Datafile>> inputs, FileStatus status) {
        for (const auto &file : inputs) {
            const FileIdentity &identity = file->identity();
            if (!has_database(*file) || file->status() != status)
                continue;
            names.emplace(identity.dbid, std::to_string(identity.dbid) + " (" + identity.database + ", as " +
                                             quoted(*file) + ")");
            ++files[identity.dbid];
        }
    }
};

// The databases among the files. Damaged headers are asked when there are no others, and what fewer of them
// name than another is damage.
std::map<uint32_t, std::string> databases(std::span<const std::unique_ptr<Datafile>> files) {
    Databases sound(files, FileStatus::used);
    if (!sound.names.empty())
        return std::move(sound.names);
    Databases damaged(files, FileStatus::damaged_header);
    size_t most = 0;
    for (const auto &[dbid, count] : damaged.files)
        most = std::max(most, count);
    std::erase_if(damaged.names, [&](const auto &name) { return damaged.files.at(name.first) < most; });
    return std::move(damaged.names);
}

std::string joined(const std::map<uint32_t, std::string> &names) {
    std::string text;
    for (const auto &[dbid, name] : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

} // namespace

FileSet::FileSet(const FileQuery &query) : FileSet(find_files(query), query.dbid) {}

FileSet::FileSet(FoundFiles found, std::optional<uint32_t> dbid) : FileSet(open_all(found.paths), dbid) {
    texts_ = std::move(found.texts);
}

FileSet::FileSet(std::vector<std::unique_ptr<Datafile>> files, std::optional<uint32_t> dbid)
    : inputs_(std::move(files)) {
    drop_repeated_paths();
    choose_database(dbid);
    drop_duplicates();
    refuse_several_roots();
    drop_damaged_copies();
    index_files();
    if (by_tablespace_.empty() && placeless_.empty())
        throw InputError("none of the files is a datafile that can be read");
}

// A file that was named twice, by links or overlapping patterns, is one file.
void FileSet::drop_repeated_paths() {
    std::map<std::pair<dev_t, ino_t>, Datafile *> seen;
    std::erase_if(inputs_, [&](const std::unique_ptr<Datafile> &file) {
        if (file->status() == FileStatus::missing)
            return false;
        const auto [first, is_new] = seen.emplace(std::pair(file->device(), file->inode()), file.get());
        if (!is_new && file->is_named())
            first->second->set_named();
        return !is_new;
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
        if (has_database(*file) && file->identity().dbid != dbid_ && found.contains(file->identity().dbid))
            file->set_status(FileStatus::other_database,
                             "of database " + std::to_string(file->identity().dbid));
}

// Of the copies of one file the one with the newest checkpoint stays, the first of equal ones. Files of one
// number and of different places are no copies: the dictionary will tell which of them it is.
void FileSet::drop_duplicates() {
    std::map<std::tuple<uint32_t, std::optional<uint32_t>, uint32_t>, Datafile *> kept;
    for (const auto &file : inputs_) {
        if (file->status() != FileStatus::used)
            continue;
        const FileIdentity &identity = file->identity();
        auto [it, first] =
            kept.emplace(std::tuple(identity.file, identity.tablespace, identity.relative_file), file.get());
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

// Every container of a database has a dictionary and a bootstrap$ of its own, and nothing is known in a
// header that would tell which files go with which.
void FileSet::refuse_several_roots() const {
    const Datafile *first = nullptr;
    for (const auto &file : inputs_) {
        const FileIdentity &identity = file->identity();
        if (file->status() != FileStatus::used || identity.root_rdba == 0 ||
            identity.tablespace != SYSTEM_TABLESPACE)
            continue;
        if (first != nullptr)
            throw UsageError(quoted(*first) + " and " + quoted(*file) +
                             " are both the first file of a SYSTEM "
                             "tablespace: files of several containers? Give those of one at a time");
        first = file.get();
    }
}

void FileSet::index_files() {
    by_tablespace_.clear();
    placeless_.clear();
    notes_.clear();
    for (const auto &file : inputs_) {
        if (!file->remark().empty() || !file->is_used())
            notes_.push_back(quoted(*file) + ": " +
                             (file->is_used() ? "" : std::string(status_text(file->status())) + ": ") +
                             file->remark());
        if (!file->is_used())
            continue;
        if (file->is_placed() && file->identity().tablespace)
            by_tablespace_[*file->identity().tablespace].push_back(file.get());
        else
            placeless_.push_back(file.get());
    }
    sort_tablespaces();
    choose_root();
}

// The way to bootstrap$ and the compatibility are those of sound headers, of damaged ones only for want of
// any.
void FileSet::choose_root() {
    root_ = nullptr;
    compatibility_ = 0;
    for (const FileStatus status : {FileStatus::used, FileStatus::damaged_header}) {
        const bool has_compatibility = compatibility_ != 0, has_root = root_ != nullptr;
        for (const auto &file : inputs_) {
            const FileIdentity &identity = file->identity();
            if (file->status() != status)
                continue;
            if (!has_compatibility)
                compatibility_ = std::max(compatibility_, identity.compatibility);
            const bool may_lead = identity.root_rdba != 0 &&
                                  (status == FileStatus::used || identity.tablespace == SYSTEM_TABLESPACE);
            if (!has_root && may_lead && (root_ == nullptr || identity.file < root_->identity().file))
                root_ = file.get();
        }
    }
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
    const Datafile *found = nullptr;
    for (const Datafile *file : placeless_) {
        const FileIdentity &identity = file->identity();
        const bool is_numbered = identity.relative_file == relative_file;
        if (identity.tablespace == tablespace && (is_numbered || identity.bigfile))
            return file;
        if (is_numbered && found == nullptr)
            found = file;
    }
    return found;
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

std::vector<ExpectedFile> FileSet::missing_of(uint32_t tablespace) const {
    std::vector<ExpectedFile> missing;
    for (const ExpectedFile &file : expected_)
        if (file.tablespace == tablespace && find_file(tablespace, file.relative_file) == nullptr)
            missing.push_back(file);
    return missing;
}

bool FileSet::has_damaged_headers() const {
    return std::ranges::any_of(inputs_,
                               [](const auto &file) { return file->status() == FileStatus::damaged_header; });
}

void FileSet::place_files(std::vector<ExpectedFile> expected) {
    expected_ = std::move(expected);
    drop_equal_numbers();
    place_damaged_files(inputs_, expected_);
    drop_damaged_copies();
    drop_placeless_copies();
    place_unexpected();
    drop_damaged_copies();
    note_unexpected();
    index_files();
}

// Files of one number and of different places: all but the one that the dictionary names are of tablespaces
// that were dropped. Where it names none of them, each serves its own tablespace.
void FileSet::drop_equal_numbers() {
    std::map<uint32_t, const ExpectedFile *> named; // by absolute number
    for (const ExpectedFile &expected : expected_)
        named.emplace(expected.file, &expected);
    std::map<uint32_t, const Datafile *> kept;
    const auto visit = [&](auto &&take) {
        for (const auto &file : inputs_)
            if (const auto it = named.find(file->identity().file);
                file->status() == FileStatus::used && it != named.end())
                take(*file, file->identity().tablespace == it->second->tablespace &&
                                file->identity().relative_file == it->second->relative_file);
    };
    visit([&](Datafile &file, bool is_named) {
        if (is_named)
            kept.emplace(file.identity().file, &file);
    });
    visit([&](Datafile &file, bool is_named) {
        const auto it = kept.find(file.identity().file);
        if (!is_named && it != kept.end())
            file.set_status(FileStatus::duplicate,
                            "file " + std::to_string(it->first) + " is " + quoted(*it->second));
    });
}

// A file whose header is sound, and which has this place.
const Datafile *FileSet::holder_of(uint32_t tablespace, uint32_t relative_file) const {
    const auto it = std::ranges::find_if(inputs_, [&](const std::unique_ptr<Datafile> &file) {
        return file->status() == FileStatus::used && file->identity().tablespace == tablespace &&
               file->identity().relative_file == relative_file;
    });
    return it == inputs_.end() ? nullptr : it->get();
}

// A file with a damaged header at a place that a sound one has is a copy of it; of several damaged ones the
// one with the most blocks stays.
void FileSet::drop_damaged_copies() {
    std::map<std::pair<uint32_t, uint32_t>, Datafile *> kept; // by tablespace and relative number
    for (const auto &file : inputs_) {
        const FileIdentity &identity = file->identity();
        // All bigfiles have one number: of two of them in one tablespace a hint may be what is wrong.
        if (file->status() != FileStatus::damaged_header || !identity.tablespace ||
            (identity.bigfile && !file->is_placed()))
            continue;
        if (const Datafile *sound = holder_of(*identity.tablespace, identity.relative_file)) {
            file->set_status(FileStatus::duplicate, "copy of " + quoted(*sound) + ", whose header is sound");
            continue;
        }
        auto [it, first] = kept.emplace(std::pair(*identity.tablespace, identity.relative_file), file.get());
        if (first)
            continue;
        Datafile *loser = file.get();
        if (loser->blocks() > it->second->blocks())
            std::swap(loser, it->second);
        loser->set_status(FileStatus::duplicate,
                          "copy of " + quoted(*it->second) + ", the headers of both are damaged");
    }
}

// A file of no known place is a copy when every place of its number that the dictionary names has another
// file; where the dictionary names none, when a sound file has its number, and its tablespace where that is
// known.
void FileSet::drop_placeless_copies() {
    for (const auto &file : inputs_) {
        const FileIdentity &identity = file->identity();
        if (file->status() != FileStatus::damaged_header || file->is_placed())
            continue;
        std::map<uint32_t, const Datafile *> holders; // of the number, by tablespace
        for (const auto &other : inputs_)
            if (other->is_used() && other->is_placed() && other->identity().tablespace &&
                other->identity().relative_file == identity.relative_file &&
                other->block_size() == file->block_size())
                holders.emplace(*other->identity().tablespace, other.get());
        const auto is_place = [&](const ExpectedFile &expected) {
            return expected.relative_file == identity.relative_file;
        };
        const bool is_expected = std::ranges::any_of(expected_, is_place);
        const bool has_free_place = std::ranges::any_of(expected_, [&](const ExpectedFile &expected) {
            return is_place(expected) && !holders.contains(expected.tablespace);
        });
        const bool is_elsewhere =
            !is_expected && identity.tablespace && !holders.contains(*identity.tablespace);
        if (!holders.empty() && !has_free_place && !is_elsewhere)
            file->set_status(FileStatus::duplicate, "copy of " + quoted(*holders.begin()->second));
    }
}

// A file that the dictionary does not name may be of another container, whose tablespaces and objects have
// the same numbers, or younger than the dictionary: only the user can tell.
void FileSet::note_unexpected() {
    std::map<std::pair<uint32_t, uint32_t>, uint32_t> numbers; // by tablespace and relative number
    for (const ExpectedFile &expected : expected_)
        numbers.emplace(std::pair(expected.tablespace, expected.relative_file), expected.file);
    for (const auto &file : inputs_) {
        const FileIdentity &identity = file->identity();
        if (expected_.empty() || file->status() != FileStatus::used)
            continue;
        const auto it = numbers.find({*identity.tablespace, identity.relative_file});
        if (it == numbers.end())
            file->add_remark("relative file " + std::to_string(identity.relative_file) + " of tablespace " +
                             std::to_string(*identity.tablespace) +
                             " is not named by the dictionary: is it of another container?");
        else if (it->second != identity.file)
            file->add_remark("is file " + std::to_string(identity.file) + ", the dictionary names file " +
                             std::to_string(it->second) + " at its place: is it of another container?");
    }
}

// Where the dictionary knows of no place for a file, its header is believed.
void FileSet::place_unexpected() {
    std::set<uint32_t> expected_numbers;
    for (const ExpectedFile &expected : expected_)
        expected_numbers.insert(expected.relative_file);
    for (const auto &file : inputs_) {
        const FileIdentity &identity = file->identity();
        if (file->status() == FileStatus::damaged_header && !file->is_placed() && identity.tablespace &&
            !expected_numbers.contains(identity.relative_file))
            file->set_place(identity.file, *identity.tablespace);
    }
}

} // namespace vexlo
