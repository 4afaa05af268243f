// Columns that rows do not carry, or carry without showing them.
#include "recovered_fixture.h"

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
