#include "rescue/open_database.h"

#include <filesystem>
#include <set>

namespace vexlo {

namespace {

Charset choose(std::string_view stored, const std::string &by_user, const char *option, Report &report) {
    if (!by_user.empty())
        return charset_of_user(by_user);
    if (const Charset *set = find_charset(stored))
        return *set;
    report.loss("character set \"" + printable(stored) + "\" is not known, text is read as UTF-8 (see " +
                option + ")");
    return UTF8_CHARSET;
}

bool has_national_column(const Dictionary &dictionary) {
    for (const ColumnRecord &column : dictionary.all_columns())
        if (column.is_national())
            return true;
    return false;
}

FileEntry input_entry(const Datafile &file) {
    const FileIdentity &identity = file.identity();
    FileEntry entry;
    entry.path = std::filesystem::absolute(file.path()).lexically_normal();
    entry.status = status_text(file.status());
    if (file.modified()) {
        entry.bytes = file.size();
        entry.modified = fine_moment_text(*file.modified());
    }
    if (identity.block_size == 0)
        return entry;
    entry.file = identity.file;
    entry.relative_file = identity.relative_file;
    entry.tablespace = identity.tablespace;
    entry.block_size = identity.block_size;
    entry.blocks = file.blocks() > 0 ? file.blocks() - 1 : 0; // without block 0, as headers count
    if (file.status() != FileStatus::damaged_header)
        entry.checkpoint_scn = identity.checkpoint.scn();
    return entry;
}

FileEntry missing_entry(std::optional<uint32_t> file, uint32_t tablespace, uint32_t relative_file) {
    FileEntry entry;
    entry.file = file;
    entry.relative_file = relative_file;
    entry.tablespace = tablespace;
    entry.status = "missing";
    return entry;
}

} // namespace

std::optional<Charset> user_charset(const RescueOptions &options) {
    return options.charset.empty() ? std::nullopt : std::optional(charset_of_user(options.charset));
}

OpenDatabase::OpenDatabase(const RescueOptions &options, Report &report)
    : files(options.where), scans(files, options.reading.trust_blocks),
      dictionary(files, scans, options.reading, user_charset(options)) {
    for (const std::string &note : files.notes())
        report.note(printable(note));
    for (const std::string &note : dictionary.notes())
        report.note(printable(note));
    uint64_t lost = 0;
    for (const Loss &loss : dictionary.tally().losses)
        lost += loss.blocks;
    if (lost > 0)
        report.loss("dictionary: " + std::to_string(lost) +
                    " blocks are lost, tables and columns that they held are not known");
    if (const uint64_t encrypted = dictionary.tally().counts.encrypted; encrypted > 0)
        report.loss("dictionary: " + std::to_string(encrypted) +
                    " blocks are encrypted, tables and columns that they hold are not known");
}

TextCharsets text_charsets(const Dictionary &dictionary, const RescueOptions &options, Report &report) {
    if (options.format.raw)
        return {RAW_CHARSET, RAW_CHARSET};
    const Charset database = choose(dictionary.charset(), options.charset, "--charset", report);
    if (options.ncharset.empty() && !has_national_column(dictionary))
        return {database, UTF8_CHARSET};
    return {database, choose(dictionary.national_charset(), options.ncharset, "--ncharset", report)};
}

std::vector<FileEntry> file_entries(const FileSet &files, const Dictionary &dictionary) {
    std::vector<FileEntry> entries;
    std::set<std::pair<uint32_t, uint32_t>> known; // tablespace and relative number
    for (const auto &file : files.inputs()) {
        entries.push_back(input_entry(*file));
        if (file->is_used() && file->identity().tablespace)
            known.emplace(*file->identity().tablespace, file->identity().relative_file);
    }
    for (const FileRecord &file : dictionary.files())
        if (file.is_available() && known.emplace(file.tablespace, file.relative_file).second)
            entries.push_back(missing_entry(file.file, file.tablespace, file.relative_file));
    for (const MissingFile &file : files.missing())
        if (known.emplace(file.tablespace, file.relative_file).second)
            entries.push_back(missing_entry(std::nullopt, file.tablespace, file.relative_file));
    return entries;
}

} // namespace vexlo
