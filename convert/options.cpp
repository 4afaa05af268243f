#include "convert/options.h"

#include <algorithm>
#include <initializer_list>

#include <CLI/CLI.hpp>

#include "convert/input_file.h"
#include "output/format_flags.h"
#include "output/report.h"

namespace vexlo {

namespace {

constexpr unsigned JOBS_MAX = 64;

void define_options(CLI::App &app, Options &options) {
    app.add_flag("--list", options.list, "List owner, character sets and tables of each dump");
    app.add_flag("--json", options.json, "The list as JSON");
    app.add_flag("--quick", options.quick, "List what the directory says without reading the rows");
    app.add_option("--table", options.tables,
                   "Convert this table only: [OWNER.]TABLE, with * and ? (may be given again)")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--exclude", options.excluded, "Leave this table out: as --table (may be given again)")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--jobs", options.jobs, "Tables converted at the same time")
        ->check(CLI::Range(1U, JOBS_MAX))
        ->default_val(1U);
    app.add_option("--output", options.output, "Directory for the output, - for standard output")
        ->check(not_empty())
        ->default_val(".");
    app.add_option("--charset", options.charset, "Character set of the text, in place of the dump's")
        ->check(not_empty());
    app.add_option("--ncharset", options.ncharset, "National character set, in place of the dump's")
        ->check(not_empty());
    CLI::Option *salvage =
        app.add_flag("--salvage", options.salvage, "Find the tables of dumps whose header is damaged");
    app.add_option("--dictionary", options.dictionary,
                   "Directory of dictionary files that name salvaged tables")
        ->check(not_empty())
        ->needs(salvage);
    app.add_flag("--quiet", options.quiet, "Show no progress");
    app.add_option("FILE", options.files, "Dump files, - for standard input")->required();
    app.set_version_flag("--version", "vexlo-convert " VEXLO_VERSION);
    refuse_flag_values(app);
}

// The first of `names` that has been given; empty when none has.
std::string given(const CLI::App &app, std::initializer_list<const char *> names) {
    for (const char *name : names)
        if (app.count(name) > 0)
            return name;
    return "";
}

// An option that has been given and means nothing with the others.
std::string useless_option(const CLI::App &app, const Options &options) {
    if (options.list)
        return given(app, {"--output", "--jobs"});
    if (options.format.raw && !given(app, {"--charset", "--ncharset"}).empty())
        return given(app, {"--charset", "--ncharset"});
    return given(app, {"--json", "--quick"});
}

// What the options mean together; empty when they fit.
std::string conflict(const CLI::App &app, const Options &options) {
    const std::string &format = options.format.format;
    if (options.list == !format.empty())
        return "either --list or --to is needed";
    if (const std::string name = useless_option(app, options); !name.empty())
        return name + " does not apply to " +
               (options.list         ? "--list"
                : options.format.raw ? "--encoding raw"
                                     : "--to " + format);
    if (options.output == "-" && (format == "sqlite" || format == "sqlldr"))
        return "--to " + format + " cannot write to standard output";
    if (std::count(options.files.begin(), options.files.end(), STANDARD_INPUT) > 1)
        return "standard input can be read once";
    return "";
}

} // namespace

int parse_options(int argc, char **argv, Options &options) {
    CLI::App app("Turns dump files of vexlo into CSV, JSON Lines, SQL, SQL*Loader files or SQLite databases.",
                 "vexlo-convert");
    FormatFlags format(app, options.format);
    define_options(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) {
            app.exit(error);
            return EXIT_CONVERTED;
        }
        Console(PROGRAM_NAME).line(parser_fault(error.what()));
        return EXIT_FAILED;
    }
    const std::string fault = format.finish();
    const std::string problem = fault.empty() ? conflict(app, options) : fault;
    if (!problem.empty()) {
        Console(PROGRAM_NAME).line(printable(problem));
        return EXIT_FAILED;
    }
    return -1;
}

} // namespace vexlo
