#include "convert/conversion_queue.h"

#include <utility>

#include "convert/dump_reader.h"
#include "values/errors.h"

namespace vexlo {

namespace {

// The file name of a dump without its directory and ".dat".
std::string database_name(const std::string &dump_path) {
    constexpr std::string_view EXTENSION = ".dat";
    std::string name = dump_path.substr(dump_path.rfind('/') + 1);
    if (name.size() > EXTENSION.size() && name.ends_with(EXTENSION))
        name.resize(name.size() - EXTENSION.size());
    return name;
}

} // namespace

ConversionQueue::ConversionQueue(const Options &options, TableSelection &selection, Destination &destination,
                                 Report &report)
    : options_(options), selection_(selection), destination_(destination), report_(report),
      files_(options, report) {}

bool ConversionQueue::take(TableTask &task) {
    const std::lock_guard lock(mutex_);
    try {
        return !stopped_ && take_next(task);
    } catch (...) {
        stopped_ = true;
        throw;
    }
}

bool ConversionQueue::take_next(TableTask &task) {
    for (;;) {
        if (!current_ && !open_next())
            return false;
        DumpRun &run = *current_;
        if (run.next == run.tables.size()) {
            if (run.open == 0)
                finish(run);
            current_.reset(); // its last tables may still be with other threads
            continue;
        }
        task.run = current_;
        task.refined.reset();
        task.info = run.tables[run.next++];
        if (open_output(task)) {
            ++run.open;
            task.number = ++handed_out_;
            return true;
        }
    }
}

bool ConversionQueue::start_again(TableTask &task, const TableInfo &info) {
    const std::lock_guard lock(mutex_);
    task.writer.reset();
    task.run->format->give_up(task.table);
    task.refined = info;
    task.info = &*task.refined;
    const std::string name = task.table.name;
    task.table = task.run->texts.describe(task.run->dump, *task.info, report_, task.table.columns.size());
    apply_output_names(options_.format, task.table);
    task.table.name = name;
    return open_writer(task);
}

void ConversionQueue::done(TableTask &task, bool failed) {
    const std::lock_guard lock(mutex_);
    DumpRun &run = *task.run;
    run.failed |= failed;
    task.writer.reset();
    --run.open;
    if (run.open == 0 && run.next == run.tables.size() && task.run != current_)
        finish(run);
    task.run.reset();
}

bool ConversionQueue::open_next() {
    std::optional<DumpFile> dump = files_.next();
    if (!dump)
        return false;
    for (const std::string &fault : dump->faults())
        report_.loss(dump->path() + ": " + fault);
    current_ = std::make_shared<DumpRun>(std::move(*dump), options_, report_);
    select_tables(*current_);
    return true;
}

void ConversionQueue::select_tables(DumpRun &run) {
    const std::string owner = run.texts.name(run.dump.owner());
    for (const TableInfo &info : run.dump.tables())
        if (selection_.selects(owner, run.texts.name(info.name)))
            run.tables.push_back(&info);
    check_standard_output(run);
    check_text(run);
}

// Before the first output of the dump: text that cannot be passed through ends the run.
void ConversionQueue::check_text(DumpRun &run) const {
    for (const TableInfo *info : run.tables) {
        Table table{"", run.texts.name(info->name), {}};
        for (const ColumnInfo &column : info->columns)
            table.columns.push_back({run.texts.name(column.name), column_kind(column.ctyp, column.national),
                                     column.national, column.ctyp, column.clen});
        check_raw_text(options_.format, table, run.dump.charset());
    }
}

void ConversionQueue::check_standard_output(const DumpRun &run) const {
    if (destination_.is_standard_output() && (options_.files.size() > 1 || run.tables.size() > 1))
        throw UsageError("standard output takes one table: name it with --table, of one file");
}

// What is written to standard output cannot be taken back: whether the table is what it seems is found out
// before.
void ConversionQueue::read_ahead(TableTask &task) const {
    if (!task.info->fault.empty())
        return;
    DumpReader reader(task.run->dump, *task.info);
    reader.watch_for_surplus();
    try {
        for (Row row; reader.next(row);)
            reader.take_damage();
    } catch (const InputError &) { // is told when the rows are read
    }
    if (reader.late_surplus()) {
        task.refined = reader.late_surplus();
        task.info = &*task.refined;
    }
}

// An output is not touched before it is known that there is a table for it.
bool ConversionQueue::open_output(TableTask &task) {
    DumpRun &run = *task.run;
    if (destination_.is_standard_output())
        read_ahead(task);
    task.table = run.texts.describe(run.dump, *task.info, report_);
    if (!task.info->fault.empty()) {
        TableReport(report_, run.dump.path(), task.table.name).loss(task.info->fault);
        return false;
    }
    name_output(run, task.table);
    return open_writer(task);
}

bool ConversionQueue::open_writer(TableTask &task) {
    DumpRun &run = *task.run;
    try {
        if (!run.format)
            run.format = make_format(options_.format, destination_, database_name(run.dump.path()),
                                     run.dump.charset());
        task.writer = run.format->open_table(task.table);
        return true;
    } catch (const OutputError &error) { // what the dump's other tables have written is not touched by that
        report_.failure(error.what());
        return false;
    }
}

// Not all targets and file systems tell names apart that differ in case alone. Databases of SQLite have the
// tables of one dump, other targets those of one owner.
void ConversionQueue::name_output(const DumpRun &run, Table &table) {
    TableReport report(report_, run.dump.path(), table.name);
    for (const std::string &text : apply_output_names(options_.format, table))
        report.note(text);
    const bool by_dump = options_.format.format == "sqlite";
    UniqueNames &names =
        names_.try_emplace(by_dump ? run.dump.path() : table.owner, output_names(options_.format))
            .first->second;
    const std::string given = names.take(table.name);
    if (given != table.name)
        report.note("is named \"" + printable(given) +
                    "\": there is a table whose name differs at most in case");
    table.name = given;
}

void ConversionQueue::finish(DumpRun &run) {
    bytes_done_ += run.dump.size();
    if (!run.format || run.failed)
        return;
    try {
        run.format->finish();
    } catch (const OutputError &error) {
        report_.failure(error.what());
    }
}

} // namespace vexlo
