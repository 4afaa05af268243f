// The first blocks of a file, whatever they are. Input: the file. What comes out must agree with itself:
// block numbers and addresses go both ways, and reading delivers the blocks that are said to be there.
#include <algorithm>
#include <vector>

#include "rescue/file_set.h"
#include "rescue_files.h"
#include "values/errors.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    constexpr uint64_t MOST_BLOCKS = 64;
    std::vector<std::unique_ptr<vexlo::Datafile>> files;
    files.push_back(fuzz::memory_datafile({data, size}, "fuzz"));
    const vexlo::Datafile &file = *files.front();
    if (!file.is_used())
        return 0;
    fuzz::check(file.block_size() >= 512 && file.blocks() <= size / 512 + 1);
    std::vector<uint8_t> buffer(file.block_size());
    for (uint64_t block = 1; block < std::min(file.blocks(), MOST_BLOCKS); ++block) {
        fuzz::check(file.block_number(file.rdba(block)) == block);
        fuzz::check(file.offset(block) + file.block_size() <= size);
        fuzz::check(file.read(block, 1, buffer.data()).blocks == 1);
    }
    fuzz::check(file.read(file.blocks(), 1, buffer.data()).blocks == 0);
    try {
        vexlo::FileSet set(std::move(files), std::nullopt);
        set.find(0, 5);
        set.place_files({{1, 0, 1, 10}});
    } catch (const vexlo::UsageError &) {
    }
    return 0;
}
