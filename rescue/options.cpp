#include "rescue/options.h"

#include <algorithm>
#include <iostream>
#include <thread>

#include <CLI/CLI.hpp>

#include "output/console.h"
#include "output/format_flags.h"
#include "output/report.h"
#include "values/errors.h"

namespace vexlo {

namespace {

// What the command line gives as text and becomes something else.
struct RawOptions {
    std::vector<std::string> patterns;
    std::optional<uint32_t> dbid;
    std::string lobs = "inline";
    std::optional<FormatFlags> format; // of unload
};

void define_where(CLI::App &verb, RescueOptions &options, RawOptions &raw) {
    CLI::Option *files = verb.add_option("--files", options.where.files,
                                         "Datafile, directory or pattern of files (may be given again)");
    files->expected(1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)->allow_extra_args(false);
    CLI::Option *list = verb.add_option("--list", options.where.list, "Text file that names datafiles");
    CLI::Option *config = verb.add_option("--config", options.where.config, "Configuration file of vexlo");
    list->excludes(files);
    config->excludes(files)->excludes(list);
    verb.add_option("--dbid", raw.dbid, "Database to read, where there are files of several");
}

void define_common(CLI::App &verb, RescueOptions &options) {
    verb.add_option("--jobs", options.jobs, "Threads that work at once (default: the cores)")
        ->check(CLI::Range(1U, JOBS_MAX));
    verb.add_flag("--quiet", options.quiet, "Show no progress and no closing table");
    verb.add_flag("--json", options.json, "Print the results as JSON");
    verb.add_flag("--trust-blocks", options.reading.trust_blocks, "Test neither check values nor tails");
    verb.set_version_flag("--version", "vexlo-rescue " VEXLO_VERSION);
}

void define_selection(CLI::App &verb, RescueOptions &options, RawOptions &raw) {
    verb.add_option("PATTERN", raw.patterns,
                    "Tables as OWNER.TABLE with * and ?, exact in double quotes (default: all)");
    verb.add_flag("--all-owners", options.all_owners, "Take the tables of Oracle's own owners too");
    verb.add_flag("--ignore-maps", options.reading.ignore_maps,
                  "Find the blocks of tables by going through the files");
    verb.add_flag("--hidden", options.hidden, "Take hidden, unused and virtual columns too");
}

// The format and what shapes its values.
void define_values(CLI::App &verb, RescueOptions &options, RawOptions &raw) {
    raw.format.emplace(verb, options.format);
    verb.get_option("--to")->required();
    verb.add_option("--charset", options.charset, "Character set of the text, in place of the database's");
    verb.add_option("--ncharset", options.ncharset, "National character set, in place of the database's");
    verb.add_option("--lobs", raw.lobs, "LOBs in their columns, in files of their own, or not at all")
        ->check(CLI::IsMember({"inline", "files", "none"}))
        ->default_val("inline");
    verb.add_option("--lob-limit", options.lob_limit,
                    "Cut LOBs behind so many bytes (k, m, g: 1024 and so on)")
        ->transform(CLI::AsSizeValue(false));
}

void define_outputs(CLI::App &verb, RescueOptions &options) {
    verb.add_option("--output", options.output, "Directory for the outputs and rescue.json")->required();
    verb.add_flag("--by-partition", options.by_partition, "One output for each partition");
    CLI::Option *overwrite =
        verb.add_flag("--overwrite", options.overwrite, "Replace outputs that exist already");
    verb.add_flag("--resume", options.resume, "Go on with a run that was interrupted")->excludes(overwrite);
}

// The verbs of the program, each with its options.
void define_verbs(CLI::App &app, RescueOptions &options, RawOptions &raw) {
    app.require_subcommand(1);
    app.set_version_flag("--version", "vexlo-rescue " VEXLO_VERSION);
    CLI::App *list = app.add_subcommand("list", "Show what is there and what can be had of it");
    CLI::App *unload = app.add_subcommand("unload", "Write tables to files");
    CLI::App *check = app.add_subcommand("check", "Test the health of the files");
    for (CLI::App *verb : {list, unload, check}) {
        define_where(*verb, options, raw);
        define_common(*verb, options);
    }
    define_selection(*list, options, raw);
    list->add_flag("--columns", options.columns, "Show the columns of each table");
    define_selection(*unload, options, raw);
    define_values(*unload, options, raw);
    define_outputs(*unload, options);
    list->callback([&] { options.verb = Verb::list; });
    unload->callback([&] { options.verb = Verb::unload; });
    check->callback([&] { options.verb = Verb::check; });
}

// What the options mean together. Throws UsageError.
void settle(RescueOptions &options, RawOptions &raw) {
    if (const std::string fault = options.verb == Verb::unload ? raw.format->finish() : ""; !fault.empty())
        throw UsageError(fault);
    for (const std::string &pattern : raw.patterns)
        options.patterns.emplace_back(pattern);
    options.where.dbid = raw.dbid;
    options.lobs = raw.lobs == "files"  ? LobMode::files
                   : raw.lobs == "none" ? LobMode::none
                                        : LobMode::in_line;
    if (options.verb == Verb::unload && (options.output.empty() || options.output == "-"))
        throw UsageError("--output takes a directory");
    if (options.by_partition && options.format.format == "sqlite")
        throw UsageError("--by-partition writes files, --to sqlite has one database");
}

int refuse(const std::string &reason) {
    Console(RESCUE_PROGRAM).line(printable(reason));
    return EXIT_FAILED;
}

} // namespace

int parse_rescue_options(const std::vector<std::string> &command, RescueOptions &options) {
    CLI::App app("Takes the tables of an Oracle database out of its datafiles.", RESCUE_PROGRAM);
    RawOptions raw;
    options.jobs = std::clamp(std::thread::hardware_concurrency(), 1U, JOBS_MAX);
    options.command = command;
    define_verbs(app, options, raw);
    try {
        std::vector<std::string> words(command.rbegin(), command.rend()); // as the parser takes them
        if (!words.empty())
            words.pop_back();
        app.parse(std::move(words));
        settle(options, raw);
    } catch (const CLI::Success &success) {
        return app.exit(success);
    } catch (const CLI::ParseError &error) {
        return refuse(parser_fault(error.what()));
    } catch (const UsageError &error) {
        return refuse(error.what());
    }
    return -1;
}

bool same_outputs(const RescueOptions &one, const RescueOptions &other) {
    const auto texts = [](const RescueOptions &options) {
        std::vector<std::string> patterns;
        for (const NamePattern &pattern : options.patterns)
            patterns.push_back(pattern.text());
        return patterns;
    };
    const auto shape = [&](const RescueOptions &options) {
        const FormatOptions &format = options.format;
        return std::tuple(options.verb, texts(options), options.all_owners, options.reading.ignore_maps,
                          options.reading.trust_blocks, options.hidden, options.by_partition, format.format,
                          format.dialect, format.lf, format.raw, format.null_text, format.delimiter,
                          format.header, format.date_format, format.json_number_strings, format.real_numbers,
                          format.lowercase, format.part, format.compress, options.lobs, options.lob_limit,
                          options.charset, options.ncharset, options.where.dbid);
    };
    return shape(one) == shape(other);
}

} // namespace vexlo
