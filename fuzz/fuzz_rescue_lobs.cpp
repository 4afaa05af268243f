// LOB locators, and the inodes, index leaves and LOB blocks that they lead to. Input: a byte of options, the
// size of the locator (16 bits) and the locator, then the blocks of relative file 1 from address 3 on. The
// first byte of each says what it is; its type, address and data object number are made right, so that what
// is in it is looked at. The header of the index segment is at address 2 and holds all of them.
#include <algorithm>
#include <vector>

#include "format/block_address.h"
#include "format/cache_header.h"
#include "format/file_header.h"
#include "format/lob_block.h"
#include "harness.h"
#include "rescue/lob_reader.h"
#include "rescue_files.h"
#include "sample/segment.h"

namespace {

constexpr uint32_t BLOCK_SIZES[] = {512, 1024, 2048, 4096};
constexpr uint32_t CHUNK_BLOCKS[] = {1, 2, 4, 3};
constexpr uint8_t WITH_INDEX = 0x10, ENCRYPTED = 0x20, PLACES_LOST = 0x40;
constexpr size_t MOST_BLOCKS = 16;
constexpr uint32_t INDEX_HEADER = 2, FIRST_BLOCK = 3;
constexpr uint32_t LOB_OBJECT = 7, INDEX_OBJECT = 8;

void store_le32(uint8_t *p, uint32_t value) {
    memcpy(p, &value, sizeof value);
}

void put(std::vector<uint8_t> &content, uint32_t bsz, uint32_t block, std::span<const uint8_t> bytes) {
    content.resize(std::max(content.size(), size_t{block + 1} * bsz));
    std::copy(bytes.begin(), bytes.end(), content.begin() + static_cast<ptrdiff_t>(size_t{block} * bsz));
}

std::vector<uint8_t> file_header(uint32_t bsz) {
    std::vector<uint8_t> header(bsz);
    header[0] = BLOCK_FILE_HEADER;
    store_le32(header.data() + 4, make_rdba(1, 1));
    store_le32(header.data() + KCCFHBSZ, bsz);
    header[KCCFHFNO] = 1;
    header[KCCFHTYP] = FILE_TYPE_DATA;
    store_le32(header.data() + KCVFHRFN, 1);
    return header;
}

std::vector<uint8_t> index_header(uint32_t bsz, uint32_t blocks) {
    sample::CacheHeader header;
    header.type = sample::BLOCK_SEGMENT_HEADER;
    header.rdba = make_rdba(1, INDEX_HEADER);
    const sample::Extent extent{make_rdba(1, FIRST_BLOCK), blocks};
    return sample::encode_extent_map(bsz, header, INDEX_OBJECT, {&extent, 1}, 0);
}

// BasicFile blocks of both kinds, index leaves and SecureFile blocks.
std::vector<uint8_t> lob_block(fuzz::Bytes given, uint32_t bsz, uint32_t block) {
    constexpr uint8_t TYPES[] = {BLOCK_LOB, BLOCK_LOB_MANUAL, BLOCK_TABLE_DATA, BLOCK_TABLE_DATA};
    constexpr uint32_t OBJECT_AT[] = {20, 20, 24, 24};
    std::vector<uint8_t> bytes(given.begin(), given.end());
    bytes.resize(bsz);
    const size_t kind = bytes[0] % 4u;
    bytes[0] = TYPES[kind];
    store_le32(&bytes[4], make_rdba(1, block));
    store_le32(&bytes[OBJECT_AT[kind]], kind == 2 ? INDEX_OBJECT : LOB_OBJECT);
    return bytes;
}

// Reads every byte it is given and counts.
struct Sink : vexlo::LobSink {
    uint64_t given = 0, lost = 0;
    volatile uint8_t sum = 0;

    void data(std::span<const uint8_t> bytes) override {
        given += bytes.size();
        for (const uint8_t byte : bytes)
            sum = static_cast<uint8_t>(sum + byte);
    }
    void missing(uint64_t bytes) override { lost += bytes; }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::Input in(data, size);
    const uint8_t options = in.u8();
    const uint32_t bsz = BLOCK_SIZES[options % 4];
    const fuzz::Bytes given = in.bytes(in.u16());
    const std::vector<uint8_t> bytes(given.begin(), given.end()); // of exactly its size
    vexlo::decode_bfile(bytes);
    std::string fault;
    const std::optional<vexlo::LobLocator> lob = vexlo::decode_lob_locator(bytes, fault);
    fuzz::check(lob.has_value() == fault.empty());
    if (!lob)
        return 0;

    std::vector<uint8_t> content;
    put(content, bsz, 1, file_header(bsz));
    uint32_t count = 0;
    for (; !in.empty() && count < MOST_BLOCKS; ++count)
        put(content, bsz, FIRST_BLOCK + count, lob_block(in.bytes(bsz), bsz, FIRST_BLOCK + count));
    put(content, bsz, INDEX_HEADER, index_header(bsz, count));
    std::vector<std::unique_ptr<vexlo::Datafile>> opened;
    opened.push_back(fuzz::memory_datafile(content, "fuzz"));
    const vexlo::FileSet files(std::move(opened), std::nullopt);
    const vexlo::ScanIndexes scans(files);

    vexlo::LobPlaces places;
    places.data = {0, 0, 0, LOB_OBJECT, LOB_OBJECT};
    if ((options & WITH_INDEX) != 0)
        places.index = {0, 1, INDEX_HEADER, INDEX_OBJECT, INDEX_OBJECT};
    places.chunk_blocks = CHUNK_BLOCKS[options / 4 % 4];
    places.known = (options & PLACES_LOST) == 0;
    places.encrypted = (options & ENCRYPTED) != 0;
    vexlo::ReadOptions reading;
    reading.trust_blocks = true;
    const vexlo::LobSegment segment(files, scans, places, reading);
    vexlo::BlockReader blocks(files, true);
    vexlo::LobReader reader(blocks);
    Sink first, second;
    const vexlo::LobOutcome outcome = reader.read(*lob, segment, first);
    fuzz::check(outcome.bytes == first.given && outcome.missing == first.lost);
    fuzz::check(!outcome.is_whole() || outcome.missing == 0);
    // A SecureFile, and what is in the row, state their length: no more than that comes out.
    fuzz::check(!lob->secure_file || first.given + first.lost <= lob->length);
    // A BasicFile cannot be longer than what its chunks and holes take.
    fuzz::check(lob->secure_file || first.given <= size + content.size() * (2 + content.size() / 4));
    reader.read(*lob, segment, second);
    fuzz::check(second.given == first.given && second.lost == first.lost);
    return 0;
}
