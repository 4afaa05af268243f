// Feeds arbitrary bytes to vexlo-convert's reader as a dump file and decodes every value of every table.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "cell.h"
#include "dump_reader.h"
#include "dump_texts.h"
#include "errors.h"

namespace {

convert::FileHandle file_of(const uint8_t *data, size_t size) {
    convert::FileHandle file(memfd_create("dump", MFD_CLOEXEC));
    if (write(file.get(), data, size) != static_cast<ssize_t>(size))
        throw convert::InputError("memory file: short write");
    return file;
}

void decode_table(const convert::DumpFile &dump, const convert::TableInfo &info, convert::DumpTexts &texts,
                  convert::Report &report) {
    const convert::Table table = texts.describe(dump, info);
    convert::TableReport table_report(report, dump.path(), table.name);
    convert::CellDecoder decoder(table, texts.decoders(), dump.dbtimezone(), table_report);
    convert::DumpReader reader(dump, info, 64); // small, so that rows cross the window's end
    char scratch[convert::CellDecoder::SCRATCH_SIZE];
    convert::Row row;
    while (reader.next(row))
        for (size_t i = 0; i < info.columns.size(); ++i)
            decoder.decode(row, i, scratch);
    reader.take_damage();
    decoder.finish();
    table_report.finish();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static std::FILE *const nowhere = std::fopen("/dev/null", "w"); // every input reports its damage
    convert::Console console(nowhere);
    convert::Report report(console);
    const convert::Options options;
    try {
        const convert::DumpFile dump(file_of(data, size), "fuzz");
        convert::DumpTexts texts(dump, options, report);
        for (const convert::TableInfo &info : dump.tables())
            if (info.fault.empty())
                decode_table(dump, info, texts, report);
    } catch (const convert::InputError &) { // no dump file
    }
    return 0;
}
