#include "convert/dump_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <utility>

#include "convert/dump_format.h"
#include "convert/list_end.h"
#include "convert/salvage.h"
#include "convert/surplus.h"
#include "format/byte_order.h"
#include "output/console.h"
#include "values/column_type.h"
#include "values/errors.h"

namespace vexlo {

namespace {

FileHandle open_input(const std::string &path) {
    FileHandle file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0)
        throw InputError(path + ": cannot be opened: " + std::strerror(errno));
    return file;
}

uint64_t regular_file_size(int fd, const std::string &path) {
    struct stat st;
    if (fstat(fd, &st) != 0)
        throw InputError(path + ": " + std::strerror(errno));
    if (!S_ISREG(st.st_mode))
        throw InputError(path + ": not a regular file");
    return static_cast<uint64_t>(st.st_size);
}

TableInfo table_record(const uint8_t *p) {
    TableInfo t{};
    const uint32_t flag = load_be32(p + TAB_FLAG);
    t.has_long = (flag & TAB_FLAG_LONG) != 0;
    t.has_lob = (flag & TAB_FLAG_LOB) != 0;
    t.ncol = load_be32(p + TAB_NCOL);
    t.nrows = load_be32(p + TAB_NROWS);
    t.counted = true;
    t.offset = load_be64(p + TAB_OFFSET);
    t.name = text_field(p + TAB_NAME, NAME_SIZE);
    return t;
}

// The table has a column list that was written as one.
bool has_column_names(const TableInfo &table) {
    return table.fault.empty() &&
           std::all_of(table.columns.begin(), table.columns.end(), [](const ColumnInfo &column) {
               return !column.name.empty() &&
                      std::none_of(column.name.begin(), column.name.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < ' '; });
           });
}

// What has become of the tables of the directory whose sections were not found.
void tell_lost(const std::vector<TableInfo> &directory, const std::vector<TableInfo> &found,
               std::vector<std::string> &remarks) {
    for (const TableInfo &record : directory)
        if (std::none_of(found.begin(), found.end(),
                         [&](const TableInfo &table) { return table.offset == record.offset; }))
            remarks.push_back("table \"" + printable(record.name) +
                              "\" of the directory is not where it says" +
                              (record.fault.empty() ? "" : ": " + record.fault));
}

} // namespace

DumpFile::DumpFile(const std::string &path, const Salvage *how) : DumpFile(open_input(path), path, how) {}

DumpFile::DumpFile(FileHandle file, const std::string &path, const Salvage *how)
    : file_(std::move(file)), path_(path) {
    size_ = regular_file_size(fd(), path_);
    read_head(how == nullptr);
    find_sections();
    for (TableInfo &table : tables_)
        if (table.fault.empty())
            read_columns(table);
    if (how != nullptr && !is_sound())
        salvage(*how);
    else if (tables_.empty())
        faults_.push_back("holds no tables: its unload did not finish");
    for (TableInfo &table : tables_)
        if (table.fault.empty())
            find_surplus(fd(), path_, table);
}

// Whether header and directory say of every table where it is.
bool DumpFile::is_sound() const {
    return has_magic_ && faults_.empty() && !tables_.empty() &&
           std::all_of(tables_.begin(), tables_.end(), has_column_names);
}

// Where the first section begins, as far as the directory goes.
uint64_t DumpFile::data_begin() const {
    const uint64_t size = std::max(directory_end_, DIRECTORY_OFFSET) - DIRECTORY_OFFSET;
    const uint64_t pages = (size + DIRECTORY_SIZE_MIN - 1) / DIRECTORY_SIZE_MIN;
    return DIRECTORY_OFFSET + std::max<uint64_t>(pages, 1) * DIRECTORY_SIZE_MIN;
}

// Tables are where column lists are found. What the directory says is believed where it leads to one.
void DumpFile::salvage(const Salvage &how) {
    const Dictionary *const dictionary = how.dictionary ? &*how.dictionary : nullptr;
    const std::vector<TableInfo> directory = tables_;
    std::erase_if(tables_, [](const TableInfo &table) { return !has_column_names(table); });
    const size_t known = tables_.size();
    std::vector<std::string> remarks;
    std::vector<FoundList> lists = find_column_lists(fd(), path_, data_begin(), size_);
    for (size_t i = 0; i < lists.size(); ++i) {
        FoundList &list = lists[i];
        const auto is_known = [&](const TableInfo &table) {
            return list.offset >= table.offset && list.offset < table.rows_at;
        };
        if (std::any_of(tables_.begin(), tables_.begin() + static_cast<std::ptrdiff_t>(known), is_known))
            continue;
        const uint64_t end = i + 1 < lists.size() ? lists[i + 1].offset : size_;
        add_damaged_end(fd(), path_, end, list);
        add_found(dictionary, directory, std::move(list), end, remarks);
    }
    if (tables_.empty())
        throw NoDumpError(path_ + ": not a dump file, and no column lists are in it");
    std::sort(tables_.begin(), tables_.end(),
              [](const TableInfo &a, const TableInfo &b) { return a.offset < b.offset; });
    for (size_t i = 0; i < tables_.size(); ++i)
        tables_[i].end = i + 1 < tables_.size() ? tables_[i + 1].offset : size_;
    faults_ = {"header or directory is damaged; " + std::to_string(tables_.size()) +
               " tables found by their column lists"};
    tell_lost(directory, tables_, remarks);
    faults_.insert(faults_.end(), remarks.begin(), remarks.end());
    if (dictionary != nullptr && charset().empty()) {
        nls_lang_ = dictionary->property("NLS_LANGUAGE") + "_" + dictionary->property("NLS_TERRITORY") + "." +
                    dictionary->property("NLS_CHARACTERSET");
        ncharset_ = dictionary->property("NLS_NCHAR_CHARACTERSET");
        dbtimezone_ = dictionary->property("DBTIMEZONE");
    }
}

void DumpFile::add_found(const Dictionary *dictionary, const std::vector<TableInfo> &directory,
                         FoundList &&list, uint64_t end, std::vector<std::string> &remarks) {
    TableInfo table{};
    table.offset = list.offset;
    table.ncol = static_cast<uint32_t>(list.columns.size());
    table.rows_at = list.offset + list.columns.size() * COL_SIZE;
    table.columns = std::move(list.columns);
    table.end = end;
    if (list.damaged > 0)
        infer_types(fd(), path_, table);
    name_found(dictionary, directory, table);
    if (list.damaged > 0)
        remarks.push_back("table \"" + printable(table.name) + "\": " + std::to_string(list.damaged) +
                          " entries of its column list are damaged, their types follow from the values");
    tables_.push_back(std::move(table));
}

// Names a table that the directory does not know, or knows without a sound column list.
void DumpFile::name_found(const Dictionary *dictionary, const std::vector<TableInfo> &directory,
                          TableInfo &table) {
    const auto listed = std::find_if(directory.begin(), directory.end(), [&](const TableInfo &record) {
        return record.offset == table.offset && !record.name.empty();
    });
    const bool is_listed = listed != directory.end();
    table.name = is_listed ? listed->name : "TABLE_" + std::to_string(tables_.size() + 1);
    table.counted = is_listed;
    table.nrows = is_listed ? listed->nrows : 0;
    const Dictionary::Table *const known =
        dictionary == nullptr ? nullptr : dictionary->find(table.columns, owner_);
    for (const ColumnInfo &column : table.columns) {
        const ColumnKind kind = column_kind(column.ctyp, column.national);
        table.has_long |= kind == ColumnKind::long_text || kind == ColumnKind::long_raw;
        table.has_lob |= kind == ColumnKind::lob;
    }
    if (known == nullptr)
        return;
    table.name = known->name;
    table.columns = known->columns;
    if (owner_.empty())
        owner_ = known->owner;
}

std::string DumpFile::charset() const {
    const size_t dot = nls_lang_.rfind('.');
    return dot == std::string::npos ? "" : nls_lang_.substr(dot + 1);
}

void DumpFile::read_head(bool strict) {
    uint8_t head[HEAD_SIZE] = {};
    const size_t got = read_at(fd(), head, sizeof head, 0, path_);
    has_magic_ = got >= sizeof DUMP_MAGIC && std::memcmp(head, DUMP_MAGIC, sizeof DUMP_MAGIC) == 0;
    if (strict && !has_magic_)
        throw NoDumpError(path_ + ": not a dump file");
    if (strict && got < sizeof head)
        throw NoDumpError(path_ + ": ends inside its header");
    owner_ = text_field(head + HEAD_OWNER, HEAD_OWNER_SIZE);
    nls_lang_ = text_field(head + HEAD_NLS_LANG, HEAD_NLS_LANG_SIZE);
    ncharset_ = text_field(head + HEAD_NCHARSET, HEAD_NCHARSET_SIZE);
    dbtimezone_ = text_field(head + HEAD_DBTIMEZONE, HEAD_DBTIMEZONE_SIZE);
    const uint32_t count = load_be32(head + HEAD_TAB_CNT);
    if (strict || count != 0)
        read_directory(count, true);
    else
        read_directory(TABLES_MAX, false);
}

// The directory ends where the first of the sections begins that it tells of, whatever the header says. Where
// that says nothing it ends with the room that it has in any case, unless it tells of a section behind that.
void DumpFile::read_directory(uint32_t count, bool counted) {
    constexpr size_t RECORDS_AT_ONCE = 1024;
    std::vector<uint8_t> records(RECORDS_AT_ONCE * TAB_SIZE);
    uint64_t at = DIRECTORY_OFFSET, end = counted ? size_ : DIRECTORY_OFFSET + DIRECTORY_SIZE_MIN;
    bool end_known = counted;
    uint32_t left = std::min(count, TABLES_MAX);
    const auto wanted = [&] { return std::min<uint64_t>(left, end > at ? (end - at) / TAB_SIZE : 0); };
    while (wanted() > 0) {
        const size_t want = static_cast<size_t>(std::min<uint64_t>(wanted(), RECORDS_AT_ONCE)) * TAB_SIZE;
        const size_t got = read_at(fd(), records.data(), want, at, path_);
        for (size_t i = 0; i + TAB_SIZE <= got && wanted() > 0; i += TAB_SIZE, at += TAB_SIZE, --left) {
            if (!is_table_record(records.data() + i, counted))
                continue;
            tables_.push_back(table_record(records.data() + i));
            directory_end_ = at + TAB_SIZE;
            const uint64_t section = tables_.back().offset;
            if (section > at && (section < end || !end_known) && is_column_list(section)) {
                end = section;
                end_known = true;
            }
        }
        if (got < want)
            break;
    }
    if (counted && tables_.size() < count)
        faults_.push_back("header says " + std::to_string(count) + " tables, the directory names " +
                          std::to_string(tables_.size()));
}

// Whether the record names a table or leads to one; to be believed without a count it must do both.
bool DumpFile::is_table_record(const uint8_t *record, bool counted) const {
    const bool named = is_name_field(record + TAB_NAME, NAME_SIZE);
    return counted ? named || is_column_list(load_be64(record + TAB_OFFSET))
                   : named && is_column_list(load_be64(record + TAB_OFFSET));
}

// Whether a column list begins at the file offset.
bool DumpFile::is_column_list(uint64_t offset) const {
    uint8_t entry[COL_SIZE];
    return offset >= DIRECTORY_OFFSET && offset < size_ &&
           read_at(fd(), entry, sizeof entry, offset, path_) == sizeof entry && may_be_column_entry(entry);
}

// A section ends where the next one begins. Of tables with the same offset only the last has a section: the
// others failed before anything of them was written.
void DumpFile::find_sections() {
    const uint64_t first = DIRECTORY_OFFSET + tables_.size() * TAB_SIZE;
    std::vector<TableInfo *> sound;
    for (TableInfo &table : tables_) {
        if (table.offset >= first && table.offset <= size_)
            sound.push_back(&table);
        else
            table.fault = "data offset " + std::to_string(table.offset) + " lies outside the file's data";
    }
    std::stable_sort(sound.begin(), sound.end(),
                     [](const TableInfo *a, const TableInfo *b) { return a->offset < b->offset; });
    for (size_t i = 0; i < sound.size(); ++i)
        sound[i]->end = i + 1 < sound.size() ? sound[i + 1]->offset : size_;
}

void DumpFile::read_columns(TableInfo &table) {
    const uint64_t room = (table.end - table.offset) / COL_SIZE;
    if (table.end == table.offset) {
        table.fault = "has no data at offset " + std::to_string(table.offset);
        return;
    }
    if (table.ncol > room || table.ncol > COLUMNS_MAX) {
        table.fault = "column list of " + std::to_string(table.ncol) + " columns at offset " +
                      std::to_string(table.offset) + " does not fit its data";
        return;
    }
    if (table.ncol == 0) {
        table.fault = "has no columns";
        return;
    }
    std::vector<uint8_t> records(size_t{table.ncol} * COL_SIZE);
    if (read_at(fd(), records.data(), records.size(), table.offset, path_) < records.size()) {
        table.fault = "column list at offset " + std::to_string(table.offset) + " is cut off";
        return;
    }
    bool is_list = false; // names may be empty, or of any characters
    for (size_t at = 0; at < records.size(); at += COL_SIZE) {
        table.columns.push_back(column_entry(records.data() + at));
        is_list |= may_be_column_entry(records.data() + at) || has_column_form(records.data() + at);
    }
    table.rows_at = table.offset + records.size();
    if (is_list)
        return;
    table.columns.clear();
    table.fault = "no column list stands at offset " + std::to_string(table.offset);
}

} // namespace vexlo
