#include "convert/list.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "convert/convert.h"
#include "convert/dump_file.h"
#include "convert/dump_texts.h"
#include "convert/input_file.h"
#include "convert/selection.h"
#include "values/errors.h"

namespace vexlo {

namespace {

// What reading a table gave.
struct Count {
    uint64_t rows = 0;
    bool complete = false;
};

// A table as it is listed. Nothing was counted when the counts of the directory are trusted.
struct ListedTable {
    const TableInfo &info;
    const Table &table;
    std::optional<Count> count;
};

// Where rows show late that the table has entries of no column, `info` becomes what says so.
Count count_rows(const DumpFile &dump, TableInfo &info, TableReport &report) {
    if (!info.fault.empty()) {
        report.loss(info.fault);
        return {};
    }
    DumpReader reader(dump, info);
    reader.watch_for_surplus();
    RowLosses losses;
    bool damaged = false;
    Row row;
    bool more;
    do {
        more = reader.next(row);
        damaged |= reader.has_damage();
        add_damage(reader, losses);
    } while (more);
    if (const std::optional<TableInfo> refined = reader.late_surplus()) {
        info = *refined;
        return count_rows(dump, info, report);
    }
    losses.tell(report);
    report_end(reader, info, report);
    report.finish();
    return {reader.rows(),
            !damaged && reader.ended_properly() && (reader.rows() == info.nrows || !info.counted)};
}

// `text` as a JSON string; texts of dumps are UTF-8.
std::string json_string(std::string_view text) {
    std::string json = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            json += '\\';
            json += c;
        } else if (static_cast<unsigned char>(c) < ' ') {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
            json += escape;
        } else {
            json += c;
        }
    }
    return json + '"';
}

// The rows that the directory counts, `nothing` for a table that it does not name.
std::string recorded(const TableInfo &info, const char *nothing) {
    return info.counted ? std::to_string(info.nrows) : nothing;
}

const char *yes_or_no(bool value) {
    return value ? "yes" : "no";
}

const char *true_or_false(bool value) {
    return value ? "true" : "false";
}

// The listing of one run.
class Listing {
public:
    virtual ~Listing() = default;
    virtual void begin_dump(const DumpFile &dump, DumpTexts &texts) = 0;
    virtual void table(const ListedTable &entry) = 0;
    virtual void end_dump() = 0;
    virtual void finish() = 0;
};

class TextListing : public Listing {
public:
    void begin_dump(const DumpFile &dump, DumpTexts &texts) override {
        std::printf("%s: owner %s, character set %s, national character set %s, NLS_LANG %s, %zu tables\n",
                    dump.path().c_str(), printable(texts.name(dump.owner())).c_str(),
                    printable(dump.charset()).c_str(), printable(dump.ncharset()).c_str(),
                    printable(dump.nls_lang()).c_str(), dump.tables().size());
    }

    void table(const ListedTable &entry) override {
        std::printf("  table %s: %s rows recorded, ", printable(entry.table.name).c_str(),
                    recorded(entry.info, "no").c_str());
        if (entry.count)
            std::printf("%lu found, ", static_cast<unsigned long>(entry.count->rows));
        std::printf("LONG %s, LOB %s", yes_or_no(entry.info.has_long), yes_or_no(entry.info.has_lob));
        if (entry.count)
            std::printf(", %s", entry.count->complete ? "complete" : "not complete");
        std::putchar('\n');
        for (const Column &column : entry.table.columns)
            std::printf("    %-30s %s\n", printable(column.name).c_str(),
                        type_text(column.ctyp, column.national, column.clen).c_str());
    }

    void end_dump() override {}
    void finish() override {}
};

// {"files":[{"path":...,"tables":[{"name":...,"columns":[...]},...]},...]}
class JsonListing : public Listing {
public:
    JsonListing() { std::fputs("{\"files\":[", stdout); }

    void begin_dump(const DumpFile &dump, DumpTexts &texts) override {
        std::printf("%s\n {\"path\":%s,\"owner\":%s,\"character_set\":%s,\"national_character_set\":%s,"
                    "\"nls_lang\":%s,\"tables\":[",
                    dumps_++ > 0 ? "," : "", json_string(dump.path()).c_str(),
                    json_string(texts.name(dump.owner())).c_str(),
                    json_string(texts.name(dump.charset())).c_str(),
                    json_string(texts.name(dump.ncharset())).c_str(),
                    json_string(texts.name(dump.nls_lang())).c_str());
        tables_ = 0;
    }

    void table(const ListedTable &entry) override {
        std::printf("%s\n  {\"name\":%s,\"rows_recorded\":%s,", tables_++ > 0 ? "," : "",
                    json_string(entry.table.name).c_str(), recorded(entry.info, "null").c_str());
        if (entry.count)
            std::printf("\"rows_found\":%lu,\"complete\":%s,", static_cast<unsigned long>(entry.count->rows),
                        true_or_false(entry.count->complete));
        std::printf("\"long\":%s,\"lob\":%s,\"columns\":[", true_or_false(entry.info.has_long),
                    true_or_false(entry.info.has_lob));
        const char *separator = "";
        for (const Column &column : entry.table.columns) {
            std::printf("%s\n   {\"name\":%s,\"type\":%s,\"length\":%lu}", separator,
                        json_string(column.name).c_str(),
                        json_string(type_text(column.ctyp, column.national, column.clen)).c_str(),
                        static_cast<unsigned long>(column.clen));
            separator = ",";
        }
        std::fputs("]}", stdout);
    }

    void end_dump() override { std::fputs("]}", stdout); }
    void finish() override { std::fputs("]}\n", stdout); }

private:
    size_t dumps_ = 0, tables_ = 0;
};

void list_dump(const DumpFile &dump, const Options &options, TableSelection &selection, Listing &listing,
               Report &report) {
    for (const std::string &fault : dump.faults())
        report.loss(dump.path() + ": " + fault);
    DumpTexts texts(dump, options, report);
    const std::string owner = texts.name(dump.owner());
    listing.begin_dump(dump, texts);
    for (TableInfo info : dump.tables()) {
        if (!selection.selects(owner, texts.name(info.name)))
            continue;
        Table table = texts.describe(dump, info, report);
        const std::string remark = info.remark;
        TableReport table_report(report, dump.path(), table.name);
        ListedTable entry{info, table, std::nullopt};
        if (!options.quick)
            entry.count = count_rows(dump, info, table_report);
        if (info.remark != remark)
            table = texts.describe(dump, info, report, table.columns.size());
        listing.table(entry);
    }
    listing.end_dump();
}

} // namespace

void list_files(const Options &options, Report &report) {
    TableSelection selection(options.tables, options.excluded);
    std::unique_ptr<Listing> listing;
    if (options.json)
        listing = std::make_unique<JsonListing>();
    else
        listing = std::make_unique<TextListing>();
    InputFiles files(options, report);
    while (const std::optional<DumpFile> dump = files.next()) {
        try {
            list_dump(*dump, options, selection, *listing, report);
        } catch (const InputError &error) {
            report.failure(error.what());
        }
    }
    listing->finish();
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw OutputError(std::string("standard output: cannot be written: ") + std::strerror(errno));
    selection.report(report);
}

} // namespace vexlo
