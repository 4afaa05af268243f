// The directory that a run writes to.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "output/file_handle.h"
#include "rescue/file_set.h"
#include "rescue/record.h"

namespace vexlo {

// Paths are relative to the directory.
class OutputDirectory {
public:
    // Creates the directory where it is missing. Throws OutputError.
    explicit OutputDirectory(const std::string &path);

    // Keeps other runs out of the directory as long as this lives; throws UsageError when one is at work
    // there.
    void lock();

    // Throws UsageError when one of the paths, or what a run that was ended has left of it, is a datafile or
    // a file that the user named, or has one in it.
    void refuse_inputs(const std::vector<std::string> &paths, const FileSet &files) const;
    // Throws UsageError when one of the paths that are not in `own` is a file of any kind that was met among
    // the inputs, or has one in it.
    void refuse_met(const std::vector<std::string> &paths, const FileSet &files,
                    const std::set<std::string> &own) const;
    // Throws UsageError when one of the paths exists.
    void refuse_existing(const std::vector<std::string> &paths) const;

    // What a run that was ended has left of an output: the full path of a file beside it; empty when there is
    // none.
    std::string find_unfinished(const std::string &path) const;
    // Removes what runs that were ended have left of these outputs, but for `kept`, a full path, and its
    // journal.
    void remove_unfinished(const std::vector<std::string> &paths, const std::string &kept) const;
    // Removes what an earlier run has left at those of the paths that are none of `outputs`.
    void remove_others(const std::vector<std::string> &paths, const std::vector<OutputEntry> &outputs) const;

    // Whether all these outputs are there as they were written, by size and content.
    bool holds(const std::vector<OutputEntry> &outputs) const;
    bool holds(const std::vector<LobFilesEntry> &directories) const;

private:
    template <class VISIT>
    void visit_unfinished(const std::vector<std::string> &paths, VISIT &&visit) const;
    std::string full(const std::string &path) const { return path_ + "/" + path; }

    std::string path_;
    FileHandle lock_;
};

} // namespace vexlo
