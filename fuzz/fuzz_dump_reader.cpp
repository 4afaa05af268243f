// A whole dump file: header, directory, column lists, and the rows of every table.
#include "dump_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    try {
        const vexlo::DumpFile dump(fuzz::memory_dump(data, size), "fuzz");
        fuzz::decode_tables(dump);
    } catch (const vexlo::InputError &) { // no dump file
    }
    return 0;
}
