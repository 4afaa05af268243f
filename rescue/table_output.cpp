#include "rescue/table_output.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <future>
#include <thread>

#include "output/sqlite_target.h"
#include "values/errors.h"

namespace vexlo {

namespace {

constexpr char DATABASE_FILE[] = "rescue.sqlite";
constexpr size_t STORING_THREADS = 1; // that store rows in a database, beside those that make them

// The digest of an open file from `begin` on up to `end` or its own end.
Digest digest_of(int fd, uint64_t begin, uint64_t end, const std::string &path) {
    std::vector<char> buffer(OutputFile::BUFFER_SIZE);
    Digest digest;
    while (begin + digest.bytes() < end) {
        const uint64_t at = begin + digest.bytes();
        const size_t wanted = static_cast<size_t>(std::min<uint64_t>(buffer.size(), end - at));
        const size_t size = read_at(fd, buffer.data(), wanted, at, path);
        digest.add(buffer.data(), size);
        if (size < wanted)
            break;
    }
    return digest;
}

bool is_shared(const FormatOptions &options) {
    return options.format == "sqlite";
}

// The extensions of the files of one table.
std::vector<std::string> extensions(const FormatOptions &options) {
    if (options.format == "sqlldr")
        return {".ctl", ".ldr"};
    const std::string own = part_suffix(options.part) + "." + options.format +
                            std::string(compression_extension(compression_of(options.compress)));
    if (options.dialect == "postgresql")
        return {own, own + ".rejected"};
    return {own};
}

class FileOutput : public TableOutput {
public:
    FileOutput(const RescueOptions &options, const std::string &charset, const Table &table,
               const std::string &stem)
        : directory_(options.output), destination_(destination_of(options, stem)),
          format_(make_format(options.format, destination_, "", charset)),
          writer_(format_->open_table(table)) {}

    TableWriter &writer() override { return *writer_; }

    void finish(std::vector<OutputEntry> &outputs) override {
        writer_->finish();
        format_->finish();
        for (const WrittenFile &file : *destination_.log())
            outputs.push_back({file.path.substr(directory_.size() + 1), file.bytes, file.crc32});
    }

private:
    static Destination destination_of(const RescueOptions &options, const std::string &stem) {
        Destination destination = Destination::at(options.output + "/" + stem);
        if (options.jobs >= std::thread::hardware_concurrency())
            destination.write_directly();
        return destination;
    }

    std::string directory_;
    Destination destination_;
    std::unique_ptr<Format> format_;
    std::unique_ptr<TableWriter> writer_;
};

class SharedOutput : public TableOutput {
public:
    SharedOutput(Format &format, const Table &table, const std::string &name)
        : table_(renamed(table, name)), writer_(format.open_table(table_)) {}

    TableWriter &writer() override { return *writer_; }
    void finish(std::vector<OutputEntry> &) override { writer_->finish(); }

private:
    static Table renamed(Table table, const std::string &name) {
        table.name = name;
        return table;
    }

    const Table table_;
    std::unique_ptr<TableWriter> writer_;
};

} // namespace

std::vector<SharedNames> shared_names(const FormatOptions &options, const std::vector<PlannedTable> &tables) {
    UniqueNames names;
    std::vector<SharedNames> shared;
    for (const PlannedTable &planned : tables) {
        Table table;
        table.owner = planned.owner;
        table.name = planned.name;
        apply_output_names(options, table);
        shared.push_back({names.take(sqlite_table_name(output_name(table))), {}});
    }
    for (SharedNames &table : shared)
        table.suspect = names.take(table.main + ".suspect");
    return shared;
}

OutputFactory::OutputFactory(const RescueOptions &options, const TextCharsets &charsets,
                             const std::vector<PlannedTable> &tables, const EarlierDatabase &earlier,
                             bool has_lobs)
    : options_(options), earlier_(earlier), has_lobs_(has_lobs), charset_(charsets.database.oracle) {
    if (!is_shared(options.format))
        return;
    const std::vector<SharedNames> names = shared_names(options.format, tables);
    for (size_t i = 0; i < tables.size(); ++i) {
        shared_names_.emplace(tables[i].stem, names[i].main);
        shared_names_.emplace(tables[i].suspect_stem, names[i].suspect);
    }
}

OutputFactory::~OutputFactory() = default;

ResumableDatabase &OutputFactory::shared() {
    if (shared_ == nullptr) {
        shared_ = open_resumable_database(options_.output + "/" + DATABASE_FILE, earlier_.path,
                                          options_.format, has_lobs_);
        shared_->keep_tables(earlier_.kept_tables);
    }
    return *shared_;
}

std::string OutputFactory::numbered_name(const Table &table, const PlannedTable &planned) const {
    if (!is_shared(options_.format))
        return planned.numbered ? planned.stem : "";
    const std::string &name = shared_names_.at(planned.stem);
    return name == sqlite_table_name(output_name(table)) ? "" : name;
}

void OutputFactory::begin_last() {
    if (is_shared(options_.format))
        shared().begin_last();
}

void OutputFactory::commit() {
    if (shared_ != nullptr)
        shared_->commit();
}

void OutputFactory::roll_back() {
    if (shared_ != nullptr)
        shared_->roll_back();
}

std::unique_ptr<TableOutput> OutputFactory::open(const Table &table, const std::string &stem) {
    if (is_shared(options_.format))
        return std::make_unique<SharedOutput>(shared(), table, shared_names_.at(stem));
    const std::string folder = std::filesystem::path(options_.output + "/" + stem).parent_path();
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        throw OutputError(folder + ": cannot be created: " + error.message());
    return std::make_unique<FileOutput>(options_, charset_, table, stem);
}

void OutputFactory::finish(std::vector<TableEntry> &tables) {
    const std::string path = options_.output + "/" + DATABASE_FILE;
    const bool nothing_new = shared_ == nullptr && (earlier_.path.empty() || earlier_.path == path);
    if (!is_shared(options_.format) || nothing_new)
        return;
    shared().finish();
    const FileHandle file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const OutputEntry output{DATABASE_FILE, std::filesystem::file_size(path),
                             file_crc32(file.get(), path, options_.jobs + STORING_THREADS)};
    for (TableEntry &table : tables)
        if (table.status == TableStatus::complete || table.status == TableStatus::partial)
            table.outputs = {output};
}

std::vector<std::string> output_files(const FormatOptions &options, const std::string &stem,
                                      const std::string &suspect_stem) {
    std::vector<std::string> files;
    if (is_shared(options))
        return files;
    for (const std::string &extension : extensions(options))
        files.insert(files.end(), {stem + extension, suspect_stem + extension});
    return files;
}

std::vector<std::string> shared_files(const FormatOptions &options) {
    return is_shared(options) ? std::vector<std::string>{DATABASE_FILE} : std::vector<std::string>{};
}

uint32_t file_crc32(int fd, const std::string &path, size_t jobs) {
    constexpr uint64_t LEAST_PART = 16 << 20;
    struct stat status;
    const uint64_t size = fstat(fd, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
    const uint64_t parts = std::clamp<uint64_t>(size / LEAST_PART, 1, jobs);
    std::vector<std::future<Digest>> digests;
    for (uint64_t i = 0; i < parts; ++i)
        digests.push_back(std::async(parts > 1 ? std::launch::async : std::launch::deferred, digest_of, fd,
                                     size / parts * i, i + 1 < parts ? size / parts * (i + 1) : UINT64_MAX,
                                     std::cref(path)));
    Digest whole;
    for (std::future<Digest> &digest : digests)
        whole.append(digest.get());
    return whole.crc32();
}

} // namespace vexlo
