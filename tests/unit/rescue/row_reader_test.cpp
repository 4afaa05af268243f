#include "format/block_address.h"
#include "format/file_header.h"
#include "rescue/row_reader.h"
#include "rescue_fixture.h"

using namespace rescue_test;
using namespace vexlo;

namespace {

std::string letters(size_t size, int seed = 0) {
    std::string text(size, ' ');
    for (size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>('a' + (i * 7 + static_cast<size_t>(seed) + i / 26) % 26);
    return text;
}

class RowReaderTest : public RescueTest {
protected:
    // Blocks of a table that hold rows, in order.
    std::vector<uint32_t> data_blocks(size_t table) {
        return blocks_of_type(USERS_FILE, TABLE_BLOCKS, object_of(table));
    }
    // Offset of the row piece of entry `slot` of a block of one table.
    size_t piece_at(uint32_t number, int slot) {
        const sample::Bytes bytes = block(USERS_FILE, number);
        ROW_AREA area;
        EXPECT_TRUE(locate_rows({bytes.data(), DB_BLOCK_SIZE, 0}, &area));
        return static_cast<size_t>(find_piece(area, slot) - bytes.data());
    }
    ReadDatabase reopen(ReadOptions options = {}) { return ReadDatabase(paths(), options); }
};

} // namespace

TEST_F(RowReaderTest, DeletedRowsAndFreeEntriesAreNone) {
    const size_t table = add_table("T");
    sample::RowPlacement deleted;
    deleted.deleted = true;
    insert_rows(table, 1, 3);
    db().insert(table, {sample::number(4), sample::text("gone")}, deleted);
    db().rows(table).add_free_slot();
    insert_rows(table, 4, 5);
    const TableRows read = open().read("T");
    EXPECT_EQ(read.rows, numbered_rows(1, 5));
    EXPECT_TRUE(read.suspects.empty());
    EXPECT_EQ(read.row_counts.rows, 5u);
}

TEST_F(RowReaderTest, AValueCutOverPiecesKeepsItsColumnAndAllColumnsFollow) {
    sample::TableDef def = table_def(scott(), "T", users());
    def.columns.push_back(sample::varchar2_column("MORE", 4000));
    def.columns.push_back(sample::number_column("LAST"));
    const size_t table = db().add_table(def);
    const std::string name = letters(3000), more = letters(2000, 5);
    const sample::Row row{sample::number(1), sample::text(name), sample::text(more), sample::number(99)};
    for (const std::vector<sample::Cut> &cuts : {std::vector<sample::Cut>{{1, 1}},
                                                 {{1, 255}},
                                                 {{1, 254}, {1, 509}},
                                                 {{2, 0}},
                                                 {{1, 10}, {2, 1999}, {3, 0}},
                                                 {{1, 300}, {1, 600}, {1, 900}, {2, 7}}}) {
        sample::RowPlacement placement;
        placement.cuts = cuts;
        placement.piece_per_block = true;
        db().insert(table, row, placement);
    }
    const TableRows read = open().read("T");
    EXPECT_EQ(read.rows, std::vector<TextRow>(6, TextRow{"1", name, more, "99"}));
    EXPECT_TRUE(read.suspects.empty());
}

// So many that a look at each for each of them would not end in time.
TEST_F(RowReaderTest, ColumnsWithoutStorageAreLaidOutInOneGo) {
    constexpr int COLUMNS = 16000;
    sample::TableDef def = table_def(scott(), "T", users());
    for (int i = 2; i < COLUMNS; ++i) {
        def.columns.push_back(sample::number_column("C" + std::to_string(i)));
        def.columns.back().stored = i % 2 == 0;
    }
    db().add_table(def);
    EXPECT_EQ(open().read("T").columns.size(), size_t{COLUMNS});
}

TEST_F(RowReaderTest, MoreThan255ColumnsComeInOrder) {
    sample::TableDef def = table_def(scott(), "WIDE", users());
    def.columns.clear();
    sample::Row row;
    TextRow expected;
    for (int i = 0; i < 700; ++i) {
        def.columns.push_back(sample::number_column("C" + std::to_string(i)));
        row.push_back(i % 9 == 4 ? sample::null_value() : sample::number(i));
        expected.push_back(i % 9 == 4 ? "NULL" : std::to_string(i));
    }
    db().insert(db().add_table(def), row);
    EXPECT_EQ(open().read("WIDE").rows, std::vector<TextRow>{expected});
}

TEST_F(RowReaderTest, MigratedRowsComeOnceWhereTheirHeadIs) {
    const size_t table = add_table("T");
    for (int i = 1; i <= 20; ++i) {
        sample::RowPlacement placement;
        placement.migrated = i % 3 == 0;
        db().insert(table, {sample::number(i), sample::text("row " + std::to_string(i))}, placement);
    }
    const TableRows read = open().read("T");
    EXPECT_EQ(read.rows, numbered_rows(1, 20));
    EXPECT_TRUE(read.suspects.empty());
}

TEST_F(RowReaderTest, AMigratedRowWhoseHeadIsLostIsSuspect) {
    const size_t table = add_table("T");
    sample::RowPlacement migrated;
    migrated.migrated = true;
    const sample::RowAddress head = db().insert(table, {sample::number(1), sample::text("moved")}, migrated);
    db().finish();
    destroy(USERS_FILE, head.rdba & RDBA_BLOCK_MASK);
    const TableRows read = reopen().read("T");
    EXPECT_TRUE(read.rows.empty());
    ASSERT_EQ(read.suspects.size(), 1u);
    EXPECT_EQ(read.suspects[0].fault, RowFault::lost_head);
    EXPECT_EQ(read.suspects[0].values, (TextRow{"1", "moved"}));
}

TEST_F(RowReaderTest, LongValuesOfAnySizeComeWhole) {
    sample::TableDef def = table_def(scott(), "T", users());
    def.columns.push_back(sample::typed_column("DOC", vexlo::TYPE_LONG, 0));
    const size_t table = db().add_table(def);
    const auto row = [](int id, sample::Value doc) {
        return sample::Row{sample::number(id), sample::text("x"), std::move(doc)};
    };
    db().insert(table, row(1, sample::text(letters(100))));
    db().insert(table, row(2, sample::text(letters(70000))));
    db().insert(table, row(3, sample::null_value()));
    db().insert(table, row(4, sample::Bytes{}));
    db().insert(table, row(5, sample::text(letters(8 << 20))));
    db().insert(table, row(6, sample::text(letters((8 << 20) + 1))));
    db().insert(table, row(7, sample::text(letters(50))));
    const TableRows read = open().read("T");
    EXPECT_EQ(read.rows, (std::vector<TextRow>{{"1", "x", letters(100)},
                                               {"2", "x", "70000 bytes"},
                                               {"3", "x", "NULL"},
                                               {"4", "x", "NULL"},
                                               {"5", "x", "8388608 bytes"},
                                               {"6", "x", "stream of 8388609 bytes"},
                                               {"7", "x", letters(50)}}));
    EXPECT_TRUE(read.suspects.empty());
}

TEST_F(RowReaderTest, ALongColumnThatIsNotShownIsOfAnySize) {
    sample::TableDef def = table_def(scott(), "T", users());
    def.columns.push_back(sample::typed_column("DOC", vexlo::TYPE_LONG, 0));
    def.columns[2].property = sample::COLUMN_UNUSED;
    const size_t table = db().add_table(def);
    db().insert(table, {sample::number(1), sample::text("x"), sample::text(letters(200000))});
    const TableRows read = open().read("T");
    EXPECT_EQ(read.rows, (std::vector<TextRow>{{"1", "x"}}));
    EXPECT_TRUE(read.suspects.empty());
}

// One chain that all rows of the table share: followed for each of them it would be gone through as often as
// there are rows.
TEST_F(RowReaderTest, ReadersOfASegmentFollowNoMorePiecesThanItsTablespaceHasRoomFor) {
    insert_rows(add_table("T"), 1, 10);
    const ReadDatabase database = open();
    PieceBudget shared(database.files, users());
    uint64_t pieces = 0;
    while (shared.take())
        ++pieces;
    const uint64_t bytes = std::filesystem::file_size(path_of(USERS_FILE));
    EXPECT_EQ(pieces, bytes / (PIECE_HEADER + ROWID_SIZE));
    EXPECT_FALSE(shared.take());
}

TEST_F(RowReaderTest, ABrokenChainGivesWhatWasFoundAsSuspect) {
    const size_t table = add_table("T");
    sample::RowPlacement placement;
    placement.cuts = {{1, 10}, {1, 20}};
    placement.piece_per_block = true;
    insert_rows(table, 1, 1);
    db().insert(table, {sample::number(2), sample::text(letters(30))}, placement);
    insert_rows(table, 3, 3);
    db().finish();
    const std::vector<uint32_t> blocks = data_blocks(table);
    ASSERT_EQ(blocks.size(), 3u);
    // The last part was written first, into the first block behind the head's extent.
    destroy(USERS_FILE, blocks[1]);
    const TableRows read = reopen().read("T");
    EXPECT_EQ(read.rows, (std::vector<TextRow>{{"1", "row 1"}, {"3", "row 3"}}));
    ASSERT_EQ(read.suspects.size(), 1u);
    EXPECT_EQ(read.suspects[0].values, (TextRow{"2", letters(20)}));
    EXPECT_EQ(read.suspects[0].relative_file, 2u);
    EXPECT_EQ(read.suspects[0].block, blocks[0]);
    EXPECT_EQ(read.suspects[0].slot, 1u);
}

TEST_F(RowReaderTest, AChainThatComesBackEnds) {
    const size_t table = add_table("T");
    sample::RowPlacement placement;
    placement.cuts = {{1, 10}, {1, 20}};
    placement.piece_per_block = true;
    db().insert(table, {sample::number(1), sample::text(letters(30))}, placement);
    db().finish();
    const std::vector<uint32_t> blocks = data_blocks(table);
    // The middle piece, in the last block, leads to itself.
    const size_t piece = piece_at(blocks[2], 0);
    sample::Bytes next;
    sample::append_be32(next, make_rdba(2, blocks[2]));
    sample::append_be16(next, 0);
    patch(USERS_FILE, blocks[2], piece + 3, next);
    const TableRows read = reopen().read("T");
    EXPECT_TRUE(read.rows.empty());
    ASSERT_EQ(read.suspects.size(), 1u);
    EXPECT_EQ(read.suspects[0].fault, RowFault::looping_chain);
}

TEST_F(RowReaderTest, ARowOfMoreValuesThanThereAreColumnsIsSuspect) {
    const size_t table = add_table("T");
    insert_rows(table, 1, 2);
    db().rows(table).insert(
        sample::Row{sample::number(3), sample::text("row 3"), sample::text("of another row")});
    const TableRows read = open().read("T");
    EXPECT_EQ(read.rows, numbered_rows(1, 2));
    ASSERT_EQ(read.suspects.size(), 1u);
    EXPECT_EQ(read.suspects[0].fault, RowFault::surplus);
    EXPECT_EQ(read.suspects[0].values, (TextRow{"3", "row 3"}));
}

TEST_F(RowReaderTest, PiecesThatNoRowLeadsToAreCounted) {
    const size_t table = add_table("T");
    sample::RowPlacement cut;
    cut.cuts = {{1, 2}, {1, 4}};
    cut.piece_per_block = true;
    insert_rows(table, 1, 1);
    const sample::RowAddress head = db().insert(table, {sample::number(2), sample::text("row 2")}, cut);
    db().finish();
    EXPECT_EQ(open().read("T").row_counts.stray_pieces(), 0u);
    patch(USERS_FILE, head.rdba & 0x3FFFFF, 0, sample::Bytes(DB_BLOCK_SIZE), false);
    const TableRows read = open().read("T");
    EXPECT_TRUE(read.tally.losses.empty());
    EXPECT_EQ(read.row_counts.stray_pieces(), 2u);
}

TEST_F(RowReaderTest, PiecesThatADeletedRowMayHaveLedToAreNot) {
    const size_t table = add_table("T");
    sample::RowPlacement cut;
    cut.cuts = {{1, 2}};
    cut.deleted = true;
    db().insert(table, {sample::number(1), sample::text("row 1")}, cut);
    EXPECT_EQ(open().read("T").row_counts.stray_pieces(), 0u);
}

TEST_F(RowReaderTest, AChainThatLeadsToAnotherRowIsBroken) {
    const size_t table = add_table("T");
    sample::RowPlacement placement;
    placement.cuts = {{1, 10}};
    insert_rows(table, 1, 1);
    db().insert(table, {sample::number(2), sample::text(letters(30))}, placement);
    db().finish();
    const std::vector<uint32_t> blocks = data_blocks(table);
    sample::Bytes next;
    sample::append_be32(next, make_rdba(2, blocks[0]));
    sample::append_be16(next, 0);
    patch(USERS_FILE, blocks[0], piece_at(blocks[0], 1) + 3, next);
    const TableRows read = reopen().read("T");
    EXPECT_EQ(read.rows, numbered_rows(1, 1));
    ASSERT_EQ(read.suspects.size(), 1u);
    EXPECT_EQ(read.suspects[0].fault, RowFault::broken_chain);
    EXPECT_EQ(read.suspects[0].values, (TextRow{"2", letters(10)}));
}

TEST_F(RowReaderTest, AValueThatLeavesItsBlockMakesTheRowSuspect) {
    const size_t table = add_table("T");
    insert_rows(table, 1, 3);
    db().finish();
    const uint32_t number = data_blocks(table).at(0);
    patch(USERS_FILE, number, piece_at(number, 0) + 3 + 3, {0xFD}); // length of the name, the row stands last
    const TableRows read = reopen().read("T");
    EXPECT_EQ(read.rows, numbered_rows(2, 3));
    ASSERT_EQ(read.suspects.size(), 1u);
    EXPECT_EQ(read.suspects[0].fault, RowFault::value_leaves_block);
    EXPECT_EQ(read.suspects[0].values, (TextRow{"1", "NULL"}));
}

TEST_F(RowReaderTest, RowDependenciesAreSteppedOverInEitherWidth) {
    sample::TableDef def = table_def(scott(), "T", users());
    def.flags = sample::TABLE_ROW_DEPENDENCIES;
    const size_t narrow = db().add_table(def);
    insert_rows(narrow, 1, 500);
    // Eight bytes: the writer's six and two more, which stand where the first column would.
    def.name = "WIDE";
    def.flags = 0;
    const size_t wide = db().add_table(def);
    for (int i = 1; i <= 500; ++i) {
        sample::Bytes piece{0x2C, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0xF3, 0xA1};
        sample::append_column(piece, sample::number(i));
        sample::append_column(piece, sample::text("row " + std::to_string(i)));
        db().rows(wide).insert_piece(piece);
    }
    db().finish();
    ReadDatabase open = reopen();
    EXPECT_EQ(open.read("T").rows, numbered_rows(1, 500));
    TableLayout layout = make_layout(open.dictionary, open.table("WIDE"));
    layout.dependencies = Dependencies::carried;
    const SegmentRef segment = open.dictionary.segments(open.table("WIDE")).at(0).segment;
    SegmentRuns runs(open.files, open.scans, segment, {});
    RowReader reader(
        {open.files, layout, segment.tablespace, segment.object, segment.data_object, nullptr, {}, {}});
    std::vector<uint8_t> buffer(SegmentRuns::RUN_BYTES + RUN_SLACK);
    SegmentTally tally;
    int rows = 0;
    for (BlockRun run; runs.next(run);)
        reader.read(load_run(run, buffer.data()), tally, [&](const RescuedRow &row) {
            ++rows;
            const Field &name = row.row.fields[1];
            EXPECT_EQ(std::string(reinterpret_cast<const char *>(name.data), name.size),
                      "row " + std::to_string(rows));
        });
    EXPECT_EQ(rows, 500);
}

TEST_F(RowReaderTest, HiddenUnusedAndVirtualColumnsAreLeftOutUnlessAskedFor) {
    sample::TableDef def = table_def(scott(), "T", users());
    sample::ColumnDef hidden = sample::number_column("H"), unused = sample::number_column("U"),
                      computed = sample::number_column("V");
    hidden.property = sample::COLUMN_HIDDEN;
    unused.property = sample::COLUMN_UNUSED;
    computed.property = sample::COLUMN_VIRTUAL;
    computed.stored = false;
    def.columns.insert(def.columns.begin() + 1, {hidden, unused, computed});
    const size_t table = db().add_table(def);
    db().insert(table, {sample::number(1), sample::number(2), sample::number(3), sample::number(4),
                        sample::text("n")});
    ReadDatabase database = open();
    const TableRows shown = database.read("T");
    EXPECT_EQ(shown.columns, (std::vector<std::string>{"ID", "NAME"}));
    EXPECT_EQ(shown.rows, (std::vector<TextRow>{{"1", "n"}}));
    const TableRows all = database.read("T", true);
    EXPECT_EQ(all.columns, (std::vector<std::string>{"ID", "NAME", "H", "U", "V"}));
    EXPECT_EQ(all.rows, (std::vector<TextRow>{{"1", "n", "2", "3", "NULL"}}));
}

namespace {

// A database whose dictionary has ECOL$ with guard numbers.
class AddedDefaultTest : public RescueTest {
protected:
    static sample::DatabaseOptions full_options() {
        sample::DatabaseOptions options;
        options.layout = {sample::DictionaryVersion::v12, true};
        return options;
    }
    AddedDefaultTest() : RescueTest(full_options()) {}

    static sample::ColumnDef added(const char *name, const char *value) {
        sample::ColumnDef column = sample::varchar2_column(name, 100);
        const std::string_view text(value);
        column.added_default = sample::Bytes(text.begin(), text.end());
        return column;
    }
};

} // namespace

TEST_F(AddedDefaultTest, RowsOlderThanANotNullColumnHaveItsDefault) {
    sample::TableDef def = table_def(scott(), "T", users());
    def.columns.push_back(added("A", "first"));
    def.columns.push_back(added("B", "second"));
    def.columns[2].nullable = def.columns[3].nullable = false;
    const size_t table = db().add_table(def);
    const auto insert = [&](int id, sample::Value a, sample::Value b) {
        db().insert(table, {sample::number(id), sample::text("n"), std::move(a), std::move(b)});
    };
    insert(1, sample::null_value(), sample::null_value());
    insert(2, sample::text("own"), sample::null_value());
    insert(3, sample::null_value(), sample::text("own"));
    const TableRows read = open().read("T");
    EXPECT_EQ(read.rows,
              (std::vector<TextRow>{
                  {"1", "n", "first", "second"}, {"2", "n", "own", "second"}, {"3", "n", "first", "own"}}));
    EXPECT_EQ(read.row_counts.lost_defaults, 0u);
}

TEST_F(AddedDefaultTest, TheGuardColumnTellsANullFromADefault) {
    sample::TableDef def = table_def(scott(), "T", users());
    sample::ColumnDef guard = sample::typed_column("SYS_NC00003$", sample::TYPE_RAW, 126);
    guard.property = sample::COLUMN_HIDDEN | sample::COLUMN_GUARD;
    def.columns.push_back(guard);
    def.columns.push_back(added("A", "first"));
    def.columns.push_back(added("B", "second"));
    def.columns[3].guard_id = 0;
    def.columns[4].guard_id = 9;
    const size_t table = db().add_table(def);
    const auto insert = [&](int id, sample::Value bits, sample::Value a, sample::Value b) {
        db().insert(table,
                    {sample::number(id), sample::text("n"), std::move(bits), std::move(a), std::move(b)});
    };
    insert(1, sample::null_value(), sample::null_value(), sample::null_value());
    insert(2, sample::guard_value(std::vector<uint32_t>{0}), sample::null_value(), sample::null_value());
    insert(3, sample::guard_value(std::vector<uint32_t>{0, 9}), sample::null_value(), sample::null_value());
    insert(4, sample::guard_value(std::vector<uint32_t>{9}), sample::null_value(), sample::text("own"));
    const TableRows read = open().read("T");
    EXPECT_EQ(read.columns, (std::vector<std::string>{"ID", "NAME", "A", "B"}));
    EXPECT_EQ(read.rows, (std::vector<TextRow>{{"1", "n", "first", "second"},
                                               {"2", "n", "NULL", "second"},
                                               {"3", "n", "NULL", "NULL"},
                                               {"4", "n", "first", "own"}}));
}

TEST_F(AddedDefaultTest, TheGuardColumnDoesSoWhereItIsShownItself) {
    sample::TableDef def = table_def(scott(), "T", users());
    sample::ColumnDef guard = sample::typed_column("SYS_NC00003$", sample::TYPE_RAW, 126);
    guard.property = sample::COLUMN_HIDDEN | sample::COLUMN_GUARD;
    def.columns.push_back(guard);
    def.columns.push_back(added("A", "first"));
    def.columns[3].guard_id = 0;
    const size_t table = db().add_table(def);
    db().insert(table, {sample::number(1), sample::text("n"), sample::guard_value(std::vector<uint32_t>{0}),
                        sample::null_value()});
    const TableRows read = open().read("T", true);
    EXPECT_EQ(read.columns, (std::vector<std::string>{"ID", "NAME", "A", "SYS_NC00003$"}));
    ASSERT_EQ(read.rows.size(), 1u);
    EXPECT_EQ(read.rows[0][2], "NULL");
}

TEST_F(AddedDefaultTest, WhereTheDefaultIsLostItsValuesAreCounted) {
    sample::TableDef def = table_def(scott(), "T", users());
    def.columns.push_back(added("A", "first"));
    const size_t table = db().add_table(def);
    db().insert(table, {sample::number(1), sample::text("n"), sample::null_value()});
    db().insert(table, {sample::number(2), sample::text("n"), sample::text("own")});
    db().finish();
    for (const uint32_t number : blocks_of_type(SYSTEM_FILE, TABLE_BLOCKS, 126)) // ECOL$
        destroy(SYSTEM_FILE, number);
    const TableRows read = ReadDatabase(paths()).read("T");
    EXPECT_EQ(read.rows, (std::vector<TextRow>{{"1", "n", "NULL"}, {"2", "n", "own"}}));
    EXPECT_EQ(read.row_counts.lost_defaults, 1u);
}

TEST_F(AddedDefaultTest, SuspectRowsHaveItTooUnlessTheyMayHaveHadMoreValues) {
    sample::TableDef def = table_def(scott(), "T", users());
    def.columns.push_back(added("A", "first"));
    const size_t table = db().add_table(def);
    for (const int id : {1, 2})
        db().insert(table, {sample::number(id), sample::text("n"), sample::null_value()});
    db().finish();
    constexpr size_t FREE_SPACE = 4000;
    const uint32_t number = blocks_of_type(USERS_FILE, TABLE_BLOCKS, object_of(table)).at(0);
    patch(USERS_FILE, number, FREE_SPACE, {0x55}, false);
    const sample::Bytes bytes = block(USERS_FILE, number);
    ROW_AREA area;
    ASSERT_TRUE(locate_rows({bytes.data(), DB_BLOCK_SIZE, 0}, &area));
    const size_t piece = static_cast<size_t>(find_piece(area, 0) - bytes.data()); // it stands last
    patch(USERS_FILE, number, piece + 3 + 3, {0xFD}, false);                      // length of the name
    const TableRows read = ReadDatabase(paths()).read("T");
    ASSERT_EQ(read.suspects.size(), 2u);
    EXPECT_EQ(read.suspects[0].fault, RowFault::check_value);
    EXPECT_EQ(read.suspects[0].values, (TextRow{"1", "NULL", "NULL"}));
    EXPECT_EQ(read.suspects[1].fault, RowFault::check_value);
    EXPECT_EQ(read.suspects[1].values, (TextRow{"2", "n", "first"}));
}

TEST_F(RowReaderTest, ARowHasNothingOfTheValuesOfTheRowBefore) {
    sample::TableDef def = table_def(scott(), "T", users());
    def.columns.push_back(sample::varchar2_column("A", 300));
    def.columns.push_back(sample::varchar2_column("B", 300));
    const size_t table = db().add_table(def);
    const auto insert = [&](int id, sample::Value name, sample::Value a, sample::Value b) {
        db().insert(table, {sample::number(id), std::move(name), std::move(a), std::move(b)});
    };
    const std::string longest_short = letters(0xFD), shortest_long = letters(0xFE);
    insert(1, sample::text("n"), sample::text("a"), sample::text("b"));
    insert(2, sample::null_value(), sample::text("a"), sample::null_value());
    insert(3, sample::text(longest_short), sample::text(shortest_long), sample::null_value());
    insert(4, sample::text("n"), sample::null_value(), sample::text("b"));
    insert(5, sample::null_value(), sample::null_value(), sample::null_value());
    EXPECT_EQ(open().read("T").rows, (std::vector<TextRow>{{"1", "n", "a", "b"},
                                                           {"2", "NULL", "a", "NULL"},
                                                           {"3", longest_short, shortest_long, "NULL"},
                                                           {"4", "n", "NULL", "b"},
                                                           {"5", "NULL", "NULL", "NULL"}}));
}

TEST_F(RowReaderTest, ColumnsComeInTheOrderOfTheirNumbers) {
    sample::TableDef def = table_def(scott(), "T", users());
    def.columns[0].col = 2;
    def.columns[1].col = 1;
    db().insert(db().add_table(def), {sample::number(1), sample::text("n")});
    const TableRows read = open().read("T");
    EXPECT_EQ(read.columns, (std::vector<std::string>{"NAME", "ID"}));
    EXPECT_EQ(read.rows, (std::vector<TextRow>{{"n", "1"}}));
}

TEST_F(RowReaderTest, RowsInAClusterTakeTheirKeyFromItsRow) {
    sample::ClusterDef cluster_def;
    cluster_def.owner = scott();
    cluster_def.name = "C";
    cluster_def.tablespace = users();
    cluster_def.key = {sample::number_column("K")};
    const size_t cluster = db().add_cluster(cluster_def);
    std::vector<size_t> tables;
    for (const char *name : {"A", "B"}) {
        sample::TableDef def = table_def(scott(), name, users());
        def.columns.push_back(sample::number_column("K"));
        def.cluster = cluster;
        def.key_columns = {"K"};
        tables.push_back(db().add_table(def));
    }
    std::vector<TextRow> expected;
    for (int key = 1; key <= 300; ++key) {
        db().begin_key(cluster, {sample::number(key)});
        for (int i = 0; i < 3; ++i) {
            sample::RowPlacement placement;
            placement.migrated = key % 10 == 0 && i == 1;
            const std::string name = "row " + std::to_string(i);
            db().insert_member(tables[0], {sample::number(i), sample::text(name), sample::number(key)},
                               placement);
            db().insert_member(tables[1], {sample::number(-i), sample::text(name), sample::number(key)});
            expected.push_back({std::to_string(i), name, std::to_string(key)});
        }
    }
    ReadDatabase database = open();
    const TableRows read = database.read("A");
    EXPECT_EQ(read.rows, expected);
    EXPECT_TRUE(read.suspects.empty());
    EXPECT_EQ(database.read("B").rows.size(), expected.size());
}

TEST_F(RowReaderTest, CompressedBlocksAreCountedAndNotDecoded) {
    const size_t table = add_table("T");
    insert_rows(table, 1, 600);
    db().finish();
    const uint32_t number = data_blocks(table).at(1);
    const sample::Bytes bytes = block(USERS_FILE, number);
    ROW_AREA area;
    ASSERT_TRUE(locate_rows({bytes.data(), DB_BLOCK_SIZE, 0}, &area));
    patch(USERS_FILE, number, area.kdbh, {0x40});
    const TableRows read = reopen().read("T");
    EXPECT_EQ(read.tally.counts.compressed, 1u);
    EXPECT_LT(read.rows.size(), 600u);
    EXPECT_TRUE(read.suspects.empty());
}

TEST_F(RowReaderTest, BlocksOfAnEarlierIncarnationAreNeitherRowsNorForeign) {
    constexpr uint32_t OLD = 50500; // no object has this number
    sample::TableDef def = table_def(scott(), "T", users());
    def.segment.old_objd = OLD;
    const size_t table = db().add_table(def);
    insert_rows(table, 1, 100);
    ReadDatabase database = open();
    const TableLayout layout = make_layout(database.dictionary, database.table("T"));
    const SegmentRef segment = database.dictionary.segments(database.table("T")).at(0).segment;
    // The object number is that of the table when it was made; each truncation gives a higher data object
    // number.
    for (const auto &[object, older] : {std::pair<uint32_t, bool>{OLD, true}, {segment.object, false}}) {
        SegmentRuns runs(database.files, database.scans, segment, {});
        RowReader reader({database.files,
                          layout,
                          segment.tablespace,
                          object,
                          segment.data_object,
                          &database.dictionary,
                          {},
                          {}});
        std::vector<uint8_t> buffer(SegmentRuns::RUN_BYTES + RUN_SLACK);
        SegmentTally tally;
        for (BlockRun run; runs.next(run);)
            reader.read(load_run(run, buffer.data()), tally, [](const RescuedRow &) {});
        EXPECT_EQ(reader.counts().rows, 100u);
        EXPECT_EQ(tally.counts.older != 0, older);
        EXPECT_EQ(tally.counts.foreign != 0, !older);
    }
}

TEST_F(RowReaderTest, EncryptedBlocksAreCountedAndNotDecoded) {
    const size_t table = add_table("T");
    insert_rows(table, 1, 600);
    db().finish();
    const uint32_t number = data_blocks(table).at(1);
    patch(USERS_FILE, number, 15, {0x14});
    const TableRows read = reopen().read("T");
    EXPECT_EQ(read.tally.counts.encrypted, 1u);
    EXPECT_LT(read.rows.size(), 600u);
}

TEST_F(RowReaderTest, PartitionsComeInTheirOrder) {
    sample::TableDef def = table_def(scott(), "P", users());
    for (const char *name : {"P1", "P2", "P3"}) {
        sample::PartitionDef part;
        part.name = name;
        def.partitions.push_back(part);
    }
    const size_t table = db().add_table(def);
    for (const size_t part : {size_t{2}, size_t{0}, size_t{1}})
        db().insert(table, {sample::number(static_cast<int64_t>(part)), sample::text("x")}, {}, part);
    ReadDatabase database = open();
    EXPECT_EQ(database.read("P").rows, (std::vector<TextRow>{{"0", "x"}, {"1", "x"}, {"2", "x"}}));
    std::vector<std::string> names;
    for (const TableSegment &part : database.dictionary.segments(database.table("P")))
        names.push_back(database.dictionary.text(part.partition));
    EXPECT_EQ(names, (std::vector<std::string>{"P1", "P2", "P3"}));
}

// A dictionary in which every partition is the first one, at places of their own.
class RepeatedPartitionTest : public RescueTest {
protected:
    RepeatedPartitionTest() : RescueTest(options()) {}

    static sample::DatabaseOptions options() {
        constexpr size_t PART = 3; // PART# in TABPART$
        sample::DatabaseOptions options;
        options.dictionary_hook = [first = sample::Row()](std::string_view name, sample::Row &row,
                                                          sample::RowPlacement &) mutable {
            if (name == "TABPART$") {
                if (first.empty())
                    first = row;
                const sample::Value place = row.at(PART);
                row = first;
                row.at(PART) = place;
            }
            return true;
        };
        return options;
    }
};

TEST_F(RepeatedPartitionTest, APartitionThatComesTwiceGivesItsRowsOnce) {
    sample::TableDef def = table_def(scott(), "P", users());
    def.partitions.resize(3);
    for (size_t i = 0; i < 3; ++i)
        def.partitions[i].name = "P" + std::to_string(i);
    const size_t table = db().add_table(def);
    db().insert(table, {sample::number(1), sample::text("row 1")}, {}, 0);
    EXPECT_EQ(open().read("P").rows, numbered_rows(1, 1));
}

TEST_F(RowReaderTest, AnEntryOnTheFreeChainThatHoldsAnOffsetIsARow) {
    const size_t table = add_table("T");
    insert_rows(table, 1, 5);
    db().finish();
    const uint32_t number = data_blocks(table).at(0);
    const sample::Bytes bytes = block(USERS_FILE, number);
    ROW_AREA area;
    ASSERT_TRUE(locate_rows({bytes.data(), DB_BLOCK_SIZE, 0}, &area));
    constexpr size_t FIRST_FREE = 4;
    patch(USERS_FILE, number, area.kdbh + FIRST_FREE, {0, 0});
    EXPECT_EQ(reopen().read("T").rows, numbered_rows(1, 5));
}
