#include "convert/dictionary.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "format/byte_order.h"
#include "output/file_handle.h"
#include "values/errors.h"

namespace vexlo {

namespace {

// Records of the dictionary files: little-endian numbers and texts of fixed width.
constexpr size_t NAME = 32;
constexpr size_t USER_SIZE = 48, USER_UID = 0, USER_NAME = 16;
constexpr size_t OBJ_SIZE = 48, OBJ_OBJN = 4, OBJ_OWNER = 8, OBJ_NAME = 16;
constexpr size_t DICT_COL_SIZE = 56, DICT_COL_FLAG = 0, DICT_COL_OBJN = 4, DICT_COL_CTYP = 16,
                 DICT_COL_CLEN = 20, DICT_COL_NAME = 24;
constexpr size_t PROPS_SIZE = 160, PROPS_VALUE = 32, PROPS_VALUE_SIZE = 128;
constexpr uint32_t NOT_UNLOADED = 0x7; // flags of columns that a dump does not list
constexpr uint32_t NATIONAL = 0x1000;
constexpr uint64_t FILE_SIZE_MAX = 1 << 30;

// Calls take(record) for every record of the file.
template <class Take>
void for_each_record(const std::string &path, size_t size, Take take) {
    const FileHandle file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0)
        throw InputError(path + ": cannot be opened: " + std::strerror(errno));
    std::vector<uint8_t> records(size * 1024);
    for (uint64_t at = 0; at < FILE_SIZE_MAX;) {
        const size_t got = read_at(file.get(), records.data(), records.size(), at, path);
        for (size_t i = 0; i + size <= got; i += size)
            take(records.data() + i);
        at += got;
        if (got < records.size())
            break;
    }
}

std::string key_of(const std::vector<ColumnInfo> &columns) {
    std::string key;
    for (const ColumnInfo &column : columns)
        key += column.name + '\0';
    return key;
}

} // namespace

Dictionary::Dictionary(const std::string &directory) {
    std::map<uint32_t, std::string> users;
    for_each_record(directory + "/user.dat", USER_SIZE, [&](const uint8_t *p) {
        users[load_le32(p + USER_UID)] = text_field(p + USER_NAME, NAME);
    });
    std::map<uint32_t, Table> objects;
    for_each_record(directory + "/col.dat", DICT_COL_SIZE, [&](const uint8_t *p) {
        const uint32_t flag = load_le32(p + DICT_COL_FLAG);
        if ((flag & NOT_UNLOADED) == 0)
            objects[load_le32(p + DICT_COL_OBJN)].columns.push_back(
                {(flag & NATIONAL) != 0, load_le32(p + DICT_COL_CTYP), load_le32(p + DICT_COL_CLEN),
                 text_field(p + DICT_COL_NAME, NAME)});
    });
    for_each_record(directory + "/obj.dat", OBJ_SIZE, [&](const uint8_t *p) {
        const auto object = objects.find(load_le32(p + OBJ_OBJN));
        if (object == objects.end())
            return;
        object->second.name = text_field(p + OBJ_NAME, NAME);
        object->second.owner = users[load_le32(p + OBJ_OWNER)];
    });
    for_each_record(directory + "/props.dat", PROPS_SIZE, [&](const uint8_t *p) {
        properties_[text_field(p, NAME)] = text_field(p + PROPS_VALUE, PROPS_VALUE_SIZE);
    });
    for (auto &[number, table] : objects) {
        by_columns_.emplace(key_of(table.columns), tables_.size());
        tables_.push_back(std::move(table));
    }
}

const Dictionary::Table *Dictionary::find(const std::vector<ColumnInfo> &columns,
                                          const std::string &owner) const {
    const Table *found = nullptr;
    const auto [begin, end] = by_columns_.equal_range(key_of(columns));
    for (auto it = begin; it != end; ++it) {
        const Table &table = tables_[it->second];
        if (!owner.empty() && table.owner != owner)
            continue;
        if (found != nullptr)
            return nullptr;
        found = &table;
    }
    return found;
}

std::string Dictionary::property(const std::string &name) const {
    const auto found = properties_.find(name);
    return found == properties_.end() ? "" : found->second;
}

} // namespace vexlo
