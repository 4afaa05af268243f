// Output files. A file is written beside its place under another name and gets its own only when it is
// complete.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "output/background_writer.h"
#include "output/byte_buffer.h"
#include "output/digest.h"
#include "output/file_handle.h"
#include "output/names.h"

namespace vexlo {

// The place of an output that is not complete: destroyed before commit(), it removes what was written.
class PendingPath {
public:
    explicit PendingPath(const std::string &final_path);
    // An output that an earlier run has begun at `temporary`.
    PendingPath(const std::string &final_path, const std::string &temporary);
    ~PendingPath();
    PendingPath(const PendingPath &) = delete;
    PendingPath &operator=(const PendingPath &) = delete;

    const std::string &temporary() const { return temporary_; }
    const std::string &final_path() const { return final_; }
    // Creates the output under its temporary name, empty; throws OutputError.
    FileHandle create() const;
    // The output stays where it is for a later run to go on with, when there is no commit().
    void keep() { pending_ = false; }
    // Gives the output its final name, in place of an older file of that name; throws OutputError.
    void commit();

private:
    std::string final_;
    std::string temporary_;
    bool pending_ = true;
};

// The name that the unfinished output called `name` in its directory, or the journal of one, was to get;
// nothing for any other file.
std::optional<std::string> unfinished_output(std::string_view name);

// An output that has got its final name.
struct WrittenFile {
    std::string path;
    uint64_t bytes;
    uint32_t crc32;
};

// A buffered output. Every function throws OutputError when writing fails.
class OutputFile {
public:
    static constexpr size_t BUFFER_SIZE = 1 << 18;

    // A file that will be at `final_path`. It is entered in `log`, unless that is null, when it is finished.
    explicit OutputFile(const std::string &final_path, std::vector<WrittenFile> *log = nullptr,
                        Compression compression = Compression::none);
    // Standard output.
    explicit OutputFile(Compression compression = Compression::none);

    // From here on the thread that gives bytes writes them, not one of the file's own.
    void write_directly() { is_direct_ = true; }

    void append(std::string_view text);
    // Takes all of `bytes`, which is empty then and may have another buffer.
    void take(ByteBuffer &bytes);

    // Writes the rest and gives the file its final name.
    void finish();
    // Where the file is then; empty for standard output.
    std::string path() const { return path_ ? path_->final_path() : ""; }

private:
    void flush();
    void start(ByteBuffer &bytes);
    void check(int error) const;

    std::unique_ptr<PendingPath> path_; // null for standard output
    std::vector<WrittenFile> *log_ = nullptr;
    Digest digest_; // when there is a log
    FileHandle file_;
    FileSink sink_;
    bool is_direct_ = false;
    ByteBuffer filling_;                       // small pieces
    ByteBuffer writing_;                       // what the writer has been given
    std::unique_ptr<BackgroundWriter> writer_; // from the first full buffer on; stops before the rest goes
};

// Where the outputs of a run go: a directory, or standard output for one table.
class Destination {
public:
    // `directory` is created with the first output when it is missing; "-" is standard output.
    explicit Destination(const std::string &directory);
    // A destination for the outputs of one table: whatever their names, all are at `stem`, a path, with their
    // extensions. They are entered in a log.
    static Destination at(const std::string &stem);

    bool is_standard_output() const { return standard_output_; }
    // The path of a new output named after `name`, which may be anything; no two calls give the same path,
    // but for a destination of one table.
    std::string path_for(std::string_view name, std::string_view extension);
    // The same with what its compression adds.
    std::string stream_path_for(std::string_view name, std::string_view extension);
    // The output named after `name` was given up: its path can be given again.
    void release(std::string_view name) { used_.release(safe_file_name(name)); }
    // A path for an output that all tables share: no other gets its name. Nothing is created.
    std::string reserve(std::string_view name, std::string_view extension);
    // A file at a path from path_for(), not compressed.
    std::unique_ptr<OutputFile> open_path(const std::string &path);
    // The output file at a path from stream_path_for(), or standard output.
    std::unique_ptr<OutputFile> open_stream(const std::string &path);
    // The threads that give bytes write them. For as many threads as there are processors: what one of them
    // has made is in its cache, and none is free to take it over.
    void write_directly() { is_direct_ = true; }
    // How the outputs that can be are compressed.
    void set_compression(Compression compression) { compression_ = compression; }
    // The log for files at paths made of those from path_for(); null when there is none. The destination must
    // stay where it is until they are finished.
    std::vector<WrittenFile> *log() { return stem_.empty() ? nullptr : &written_; }

private:
    Destination() = default;
    std::unique_ptr<OutputFile> opened(std::unique_ptr<OutputFile> file) const;

    std::string directory_;
    std::string stem_; // empty for names in the directory
    bool standard_output_ = false;
    bool is_direct_ = false;
    Compression compression_ = Compression::none;
    UniqueNames used_;
    std::vector<WrittenFile> written_;
};

} // namespace vexlo
