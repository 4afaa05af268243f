// A whole dump file whose header and directory are not believed: its tables are found by their column lists
// and read to their ends.
#include "dump_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const vexlo::Salvage salvage{};
    try {
        const vexlo::DumpFile dump(fuzz::memory_dump(data, size), "fuzz", &salvage);
        fuzz::decode_tables(dump);
    } catch (const vexlo::InputError &) { // nothing that looks like a table
    }
    return 0;
}
