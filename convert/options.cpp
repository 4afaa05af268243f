#include "convert/options.h"

#include <CLI/CLI.hpp>

#include "output/report.h"

namespace vexlo {

namespace {

void define_options(CLI::App &app, Options &options, std::string &encoding, std::string &eol) {
    app.add_flag("--list", options.list, "List owner, character sets and tables of each dump");
    app.add_option("--to", options.format.format, "Output format")
        ->check(CLI::IsMember({"csv", "jsonl", "sql", "sqlldr", "sqlite"}));
    app.add_option("--dialect", options.format.dialect, "Dialect of --to sql")
        ->check(CLI::IsMember({"oracle", "postgresql", "sqlite"}))
        ->default_val("oracle");
    app.add_option("--table", options.tables, "Convert this table only (may be given again)")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--output", options.output, "Directory for the output, - for standard output")
        ->default_val(".");
    app.add_option("--charset", options.charset, "Character set of the text, in place of the dump's");
    app.add_option("--ncharset", options.ncharset, "National character set, in place of the dump's");
    app.add_option("--encoding", encoding, "utf8 converts text to UTF-8, raw passes its bytes through")
        ->check(CLI::IsMember({"utf8", "raw"}))
        ->default_val("utf8");
    app.add_option("--eol", eol, "Line ends of CSV")
        ->check(CLI::IsMember({"crlf", "lf"}))
        ->default_val("crlf");
    app.add_flag("--quiet", options.quiet, "Show no progress");
    app.add_option("FILE", options.files, "Dump files")->required();
    app.set_version_flag("--version", "vexlo-convert " VEXLO_VERSION);
}

// What the options mean together; empty when they fit.
std::string conflict(const Options &options) {
    const std::string &format = options.format.format;
    if (options.list == !format.empty())
        return "either --list or --to is needed";
    if (options.output == "-" && (format == "sqlite" || format == "sqlldr"))
        return "--to " + format + " cannot write to standard output";
    return "";
}

} // namespace

int parse_options(int argc, char **argv, Options &options) {
    CLI::App app("Turns dump files of vexlo into CSV, JSON Lines, SQL, SQL*Loader files or SQLite databases.",
                 "vexlo-convert");
    std::string encoding, eol;
    define_options(app, options, encoding, eol);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? EXIT_CONVERTED : EXIT_FAILED;
    }
    options.format.raw = encoding == "raw";
    options.format.lf = eol == "lf";
    const std::string problem = conflict(options);
    if (!problem.empty()) {
        Console(PROGRAM_NAME).line(problem);
        return EXIT_FAILED;
    }
    return -1;
}

} // namespace vexlo
