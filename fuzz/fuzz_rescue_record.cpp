// Feeds arbitrary bytes to vexlo-rescue's reader of records; what it takes must survive being written and
// read again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "rescue/record.h"
#include "values/errors.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    try {
        const vexlo::RunRecord record = vexlo::parse_record({reinterpret_cast<const char *>(data), size});
        if (vexlo::parse_record(vexlo::record_text(record)) != record)
            std::abort();
    } catch (const vexlo::InputError &) { // no record
    }
    return 0;
}
