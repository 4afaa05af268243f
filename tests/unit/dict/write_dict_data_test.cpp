// Batches: what a decoder does when its record array is full.
#include <fcntl.h>

#include <filesystem>

#include "decoder_fixture.h"
#include "dict/dict_file.h"

using namespace vexlo_test;

namespace {

class DictionaryBatch : public EveryDecoder {
protected:
    sample::Bytes block_of(int rows) const {
        sample::TableBlock block = make_block(c());
        for (int i = 0; i < rows; i++)
            block.add(make_piece(c(), c().row), static_cast<int>(c().tabn));
        return block.finish();
    }

    uint32_t counter() const { return g_ctx.sys.*c().table->count; }
    std::string record() const { return to_hex(c().record); }

    std::vector<std::string> written() const {
        return hex_records(read_file(dict_file(c())), c().record_size);
    }
};

INSTANTIATE_TEST_SUITE_P(Tables, DictionaryBatch, ::testing::ValuesIn(decoder_names()),
                         [](const auto &p) { return p.param; });

TEST_P(DictionaryBatch, ArrayThatIsNotFullIsNotWritten) {
    const decoded d = decode(c(), block_of(2), 3);
    EXPECT_EQ(d.nrow, 2);
    EXPECT_EQ(g_ctx.fd, -1);
    EXPECT_EQ(counter(), 0U);
    EXPECT_FALSE(file_exists(dict_file(c())));
}

TEST_P(DictionaryBatch, FullArrayIsWrittenAtOnceAndBeginsAgain) {
    const decoded d = decode(c(), block_of(3), 3);
    EXPECT_EQ(d.result, 0);
    EXPECT_EQ(d.nrow, 0);
    EXPECT_EQ(counter(), 3U);
    EXPECT_NE(g_ctx.fd, -1) << "the next batch goes behind this one";
    EXPECT_EQ(written(), (std::vector<std::string>(3, record())));
}

TEST_P(DictionaryBatch, SeveralBatchesOfOneBlockFollowEachOther) {
    const decoded d = decode(c(), block_of(5), 2);
    EXPECT_EQ(d.records, std::vector<std::string>{record()});
    EXPECT_EQ(counter(), 4U);
    EXPECT_EQ(written(), (std::vector<std::string>(4, record())));
}

TEST_P(DictionaryBatch, BatchOfOneRecordWritesEveryRow) {
    EXPECT_EQ(decode(c(), block_of(3), 1).nrow, 0);
    EXPECT_EQ(counter(), 3U);
    EXPECT_EQ(written(), (std::vector<std::string>(3, record())));
}

TEST_P(DictionaryBatch, RecordsOfEarlierBlocksCount) {
    EXPECT_EQ(decode(c(), block_of(2), 4, 3).nrow, 1);
    EXPECT_EQ(counter(), 4U);
    std::vector<std::string> expected(3, to_hex(bytes(c().record_size, 0xEE)));
    expected.push_back(record());
    EXPECT_EQ(written(), expected);
}

TEST_P(DictionaryBatch, CounterTotalsAllBatches) {
    g_ctx.sys.*c().table->count = 100;
    decode(c(), block_of(2), 2);
    EXPECT_EQ(counter(), 102U);
}

TEST_P(DictionaryBatch, FirstBatchTruncatesTheFileOfAnEarlierRun) {
    write_text(dict_file(c()), std::string(10000, 'x'));
    decode(c(), block_of(1), 1);
    EXPECT_EQ(written(), std::vector<std::string>{record()});
}

TEST_P(DictionaryBatch, FailedOpenFailsTheDecoderWithTheTablesMessage) {
    std::filesystem::create_directory(dict_file(c()));
    const decoded d = decode(c(), block_of(3), 2);
    const char *what[] = {"user",      "tablespace", "object",  "table",      "cluster",    "column",
                          "lob index", "lob",        "tabpart", "tabsubpart", "tabcompart", "property"};
    size_t at = 0;
    while (decoder_cases()[at].name != GetParam())
        at++;
    EXPECT_EQ(d.result, -1);
    EXPECT_EQ(d.err,
              "open " + dict_file(c()) + ": Is a directory\nwrite " + what[at] + " dictionary data error.\n");
    EXPECT_EQ(counter(), 0U);
    EXPECT_EQ(g_ctx.fd, -1);
}

TEST_P(DictionaryBatch, FailedWriteClosesTheFileAndKeepsTheCount) {
    decode(c(), block_of(2), 2);
    ASSERT_EQ(counter(), 2U);
    close_dict_file();
    g_ctx.fd = open(dict_file(c()).c_str(), O_RDONLY);
    const decoded d = decode(c(), block_of(2), 2);
    EXPECT_EQ(d.result, -1);
    EXPECT_EQ(d.err.substr(0, d.err.find('\n') + 1), "write " + dict_file(c()) + ": Bad file descriptor\n");
    EXPECT_EQ(counter(), 2U);
    EXPECT_EQ(g_ctx.fd, -1);
}

TEST_P(DictionaryBatch, DroppedAndDamagedRowsTakeNoPlaceInABatch) {
    sample::TableBlock block = make_block(c());
    const auto table = static_cast<int>(c().tabn);
    const uint8_t deleted = sample::ROW_H | sample::ROW_D | sample::ROW_F | sample::ROW_L;
    block.add(make_piece(c(), c().row), table);
    block.add(make_piece(c(), c().row, deleted), table);
    block.add_raw_offset(32000, table);
    block.add(make_piece(c(), c().row), table);
    const decoded d = decode(c(), block.finish(), 2);
    EXPECT_EQ(d.nrow, 0);
    EXPECT_EQ(written(), (std::vector<std::string>(2, record())));
    EXPECT_EQ(d.err, "block rdba=0x00400020 row 2 damaged, skip this row data.\n");
}

} // namespace
