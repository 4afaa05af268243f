#include "convert/list.h"

#include <cstdio>

#include "convert/convert.h"
#include "convert/dump_file.h"
#include "convert/dump_texts.h"
#include "values/errors.h"

namespace vexlo {

namespace {

const char *yes_or_no(bool value) {
    return value ? "yes" : "no";
}

struct Count {
    uint64_t rows = 0;
    bool complete = false;
};

Count count_rows(const DumpFile &dump, const TableInfo &info, TableReport &report) {
    if (!info.fault.empty()) {
        report.loss(info.fault);
        return {};
    }
    DumpReader reader(dump, info);
    bool damaged = false;
    RowLosses losses;
    Row row;
    bool more;
    do {
        more = reader.next(row);
        damaged |= reader.has_damage();
        add_damage(reader, losses);
    } while (more);
    losses.tell(report);
    report_end(reader, info, report);
    report.finish();
    return {reader.rows(), !damaged && reader.ended_properly() && reader.rows() == info.nrows};
}

void list_table(const DumpFile &dump, const TableInfo &info, DumpTexts &texts, Report &report) {
    const Table table = texts.describe(dump, info);
    TableReport table_report(report, dump.path(), table.name);
    const Count count = count_rows(dump, info, table_report);
    std::printf("  table %s: %lu rows recorded, %lu found, LONG %s, LOB %s, %s\n",
                printable(table.name).c_str(), static_cast<unsigned long>(info.nrows),
                static_cast<unsigned long>(count.rows), yes_or_no(info.has_long), yes_or_no(info.has_lob),
                count.complete ? "complete" : "not complete");
    for (const Column &column : table.columns)
        std::printf("    %-30s %s\n", printable(column.name).c_str(),
                    type_text(column.ctyp, column.national, column.clen).c_str());
}

void list_dump(const std::string &path, const Options &options, Report &report) {
    const DumpFile dump(path);
    for (const std::string &fault : dump.faults())
        report.loss(path + ": " + fault);
    DumpTexts texts(dump, options, report);
    std::printf("%s: owner %s, character set %s, national character set %s, NLS_LANG %s, %zu tables\n",
                path.c_str(), printable(texts.name(dump.owner())).c_str(), printable(dump.charset()).c_str(),
                printable(dump.ncharset()).c_str(), printable(dump.nls_lang()).c_str(), dump.tables().size());
    for (const TableInfo &info : dump.tables())
        list_table(dump, info, texts, report);
}

} // namespace

void list_files(const Options &options, Report &report) {
    for (const std::string &path : options.files) {
        try {
            list_dump(path, options, report);
        } catch (const InputError &error) {
            report.failure(error.what());
        }
    }
}

} // namespace vexlo
