#include "rescue/check.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <map>

#include <nlohmann/json.hpp>

#include "output/standard_output.h"
#include "rescue/open_database.h"
#include "rescue/rescue_progress.h"
#include "rescue/segment_owners.h"
#include "rescue/stop.h"
#include "rescue/text_table.h"
#include "values/errors.h"

namespace vexlo {

namespace {

using Json = nlohmann::ordered_json;

// What came of one input.
struct CheckedFile {
    const Datafile *file;
    BlockCensus census;
    std::vector<OwnedRange> ranges; // bad ones, and unformatted ones of a segment
};

struct CheckResult {
    std::vector<CheckedFile> files;
    std::vector<FileEntry> missing;
};

// "zero" for blocks of a segment that were never formatted.
std::string_view range_text(Health health) {
    return health == Health::unformatted ? "zero" : health_text(health);
}

class Check {
public:
    Check(const RescueOptions &options, Console &console)
        : options_(options), console_(console), report_(console), files_(options.where),
          scans_(files_, options.reading.trust_blocks) {
        for (const std::string &note : files_.notes())
            report_.note(printable(note));
        read_dictionary();
    }

    CheckResult run() {
        CheckResult result;
        RescueProgress progress = make_progress();
        for (const auto &file : files_.inputs())
            result.files.push_back({file.get(), census_of(*file, progress), {}});
        console_.clear_status();
        name_ranges(result.files);
        if (dictionary_)
            for (const FileEntry &entry : file_entries(files_, *dictionary_))
                if (entry.status == "missing")
                    result.missing.push_back(entry);
        return result;
    }

    int exit_status() const { return report_.exit_status(); }

private:
    // Files can be tested without one; owners and missing files are not known then.
    void read_dictionary() {
        try {
            dictionary_ =
                std::make_unique<Dictionary>(files_, scans_, options_.reading, user_charset(options_));
        } catch (const InputError &error) {
            report_.note(printable(error.what()));
        }
    }

    RescueProgress make_progress() {
        uint64_t blocks = 0;
        for (const auto &file : files_.inputs())
            blocks += file->is_used() ? file->blocks() : 0;
        return {console_, !options_.quiet && isatty(STDERR_FILENO) != 0, files_.inputs().size(), blocks};
    }

    BlockCensus census_of(const Datafile &file, RescueProgress &progress) const {
        progress.start_table(file.path());
        if (!file.is_used())
            return {};
        return take_census(file, options_.jobs, options_.reading.trust_blocks,
                           [&](uint64_t blocks) { progress.update(blocks); });
    }

    // Never formatted blocks are told of where a segment holds them: elsewhere they are free space.
    void name_ranges(std::vector<CheckedFile> &files) const {
        std::vector<OwnedRange> ranges;
        for (const CheckedFile &file : files)
            for (const HealthRange &range : file.census.ranges)
                ranges.push_back({file.file, range, ""});
        if (dictionary_)
            ranges = name_owners(std::move(ranges), files_, scans_, *dictionary_);
        for (CheckedFile &file : files)
            std::ranges::copy_if(ranges, std::back_inserter(file.ranges), [&](const OwnedRange &range) {
                return range.file == file.file && (is_bad(range.range.health) || !range.owner.empty());
            });
    }

    const RescueOptions &options_;
    Console &console_;
    Report report_;
    FileSet files_;
    ScanIndexes scans_;
    std::unique_ptr<Dictionary> dictionary_;
};

const char *byte_order_text(FileByteOrder order) {
    return order == FileByteOrder::big ? "big" : "little";
}

// The checkpoints of the used files, with how many files have each.
std::map<uint64_t, size_t> checkpoints(const CheckResult &result) {
    std::map<uint64_t, size_t> counts;
    for (const CheckedFile &file : result.files)
        if (file.file->status() == FileStatus::used)
            ++counts[file.file->identity().checkpoint.scn()];
    return counts;
}

Json range_json(const OwnedRange &range) {
    return {{"kind", range_text(range.range.health)},
            {"block", range.range.first},
            {"blocks", range.range.blocks},
            {"owner", range.owner.empty() ? Json(nullptr) : Json(range.owner)}};
}

Json checked_json(const CheckedFile &checked) {
    const Datafile &file = *checked.file;
    const FileIdentity &identity = file.identity();
    Json json = {{"path", file.path()}, {"status", status_text(file.status())}, {"bytes", file.size()}};
    if (!file.remark().empty())
        json["remark"] = file.remark();
    if (identity.block_size == 0)
        return json;
    json["database"] = identity.database;
    json["dbid"] = identity.dbid;
    json["file"] = identity.file;
    json["relative_file"] = identity.relative_file;
    json["tablespace"] = identity.tablespace ? Json(*identity.tablespace) : Json(nullptr);
    json["tablespace_name"] = identity.tablespace_name;
    json["block_size"] = identity.block_size;
    json["blocks"] = file.blocks() > 0 ? file.blocks() - 1 : 0;
    json["header_blocks"] = identity.header_blocks;
    json["byte_order"] = byte_order_text(identity.byte_order);
    json["checkpoint_scn"] =
        file.status() == FileStatus::damaged_header ? Json(nullptr) : Json(identity.checkpoint.scn());
    json["blocks_by_kind"] = Json::object();
    for (size_t i = 0; i < BLOCK_KINDS; ++i)
        json["blocks_by_kind"][std::string(kind_text(static_cast<BlockKind>(i)))] = checked.census.kinds[i];
    json["ranges"] = Json::array();
    for (const OwnedRange &range : checked.ranges)
        json["ranges"].push_back(range_json(range));
    return json;
}

Json missing_json(const FileEntry &file) {
    return {{"file", file.file ? Json(*file.file) : Json(nullptr)},
            {"relative_file", *file.relative_file},
            {"tablespace", *file.tablespace}};
}

std::string json_text(const CheckResult &result) {
    Json json = {{"files", Json::array()}, {"missing", Json::array()}, {"checkpoints", Json::array()}};
    for (const CheckedFile &file : result.files)
        json["files"].push_back(checked_json(file));
    for (const FileEntry &file : result.missing)
        json["missing"].push_back(missing_json(file));
    for (const auto &[scn, count] : checkpoints(result))
        json["checkpoints"].push_back({{"scn", scn}, {"files", count}});
    return json.dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string kinds_text(const BlockCensus &census) {
    std::string text;
    for (size_t i = 0; i < BLOCK_KINDS; ++i)
        if (census.kinds[i] > 0)
            text += (text.empty() ? "" : ", ") + std::to_string(census.kinds[i]) + " " +
                    std::string(kind_text(static_cast<BlockKind>(i)));
    return text;
}

std::string identity_text(const Datafile &file) {
    const FileIdentity &identity = file.identity();
    std::string text = "  file " + std::to_string(identity.file) + ", relative file " +
                       std::to_string(identity.relative_file) + ", tablespace ";
    text += identity.tablespace ? std::to_string(*identity.tablespace) : "not known";
    if (!identity.tablespace_name.empty())
        text += " " + printable(identity.tablespace_name);
    text += ", database " + printable(identity.database) + " (" + std::to_string(identity.dbid) + ")\n";
    text += "  " + std::to_string(file.blocks() > 0 ? file.blocks() - 1 : 0) + " blocks of " +
            std::to_string(identity.block_size) + " bytes";
    if (file.status() == FileStatus::damaged_header)
        return text + ", " + byte_order_text(identity.byte_order) + "-endian, checkpoint not known\n";
    return text + " (" + std::to_string(identity.header_blocks) + " by the header), " +
           byte_order_text(identity.byte_order) + "-endian, checkpoint " +
           std::to_string(identity.checkpoint.scn()) + "\n";
}

std::string file_text(const CheckedFile &checked) {
    const Datafile &file = *checked.file;
    std::string text = printable(file.path()) + ": " + status_text(file.status());
    if (!file.remark().empty())
        text += ", " + printable(file.remark());
    text += ", " + std::to_string(file.size()) + " bytes\n";
    if (file.identity().block_size == 0)
        return text;
    text += identity_text(file);
    if (file.is_used())
        text += "  " + kinds_text(checked.census) + "\n";
    for (const OwnedRange &range : checked.ranges) {
        text += "  block " + std::to_string(range.range.first);
        if (range.range.blocks > 1)
            text += " to " + std::to_string(range.range.first + range.range.blocks - 1);
        text += ": " + std::string(range_text(range.range.health));
        text += range.owner.empty() ? "\n" : ", " + printable(range.owner) + "\n";
    }
    return text;
}

std::string result_text(const CheckResult &result) {
    std::string text;
    for (const CheckedFile &file : result.files)
        text += file_text(file);
    for (const FileEntry &file : result.missing)
        text += "missing: " + (file.file ? "file " + std::to_string(*file.file) + ", " : std::string()) +
                "relative file " + std::to_string(*file.relative_file) + " of tablespace " +
                std::to_string(*file.tablespace) + "\n";
    const auto scns = checkpoints(result);
    if (scns.size() > 1)
        for (const auto &[scn, count] : scns)
            text += "checkpoint " + std::to_string(scn) + ": " + std::to_string(count) +
                    (count == 1 ? " file\n" : " files\n");
    return text;
}

bool has_losses(const CheckResult &result) {
    return !result.missing.empty() || std::ranges::any_of(result.files, [](const CheckedFile &checked) {
        const Datafile &file = *checked.file;
        const bool is_short = file.is_used() && file.identity().header_blocks >= file.blocks();
        return is_short || checked.census.kinds[static_cast<size_t>(BlockKind::bad)] > 0;
    });
}

} // namespace

int run_check(const RescueOptions &options, Console &console) {
    catch_stop_signals();
    try {
        Check check(options, console);
        const CheckResult result = check.run();
        print(options.json ? json_text(result) : result_text(result));
        return has_losses(result) ? EXIT_LOSSES : check.exit_status();
    } catch (const Stopped &) {
        console.clear_status();
        console.line("interrupted");
    }
    return EXIT_LOSSES;
}

} // namespace vexlo
