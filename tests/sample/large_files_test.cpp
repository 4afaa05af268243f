// Files that are far larger than what is in them, and a dictionary that lies in several files.
#include <set>

#include <gtest/gtest.h>

#include "reader.h"
#include "sample/demo.h"

using namespace sample;
using namespace sample_test;

namespace {

constexpr size_t LARGE_BLOCK = 8192;

TEST(LargeFiles, ExtentsLieWhereTheTablespaceBegins) {
    for (uint32_t first_block : {600000U, 4300000U}) {
        TempDir dir;
        Database db(dir.path());
        TablespaceDef def;
        def.name = "FAR";
        def.bigfile = first_block > 0x3FFFFF;
        def.first_block = first_block;
        uint32_t ts = db.add_tablespace(def);
        size_t table = db.add_table(table_def(USER_SYS, "T", ts, {number_column("ID")}));
        RowAddress at = db.insert(table, {number(77)});
        db.finish();
        const SegmentPlace &place = db.model().tables[table].place;
        EXPECT_GE(place.block, first_block);
        const std::filesystem::path file = db.datafiles().at(1);
        EXPECT_GT(std::filesystem::file_size(file), uint64_t{first_block} * LARGE_BLOCK);
        uint32_t block = def.bigfile ? at.rdba : at.rdba & 0x3FFFFF;
        Bytes bytes = fetch_block(file, LARGE_BLOCK, block);
        EXPECT_EQ(bytes[0], BLOCK_TABLE);
        EXPECT_EQ(fold_words(bytes), 0);
        EXPECT_EQ(fetch_le32(&bytes[4]), at.rdba);
        EXPECT_EQ(fetch_block(file, LARGE_BLOCK, first_block - 1), Bytes(LARGE_BLOCK)) << "a hole";
    }
}

TEST(LargeFiles, DictionaryOverSeveralFilesBeginsInTheFirst) {
    TempDir dir;
    DatabaseOptions options;
    options.dictionary_files = 2;
    Database db(dir.path(), options);
    for (int i = 0; i < 200; i++)
        db.add_table(table_def(USER_SYS, ("T" + std::to_string(i)).c_str(), 0, {number_column("ID")}));
    db.finish();
    Reader reader(db.datafiles());
    EXPECT_EQ(reader.rootdba() >> 22, 1U);
    EXPECT_GT(DictionaryTable(reader, db.model(), "OBJ$").size(), 200U);
    const SegmentPlace &objects = db.model().clusters[0].place;
    std::set<uint32_t> files;
    for (uint32_t rdba : reader.segment_blocks(0, make_rdba(objects.file, objects.block)))
        files.insert(rdba >> 22);
    EXPECT_EQ(files, (std::set<uint32_t>{1, 2}));
}

TEST(LargeFiles, HeadersStateVersionIdentityAndCheckpoint) {
    TempDir dir;
    DatabaseOptions options;
    options.compatibility = 0x0C200000;
    options.checkpoint_scn = 0x0000000300000005;
    options.database_id = 99;
    Database db(dir.path(), options);
    db.finish();
    Bytes header = fetch_block(db.datafiles().front(), LARGE_BLOCK, 1);
    EXPECT_EQ(fetch_le32(&header[24]), 0x0C200000U);
    EXPECT_EQ(fetch_le32(&header[28]), 99U);
    EXPECT_EQ(fetch_le16(&header[54]), 3);
    EXPECT_EQ(fetch_le32(&header[484]), 5U);
    EXPECT_EQ(fetch_le16(&header[488]), 3);
}

} // namespace
