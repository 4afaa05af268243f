#include "convert/dump_texts.h"

#include "values/padded_bytes.h"
#include "values/unicode.h"

namespace vexlo {

namespace {

Charset choose(const std::string &stored, const std::string &by_user, const char *option,
               const std::string &path, Report &report) {
    if (!by_user.empty())
        return charset_of_user(by_user);
    if (const Charset *set = find_charset(stored))
        return *set;
    report.loss(path + ": character set \"" + printable(stored) +
                "\" is not known, text is read as UTF-8 (see " + option + ")");
    return UTF8_CHARSET;
}

bool has_national_column(const DumpFile &dump) {
    for (const TableInfo &table : dump.tables())
        for (const ColumnInfo &column : table.columns)
            if (column_kind(column.ctyp, column.national) == ColumnKind::national_text)
                return true;
    return false;
}

Charset database_charset(const DumpFile &dump, const Options &options, Report &report) {
    return options.format.raw ? RAW_CHARSET
                              : choose(dump.charset(), options.charset, "--charset", dump.path(), report);
}

// A header without a usable national character set matters only where something is stored in it.
Charset national_charset(const DumpFile &dump, const Options &options, Report &report) {
    if (options.format.raw)
        return RAW_CHARSET;
    if (options.ncharset.empty() && !has_national_column(dump))
        return UTF8_CHARSET;
    return choose(dump.ncharset(), options.ncharset, "--ncharset", dump.path(), report);
}

} // namespace

DumpTexts::DumpTexts(const DumpFile &dump, const Options &options, Report &report)
    : charsets_{database_charset(dump, options, report), national_charset(dump, options, report)},
      names_(charsets_.database) {}

std::string DumpTexts::name(const std::string &stored) {
    const PaddedBytes padded(stored);
    uint64_t replaced = 0;
    return std::string(names_.decode(padded.data(), padded.size(), replaced));
}

Table DumpTexts::describe(const DumpFile &dump, const TableInfo &info, Report &report, size_t told) {
    Table table{name(dump.owner()), name(info.name), {}, {}};
    int zone;
    if (parse_offset(dump.dbtimezone().c_str(), zone))
        table.local_zone = zone;
    TableReport table_report(report, dump.path(), table.name);
    if (told == 0 && (table.owner.find(REPLACEMENT) != std::string::npos ||
                      table.name.find(REPLACEMENT) != std::string::npos))
        table_report.loss("characters of its name or its owner's are not valid in their character set");
    if (!info.remark.empty() && info.open)
        table_report.loss(info.remark);
    else if (!info.remark.empty())
        table_report.note(info.remark);
    UniqueNames names;
    for (const ColumnInfo &column : info.columns) {
        const std::string stored = name(column.name);
        const std::string wanted =
            stored.empty() ? "COLUMN_" + std::to_string(table.columns.size() + 1) : stored;
        const std::string given = names.take(wanted);
        const bool is_told = table.columns.size() < told;
        if (!is_told && given != stored)
            table_report.note("column \"" + printable(stored) + "\" is named \"" + printable(given) + "\"");
        if (!is_told && given.find(REPLACEMENT) != std::string::npos)
            table_report.loss("column \"" + printable(given) +
                              "\": characters of its name are not valid in their character set");
        const Codec codec = charsets_.database.codec;
        const uint32_t characters =
            column.national ? national_characters(charsets_.national, column.clen) : column.clen;
        table.columns.push_back({given, column_kind(column.ctyp, column.national), column.national,
                                 column.ctyp, column.clen, characters,
                                 codec == Codec::utf8 || codec == Codec::cesu8});
    }
    return table;
}

} // namespace vexlo
