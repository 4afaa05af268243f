#include "dump_input.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "convert/dump_reader.h"
#include "convert/dump_texts.h"
#include "output/cell.h"

namespace fuzz {

namespace {

constexpr size_t WINDOW = 64; // small, so that rows cross the window's end

void decode_table(const vexlo::DumpFile &dump, const vexlo::TableInfo &info, vexlo::DumpTexts &texts,
                  vexlo::Report &report) {
    const vexlo::Table table = texts.describe(dump, info, report);
    vexlo::TableReport table_report(report, dump.path(), table.name);
    vexlo::CellDecoder decoder(table, texts.charsets());
    vexlo::RowLosses losses;
    vexlo::DumpReader reader(dump, info, WINDOW);
    char scratch[vexlo::CellDecoder::SCRATCH_SIZE];
    vexlo::Row row;
    for (uint64_t behind = info.rows_at; reader.next(row); behind = row.offset + 1) {
        if (row.offset < behind)
            std::abort();
        for (size_t i = 0; i < info.columns.size(); ++i)
            if (const vexlo::Cell cell = decoder.decode(row, i, scratch, losses); cell.stream != nullptr)
                vexlo::stream_size(*cell.stream); // which reads it to its end
    }
    reader.take_damage();
    losses.tell(table_report);
    decoder.finish(table_report);
    table_report.finish();
}

} // namespace

vexlo::FileHandle memory_dump(const uint8_t *data, size_t size) {
    vexlo::FileHandle file(memfd_create("dump", MFD_CLOEXEC));
    if (write(file.get(), data, size) != static_cast<ssize_t>(size))
        throw vexlo::InputError("memory file: short write");
    return file;
}

void decode_tables(const vexlo::DumpFile &dump) {
    static std::FILE *const nowhere = std::fopen("/dev/null", "w"); // every input reports its damage
    vexlo::Console console("vexlo-convert", nowhere);
    vexlo::Report report(console);
    const vexlo::Options options;
    vexlo::DumpTexts texts(dump, options, report);
    for (const vexlo::TableInfo &info : dump.tables())
        if (info.fault.empty())
            decode_table(dump, info, texts, report);
}

} // namespace fuzz
