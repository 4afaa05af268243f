// The record of a run, DIR/rescue.json: what was read, what came of every table, what was lost. It is
// replaced as a whole after each table, so that a run that was interrupted at any moment can go on from it.
#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rescue/loss.h"

namespace vexlo {

constexpr char RECORD_NAME[] = "rescue.json";

enum class TableStatus : uint8_t {
    complete, // every row of it is in the outputs
    partial,  // there are losses or rows that cannot be trusted
    failed,   // it could not be read or written, or its turn has not come
    skipped,  // of a kind that is not recovered
};

// A file of the input as the record names it. Numbers are those of its header; none for a file without one.
struct FileEntry {
    std::string path;
    std::optional<uint32_t> file, relative_file, tablespace, block_size;
    std::optional<uint64_t> blocks;
    std::optional<uint64_t> checkpoint_scn;
    std::optional<uint64_t> bytes;
    std::optional<std::string> modified; // when, to the nanosecond
    std::string status; // "used", "duplicate", "damaged header", "missing" or "not a datafile"

    bool operator==(const FileEntry &) const = default;
};

// A range of blocks of a table that could not be had.
struct LossEntry {
    std::string kind;   // "check value", "tail", "address", "unreadable" or "missing file"
    uint32_t file = 0;  // absolute number, or the relative one where that is not known
    uint64_t block = 0; // the first one
    uint64_t blocks = 0;

    bool operator==(const LossEntry &) const = default;
};

// The losses of a segment as a record has them.
std::vector<LossEntry> loss_entries(const SegmentTally &tally);

struct OutputEntry {
    std::string path; // in the output directory
    uint64_t bytes = 0;
    uint32_t crc32 = 0;

    bool operator==(const OutputEntry &) const = default;
};

struct BlocksEntry {
    uint64_t data = 0, unformatted = 0, foreign = 0, older = 0;

    bool operator==(const BlocksEntry &) const = default;
};

// A directory of LOBs in files of their own.
struct LobFilesEntry {
    std::string path; // in the output directory
    uint64_t files = 0;
    uint64_t bytes = 0;
    uint32_t crc32 = 0; // the sum of those of the files

    bool operator==(const LobFilesEntry &) const = default;
};

struct LobsEntry {
    uint64_t not_whole = 0;     // LOBs of which something is lost
    uint64_t missing_bytes = 0; // as far as they are known
    std::vector<LobFilesEntry> files;

    bool operator==(const LobsEntry &) const = default;
};

struct TableEntry {
    std::string owner, table;
    std::optional<std::string> partition;
    TableStatus status = TableStatus::failed;
    std::optional<std::string> reason;
    uint64_t rows = 0, suspect_rows = 0, null_values = 0;
    BlocksEntry blocks;
    std::vector<LossEntry> losses;
    std::vector<OutputEntry> outputs;
    LobsEntry lobs;

    bool operator==(const TableEntry &) const = default;
};

struct RunRecord {
    std::string version;
    std::vector<std::string> command;
    std::string started,
        finished; // moments such as 2024-02-29T12:30:00Z; `finished` is empty while the run goes on
    std::optional<int> exit_status;
    std::vector<FileEntry> files;
    std::vector<LossEntry> dictionary_losses;
    std::vector<TableEntry> tables;

    bool operator==(const RunRecord &) const = default;
};

// "complete", "partial", "failed" or "skipped".
std::string_view status_name(TableStatus status);

// The text of the record. Bytes that are no UTF-8 are kept in paths of files and in the command, as U+FFFD
// and two hexadecimal digits, and replaced in names.
std::string record_text(const RunRecord &record);

// Reads such a text; throws InputError for anything else.
RunRecord parse_record(std::string_view text);

// The record in a directory, or none when there is no file of its name. Throws InputError for one that cannot
// be read.
std::optional<RunRecord> load_record(const std::string &directory);

// A moment as the record writes it.
std::string moment_text(std::chrono::system_clock::time_point moment);
// The same with nanoseconds, as 2024-02-29T12:30:00.000000001Z.
std::string fine_moment_text(const timespec &moment);

// Keeps the file of a record up to date.
class RecordFile {
public:
    explicit RecordFile(const std::string &directory);

    // Replaces the file: the new one is complete on the disk before it gets the name. Throws OutputError.
    void write(const RunRecord &record);

    // The same after a table, unless the record has grown so large that writing it again after every table
    // would take a good part of the run's time; the next call makes up for it.
    void write_if_due(const RunRecord &record);

private:
    std::string path_;
    size_t size_ = 0;
    std::chrono::steady_clock::duration cost_{};
    std::chrono::steady_clock::time_point written_;
};

} // namespace vexlo
