#include "convert/convert.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

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

// The file name of a dump without its directory and ".dat".
std::string database_name(const std::string &dump_path) {
    constexpr std::string_view EXTENSION = ".dat";
    std::string name = dump_path.substr(dump_path.rfind('/') + 1);
    if (name.size() > EXTENSION.size() && name.ends_with(EXTENSION))
        name.resize(name.size() - EXTENSION.size());
    return name;
}

void write_batch(RowBatch &batch, TableWriter &writer, TableReport &report) {
    batch.losses.tell(report);
    writer.write(batch);
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
    if (reader.rows() != info.nrows)
        report.loss("the directory says " + std::to_string(info.nrows) + " rows, " +
                    std::to_string(reader.rows()) + " were found");
}

Conversion::Conversion(const Options &options, Report &report)
    : options_(options), report_(report), destination_(options.output),
      progress_(report.console(), !options.quiet && isatty(STDERR_FILENO) != 0, total_size(options.files)) {}

void Conversion::run() {
    for (const std::string &path : options_.files)
        convert_file(path);
    report_.console().clear_status();
    for (const std::string &name : options_.tables)
        if (!tables_found_.contains(name))
            report_.failure("table \"" + printable(name) + "\" is in none of the files");
}

void Conversion::convert_file(const std::string &path) {
    try {
        const DumpFile dump(path);
        convert_dump(dump);
        bytes_done_ += dump.size();
    } catch (const InputError &error) {
        report_.failure(error.what());
    } catch (const OutputError &error) {
        report_.failure(error.what());
    }
}

void Conversion::convert_dump(const DumpFile &dump) {
    for (const std::string &fault : dump.faults())
        report_.loss(dump.path() + ": " + fault);
    if (dump.tables().empty()) {
        report_.loss(dump.path() + ": holds no tables");
        return;
    }
    check_standard_output(dump);
    DumpTexts texts(dump, options_, report_);
    const std::unique_ptr<Format> format =
        make_format(options_.format, destination_, database_name(dump.path()), dump.charset());
    for (const TableInfo &info : dump.tables())
        if (is_selected(texts.name(info.name)))
            convert_table(dump, info, texts, *format);
    format->finish();
}

bool Conversion::is_selected(const std::string &name) {
    const std::vector<std::string> &wanted = options_.tables;
    if (wanted.empty())
        return true;
    if (std::find(wanted.begin(), wanted.end(), name) == wanted.end())
        return false;
    tables_found_.insert(name);
    return true;
}

void Conversion::check_standard_output(const DumpFile &dump) {
    if (!destination_.is_standard_output())
        return;
    const bool one_table =
        options_.files.size() == 1 && (dump.tables().size() == 1 || options_.tables.size() == 1);
    if (!one_table)
        throw UsageError("standard output takes one table: name it with --table, of one file");
}

void Conversion::convert_table(const DumpFile &dump, const TableInfo &info, DumpTexts &texts,
                               Format &format) {
    const Table table = texts.describe(dump, info);
    TableReport report(report_, dump.path(), table.name);
    if (!info.fault.empty()) {
        report.loss(info.fault);
        return;
    }
    try {
        CellDecoder decoder(table, texts.charsets());
        const std::unique_ptr<TableWriter> writer = format.open_table(table);
        DumpReader reader(dump, info);
        write_rows(reader, decoder, *writer, report);
        report_end(reader, info, report);
        decoder.finish(report);
        report.finish();
        writer->finish();
    } catch (const OutputError &error) {
        report_.failure(error.what());
    }
}

void Conversion::write_rows(DumpReader &reader, CellDecoder &decoder, TableWriter &writer,
                            TableReport &report) {
    const std::unique_ptr<RowFormatter> formatter = writer.formatter(decoder);
    RowBatch batch;
    try {
        Row row;
        while (reader.next(row)) {
            if (reader.has_damage())
                add_damage(reader, batch.losses);
            formatter->format(row, batch);
            if (batch.full())
                write_batch(batch, writer, report);
            progress_.update(decoder.table().name, row.number, bytes_done_ + reader.position());
        }
    } catch (const InputError &error) { // the rows before the bad place are kept
        report_.failure(error.what());
    }
    add_damage(reader, batch.losses);
    write_batch(batch, writer, report);
}

} // namespace vexlo
