// Dictionaries of both generations read alike.
#include "recovered_fixture.h"

namespace {

using namespace sample;
using namespace vexlo_test;

class DictionaryVersions : public Recovered, public testing::WithParamInterface<DictionaryVersion> {
protected:
    DatabaseOptions options() const {
        DatabaseOptions o;
        o.layout = {GetParam(), true};
        return o;
    }
};

TEST_P(DictionaryVersions, TypesAndNullsComeBack) {
    open(options());
    ColumnDef national = varchar2_column("N", 20);
    national.charset_form = 2;
    const size_t t = add("T", {number_column("ID"), national, typed_column("TS", TYPE_TIMESTAMP, 11)});
    db_->insert(t, {number(1), raw(Bytes{0x20, 0xAC}), timestamp({2024, 2, 29, 1, 2, 3}, 500000000)});
    db_->insert(t, {number(2), null_value(), null_value()});
    unload();
    EXPECT_EQ(result_.status, 0) << result_.describe();
    EXPECT_EQ(header("T"), (csv_row{"ID", "N", "TS"}));
    EXPECT_EQ(rows("T"), (std::vector<csv_row>{{"1", "\xE2\x82\xAC", "2024-02-29T01:02:03.5"},
                                               {"2", std::nullopt, std::nullopt}}));
}

TEST_P(DictionaryVersions, PartitionsClustersAndMigratedDictionaryRows) {
    DatabaseOptions o = options();
    o.dictionary_hook = [n = 0](std::string_view name, Row &, RowPlacement &placement) mutable {
        placement.migrated = name != "BOOTSTRAP$" && ++n % 5 == 0;
        return true;
    };
    open(o);
    TableDef parted = table("PARTED", {number_column("ID")});
    parted.partitions.resize(2);
    parted.partitions[0].name = "P1";
    parted.partitions[1].name = "P2";
    const size_t p = db_->add_table(parted);
    db_->insert(p, {number(1)}, {}, 0);
    db_->insert(p, {number(2)}, {}, 1);
    ClusterDef cluster;
    cluster.owner = scott_;
    cluster.name = "C";
    cluster.tablespace = users_;
    cluster.key = {number_column("K")};
    const size_t c = db_->add_cluster(cluster);
    TableDef member = table("MEMBER", {varchar2_column("A", 10), number_column("K")});
    member.cluster = c;
    member.key_columns = {"K"};
    const size_t m = db_->add_table(member);
    db_->begin_key(c, {number(9)});
    db_->insert_member(m, {text("a"), number(9)});
    db_->insert_member(m, {null_value(), number(9)});
    unload();
    EXPECT_EQ(column("PARTED", "ID"), numbers(2));
    EXPECT_EQ(header("MEMBER"), (csv_row{"A", "K"}));
    EXPECT_EQ(rows("MEMBER"), (std::vector<csv_row>{{"a", "9"}, {std::nullopt, "9"}}));
}

INSTANTIATE_TEST_SUITE_P(Versions, DictionaryVersions,
                         testing::Values(DictionaryVersion::v11, DictionaryVersion::v12),
                         [](const auto &test) {
                             return test.param == DictionaryVersion::v11 ? "V11" : "V12";
                         });

using LongNames = Recovered;

TEST_F(LongNames, NamesOf128BytesInLettersBeyondAsciiComeBack) {
    DatabaseOptions options;
    options.layout = {DictionaryVersion::v12, true};
    open(options);
    std::string column_name;
    for (int i = 0; i < 42; i++)
        column_name += "\xE6\xBC\xA2";
    column_name += "XY";
    const size_t t = add(std::string(128, 'T'), {number_column(column_name), number_column("SECOND")});
    db_->insert(t, {number(1), number(2)});
    unload();
    EXPECT_EQ(result_.status, 0) << result_.describe();
    EXPECT_EQ(header(std::string(128, 'T')), (csv_row{column_name, "SECOND"}));
    EXPECT_EQ(rows(std::string(128, 'T')), (std::vector<csv_row>{{"1", "2"}}));
}

TEST_F(LongNames, OwnersThatComeWithTheDatabaseAreLeftOutUnlessAskedFor) {
    DatabaseOptions options;
    options.layout = {DictionaryVersion::v12, true};
    open(options);
    UserDef supplied;
    supplied.name = "APEX_SOMETHING";
    supplied.supplied = true;
    TableDef theirs = table("THEIRS", {number_column("ID")});
    theirs.owner = db_->add_user(supplied);
    db_->insert(db_->add_table(theirs), {number(1)});
    db_->insert(add("OURS", {number_column("ID")}), {number(1)});
    unload();
    EXPECT_TRUE(has_output("SCOTT.OURS.csv"));
    EXPECT_FALSE(has_output("APEX_SOMETHING.THEIRS.csv"));
    unload({"--all-owners", "--overwrite"});
    EXPECT_TRUE(has_output("APEX_SOMETHING.THEIRS.csv"));
}

} // namespace
