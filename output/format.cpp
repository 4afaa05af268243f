#include "output/format.h"

#include <algorithm>

#include "output/column_types.h"
#include "values/date_format.h"
#include "values/errors.h"

namespace vexlo {

namespace {

constexpr std::string_view IN_VALUES = " +-./:[]\\\"\r\n"; // beside letters and digits

bool has_member(std::string_view list, const std::string &word) {
    for (size_t at = 0; at <= list.size(); at = std::min(list.find(' ', at), list.size()) + 1)
        if (list.substr(at, list.find(' ', at) - at) == word)
            return true;
    return false;
}

bool is_letter_or_digit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool can_separate(char c) {
    return c > 0 && c != 0x7F && !is_letter_or_digit(c) && IN_VALUES.find(c) == std::string_view::npos &&
           (static_cast<unsigned char>(c) >= 0x20 || c == '\t' || (c >= 0x1C && c <= 0x1F) || c <= 0x08);
}

std::string csv_fault(const FormatOptions &options) {
    if (!can_separate(options.delimiter))
        return "--delimiter takes one character that is in no number and no date, such as ; or \\t";
    if (options.null_text.find_first_of("\"\r\n") != std::string::npos ||
        options.null_text.find(options.delimiter) != std::string::npos)
        return "--null takes a text without delimiters, quotes and line ends";
    if (options.null_text == "\\.") // alone on a line it ends the data for psql
        return "--null takes another text than \\.";
    return "";
}

struct OptionFormats {
    std::string_view option;
    std::string_view formats; // that have the option
};

constexpr OptionFormats OPTION_FORMATS[] = {
    {"--dialect", "sql csv"},
    {"--eol", "csv"},
    {"--null", "csv"},
    {"--delimiter", "csv"},
    {"--no-header", "csv"},
    {"--date-format", "csv jsonl"},
    {"--json-numbers", "jsonl"},
    {"--ddl-only", "sql"},
    {"--data-only", "sql"},
    {"--numbers", "sqlite"},
    {"--compress", "csv jsonl sql"},
};

struct OptionUse {
    bool used;
    const char *name;
};

NameRules name_rules(const FormatOptions &options) {
    const Dialect dialect = dialect_of(options.dialect);
    return {options.lowercase, dialect == Dialect::postgresql,
            dialect == Dialect::sqlite || options.format == "sqlite"};
}

} // namespace

std::string part_suffix(SqlPart part) {
    return part == SqlPart::ddl ? ".ddl" : part == SqlPart::data ? ".data" : "";
}

std::string option_fault(const std::string &option, const std::string &format) {
    for (const OptionFormats &known : OPTION_FORMATS)
        if (known.option == option && !has_member(known.formats, format))
            return (std::string(option) += " does not apply to --to ") += format;
    return "";
}

std::string format_options_fault(const FormatOptions &options) {
    const OptionUse uses[] = {
        {!options.dialect.empty(), "--dialect"},
        {options.lf, "--eol"},
        {!options.null_text.empty(), "--null"},
        {options.delimiter != ',', "--delimiter"},
        {!options.header, "--no-header"},
        {!options.date_format.empty(), "--date-format"},
        {options.json_number_strings, "--json-numbers"},
        {options.part != SqlPart::all, options.part == SqlPart::ddl ? "--ddl-only" : "--data-only"},
        {options.real_numbers, "--numbers"},
        {!options.compress.empty(), "--compress"},
    };
    for (const OptionUse &use : uses)
        if (const std::string fault = use.used ? option_fault(use.name, options.format) : ""; !fault.empty())
            return fault;
    if (!options.date_format.empty() && !options.dialect.empty())
        return "--date-format does not go with --dialect, whose dates have a form of their own";
    if (!options.date_format.empty() && !is_date_format(options.date_format))
        return "--date-format \"" + options.date_format + "\" has letters that are not known, or is too long";
    return options.format == "csv" ? csv_fault(options) : "";
}

void check_raw_text(const FormatOptions &options, const Table &table, const std::string &charset) {
    if (!options.raw)
        return;
    const Dialect dialect = dialect_of(options.dialect);
    const std::string what = "--encoding raw does not go with ";
    if (options.format == "jsonl" || options.format == "sqlite")
        throw UsageError(what + "--to " + options.format + ", which is UTF-8");
    if (dialect == Dialect::postgresql || dialect == Dialect::sqlite)
        throw UsageError(what + "--dialect " + options.dialect + ", which is UTF-8");
    if (options.format == "csv")
        return;
    const Charset *set = find_charset(charset);
    if (set == nullptr || !set->ascii)
        throw UsageError(what + "--to " + options.format + " of text in character set \"" +
                         printable(charset) + "\", in which the rest cannot be written");
    for (const Column &column : table.columns)
        if (column.kind == ColumnKind::national_text)
            throw UsageError(what + "--to " + options.format + " of table \"" + printable(table.name) +
                             "\": column \"" + printable(column.name) +
                             "\" is in another character set than the rest");
}

UniqueNames output_names(const FormatOptions &options) {
    return UniqueNames(name_rules(options).size_max());
}

std::vector<std::string> apply_output_names(const FormatOptions &options, Table &table) {
    const NameRules rules = name_rules(options);
    std::vector<std::string> told;
    const auto rename = [&](std::string &name, const std::string &given, const std::string &what) {
        if (given != rules.in_case(name))
            told.push_back(what + "is named \"" + printable(given) + "\"");
        name = given;
    };
    rename(table.owner, rules.apply_to_owner(table.owner), "owner \"" + printable(table.owner) + "\" ");
    rename(table.name, rules.apply_to_table(table.name), "");
    UniqueNames names = output_names(options);
    for (Column &column : table.columns)
        rename(column.name, names.take(rules.apply_to_column(column.name)),
               "column \"" + printable(column.name) + "\" ");
    return told;
}

std::unique_ptr<Format> make_format(const FormatOptions &options, Destination &destination,
                                    const std::string &database, const std::string &charset) {
    destination.set_compression(compression_of(options.compress));
    const std::string &text_charset = options.raw ? charset : "AL32UTF8";
    if (options.format == "csv")
        return make_csv_format(destination, options);
    if (options.format == "jsonl")
        return make_jsonl_format(destination, options);
    if (options.format == "sql")
        return make_sql_format(destination, options, text_charset);
    if (options.format == "sqlldr")
        return make_sqlldr_format(destination, text_charset);
    if (options.format == "sqlite")
        return make_sqlite_format(destination, database, options);
    throw UsageError("format \"" + options.format + "\" is not known");
}

std::string output_name(const Table &table) {
    return table.owner.empty() ? table.name : table.owner + "." + table.name;
}

} // namespace vexlo
