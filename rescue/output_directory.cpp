#include "rescue/output_directory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <system_error>
#include <utility>

#include "output/output_file.h"
#include "rescue/table_output.h"
#include "values/errors.h"

namespace vexlo {

namespace {

namespace fs = std::filesystem;

constexpr char JOURNAL[] = "-journal"; // behind the name of a database

bool holds_output(const std::string &path, const OutputEntry &output) {
    const FileHandle file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat st;
    if (file.get() < 0 || fstat(file.get(), &st) != 0 || static_cast<uint64_t>(st.st_size) != output.bytes)
        return false;
    return file_crc32(file.get(), path) == output.crc32;
}

std::string canonical(const std::string &path) {
    std::error_code error;
    return fs::weakly_canonical(path, error);
}

// Files that no output may replace.
class ProtectedFiles {
public:
    void add(const std::string &path) {
        paths_.push_back(canonical(path));
        if (struct stat st; stat(path.c_str(), &st) == 0)
            files_.emplace(st.st_dev, st.st_ino);
    }

    // What keeps a path from being replaced or removed; empty when nothing does.
    std::string fault_of(const std::string &path) const {
        struct stat st;
        if (stat(path.c_str(), &st) != 0)
            return "";
        if (files_.contains({st.st_dev, st.st_ino}))
            return path + " is one of the input files";
        const std::string folder = S_ISDIR(st.st_mode) ? canonical(path) + "/" : "";
        const bool holds_one = !folder.empty() && std::ranges::any_of(paths_, [&](const std::string &file) {
            return file.starts_with(folder);
        });
        return holds_one ? path + " has one of the input files in it" : "";
    }

private:
    std::vector<std::string> paths_;
    std::set<std::pair<dev_t, ino_t>> files_;
};

void refuse_fault(const std::string &fault) {
    if (!fault.empty())
        throw UsageError(fault);
}

void remove_all(const std::string &path) {
    std::error_code error;
    fs::remove_all(path, error);
}

} // namespace

OutputDirectory::OutputDirectory(const std::string &path) : path_(path) {
    std::error_code error;
    fs::create_directories(path_, error);
    if (!fs::is_directory(path_))
        throw OutputError(path_ +
                          ": cannot be created: " + (error ? error.message() : std::strerror(ENOTDIR)));
}

void OutputDirectory::lock() {
    lock_ = FileHandle(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (lock_.get() < 0)
        throw OutputError(path_ + ": cannot be opened: " + std::strerror(errno));
    if (flock(lock_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        throw UsageError(path_ + ": another run writes there");
}

// Calls visit(path) for what was left of each of these outputs.
template <class VISIT>
void OutputDirectory::visit_unfinished(const std::vector<std::string> &paths, VISIT &&visit) const {
    std::set<std::string> finals, folders;
    for (const std::string &path : paths) {
        const fs::path final = fs::path(full(path)).lexically_normal();
        finals.insert(final);
        folders.insert(final.parent_path());
    }
    for (const std::string &folder : folders) {
        std::error_code error;
        for (const fs::directory_entry &entry : fs::directory_iterator(folder, error))
            if (const auto name = unfinished_output(entry.path().filename().string());
                name && finals.contains(folder + "/" + *name))
                visit(entry.path().string());
    }
}

void OutputDirectory::refuse_inputs(const std::vector<std::string> &paths, const FileSet &files) const {
    ProtectedFiles inputs;
    for (const auto &file : files.inputs())
        if (file->is_input())
            inputs.add(file->path());
    for (const std::string &text : files.texts())
        inputs.add(text);
    for (const std::string &path : paths)
        refuse_fault(inputs.fault_of(full(path)));
    visit_unfinished(paths, [&](const std::string &path) { refuse_fault(inputs.fault_of(path)); });
}

void OutputDirectory::refuse_met(const std::vector<std::string> &paths, const FileSet &files,
                                 const std::set<std::string> &own) const {
    ProtectedFiles met;
    for (const auto &file : files.inputs())
        met.add(file->path());
    for (const std::string &path : paths)
        if (const std::string fault = own.contains(path) ? "" : met.fault_of(full(path)); !fault.empty())
            throw UsageError(fault + ", and no output of the run before");
}

void OutputDirectory::refuse_existing(const std::vector<std::string> &paths) const {
    for (const std::string &path : paths) {
        struct stat st;
        if (lstat(full(path).c_str(), &st) == 0)
            throw UsageError(full(path) + " exists already (--overwrite replaces it, --resume goes on)");
    }
}

std::string OutputDirectory::find_unfinished(const std::string &path) const {
    std::string found;
    visit_unfinished({path}, [&](const std::string &unfinished) {
        if (!unfinished.ends_with(JOURNAL))
            found = unfinished;
    });
    return found;
}

void OutputDirectory::remove_unfinished(const std::vector<std::string> &paths,
                                        const std::string &kept) const {
    visit_unfinished(paths, [&](const std::string &unfinished) {
        if (kept.empty() || (unfinished != kept && unfinished != kept + JOURNAL))
            remove_all(unfinished);
    });
}

void OutputDirectory::remove_others(const std::vector<std::string> &paths,
                                    const std::vector<OutputEntry> &outputs) const {
    const auto is_output = [&](const std::string &path) {
        return std::any_of(outputs.begin(), outputs.end(),
                           [&](const OutputEntry &output) { return output.path == path; });
    };
    for (const std::string &path : paths)
        if (!is_output(path) && !fs::is_directory(full(path)) && unlink(full(path).c_str()) != 0 &&
            errno != ENOENT && errno != ENOTDIR)
            throw OutputError(full(path) + ": cannot be removed: " + std::strerror(errno));
}

bool OutputDirectory::holds(const std::vector<OutputEntry> &outputs) const {
    for (const OutputEntry &output : outputs)
        if (!holds_output(full(output.path), output))
            return false;
    return true;
}

bool OutputDirectory::holds(const std::vector<LobFilesEntry> &directories) const {
    return std::all_of(directories.begin(), directories.end(), [&](const LobFilesEntry &wanted) {
        LobFilesEntry found{wanted.path, 0, 0, 0};
        std::error_code error;
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(full(wanted.path), error)) {
            if (entry.is_directory())
                continue;
            const FileHandle file(open(entry.path().c_str(), O_RDONLY | O_CLOEXEC));
            if (file.get() < 0)
                return false;
            ++found.files;
            found.bytes += entry.file_size();
            found.crc32 += file_crc32(file.get(), entry.path());
        }
        return found == wanted;
    });
}

} // namespace vexlo
