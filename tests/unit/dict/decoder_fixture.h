// The twelve row decoders under one roof: blocks made by hand, a SYSTEM datafile for what lies elsewhere, and
// a dictionary directory for what is written.
#pragma once

#include <string>
#include <vector>

#include "dict/row_decoders.h"
#include "sample/block.h"
#include "store_context.h"

namespace vexlo_test {

constexpr uint32_t BLOCK_SIZE = 2048;
constexpr uint32_t KEY = 77; // cluster key of the rows that these helpers make
constexpr uint32_t HOME_RDBA = 0x00400020;

// One decoder with a row that it keeps. Every column of the row has another value, so that a column read
// from a wrong position shows.
struct decoder_case {
    std::string name; // of the dictionary table, without the dollar sign
    const DICT_FACTS *table;
    bool clustered;
    uint32_t tabn; // number in its cluster, 0 outside one
    size_t record_size;
    sample::Row row;          // columns 1 and on, up to the last one that is read
    std::vector<int> skipped; // positions that are passed over
    bytes record;             // what the row becomes under the key KEY
    int (*decode)(uint8_t *cblk, const BLOCK &blk, void *records, uint32_t tabn, int max_rows, int *nrow);
};

const std::vector<decoder_case> &decoder_cases();

// The case of one table.
const decoder_case &decoder_of(const std::string &name);

// Record bytes: 32-bit fields, then texts in fields of the given widths.
bytes make_record(const std::vector<uint32_t> &fields,
                  const std::vector<std::pair<std::string, size_t>> &texts = {});

// A block for rows of the case's table; a cluster block begins with one key row for KEY.
sample::TableBlock make_block(const decoder_case &c, uint32_t rdba = HOME_RDBA);

// The piece of a whole row in such a block.
sample::Bytes make_piece(const decoder_case &c, const sample::Row &row,
                         uint8_t flags = sample::ROW_H | sample::ROW_F | sample::ROW_L);

// Records as readable text, for assertions.
std::vector<std::string> hex_records(const bytes &records, size_t size);

// A clean context with one SYSTEM datafile and an empty dictionary directory.
class DecoderTest : public store_context {
protected:
    DecoderTest();
    ~DecoderTest() override;

    struct decoded {
        int result = 0;
        int nrow = 0;
        std::vector<std::string> records; // the first nrow, hexadecimal
        std::string err;                  // what was said on standard error
    };

    // Decodes one finished block. `nrow` records of 0xEE bytes are in the array already.
    decoded decode(const decoder_case &c, const sample::Bytes &block, int max_rows = 16, int nrow = 0);

    // Writes a block of the SYSTEM datafile.
    void store(uint32_t block, const sample::Bytes &data);

    std::string dict_file(const decoder_case &c) const;

    DATAFILE system_{};
};

// The tests of a decoder family, one instance a decoder.
class EveryDecoder : public DecoderTest, public ::testing::WithParamInterface<std::string> {
protected:
    const decoder_case &c() const { return decoder_of(GetParam()); }
};

std::vector<std::string> decoder_names();

} // namespace vexlo_test
