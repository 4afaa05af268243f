#include "convert/convert.h"

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <thread>
#include <utility>
#include <vector>

#include "convert/write_rows.h"
#include "values/errors.h"

namespace vexlo {

namespace {

uint64_t total_size(const std::vector<std::string> &files) {
    uint64_t total = 0;
    for (const std::string &path : files) {
        struct stat st;
        if (stat(path.c_str(), &st) == 0)
            total += static_cast<uint64_t>(st.st_size);
    }
    return total;
}

} // namespace

void add_damage(DumpReader &reader, RowLosses &losses) {
    for (Damage &damage : reader.take_damage())
        losses.add(damage.row, damage.offset, std::move(damage.text));
}

void report_end(const DumpReader &reader, const TableInfo &info, TableReport &report) {
    if (!reader.ended_properly())
        report.loss("row " + std::to_string(reader.rows() + 1) + ", offset " +
                    std::to_string(reader.position()) +
                    ": the end mark is missing, the table is not complete");
    if (info.counted && reader.rows() != info.nrows)
        report.loss("the directory says " + std::to_string(info.nrows) + " rows, " +
                    std::to_string(reader.rows()) + " were found");
}

Conversion::Conversion(const Options &options, Report &report)
    : options_(options), report_(report), selection_(options.tables, options.excluded),
      destination_(options.output), load_script_(options.format, destination_),
      queue_(options, selection_, destination_, report),
      progress_(report.console(), !options.quiet && isatty(STDERR_FILENO) != 0, total_size(options.files)) {
    if (take_all_processors(tables_at_once()))
        destination_.write_directly();
}

void Conversion::run() {
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::jthread> helpers;
    for (unsigned i = 1; i < tables_at_once(); ++i)
        helpers.emplace_back([this] { work(); });
    work();
    helpers.clear();
    report_.console().clear_status();
    if (failure_)
        std::rethrow_exception(failure_);
    write_load_script();
    selection_.report(report_);
    if (!options_.quiet)
        summarise(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
}

// Those of a database share one connection to it.
unsigned Conversion::tables_at_once() const {
    return options_.format.format == "sqlite" ? 1 : options_.jobs;
}

// What every thread does.
void Conversion::work() {
    try {
        for (TableTask task; queue_.take(task);) {
            const bool converted = convert_table(task);
            queue_.done(task, !converted);
        }
    } catch (...) {
        const std::lock_guard lock(failure_mutex_);
        failure_ = std::current_exception();
    }
}

void Conversion::summarise(double seconds) {
    char time[40];
    std::snprintf(time, sizeof time, "%.1f seconds", seconds);
    std::string text = std::to_string(tables_done_) + " tables, " + std::to_string(rows_done_) + " rows, " +
                       std::to_string(report_.losses()) + " losses, ";
    if (report_.nulls() != 0)
        text += std::to_string(report_.nulls()) + " values taken as NULL, ";
    if (report_.replaced() != 0)
        text += std::to_string(report_.replaced()) + " characters replaced, ";
    report_.note(text + time);
}

// False when the output could not be written.
bool Conversion::convert_table(TableTask &task) {
    const DumpRun &run = *task.run;
    TableReport report(report_, run.dump.path(), task.table.name);
    try {
        if (!task.writer->takes_rows()) {
            task.writer->finish();
            complete(task, 0);
            return true;
        }
        CellDecoder decoder(task.table, run.texts.charsets());
        DumpReader reader(run.dump, *task.info);
        reader.watch_for_surplus();
        report.hold(); // it can turn out that the rows have been read wrongly
        const std::string fault = write_table(reader, decoder, task, report);
        if (reader.late_surplus()) {
            report.drop();
            return queue_.start_again(task, *reader.late_surplus()) && convert_table(task);
        }
        report.release();
        if (!fault.empty()) {
            report_.failure(fault);
            if (keeps_earlier(*task.writer))
                return false;
        }
        report_end(reader, *task.info, report);
        decoder.finish(report);
        report.finish();
        task.writer->finish();
        task.writer->tell(report);
        complete(task, reader.rows());
        return true;
    } catch (const OutputError &error) {
        report.release();
        report_.failure(error.what());
    } catch (const InputError &error) { // in the middle of a row, which leaves the output useless
        report.release();
        report_.failure(error.what());
    }
    return false;
}

void Conversion::complete(TableTask &task, uint64_t rows) {
    ++tables_done_;
    rows_done_ += rows;
    load_script_.add(task.number, task.table, task.writer->path(),
                     options_.format.raw ? task.run->dump.charset() : "AL32UTF8");
}

void Conversion::write_load_script() {
    try {
        load_script_.write(report_);
    } catch (const OutputError &error) {
        report_.failure(error.what());
    }
}

// Whether there is an output of an earlier run, which one that is known to lack rows does not replace.
bool Conversion::keeps_earlier(const TableWriter &writer) {
    const std::string path = writer.path();
    if (path.empty() || access(path.c_str(), F_OK) != 0)
        return false;
    report_.note(path + ": stays as it was before this run");
    return true;
}

// Why the file cannot be read to the end of the table; empty when it can.
std::string Conversion::write_table(DumpReader &reader, CellDecoder &decoder, const TableTask &task,
                                    TableReport &report) {
    const auto progress = [&](uint64_t rows, uint64_t position) {
        const std::lock_guard lock(progress_mutex_);
        progress_.update(task.table.name, rows, queue_.bytes_done() + position);
    };
    const size_t threads =
        threads_for(task.info->end - task.info->rows_at, reader.row_size_max(), tables_at_once());
    return write_rows(reader, decoder, *task.writer, report, threads, progress);
}

} // namespace vexlo
