// Whole tables through the console: partitions, clusters, block sizes, bigfiles, long extents, and tables
// that fail in the middle of a file.
#include <algorithm>

#include <gtest/gtest.h>

#include "oracle_text.h"
#include "unload_fixture.h"

using namespace vexlo_test;
using sample::number;
using sample::number_column;
using sample::typed_column;
using sample::varchar2_column;

namespace {

class UnloadTables : public unload_console {
protected:
    // The rows of an unloaded table as text, sorted where the order is that of storage.
    std::vector<std::string> rows_of(const std::string &table) {
        EXPECT_EQ(run({"unload table scott." + table}).err.find("error"), std::string::npos);
        const dump_file dump = read_dump(dump_path("SCOTT_" + table));
        return section_text(dump.section(table));
    }
};

TEST_F(UnloadTables, PartitionsInDictionaryOrder) {
    const uint32_t other = add_tablespace("OTHER", 1, 4096);
    sample::TableDef def = table("P", {number_column("ID")});
    for (const char *name : {"P1", "P2", "P3"}) {
        sample::PartitionDef part;
        part.name = name;
        part.tablespace = name[1] == '2' ? other : users_;
        def.partitions.push_back(part);
    }
    const size_t t = db_->add_table(def);
    for (int i = 0; i < 6; i++)
        db_->insert(t, {number(i)}, {}, static_cast<size_t>(2 - i / 2));
    finish();
    EXPECT_EQ(rows_of("P"), (std::vector<std::string>{"4", "5", "2", "3", "0", "1"}));
}

TEST_F(UnloadTables, SubpartitionsOfCompositePartitions) {
    sample::TableDef def = table("C", {number_column("ID")});
    for (const char *name : {"A", "B"}) {
        sample::PartitionDef part;
        part.name = name;
        part.subpartitions = {{std::string(name) + "1", {}}, {std::string(name) + "2", {}}};
        def.partitions.push_back(part);
    }
    const size_t t = db_->add_table(def);
    for (int i = 0; i < 4; i++)
        db_->insert(t, {number(i)}, {}, static_cast<size_t>(i / 2), static_cast<size_t>(i % 2));
    finish();
    EXPECT_EQ(rows_of("C"), (std::vector<std::string>{"0", "1", "2", "3"}));
}

TEST_F(UnloadTables, PartitionedTableWithoutPartitionsIsItsColumnListAlone) {
    sample::TableDef def = table("P", {number_column("ID")});
    sample::PartitionDef part;
    part.name = "P1";
    def.partitions = {part};
    const size_t t = db_->add_table(def);
    db_->insert(t, {number(1)});
    finish();
    write_file(dict_path("tabpart"), {});
    EXPECT_EQ(run({"unload table scott.p"}).err, progress("P", 0));
    EXPECT_EQ(data_area("SCOTT_P"), dump_builder().column("ID", 2, 22).table_end().raw);
}

// The partitions before the failing one stay in the file, those behind it are not tried.
TEST_F(UnloadTables, FailingPartitionEndsTheTable) {
    const uint32_t other = add_tablespace("OTHER", 1);
    sample::TableDef def = table("P", {number_column("ID")});
    for (const char *name : {"P1", "P2", "P3"}) {
        sample::PartitionDef part;
        part.name = name;
        part.tablespace = name[1] == '2' ? other : users_;
        def.partitions.push_back(part);
    }
    const size_t t = db_->add_table(def);
    for (int i = 0; i < 3; i++)
        db_->insert(t, {number(i)}, {}, static_cast<size_t>(i));
    finish();
    resize_file(dir_.file("db/other01.dbf"), 8192 * 9);
    const unload_output got = run({"unload table scott.p"});
    EXPECT_TRUE(
        got.err.ends_with("unload segment error.\nunload table \"P\" error.\n         1 rows done.\n"))
        << got.err;
    EXPECT_EQ(data_area("SCOTT_P"), dump_builder().column("ID", 2, 22).row({number_value(0)}).raw);
}

TEST_F(UnloadTables, ClusteredTables) {
    sample::ClusterDef cluster;
    cluster.owner = scott_;
    cluster.name = "CL";
    cluster.tablespace = users_;
    cluster.key = {number_column("K1"), number_column("K2")};
    const size_t c = db_->add_cluster(cluster);
    sample::TableDef first = table("FIRST", {number_column("K1"), number_column("K2"), number_column("V")});
    sample::TableDef second = table(
        "SECOND", {number_column("V"), number_column("K1"), varchar2_column("W", 3000), number_column("K2")});
    for (sample::TableDef *def : {&first, &second}) {
        def->cluster = c;
        def->key_columns = {"K1", "K2"};
    }
    second.flags = sample::TABLE_ROW_DEPENDENCIES;
    const size_t f = db_->add_table(first), s = db_->add_table(second);
    for (int i = 0; i < 3; i++) {
        db_->begin_key(c, {number(i), number(10 + i)});
        db_->insert_member(f, {number(i), number(10 + i), number(100 + i)});
        sample::RowPlacement placement;
        placement.migrated = i == 1;
        if (i == 2)
            placement.cuts = {{1, 0}};
        db_->insert_member(s, {number(200 + i), number(i), sample::text("w"), number(10 + i)}, placement);
    }
    finish();
    EXPECT_EQ(rows_of("FIRST"), (std::vector<std::string>{"0|10|100", "1|11|101", "2|12|102"}));
    // Key columns come first in a stored row, so in the dump as well.
    EXPECT_EQ(rows_of("SECOND"), (std::vector<std::string>{"0|10|200|w", "1|11|201|w", "2|12|202|w"}));
}

class UnloadBlockSize : public UnloadTables, public ::testing::WithParamInterface<size_t> {};

TEST_P(UnloadBlockSize, RowsOfAllKinds) {
    const uint32_t small = add_tablespace("SIZED", 2, GetParam());
    sample::TableDef def = table("T", {number_column("ID"), varchar2_column("V", 4000)});
    def.tablespace = small;
    def.segment.extent_blocks = 4;
    def.segment.map_entries = 2;
    const size_t t = db_->add_table(def);
    std::vector<std::string> want;
    for (int i = 0; i < 60; i++) {
        const std::string v(static_cast<size_t>(10 + i * 30), static_cast<char>('a' + i % 26));
        sample::RowPlacement placement;
        placement.migrated = i % 5 == 1;
        if (i % 5 == 2)
            placement.cuts = {{1, 5}};
        db_->insert(t, {number(i), sample::text(v)}, placement);
        want.push_back(std::to_string(i) + "|" + v);
    }
    finish();
    EXPECT_EQ(rows_of("T"), want);
}

INSTANTIATE_TEST_SUITE_P(All, UnloadBlockSize, ::testing::Values(2048, 4096, 8192, 16384, 32768));

TEST_F(UnloadTables, Bigfile) {
    const uint32_t big = add_tablespace("BIG", 1, 0, true);
    sample::TableDef def = table("T", {number_column("ID")});
    def.tablespace = big;
    const size_t t = db_->add_table(def);
    sample::RowPlacement moved;
    moved.migrated = true;
    db_->insert(t, {number(1)}, moved);
    db_->insert(t, {number(2)});
    finish();
    EXPECT_EQ(rows_of("T"), (std::vector<std::string>{"1", "2"}));
}

// One more than the read buffer holds with blocks of 8 KiB, and the same of a table with one LOB column, for
// which 131072 bytes and a LOBD are set aside: the second read of the extent names the block at which it
// begins.
TEST_F(UnloadTables, ReadRunsAreAsLongAsTheBuffersAllow) {
    const struct {
        const char *name;
        bool lob;
        unsigned blocks;
    } cases[] = {{"PLAIN", false, 506}, {"LOBS", true, 489}};
    for (const auto &c : cases) {
        const uint32_t own = add_tablespace(c.name, 1);
        std::vector<sample::ColumnDef> columns{number_column("ID")};
        if (c.lob)
            columns.push_back(typed_column("DOC", 112, 4000));
        sample::TableDef def = table(c.name, columns);
        def.tablespace = own;
        def.segment.extent_blocks = 600;
        db_->rows(db_->add_table(def));
    }
    finish();
    for (const auto &c : cases) {
        std::string path = c.name;
        std::transform(path.begin(), path.end(), path.begin(),
                       [](char ch) { return static_cast<char>(ch | 0x20); });
        const uint32_t rfn = c.lob ? 4 : 3, first = 9;
        run_options options;
        options.io_rules = "call=pread,path=" + path + "01.dbf,min=16384,nth=2,errno=EIO";
        char line[100];
        snprintf(line, sizeof line, "read extent (ts#=%u, rdba=0x%08x) error.\n", c.lob ? 6U : 5U,
                 rfn << 22 | (first + c.blocks));
        const unload_output got = run({"unload table scott." + std::string(c.name)}, options);
        EXPECT_EQ(got.err,
                  progress(c.name, 0, "SCOTT",
                           "read \"" + dir_.file("db/" + path + "01.dbf") + "\": Input/output error\n" +
                               line + "unload segment error.\nunload table \"" + c.name + "\" error.\n"));
    }
}

// The block of a followed piece is checked like any other; its extent has not been read yet.
TEST_F(UnloadTables, CheckValueOfAFollowedBlockEndsTheTable) {
    const size_t t = db_->add_table(table("T", {number_column("ID"), number_column("V")}));
    sample::RowPlacement cut;
    cut.cuts = {{1, 0}};
    db_->insert(t, {number(1), number(2)}, cut);
    const std::uint32_t followed = db_->rows(t).segment().extents().at(1).rdba;
    finish();
    sample::patch_file(dir_.file("db/users01.dbf"), 8192, followed & 0x3FFFFF, 5000, bytes{1}, false);
    char line[100];
    snprintf(line, sizeof line, "block rdba=0x%x check value not matched.\n", followed);
    EXPECT_EQ(
        run({"unload table scott.t"}).err,
        progress("T", 0, "SCOTT", line + std::string("unload segment error.\nunload table \"T\" error.\n")));
    EXPECT_EQ(data_area("SCOTT_T"), bytes{});
}

// A failed table keeps its offset and the rows counted before; the next one starts where the file's data
// ends then.
TEST_F(UnloadTables, FailedTableInTheMiddleOfAUsersFile) {
    add_numbers("A", 2);
    const size_t lobs = db_->add_table(table("B", {number_column("ID"), typed_column("DOC", 112, 4000)}));
    db_->insert(lobs, {number(1), {}});
    db_->insert(lobs, {number(2), sample::lob_locator(1, true)});
    db_->insert(lobs, {number(3), {}});
    add_numbers("C", 1);
    finish();
    EXPECT_EQ(run({"unload user scott"}).err,
              progress("A", 2) +
                  progress("B", 1, "SCOTT",
                           "LOB type is unsupported in this edition.\nunload segment error.\n"
                           "unload table \"B\" error.\n") +
                  progress("C", 1));
    const dump_builder a =
        dump_builder().column("ID", 2, 22).row({number_value(1)}).row({number_value(2)}).table_end();
    const dump_builder c = dump_builder().column("ID", 2, 22).row({number_value(1)}).table_end();
    EXPECT_EQ(data_area("SCOTT"), dump_builder(a).bytes_of(c.raw).raw);
    const std::vector<dump_table> tables = read_dump_tables(dump("SCOTT"));
    ASSERT_EQ(tables.size(), 3U);
    EXPECT_EQ(tables[1].nrows, 1U);
    EXPECT_EQ(tables[1].offset, 1536 + a.raw.size());
    EXPECT_EQ(tables[2].offset, tables[1].offset);
    EXPECT_EQ(tables[2].nrows, 1U);
}

TEST_F(UnloadTables, ColumnCountThatDiffersFailsTheTableAlone) {
    sample::TableDef def = table("A", {number_column("ID"), number_column("V")});
    def.cols = 3;
    db_->add_table(def);
    add_numbers("B", 1);
    finish();
    EXPECT_EQ(
        run({"unload user scott"}).err,
        progress("A", 0, "SCOTT", "column count not matched, COLS=3, actual=2\nunload table \"A\" error.\n") +
            progress("B", 1));
    EXPECT_EQ(data_area("SCOTT"), dump_builder().column("ID", 2, 22).row({number_value(1)}).table_end().raw);
}

TEST_F(UnloadTables, TableWithoutASegmentFails) {
    sample::TableDef def = table("T", {number_column("ID")});
    def.has_segment = false;
    db_->add_table(def);
    finish();
    EXPECT_EQ(
        run({"unload table scott.t"}).err,
        progress(
            "T", 0, "SCOTT",
            "datafile (ts#=4, rfile#=0) not found.\nunload segment error.\nunload table \"T\" error.\n"));
    EXPECT_EQ(data_area("SCOTT_T"), bytes{});
    EXPECT_EQ(read_dump_header(dump("SCOTT_T")).tab_cnt, 1U);
}

TEST_F(UnloadTables, HiddenUnusedAndVirtualColumns) {
    sample::ColumnDef hidden = varchar2_column("H", 10), unused = varchar2_column("U", 10);
    sample::ColumnDef virtual_column = number_column("X");
    hidden.property = sample::COLUMN_HIDDEN;
    unused.property = sample::COLUMN_UNUSED;
    virtual_column.property = sample::COLUMN_HIDDEN | sample::COLUMN_VIRTUAL;
    virtual_column.stored = false;
    const size_t t = db_->add_table(table(
        "T", {number_column("A"), hidden, number_column("B"), unused, virtual_column, number_column("C")}));
    db_->insert(t, {number(1), sample::text("h"), number(2), sample::text("u"), {}, number(3)});
    finish();
    EXPECT_EQ(rows_of("T"), (std::vector<std::string>{"1|2|3"}));
}

TEST_F(UnloadTables, LongValuesUpTo32KiBAndBeyond) {
    const size_t fits = db_->add_table(table("FITS", {number_column("ID"), typed_column("DOC", 8, 0)}));
    const size_t exceeds = db_->add_table(table("EXCEEDS", {number_column("ID"), typed_column("DOC", 8, 0)}));
    const std::string value(32768, 'v');
    db_->insert(fits, {number(1), sample::text(value)});
    db_->insert(fits, {number(2), {}});
    db_->insert(exceeds, {number(1), sample::text("short")});
    db_->insert(exceeds, {number(2), sample::text(value + "v")});
    finish();
    EXPECT_EQ(run({"unload table scott.fits"}).err, progress("FITS", 2));
    EXPECT_EQ(data_area("SCOTT_FITS"), dump_builder()
                                           .column("ID", 2, 22)
                                           .column("DOC", 8, 0)
                                           .value(number_value(1))
                                           .long_mark()
                                           .row_end()
                                           .long_block(to_bytes(value))
                                           .row({number_value(2)})
                                           .table_end()
                                           .raw);
    EXPECT_EQ(run({"unload table scott.exceeds"}).err,
              progress("EXCEEDS", 1, "SCOTT",
                       "read long data error: Bad file descriptor\nunload segment error.\n"
                       "unload table \"EXCEEDS\" error.\n"));
    EXPECT_EQ(data_area("SCOTT_EXCEEDS"), bytes{});
    EXPECT_EQ(read_file(dir_.file("db/data/long_tmp.dat")), to_bytes(value + "v"));
}

TEST_F(UnloadTables, LongTemporaryFileIsWrittenWholeThroughInterruptedAndShortWrites) {
    const size_t t = db_->add_table(table("T", {number_column("ID"), typed_column("DOC", 8, 0)}));
    const std::string value(50000, 'v');
    db_->insert(t, {number(1), sample::text(value)});
    finish();
    for (const char *rule : {"count=999", "nth=1+2,errno=EINTR"}) {
        run_options options;
        options.io_rules = std::string("call=write,path=long_tmp,") + rule;
        run({"unload table scott.t"}, options);
        EXPECT_EQ(read_file(dir_.file("db/data/long_tmp.dat")), to_bytes(value)) << rule;
    }
}

TEST_F(UnloadTables, LongTemporaryFileWriteErrorEndsTheTable) {
    const size_t t = db_->add_table(table("T", {number_column("ID"), typed_column("DOC", 8, 0)}));
    db_->insert(t, {number(1), sample::text(std::string(50000, 'v'))});
    finish();
    run_options options;
    options.io_rules = "call=write,path=long_tmp,errno=EIO";
    EXPECT_EQ(run({"unload table scott.t"}, options).err,
              progress("T", 0, "SCOTT",
                       "write long data error: Input/output error\nunload segment error.\n"
                       "unload table \"T\" error.\n"));
}

} // namespace
