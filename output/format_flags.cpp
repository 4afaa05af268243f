#include "output/format_flags.h"

#include <CLI/CLI.hpp>

namespace vexlo {

namespace {

// One character, or \\t for a tab; NUL when it is neither.
char delimiter_of(const std::string &text) {
    if (text == "\\t")
        return '\t';
    return text.size() == 1 ? text[0] : '\0';
}

} // namespace

CLI::Validator not_empty() {
    return CLI::Validator([](const std::string &text) { return text.empty() ? "must not be empty" : ""; },
                          "");
}

void refuse_flag_values(CLI::App &app) {
    for (CLI::Option *option : app.get_options())
        if (option->get_items_expected_max() == 0)
            option->disable_flag_override();
}

FormatFlags::FormatFlags(CLI::App &app, FormatOptions &options) : app_(app), options_(options) {
    app_.add_option("--to", options_.format, "Output format")
        ->check(CLI::IsMember({"csv", "jsonl", "sql", "sqlldr", "sqlite"}));
    app_.add_option("--dialect", options_.dialect,
                    "Dialect of --to sql (oracle when not given) and of --to csv")
        ->check(CLI::IsMember({"oracle", "postgresql", "sqlite"}));
    app_.add_option("--encoding", encoding_, "utf8 converts text to UTF-8, raw passes its bytes through")
        ->check(CLI::IsMember({"utf8", "raw"}))
        ->default_val("utf8");
    define_csv();
    define_scripts();
}

void FormatFlags::define_csv() {
    app_.add_option("--eol", eol_, "Line ends of CSV")
        ->check(CLI::IsMember({"crlf", "lf"}))
        ->default_val("crlf");
    app_.add_option("--null", options_.null_text, "What stands for NULL in CSV");
    app_.add_option("--delimiter", delimiter_, "Character between the fields of CSV, \\t for a tab")
        ->default_val(",");
    app_.add_flag("--no-header", no_header_, "CSV without its header line");
    app_.add_option("--date-format", options_.date_format,
                    "How dates are written in CSV and JSON Lines, in the letters of strftime")
        ->check(not_empty());
    app_.add_option("--json-numbers", json_numbers_, "Numbers of JSON Lines as numbers or as strings")
        ->check(CLI::IsMember({"number", "string"}))
        ->default_val("number");
}

void FormatFlags::define_scripts() {
    app_.add_option("--numbers", numbers_, "NUMBERs that REAL cannot hold, in SQLite: exact as text, or real")
        ->check(CLI::IsMember({"exact", "real"}))
        ->default_val("exact");
    CLI::Option *ddl = app_.add_flag("--ddl-only", ddl_only_, "SQL scripts with CREATE TABLE and no rows");
    app_.add_flag("--data-only", data_only_, "SQL scripts with rows and no CREATE TABLE")->excludes(ddl);
    app_.add_option("--compress", options_.compress, "Compression of CSV, JSON Lines and SQL")
        ->check(CLI::IsMember({"gzip", "zstd"}));
    app_.add_flag("--lowercase", options_.lowercase, "Names of tables and columns in lower case");
}

// An option that has been given, be it with its default, and means nothing with the format.
std::string FormatFlags::given_without_use() const {
    for (const char *name :
         {"--dialect", "--encoding", "--eol", "--null", "--delimiter", "--no-header", "--date-format",
          "--json-numbers", "--numbers", "--ddl-only", "--data-only", "--lowercase", "--compress"}) {
        if (app_.count(name) == 0)
            continue;
        if (options_.format.empty())
            return std::string(name) + " does not apply without --to";
        if (const std::string fault = option_fault(name, options_.format); !fault.empty())
            return fault;
    }
    return "";
}

std::string FormatFlags::finish() {
    options_.raw = encoding_ == "raw";
    options_.lf = eol_ == "lf";
    options_.delimiter = delimiter_of(delimiter_);
    options_.header = !no_header_;
    options_.json_number_strings = json_numbers_ == "string";
    options_.real_numbers = numbers_ == "real";
    options_.part = ddl_only_ ? SqlPart::ddl : data_only_ ? SqlPart::data : SqlPart::all;
    if (const std::string fault = given_without_use(); !fault.empty() || options_.format.empty())
        return fault;
    return format_options_fault(options_);
}

} // namespace vexlo
