#include "rescue/unload_run.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <set>

#include "output/standard_output.h"
#include "rescue/lob_files.h"
#include "rescue/open_database.h"
#include "rescue/output_directory.h"
#include "rescue/plan.h"
#include "rescue/record.h"
#include "rescue/rescue_progress.h"
#include "rescue/stop.h"
#include "rescue/summary.h"
#include "rescue/unload.h"
#include "values/errors.h"

namespace vexlo {

namespace {

constexpr char NOT_REACHED[] = "not reached";
constexpr char INTERRUPTED[] = "interrupted";

// Blocks that the segment headers of all tables name, as far as the first map of each goes.
uint64_t count_blocks(const OpenDatabase &database, const std::vector<PlannedTable> &tables,
                      const ReadOptions &reading) {
    uint64_t blocks = 0;
    for (const PlannedTable &table : tables)
        for (const TableSegment &segment : table.segments) {
            SegmentRuns runs(database.files, database.scans, segment.segment, reading);
            BlockRun run;
            if (!reading.ignore_maps && runs.next(run))
                blocks += runs.blocks_known();
        }
    return blocks;
}

// The datafiles among the inputs.
std::vector<FileEntry> datafiles(const std::vector<FileEntry> &files) {
    std::vector<FileEntry> rest;
    std::copy_if(files.begin(), files.end(), std::back_inserter(rest), [](const FileEntry &file) {
        return file.status != "missing" && file.status != status_text(FileStatus::not_a_datafile);
    });
    return rest;
}

class UnloadRun {
public:
    UnloadRun(const RescueOptions &options, Console &console)
        : options_(options), console_(console), report_(console), database_(options, report_),
          charsets_(text_charsets(database_.dictionary, options, report_)),
          tables_(plan_tables(database_, options)), directory_(options.output), record_file_(options.output) {
        report_unmatched(tables_, database_.dictionary, options, report_);
    }

    int run() {
        prepare();
        record_file_.write(record_);
        catch_stop_signals();
        try {
            unload_tables();
        } catch (const Stopped &) {
            stopped_ = true;
        }
        console_.clear_status();
        record_.files = file_entries(database_.files, database_.dictionary);
        record_.exit_status = exit_status();
        if (!stopped_)
            record_.finished = moment_text(std::chrono::system_clock::now());
        record_file_.write(record_);
        tell();
        return *record_.exit_status;
    }

private:
    void prepare() {
        record_.version = VEXLO_VERSION;
        record_.command = options_.command;
        record_.started = moment_text(std::chrono::system_clock::now());
        record_.files = file_entries(database_.files, database_.dictionary);
        record_.dictionary_losses = loss_entries(database_.dictionary.tally());
        for (const PlannedTable &table : tables_) {
            record_.tables.push_back(empty_entry(table));
            record_.tables.back().reason = NOT_REACHED;
        }
        for (const PlannedTable &table : tables_)
            check_values(options_, database_.dictionary, table);
        directory_.lock();
        const std::vector<std::string> paths = output_paths();
        directory_.refuse_inputs(paths, database_.files);
        const bool goes_on = options_.resume && resume();
        if (options_.overwrite)
            directory_.refuse_met(paths, database_.files, own_paths(paths));
        else if (!goes_on)
            directory_.refuse_existing(paths);
        directory_.remove_unfinished(paths, earlier_database_.path);
    }

    // Every path in the output directory that this run may write.
    std::vector<std::string> output_paths() const {
        std::vector<std::string> paths = shared_files(options_.format);
        paths.emplace_back(RECORD_NAME);
        for (const PlannedTable &table : tables_)
            for (const std::string &path : paths_of(table))
                paths.push_back(path);
        return paths;
    }

    std::vector<std::string> paths_of(const PlannedTable &table) const {
        std::vector<std::string> paths = output_files(options_.format, table.stem, table.suspect_stem);
        if (options_.lobs == LobMode::files)
            paths.insert(paths.end(), {lob_directory(table.stem), lob_directory(table.suspect_stem)});
        return paths;
    }

    // Those of the paths that the run before has written, by its record: all of them when it has written this
    // run's tables in the same way, since it may have ended behind an output and before the record.
    std::set<std::string> own_paths(const std::vector<std::string> &paths) const {
        std::optional<RunRecord> earlier;
        try {
            earlier = load_record(options_.output);
        } catch (const InputError &) {
        }
        if (!earlier)
            return {};
        if (has_same_options(*earlier) && has_same_tables(*earlier))
            return {paths.begin(), paths.end()};
        std::set<std::string> own = {RECORD_NAME};
        for (const TableEntry &table : earlier->tables) {
            for (const OutputEntry &output : table.outputs)
                own.insert(output.path);
            for (const LobFilesEntry &lobs : table.lobs.files)
                own.insert(lobs.path);
        }
        return own;
    }

    // Takes over what an earlier run has finished, when it was one of the same inputs and options. False when
    // no run has left a record.
    bool resume() {
        const std::optional<RunRecord> earlier = load_record(options_.output);
        if (!earlier)
            return false;
        require_same(*earlier);
        record_.started = earlier->started;
        if (!shared_files(options_.format).empty()) {
            resume_database(earlier->tables);
            return true;
        }
        for (size_t i = 0; i < tables_.size(); ++i) {
            const TableEntry &entry = earlier->tables[i];
            if (is_finished(entry) && !entry.outputs.empty() && directory_.holds(entry.outputs) &&
                directory_.holds(entry.lobs.files))
                record_.tables[i] = entry;
        }
        return true;
    }

    static bool is_finished(const TableEntry &entry) {
        return entry.status == TableStatus::complete || entry.status == TableStatus::partial;
    }

    // Takes over the tables that the database has which the earlier run has left, finished or not.
    void resume_database(const std::vector<TableEntry> &earlier) {
        const std::string name = shared_files(options_.format).front();
        const auto written = std::ranges::find_if(
            earlier, [&](const TableEntry &entry) { return is_finished(entry) && !entry.outputs.empty(); });
        const bool whole = written != earlier.end() && directory_.holds(written->outputs);
        const std::string path = whole ? options_.output + "/" + name : directory_.find_unfinished(name);
        const std::optional<std::set<std::string>> tables =
            path.empty() ? std::nullopt : database_tables(path);
        if (!tables)
            return;
        earlier_database_.path = path;
        const auto is_there = [&](const std::string &table) { return tables->contains(table); };
        const std::vector<SharedNames> names = shared_names(options_.format, tables_);
        for (size_t i = 0; i < tables_.size(); ++i) {
            const bool has_suspects = earlier[i].suspect_rows > 0;
            if (!is_finished(earlier[i]) || !is_there(names[i].main) ||
                (has_suspects && !is_there(names[i].suspect)) || !directory_.holds(earlier[i].lobs.files))
                continue;
            record_.tables[i] = earlier[i];
            earlier_database_.kept_tables.insert(names[i].main);
            if (has_suspects)
                earlier_database_.kept_tables.insert(names[i].suspect);
        }
    }

    bool has_same_options(const RunRecord &earlier) const {
        RescueOptions options;
        return parse_rescue_options(earlier.command, options) < 0 && same_outputs(options, options_);
    }

    bool has_same_tables(const RunRecord &earlier) const {
        const auto names = [](const TableEntry &entry) {
            return std::tie(entry.owner, entry.table, entry.partition);
        };
        return std::ranges::equal(
            earlier.tables, record_.tables,
            [&](const TableEntry &one, const TableEntry &other) { return names(one) == names(other); });
    }

    void require_same(const RunRecord &earlier) const {
        if (!has_same_options(earlier))
            throw UsageError("the options differ from those of the run in " + options_.output);
        if (datafiles(earlier.files) != datafiles(record_.files))
            throw UsageError("the datafiles have changed since the run in " + options_.output);
        if (!has_same_tables(earlier))
            throw UsageError("the tables have changed since the run in " + options_.output);
    }

    bool is_done(size_t i) const { return record_.tables[i].status != TableStatus::failed; }

    void unload_tables() {
        OutputFactory outputs(options_, charsets_, tables_, earlier_database_, writes_lobs());
        const bool shows = !options_.quiet && isatty(STDERR_FILENO) != 0;
        RescueProgress progress(console_, shows, tables_.size(),
                                shows ? count_blocks(database_, tables_, options_.reading) : 0);
        BlockBudgets budgets(database_.files);
        const UnloadContext context{
            options_,  database_.files, database_.scans, budgets, database_.dictionary,
            charsets_, outputs,         console_,        progress};
        const size_t last = last_to_do();
        for (size_t i = 0; i < tables_.size(); ++i) {
            check_stop();
            progress.start_table(tables_[i].title());
            if (is_done(i))
                continue;
            unload_one(context, i, i == last);
            // Behind the last one comes the record of the whole run.
            if (i != last)
                record_file_.write_if_due(record_);
        }
        outputs.finish(record_.tables);
    }

    // The last table that is not done; the number of tables when all are.
    size_t last_to_do() const {
        size_t last = tables_.size();
        for (size_t i = 0; i < tables_.size(); ++i)
            last = is_done(i) ? last : i;
        return last;
    }

    bool writes_lobs() const {
        return options_.lobs == LobMode::in_line &&
               std::ranges::any_of(tables_, [&](const PlannedTable &table) {
                   return !database_.dictionary.lobs(table.table->object).empty();
               });
    }

    void unload_one(const UnloadContext &context, size_t i, bool is_last) {
        TableEntry &entry = record_.tables[i];
        try {
            if (is_last)
                context.outputs.begin_last();
            entry = unload_table(context, tables_[i]);
            context.outputs.commit();
            directory_.remove_others(output_files(options_.format, tables_[i].stem, tables_[i].suspect_stem),
                                     entry.outputs);
        } catch (const OutputError &error) {
            entry = empty_entry(tables_[i]);
            entry.reason = error.what();
            report_.failure(error.what());
            context.outputs.roll_back();
        } catch (const Stopped &) {
            entry.reason = INTERRUPTED;
            throw;
        }
    }

    int exit_status() const {
        if (report_.exit_status() != EXIT_CONVERTED)
            return report_.exit_status();
        const bool complete =
            std::all_of(record_.tables.begin(), record_.tables.end(),
                        [](const TableEntry &table) { return table.status == TableStatus::complete; });
        return complete ? EXIT_CONVERTED : EXIT_LOSSES;
    }

    void tell() const {
        if (options_.json)
            print(record_text(record_));
        else if (!options_.quiet)
            std::fputs(summary_text(record_.tables).c_str(), stderr);
        if (stopped_)
            console_.line("interrupted; --resume goes on");
    }

    const RescueOptions &options_;
    Console &console_;
    Report report_;
    OpenDatabase database_;
    TextCharsets charsets_;
    std::vector<PlannedTable> tables_;
    OutputDirectory directory_;
    EarlierDatabase earlier_database_; // that a run goes on with
    RecordFile record_file_;
    RunRecord record_;
    bool stopped_ = false;
};

} // namespace

int run_unload(const RescueOptions &options, Console &console) {
    return UnloadRun(options, console).run();
}

} // namespace vexlo
