// Feeds arbitrary bytes to vexlo-convert's reader as a dump file and decodes every value of every table.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "convert/dump_reader.h"
#include "convert/dump_texts.h"
#include "output/cell.h"
#include "values/errors.h"

namespace {

vexlo::FileHandle file_of(const uint8_t *data, size_t size) {
    vexlo::FileHandle file(memfd_create("dump", MFD_CLOEXEC));
    if (write(file.get(), data, size) != static_cast<ssize_t>(size))
        throw vexlo::InputError("memory file: short write");
    return file;
}

void decode_table(const vexlo::DumpFile &dump, const vexlo::TableInfo &info, vexlo::DumpTexts &texts,
                  vexlo::Report &report) {
    const vexlo::Table table = texts.describe(dump, info, report);
    vexlo::TableReport table_report(report, dump.path(), table.name);
    vexlo::CellDecoder decoder(table, texts.charsets());
    vexlo::RowLosses losses;
    vexlo::DumpReader reader(dump, info, 64); // small, so that rows cross the window's end
    char scratch[vexlo::CellDecoder::SCRATCH_SIZE];
    vexlo::Row row;
    while (reader.next(row))
        for (size_t i = 0; i < info.columns.size(); ++i)
            decoder.decode(row, i, scratch, losses);
    reader.take_damage();
    losses.tell(table_report);
    decoder.finish(table_report);
    table_report.finish();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static std::FILE *const nowhere = std::fopen("/dev/null", "w"); // every input reports its damage
    vexlo::Console console("vexlo-convert", nowhere);
    vexlo::Report report(console);
    const vexlo::Options options;
    try {
        const vexlo::DumpFile dump(file_of(data, size), "fuzz");
        vexlo::DumpTexts texts(dump, options, report);
        for (const vexlo::TableInfo &info : dump.tables())
            if (info.fault.empty())
                decode_table(dump, info, texts, report);
    } catch (const vexlo::InputError &) { // no dump file
    }
    return 0;
}
