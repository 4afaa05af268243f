#include "dict_reader.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

#include "scratch_dir.h"
#include "vexlo.h"

namespace vexlo_test {
namespace {

// What a file holds: its base name, the number fields in file order, then the texts with their widths.
// `disk` is the program's record, for its size alone.
template <class Record>
struct format;

template <class Record>
struct text_field {
    std::string Record::*member;
    std::size_t width;
};

template <>
struct format<dict_user> {
    using R = dict_user;
    using disk = ::USER;
    static constexpr const char *base = "user";
    static constexpr std::array numbers{&R::uid, &R::status, &R::dts, &R::tts};
    static constexpr std::array texts{text_field<R>{&R::name, 32}};
};

template <>
struct format<dict_ts> {
    using R = dict_ts;
    using disk = ::TS;
    static constexpr const char *base = "ts";
    static constexpr std::array numbers{&R::tsn, &R::owner};
    static constexpr std::array texts{text_field<R>{&R::name, 32}};
};

template <>
struct format<dict_obj> {
    using R = dict_obj;
    using disk = ::OBJ;
    static constexpr const char *base = "obj";
    static constexpr std::array numbers{&R::flag, &R::objn, &R::owner, &R::type};
    static constexpr std::array texts{text_field<R>{&R::name, 32}};
};

template <>
struct format<dict_tab> {
    using R = dict_tab;
    using disk = ::TAB;
    static constexpr const char *base = "tab";
    static constexpr std::array numbers{&R::flag, &R::objn, &R::objd, &R::objb, &R::tabn, &R::ncol, &R::ui,
                                        &R::oi,   &R::coff, &R::fno,  &R::blk,  &R::tsn,  &R::tcol, &R::rsv};
    static constexpr std::array<text_field<R>, 0> texts{};
};

template <>
struct format<dict_cluster> {
    using R = dict_cluster;
    using disk = ::CLU;
    static constexpr const char *base = "cluster";
    static constexpr std::array numbers{&R::flag, &R::objn, &R::objd, &R::ncol};
    static constexpr std::array<text_field<R>, 0> texts{};
};

template <>
struct format<dict_col> {
    using R = dict_col;
    using disk = ::COL;
    static constexpr const char *base = "col";
    static constexpr std::array numbers{&R::flag, &R::objn, &R::cid, &R::scid, &R::ctyp, &R::clen};
    static constexpr std::array texts{text_field<R>{&R::name, 32}};
};

template <>
struct format<dict_ind> {
    using R = dict_ind;
    using disk = ::LOBIDX;
    static constexpr const char *base = "ind";
    static constexpr std::array numbers{&R::flag, &R::objn, &R::objd, &R::objp,
                                        &R::tsn,  &R::fno,  &R::blk,  &R::rsv};
    static constexpr std::array<text_field<R>, 0> texts{};
};

template <>
struct format<dict_lob> {
    using R = dict_lob;
    using disk = ::LOB;
    static constexpr const char *base = "lob";
    static constexpr std::array numbers{&R::flag,  &R::objp, &R::cid, &R::objn, &R::indn,
                                        &R::chunk, &R::fno,  &R::blk, &R::tsn,  &R::rsv};
    static constexpr std::array<text_field<R>, 0> texts{};
};

// Partitions, subpartitions and composite partitions lie in their files alike.
template <class Record>
struct partition_format {
    using R = dict_tabpart;
    static constexpr std::array numbers{&R::flag, &R::objn, &R::objd, &R::objp,
                                        &R::oi,   &R::fno,  &R::blk,  &R::tsn};
    static constexpr std::array<text_field<Record>, 0> texts{};
};

template <>
struct format<dict_tabpart> : partition_format<dict_tabpart> {
    using disk = ::TABPART;
    static constexpr const char *base = "tabpart";
};

template <>
struct format<dict_tabsubpart> : partition_format<dict_tabsubpart> {
    using disk = ::TABSUBPART;
    static constexpr const char *base = "tabsubpart";
};

template <>
struct format<dict_tabcompart> : partition_format<dict_tabcompart> {
    using disk = ::TABPART;
    static constexpr const char *base = "tabcompart";
};

template <>
struct format<dict_props> {
    using R = dict_props;
    using disk = ::PROPS;
    static constexpr const char *base = "props";
    static constexpr std::array<std::uint32_t R::*, 0> numbers{};
    static constexpr std::array texts{text_field<R>{&R::name, 32}, text_field<R>{&R::value, 128}};
};

template <class Record>
constexpr std::size_t disk_size() {
    std::size_t size = 4 * format<Record>::numbers.size();
    for (const auto &text : format<Record>::texts)
        size += text.width;
    return size;
}

std::uint32_t little_endian(const bytes &raw, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;)
        value = value << 8 | raw[at + i];
    return value;
}

std::string terminated(const bytes &raw, std::size_t at, std::size_t width) {
    const auto begin = raw.begin() + static_cast<std::ptrdiff_t>(at);
    const auto end = begin + static_cast<std::ptrdiff_t>(width);
    const auto nul = std::find(begin, end, std::uint8_t{0});
    if (nul == end)
        throw std::runtime_error("name without a NUL at offset " + std::to_string(at));
    return std::string(begin, nul);
}

template <class Record>
Record parse_record(const bytes &raw, std::size_t at) {
    Record record;
    for (const auto member : format<Record>::numbers) {
        record.*member = little_endian(raw, at);
        at += 4;
    }
    for (const auto &text : format<Record>::texts) {
        record.*text.member = terminated(raw, at, text.width);
        at += text.width;
    }
    return record;
}

} // namespace

template <class Record>
std::vector<Record> parse_dict(const bytes &raw) {
    constexpr std::size_t size = disk_size<Record>();
    static_assert(size == sizeof(typename format<Record>::disk));
    const std::size_t count = raw.size() / size;
    if (raw.size() % size != 0)
        throw std::runtime_error("broken record at offset " + std::to_string(count * size));
    std::vector<Record> records;
    for (std::size_t i = 0; i < count; ++i)
        records.push_back(parse_record<Record>(raw, i * size));
    return records;
}

template <class Record>
std::vector<Record> read_dict(const std::string &dict_dir) {
    return parse_dict<Record>(read_file(dict_dir + "/" + format<Record>::base + ".dat"));
}

template std::vector<dict_user> parse_dict<dict_user>(const bytes &);
template std::vector<dict_ts> parse_dict<dict_ts>(const bytes &);
template std::vector<dict_obj> parse_dict<dict_obj>(const bytes &);
template std::vector<dict_tab> parse_dict<dict_tab>(const bytes &);
template std::vector<dict_cluster> parse_dict<dict_cluster>(const bytes &);
template std::vector<dict_col> parse_dict<dict_col>(const bytes &);
template std::vector<dict_ind> parse_dict<dict_ind>(const bytes &);
template std::vector<dict_lob> parse_dict<dict_lob>(const bytes &);
template std::vector<dict_tabpart> parse_dict<dict_tabpart>(const bytes &);
template std::vector<dict_tabsubpart> parse_dict<dict_tabsubpart>(const bytes &);
template std::vector<dict_tabcompart> parse_dict<dict_tabcompart>(const bytes &);
template std::vector<dict_props> parse_dict<dict_props>(const bytes &);

template std::vector<dict_user> read_dict<dict_user>(const std::string &);
template std::vector<dict_ts> read_dict<dict_ts>(const std::string &);
template std::vector<dict_obj> read_dict<dict_obj>(const std::string &);
template std::vector<dict_tab> read_dict<dict_tab>(const std::string &);
template std::vector<dict_cluster> read_dict<dict_cluster>(const std::string &);
template std::vector<dict_col> read_dict<dict_col>(const std::string &);
template std::vector<dict_ind> read_dict<dict_ind>(const std::string &);
template std::vector<dict_lob> read_dict<dict_lob>(const std::string &);
template std::vector<dict_tabpart> read_dict<dict_tabpart>(const std::string &);
template std::vector<dict_tabsubpart> read_dict<dict_tabsubpart>(const std::string &);
template std::vector<dict_tabcompart> read_dict<dict_tabcompart>(const std::string &);
template std::vector<dict_props> read_dict<dict_props>(const std::string &);

} // namespace vexlo_test
