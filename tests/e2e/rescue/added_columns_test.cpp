// Columns that rows do not carry, or carry without showing them.
#include <algorithm>

#include "recovered_fixture.h"
#include "sample/lob_locator.h"

namespace {

using namespace sample;
using namespace vexlo_test;

class AddedColumns : public Recovered {
protected:
    void open_full(DictionaryVersion version) {
        DatabaseOptions options;
        options.layout = {version, true};
        open(options);
    }
};

ColumnDef added(ColumnDef column, Value value, bool nullable = false) {
    column.added_default = *value;
    column.nullable = nullable;
    return column;
}

TEST_F(AddedColumns, RowsFromBeforeTheColumnHaveItsDefault) {
    for (const DictionaryVersion version : {DictionaryVersion::v11, DictionaryVersion::v12}) {
        open_full(version);
        const size_t t = add("T", {number_column("ID"), added(number_column("N"), decimal("-12.5")),
                                   added(varchar2_column("S", 20), text("default, quoted"))});
        db_->insert(t, {number(1), null_value(), null_value()});
        db_->insert(t, {number(2), number(3), null_value()});
        db_->insert(t, {number(3), number(4), text("own")});
        finished_ = false;
        unload({"--overwrite"});
        EXPECT_EQ(result_.status, 0) << result_.describe();
        EXPECT_EQ(rows("T"),
                  (std::vector<csv_row>{
                      {"1", "-12.5", "default, quoted"}, {"2", "3", "default, quoted"}, {"3", "4", "own"}}));
    }
}

TEST_F(AddedColumns, GuardColumnTellsNullFromNotWritten) {
    open_full(DictionaryVersion::v12);
    ColumnDef guard = typed_column("SYS_NC00002$", TYPE_RAW, 126);
    guard.property = COLUMN_GUARD | COLUMN_HIDDEN | COLUMN_GENERATED;
    ColumnDef first = added(number_column("A"), number(70), true),
              second = added(number_column("B"), number(80), true);
    first.guard_id = 0;
    second.guard_id = 9;
    const size_t t = add("T", {number_column("ID"), guard, first, second});
    const uint32_t wrote_a[] = {0}, wrote_b[] = {9}, wrote_both[] = {0, 9};
    RowPlacement whole;
    whole.keep_trailing_nulls = true;
    db_->insert(t, {number(1), null_value(), null_value(), null_value()});
    db_->insert(t, {number(2), guard_value(wrote_a), null_value(), null_value()});
    db_->insert(t, {number(3), guard_value(wrote_b), null_value(), number(5)});
    db_->insert(t, {number(4), guard_value(wrote_both), null_value(), null_value()}, whole);
    unload();
    EXPECT_EQ(header("T"), (csv_row{"ID", "A", "B"}));
    EXPECT_EQ(rows("T"), (std::vector<csv_row>{{"1", "70", "80"},
                                               {"2", std::nullopt, "80"},
                                               {"3", "70", "5"},
                                               {"4", std::nullopt, std::nullopt}}));
}

TEST_F(AddedColumns, DefaultThatIsLostIsNullAndCounted) {
    DatabaseOptions options;
    options.layout = {DictionaryVersion::v11, true};
    options.dictionary_hook = [](std::string_view name, Row &, RowPlacement &) { return name != "ECOL$"; };
    open(options);
    const size_t t = add("T", {number_column("ID"), added(number_column("N"), number(5))});
    db_->insert(t, {number(1), null_value()});
    unload();
    EXPECT_EQ(rows("T"), (std::vector<csv_row>{{"1", std::nullopt}}));
    EXPECT_EQ(record("T").at("null_values"), 1);
}

// The BLOB of ECOL$ that holds the default lies in blocks of its own, or is a compressed SecureFile.
TEST_F(AddedColumns, DefaultsAreReadFromWhereverTheirLobLies) {
    constexpr size_t ECOL_VALUE = 2;
    const std::string longest(4000, 'd');
    Value out_of_row;
    int defaults = 0;
    DatabaseOptions options;
    options.layout = {DictionaryVersion::v12, true};
    options.dictionary_hook = [&](std::string_view name, Row &row, RowPlacement &) {
        constexpr uint8_t STREAM[] = {0x78, 0x9c, 0xed, 0xc1, 0x21, 0x01, 0x00, 0x00, 0x00, 0x02,
                                      0xa0, 0x71, 0x06, 0xff, 0x3f, 0xf2, 0x86, 0x01, 0x48, 0x01,
                                      0x00, 0x80, 0x77, 0x03, 0xc9, 0x7f, 0x40, 0x32};
        SecureInode inode;
        inode.length = 3000;
        inode.compressed = sizeof STREAM;
        if (name == "ECOL$")
            row[ECOL_VALUE] = defaults++ == 0 ? out_of_row : secure_in_row({}, inode, STREAM);
        return true;
    };
    open(options);
    const auto &tables = db_->model().tables;
    const auto ecol = std::find_if(tables.begin(), tables.end(),
                                   [](const TableEntry &entry) { return entry.def.name == "ECOL$"; }) -
                      tables.begin();
    const size_t t = add("T", {number_column("ID"), added(varchar2_column("A", 4000), text("-")),
                               added(varchar2_column("B", 4000), text("-"))});
    out_of_row = db_->store_lob(static_cast<size_t>(ecol), ECOL_VALUE, *text(longest));
    ASSERT_LT(out_of_row->size(), 100u);
    db_->insert(t, {number(1), null_value(), null_value()});
    unload();
    EXPECT_EQ(rows("T"), (std::vector<csv_row>{{"1", longest, "C" + std::string(2999, 'G')}}));
    EXPECT_EQ(result_.status, 0) << result_.describe();
}

TEST_F(AddedColumns, UnusedVirtualAndHiddenColumnsAreShownOnlyWhenAskedFor) {
    open();
    ColumnDef unused = varchar2_column("SYS_C00002_24010112:00:00$", 20), computed = number_column("TWICE"),
              hidden = number_column("SYS_NC00004$");
    unused.property = COLUMN_UNUSED;
    computed.property = COLUMN_VIRTUAL | 0x10000;
    computed.stored = false;
    hidden.property = COLUMN_HIDDEN;
    const size_t t = add("T", {number_column("ID"), unused, computed, hidden, number_column("LAST")});
    db_->insert(t, {number(1), text("gone"), null_value(), number(44), number(2)});
    unload();
    EXPECT_EQ(header("T"), (csv_row{"ID", "LAST"}));
    EXPECT_EQ(rows("T"), (std::vector<csv_row>{{"1", "2"}}));
    unload({"--hidden", "--overwrite"});
    EXPECT_EQ(column("T", "SYS_C00002_24010112:00:00$"), csv_row{"gone"});
    EXPECT_EQ(column("T", "SYS_NC00004$"), csv_row{"44"});
    EXPECT_EQ(column("T", "LAST"), csv_row{"2"});
}

} // namespace
