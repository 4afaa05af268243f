#include "rescue/record.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <type_traits>
#include <utility>

#include <nlohmann/json.hpp>

#include "output/file_handle.h"
#include "output/output_file.h"
#include "values/errors.h"

namespace vexlo {

namespace {

using Json = nlohmann::ordered_json;

constexpr char PROGRAM[] = "vexlo-rescue";
constexpr std::array<std::string_view, 4> STATUS_NAMES = {"complete", "partial", "failed", "skipped"};
constexpr size_t SMALL_RECORD = 1 << 20; // bytes; up to this it is written after every table
constexpr int PAUSE_FACTOR = 20;         // pauses between larger ones, in times that writing takes

template <class VALUE>
Json optional_json(const std::optional<VALUE> &value) {
    return value ? Json(*value) : Json(nullptr);
}

// Paths and words of a command may be any bytes, and JSON takes characters alone. Where a text is not UTF-8,
// each of its bytes above ASCII is written as U+FFFD and two hexadecimal digits; so is one that has U+FFFD in
// it.
constexpr std::string_view BYTE_MARK = "\xEF\xBF\xBD";

std::string marked_text(const std::string &text) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    if (Json(text).dump(-1, ' ', false, Json::error_handler_t::replace).find(BYTE_MARK) == std::string::npos)
        return text;
    std::string marked;
    for (const char c : text) {
        const auto byte = static_cast<uint8_t>(c);
        if (byte < 0x80)
            marked += c;
        else
            marked.append(BYTE_MARK).append(1, DIGITS[byte >> 4]).append(1, DIGITS[byte & 0x0F]);
    }
    return marked;
}

// The bytes of such a text.
std::string unmarked_text(std::string_view marked) {
    std::string text;
    while (!marked.empty()) {
        const size_t digits = BYTE_MARK.size();
        unsigned byte = 0;
        const bool is_byte =
            marked.starts_with(BYTE_MARK) && marked.size() >= digits + 2 &&
            std::from_chars(marked.data() + digits, marked.data() + digits + 2, byte, 16).ptr ==
                marked.data() + digits + 2;
        text += is_byte ? static_cast<char>(byte) : marked[0];
        marked.remove_prefix(is_byte ? digits + 2 : 1);
    }
    return text;
}

Json file_json(const FileEntry &file) {
    return {{"path", marked_text(file.path)},
            {"file", optional_json(file.file)},
            {"relative_file", optional_json(file.relative_file)},
            {"tablespace", optional_json(file.tablespace)},
            {"block_size", optional_json(file.block_size)},
            {"blocks", optional_json(file.blocks)},
            {"checkpoint_scn", optional_json(file.checkpoint_scn)},
            {"bytes", optional_json(file.bytes)},
            {"modified", optional_json(file.modified)},
            {"status", file.status}};
}

Json losses_json(const std::vector<LossEntry> &entries) {
    Json losses = Json::array();
    for (const LossEntry &loss : entries)
        losses.push_back(
            {{"kind", loss.kind}, {"file", loss.file}, {"block", loss.block}, {"blocks", loss.blocks}});
    return losses;
}

Json outputs_json(const TableEntry &table) {
    Json outputs = Json::array();
    for (const OutputEntry &output : table.outputs)
        outputs.push_back({{"path", output.path}, {"bytes", output.bytes}, {"crc32", output.crc32}});
    return outputs;
}

Json lobs_json(const LobsEntry &lobs) {
    Json files = Json::array();
    for (const LobFilesEntry &entry : lobs.files)
        files.push_back(
            {{"path", entry.path}, {"files", entry.files}, {"bytes", entry.bytes}, {"crc32", entry.crc32}});
    return {{"not_whole", lobs.not_whole}, {"missing_bytes", lobs.missing_bytes}, {"files", files}};
}

Json table_json(const TableEntry &table) {
    return {{"owner", table.owner},
            {"table", table.table},
            {"partition", optional_json(table.partition)},
            {"status", status_name(table.status)},
            {"reason", optional_json(table.reason)},
            {"rows", table.rows},
            {"suspect_rows", table.suspect_rows},
            {"null_values", table.null_values},
            {"blocks",
             {{"data", table.blocks.data},
              {"unformatted", table.blocks.unformatted},
              {"foreign", table.blocks.foreign},
              {"older", table.blocks.older}}},
            {"losses", losses_json(table.losses)},
            {"outputs", outputs_json(table)},
            {"lobs", lobs_json(table.lobs)}};
}

template <class ENTRY, class TO_JSON>
void append_list(std::string &text, const char *name, const std::vector<ENTRY> &entries, TO_JSON to_json) {
    text += std::string(",\n \"") + name + "\": [";
    const char *separator = "\n  ";
    for (const ENTRY &entry : entries) {
        text += separator + to_json(entry).dump(-1, ' ', false, Json::error_handler_t::replace);
        separator = ",\n  ";
    }
    text += "]";
}

template <class VALUE>
VALUE value_of(const Json &member) {
    if constexpr (std::is_integral_v<VALUE>) {
        if (!member.is_number_unsigned() || !std::in_range<VALUE>(member.get<uint64_t>()))
            throw InputError("a number is out of range");
        return static_cast<VALUE>(member.get<uint64_t>());
    } else {
        return member.get<VALUE>();
    }
}

template <class VALUE>
void take(const Json &object, const char *name, VALUE &value) {
    value = value_of<VALUE>(object.at(name));
}

// The value keeps what it holds when the member is null.
template <class VALUE>
void take(const Json &object, const char *name, std::optional<VALUE> &value) {
    if (const Json &member = object.at(name); !member.is_null())
        value = value_of<VALUE>(member);
}

FileEntry parse_file(const Json &object) {
    FileEntry file;
    take(object, "path", file.path);
    file.path = unmarked_text(file.path);
    take(object, "file", file.file);
    take(object, "relative_file", file.relative_file);
    take(object, "tablespace", file.tablespace);
    take(object, "block_size", file.block_size);
    take(object, "blocks", file.blocks);
    take(object, "checkpoint_scn", file.checkpoint_scn);
    take(object, "bytes", file.bytes);
    take(object, "modified", file.modified);
    take(object, "status", file.status);
    return file;
}

TableStatus parse_status(const Json &object) {
    const auto name = object.at("status").get<std::string>();
    for (size_t i = 0; i < STATUS_NAMES.size(); ++i)
        if (STATUS_NAMES[i] == name)
            return static_cast<TableStatus>(i);
    throw InputError("status \"" + name + "\" is not known");
}

LossEntry parse_loss(const Json &object) {
    LossEntry loss;
    take(object, "kind", loss.kind);
    take(object, "file", loss.file);
    take(object, "block", loss.block);
    take(object, "blocks", loss.blocks);
    return loss;
}

OutputEntry parse_output(const Json &object) {
    OutputEntry output;
    take(object, "path", output.path);
    take(object, "bytes", output.bytes);
    take(object, "crc32", output.crc32);
    return output;
}

LobsEntry parse_lobs(const Json &object) {
    LobsEntry lobs;
    take(object, "not_whole", lobs.not_whole);
    take(object, "missing_bytes", lobs.missing_bytes);
    for (const Json &member : object.at("files")) {
        LobFilesEntry &entry = lobs.files.emplace_back();
        take(member, "path", entry.path);
        take(member, "files", entry.files);
        take(member, "bytes", entry.bytes);
        take(member, "crc32", entry.crc32);
    }
    return lobs;
}

TableEntry parse_table(const Json &object) {
    TableEntry table;
    take(object, "owner", table.owner);
    take(object, "table", table.table);
    take(object, "partition", table.partition);
    table.status = parse_status(object);
    take(object, "reason", table.reason);
    take(object, "rows", table.rows);
    take(object, "suspect_rows", table.suspect_rows);
    take(object, "null_values", table.null_values);
    const Json &blocks = object.at("blocks");
    take(blocks, "data", table.blocks.data);
    take(blocks, "unformatted", table.blocks.unformatted);
    take(blocks, "foreign", table.blocks.foreign);
    take(blocks, "older", table.blocks.older);
    for (const Json &loss : object.at("losses"))
        table.losses.push_back(parse_loss(loss));
    for (const Json &output : object.at("outputs"))
        table.outputs.push_back(parse_output(output));
    table.lobs = parse_lobs(object.at("lobs"));
    return table;
}

RunRecord read_members(const Json &object) {
    if (object.at("program") != PROGRAM)
        throw InputError("it is the record of another program");
    RunRecord record;
    take(object, "version", record.version);
    take(object, "command", record.command);
    for (std::string &word : record.command)
        word = unmarked_text(word);
    take(object, "started", record.started);
    std::optional<std::string> finished;
    take(object, "finished", finished);
    record.finished = finished.value_or("");
    take(object, "exit_status", record.exit_status);
    for (const Json &file : object.at("files"))
        record.files.push_back(parse_file(file));
    for (const Json &loss : object.at("dictionary").at("losses"))
        record.dictionary_losses.push_back(parse_loss(loss));
    for (const Json &table : object.at("tables"))
        record.tables.push_back(parse_table(table));
    return record;
}

[[noreturn]] void fail(const std::string &path, const char *what) {
    throw OutputError(path + ": " + what + ": " + std::strerror(errno));
}

void write_all(int fd, std::string_view text, const std::string &path) {
    while (!text.empty()) {
        const ssize_t written = ::write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            fail(path, "cannot be written");
        text.remove_prefix(static_cast<size_t>(written));
    }
}

} // namespace

std::vector<LossEntry> loss_entries(const SegmentTally &tally) {
    std::vector<LossEntry> entries;
    for (const Loss &loss : tally.losses)
        entries.push_back({std::string(loss_text(loss.kind)), loss.file != 0 ? loss.file : loss.relative_file,
                           loss.block, loss.blocks});
    return entries;
}

std::string_view status_name(TableStatus status) {
    return STATUS_NAMES[static_cast<size_t>(status)];
}

std::string record_text(const RunRecord &record) {
    Json command = Json::array();
    for (const std::string &word : record.command)
        command.push_back(marked_text(word));
    const Json head = {{"program", PROGRAM},
                       {"version", record.version},
                       {"command", command},
                       {"started", record.started},
                       {"finished", record.finished.empty() ? Json(nullptr) : Json(record.finished)},
                       {"exit_status", optional_json(record.exit_status)}};
    std::string text = head.dump(-1, ' ', false, Json::error_handler_t::replace);
    text.pop_back(); // the brace, which stands behind the lists
    append_list(text, "files", record.files, file_json);
    text += ",\n \"dictionary\": " + Json{{"losses", losses_json(record.dictionary_losses)}}.dump();
    append_list(text, "tables", record.tables, table_json);
    return text + "}\n";
}

RunRecord parse_record(std::string_view text) {
    try {
        return read_members(Json::parse(text));
    } catch (const Json::exception &error) {
        throw InputError(error.what());
    }
}

std::optional<RunRecord> load_record(const std::string &directory) {
    const std::string path = directory + "/" + RECORD_NAME;
    std::ifstream file(path, std::ios::binary);
    if (!file && errno == ENOENT)
        return std::nullopt;
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    if (!file)
        throw InputError(path + ": cannot be read");
    try {
        return parse_record(text);
    } catch (const InputError &error) {
        throw InputError(path + ": is no record of a run: " + error.what());
    }
}

std::string moment_text(std::chrono::system_clock::time_point moment) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(moment);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

std::string fine_moment_text(const timespec &moment) {
    std::string text = moment_text(std::chrono::system_clock::from_time_t(moment.tv_sec));
    char fraction[16];
    std::snprintf(fraction, sizeof fraction, ".%09ld", moment.tv_nsec);
    text.insert(text.size() - 1, fraction);
    return text;
}

RecordFile::RecordFile(const std::string &directory) : path_(directory + "/" + RECORD_NAME) {}

void RecordFile::write(const RunRecord &record) {
    const auto start = std::chrono::steady_clock::now();
    const std::string text = record_text(record);
    PendingPath pending(path_);
    FileHandle file(open(pending.temporary().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (file.get() < 0)
        fail(path_, "cannot be created");
    write_all(file.get(), text, path_);
    if (fsync(file.get()) != 0 || file.close() != 0)
        fail(path_, "cannot be written");
    pending.commit();
    size_ = text.size();
    written_ = std::chrono::steady_clock::now();
    cost_ = written_ - start;
}

void RecordFile::write_if_due(const RunRecord &record) {
    if (size_ <= SMALL_RECORD || std::chrono::steady_clock::now() - written_ >= PAUSE_FACTOR * cost_)
        write(record);
}

} // namespace vexlo
