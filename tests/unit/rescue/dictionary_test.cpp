#include <algorithm>

#include "format/block_address.h"
#include "format/file_header.h"
#include "rescue/dictionary.h"
#include "rescue_fixture.h"
#include "sample/lob_locator.h"
#include "sample/zlib_stream.h"
#include "values/errors.h"

using namespace rescue_test;
using namespace vexlo;

namespace {

class DictionaryTest : public RescueTest {
protected:
    explicit DictionaryTest(sample::DatabaseOptions options = {}) : RescueTest(std::move(options)) {}

    ReadDatabase reopen() { return ReadDatabase(paths()); }
    // Block numbers of the root address, the header of bootstrap$.
    uint32_t bootstrap_header() {
        return Datafile::open(path_of(SYSTEM_FILE))->identity().root_rdba & RDBA_BLOCK_MASK;
    }
    uint32_t cluster_header(std::string_view name) {
        for (const sample::ClusterEntry &cluster : db().model().clusters)
            if (cluster.def.name == name)
                return cluster.place.block;
        throw std::runtime_error("no cluster");
    }
    uint32_t table_header(std::string_view name) {
        for (const sample::TableEntry &table : db().model().tables)
            if (table.def.name == name)
                return table.place.block;
        throw std::runtime_error("no table");
    }
    void finish_with_table() {
        insert_rows(add_table("T"), 1, 100);
        db().finish();
    }
};

} // namespace

TEST_F(DictionaryTest, RecordsSayWhatTheDatabaseHolds) {
    sample::TableDef def = table_def(scott(), "Mixed Case", users());
    def.columns[0].precision = 10;
    def.columns[0].scale = -2;
    def.columns[0].nullable = false;
    const size_t table = db().add_table(def);
    db().finish();
    const ReadDatabase database = reopen();
    const Dictionary &d = database.dictionary;
    const uint32_t object = db().model().tables[table].place.objn;
    EXPECT_EQ(d.owner_name(object), "SCOTT");
    EXPECT_EQ(d.object_name(object), "Mixed Case");
    ASSERT_NE(d.table(object), nullptr);
    EXPECT_EQ(d.table(object)->block, header_block(table));
    EXPECT_EQ(d.obstacle(*d.table(object)), Obstacle::none);
    const auto columns = d.columns(object);
    ASSERT_EQ(columns.size(), 2u);
    EXPECT_EQ(d.text(columns[0].name), "ID");
    EXPECT_EQ(columns[0].precision, 10);
    EXPECT_EQ(columns[0].scale, -2);
    EXPECT_TRUE(columns[0].not_null);
    EXPECT_EQ(columns[1].precision, NO_NUMBER);
    EXPECT_FALSE(columns[1].not_null);
    EXPECT_EQ(columns[1].length, 4000u);
    EXPECT_EQ(d.charset(), "AL32UTF8");
    EXPECT_EQ(d.national_charset(), "AL16UTF16");
    EXPECT_EQ(d.property("DBTIMEZONE"), "00:00");
    ASSERT_NE(d.tablespace(users()), nullptr);
    EXPECT_EQ(d.text(d.tablespace(users())->name), "USERS");
    EXPECT_TRUE(d.tally().losses.empty());
    EXPECT_TRUE(d.notes().empty());
}

namespace {

// A dictionary as databases from 12c on have it, over three files.
class NewerDictionaryTest : public DictionaryTest {
protected:
    static sample::DatabaseOptions newer_options() {
        sample::DatabaseOptions options;
        options.layout = {sample::DictionaryVersion::v12, true};
        options.dictionary_files = 3;
        return options;
    }
    NewerDictionaryTest() : DictionaryTest(newer_options()) {}
};

} // namespace

TEST_F(NewerDictionaryTest, ColumnsAreReadWhereTheDatabaseSaysTheyAre) {
    sample::UserDef supplied;
    supplied.name = "XDB";
    supplied.supplied = true;
    const uint32_t xdb = db().add_user(supplied);
    const std::string name(128, 'N');
    const size_t table = add_table(name);
    insert_rows(table, 1, 50);
    ReadDatabase database = open();
    const Dictionary &d = database.dictionary;
    EXPECT_EQ(database.read(name).rows, numbered_rows(1, 50));
    EXPECT_TRUE(d.user(xdb)->is_oracle_maintained());
    EXPECT_FALSE(d.user(scott())->is_oracle_maintained());
    EXPECT_EQ(d.columns(db().model().tables[table].place.objn)[1].character_length, 4000u);
    EXPECT_EQ(d.files().size(), db().datafiles().size());
    EXPECT_TRUE(d.notes().empty());
}

TEST_F(NewerDictionaryTest, AFileWithALostHeaderIsPlacedByTheDictionary) {
    insert_rows(add_table("T"), 1, 50);
    db().finish();
    destroy(USERS_FILE, 1);
    ReadDatabase database = reopen();
    EXPECT_EQ(database.files.tablespace(users()).size(), 1u);
    EXPECT_EQ(database.read("T").rows, numbered_rows(1, 50));
}

class LostPropertiesTest : public RescueTest {
protected:
    LostPropertiesTest() : RescueTest(options()) {}

    static sample::DatabaseOptions options() {
        sample::DatabaseOptions options;
        options.dictionary_hook = [](std::string_view name, sample::Row &, sample::RowPlacement &) {
            return name != "PROPS$";
        };
        return options;
    }
};

// Newer releases use bits above the 32nd; those below keep their meaning.
class WideFlagsTest : public RescueTest {
protected:
    WideFlagsTest() : RescueTest(options()) {}

    static sample::DatabaseOptions options() {
        constexpr size_t NAME = 3, FLAGS = 13; // of OBJ$
        sample::DatabaseOptions options;
        options.dictionary_hook = [](std::string_view name, sample::Row &row, sample::RowPlacement &) {
            if (name == "OBJ$" && row.at(NAME) == sample::text("T"))
                row.at(FLAGS) = sample::number(int64_t{1} << 48);
            return true;
        };
        return options;
    }
};

TEST_F(WideFlagsTest, FlagsAboveThe32ndBitSetNoOthers) {
    insert_rows(add_table("T"), 1, 5);
    ReadDatabase database = open();
    EXPECT_EQ(database.dictionary.obstacle(database.table("T")), Obstacle::none);
    EXPECT_EQ(database.read("T").rows, numbered_rows(1, 5));
}

// An object that is known through a database link, as every query over one leaves behind.
class RemoteTableTest : public RescueTest {
protected:
    RemoteTableTest() : RescueTest(options()) {}

    static sample::DatabaseOptions options() {
        constexpr size_t LINKNAME = 12; // of OBJ$
        sample::DatabaseOptions options;
        options.dictionary_hook = [](std::string_view name, sample::Row &row, sample::RowPlacement &) {
            if (name == "OBJ$" && row.at(3) == sample::text("REMOTE"))
                row.at(LINKNAME) = sample::text("OTHER.WORLD");
            return true;
        };
        return options;
    }
};

TEST_F(RemoteTableTest, ATableOfAnotherDatabaseIsNotALostOne) {
    insert_rows(add_table("T"), 1, 5);
    sample::ObjectDef remote;
    remote.owner = scott();
    remote.name = "REMOTE";
    remote.type = sample::OBJECT_TABLE;
    db().add_object(remote);
    const ReadDatabase database = open();
    EXPECT_TRUE(database.dictionary.notes().empty());
    EXPECT_THROW(database.table("REMOTE"), std::exception);
}

TEST_F(DictionaryTest, NamesAreOfTheDatabaseCharacterSet) {
    db().set_property("NLS_CHARACTERSET", "WE8ISO8859P1");
    add_table("GR\xD6SSE");
    const ReadDatabase database = open();
    EXPECT_NO_THROW(database.table("GRÖSSE"));
}

TEST_F(LostPropertiesTest, ColumnsTellTheCharacterSetsThatPropertiesHaveLost) {
    db().set_property("NLS_CHARACTERSET", "WE8ISO8859P1");
    sample::TableDef def = table_def(scott(), "GR\xD6SSE", users());
    def.columns.push_back(sample::varchar2_column("NATIONAL", 40));
    def.columns.back().charset_form = NATIONAL_FORM;
    db().add_table(def);
    const ReadDatabase database = open();
    EXPECT_EQ(database.dictionary.charset(), "WE8ISO8859P1");
    EXPECT_EQ(database.dictionary.national_charset(), "AL16UTF16");
    EXPECT_NO_THROW(database.table("GRÖSSE"));
    EXPECT_EQ(
        database.dictionary.notes(),
        (std::vector<std::string>{"the property NLS_CHARACTERSET is lost, columns state WE8ISO8859P1",
                                  "the property NLS_NCHAR_CHARACTERSET is lost, columns state AL16UTF16"}));
}

TEST_F(DictionaryTest, NamesOf128BytesAreWhole) {
    const std::string name(128, 'N');
    add_table(name);
    EXPECT_NO_THROW(open().table(name));
}

TEST_F(DictionaryTest, WithoutAFileOfSystemThereIsNoDictionary) {
    db().finish();
    EXPECT_THROW(ReadDatabase({path_of(USERS_FILE)}), InputError);
}

TEST_F(DictionaryTest, RowsOfBootstrapAreFoundByTheirShapeWhereItsHeaderIsLost) {
    finish_with_table();
    destroy(SYSTEM_FILE, bootstrap_header());
    ReadDatabase database = reopen();
    EXPECT_EQ(database.read("T").rows, numbered_rows(1, 100));
    EXPECT_FALSE(database.dictionary.notes().empty());
}

TEST_F(DictionaryTest, TheHeaderOfSystemCanBeLost) {
    finish_with_table();
    destroy(SYSTEM_FILE, 1);
    ReadDatabase database = reopen();
    EXPECT_EQ(database.read("T").rows, numbered_rows(1, 100));
}

TEST_F(DictionaryTest, CoreTablesAreFoundByObjectNumberWhereBootstrapIsGone) {
    finish_with_table();
    const uint32_t header = bootstrap_header();
    const uint32_t object = load_le32(block(SYSTEM_FILE, header).data() + 92 + 8);
    destroy(SYSTEM_FILE, header);
    for (const uint32_t number : blocks_of_type(SYSTEM_FILE, TABLE_BLOCKS, object))
        destroy(SYSTEM_FILE, number);
    ReadDatabase database = reopen();
    EXPECT_EQ(database.read("T").rows, numbered_rows(1, 100));
}

TEST_F(DictionaryTest, LostHeadersOfDictionarySegmentsCostNothing) {
    finish_with_table();
    for (const char *cluster : {"C_OBJ#", "C_USER#", "C_TS#"})
        destroy(SYSTEM_FILE, cluster_header(cluster));
    for (const char *table : {"OBJ$", "PROPS$"})
        destroy(SYSTEM_FILE, table_header(table));
    ReadDatabase database = reopen();
    EXPECT_EQ(database.read("T").rows, numbered_rows(1, 100));
    EXPECT_EQ(database.dictionary.charset(), "AL32UTF8");
    EXPECT_EQ(database.dictionary.tally().losses.size(), 5u);
}

TEST_F(DictionaryTest, ATableWithoutAnObjectIsNamedByItsNumber) {
    sample::DatabaseOptions options;
    const size_t table = add_table("T");
    insert_rows(table, 1, 100);
    db().finish();
    for (const uint32_t number : blocks_of_type(SYSTEM_FILE, TABLE_BLOCKS, 18)) // OBJ$
        destroy(SYSTEM_FILE, number);
    ReadDatabase database = reopen();
    const std::string name = "OBJ_" + std::to_string(db().model().tables[table].place.objn);
    EXPECT_EQ(database.dictionary.owner_name(db().model().tables[table].place.objn), "UNKNOWN");
    EXPECT_EQ(database.read(name).rows, numbered_rows(1, 100));
}

TEST_F(DictionaryTest, ATableWithoutARowIsToldAsLost) {
    finish_with_table();
    for (const uint32_t number : blocks_of_type(SYSTEM_FILE, TABLE_BLOCKS, 2)) // C_OBJ#
        destroy(SYSTEM_FILE, number);
    const ReadDatabase database = reopen();
    EXPECT_TRUE(database.table("T").row_lost);
    EXPECT_EQ(database.dictionary.obstacle(database.table("T")), Obstacle::row_lost);
}

TEST_F(DictionaryTest, AFileWithALostHeaderIsReadAllTheSame) {
    finish_with_table();
    destroy(USERS_FILE, 1);
    ReadDatabase database = reopen();
    EXPECT_EQ(database.read("T").rows, numbered_rows(1, 100));
}

TEST_F(DictionaryTest, TablesWithoutPlainRowsAreNamed) {
    const auto add = [&](const char *name, uint32_t property) {
        sample::TableDef def = table_def(scott(), name, users());
        def.property = property;
        db().add_table(def);
    };
    add("IOT", sample::TABLE_INDEX_ORGANIZED);
    add("NESTED", 0x2000);
    add("EXT", sample::TABLE_EXTERNAL);
    add("TEMPORARY", sample::TABLE_GLOBAL_TEMPORARY);
    sample::TableDef empty = table_def(scott(), "EMPTY", users());
    empty.has_segment = false;
    db().add_table(empty);
    const ReadDatabase database = open();
    const auto obstacle = [&](const char *name) {
        return database.dictionary.obstacle(database.table(name));
    };
    EXPECT_EQ(obstacle("IOT"), Obstacle::index_organized);
    EXPECT_EQ(obstacle("NESTED"), Obstacle::nested);
    EXPECT_EQ(obstacle("EXT"), Obstacle::external);
    EXPECT_EQ(obstacle("TEMPORARY"), Obstacle::temporary);
    EXPECT_EQ(obstacle("EMPTY"), Obstacle::no_storage);
}

TEST_F(NewerDictionaryTest, FragmentsOfLobsAndIndexesHaveSegmentsOfTheirOwn) {
    sample::TableDef def = table_def(scott(), "T", users());
    def.columns.push_back(sample::typed_column("TEXT", 112, 4000));
    def.partitions = {{"P1", std::nullopt, "10", {}}, {"P2", std::nullopt, "MAXVALUE", {}}};
    const size_t table = db().add_table(def);
    const ReadDatabase database = open();
    const Dictionary &d = database.dictionary;
    const sample::TableEntry &entry = db().model().tables[table];
    ASSERT_EQ(d.lobs(entry.place.objn).size(), 1u);
    const LobRecord &lob = d.lobs(entry.place.objn)[0];
    EXPECT_EQ(lob.lob_object, entry.lobs[0].lob.objn);
    const auto fragments = d.lob_fragments(lob.lob_object);
    ASSERT_EQ(fragments.size(), 2u);
    for (size_t i = 0; i < fragments.size(); ++i) {
        const sample::LobFragment &expected = entry.lobs[0].fragments[i];
        EXPECT_EQ(fragments[i].fragment, expected.lob.objn);
        EXPECT_EQ(fragments[i].table_fragment, expected.table);
        EXPECT_EQ(fragments[i].index_fragment, expected.index.objn);
        EXPECT_EQ(fragments[i].tablespace, users());
        EXPECT_EQ(fragments[i].file, expected.lob.file);
        EXPECT_EQ(fragments[i].block, expected.lob.block);
    }
    const auto indexes = d.index_partitions();
    for (const sample::LobFragment &expected : entry.lobs[0].fragments) {
        const auto it = std::ranges::find(indexes, expected.index.objn, &IndexPartitionRecord::object);
        ASSERT_NE(it, indexes.end());
        EXPECT_EQ(it->index, entry.lobs[0].index.objn);
        EXPECT_EQ(it->data_object, expected.index.objd);
        EXPECT_EQ(it->file, expected.index.file);
        EXPECT_EQ(it->block, expected.index.block);
    }
}

namespace {

// Values of added columns that are as long as a value can be, each a few dozen bytes in its row.
class LongDefaultsTest : public DictionaryTest {
protected:
    static constexpr size_t LENGTH = 0xFFFF;

    static sample::DatabaseOptions with_long_defaults() {
        const sample::Bytes stored = sample::zlib_stream(sample::Bytes(LENGTH, 'd'));
        sample::SecureInode inode;
        inode.length = LENGTH;
        inode.compressed = stored.size();
        const sample::Value locator = sample::secure_in_row({}, inode, stored);
        sample::DatabaseOptions options;
        options.layout = {sample::DictionaryVersion::v12, true};
        options.dictionary_hook = [locator](std::string_view name, sample::Row &row, sample::RowPlacement &) {
            constexpr size_t ECOL_VALUE = 2;
            if (name == "ECOL$")
                row[ECOL_VALUE] = locator;
            return true;
        };
        return options;
    }
    LongDefaultsTest() : DictionaryTest(with_long_defaults()) {}
};

} // namespace

// So that rows of a damaged dictionary do not make it grow to a thousand times its size.
TEST_F(LongDefaultsTest, TheValuesOfAddedColumnsTake64MebibytesAtMost) {
    constexpr size_t TABLES = 2, ADDED = 600, MOST = (64 << 20) / LENGTH;
    std::vector<uint32_t> objects;
    for (size_t t = 0; t < TABLES; ++t) {
        sample::TableDef def = table_def(scott(), "T" + std::to_string(t), users());
        for (size_t i = 0; i < ADDED; ++i) {
            sample::ColumnDef column = sample::varchar2_column("C" + std::to_string(i), 4000);
            column.added_default = sample::Bytes{'-'};
            def.columns.push_back(column);
        }
        objects.push_back(db().model().tables[db().add_table(def)].place.objn);
    }
    db().finish();
    const ReadDatabase database = reopen();
    const Dictionary &d = database.dictionary;
    size_t known = 0;
    for (const uint32_t object : objects)
        for (uint32_t column = 3; column < 3 + ADDED; ++column) {
            const DefaultRecord *record = d.added_default(object, column);
            ASSERT_NE(record, nullptr);
            known += !record->value_lost;
            EXPECT_EQ(d.bytes(record->value).size(), record->value_lost ? 0 : LENGTH);
        }
    EXPECT_EQ(known, MOST);
}

TEST_F(NewerDictionaryTest, PrimaryKeysAreInTheOrderOfTheirColumns) {
    sample::TableDef def = table_def(scott(), "T", users());
    def.constraints = {{"T_PK", sample::CONSTRAINT_PRIMARY_KEY, {"NAME", "ID"}},
                       {"T_UK", sample::CONSTRAINT_UNIQUE, {"ID"}}};
    const size_t table = db().add_table(def);
    const ReadDatabase database = open();
    const auto key = database.dictionary.primary_key(db().model().tables[table].place.objn);
    ASSERT_EQ(key.size(), 2u);
    EXPECT_EQ(key[0].internal_column, 2u);
    EXPECT_EQ(key[0].position, 1u);
    EXPECT_EQ(key[1].internal_column, 1u);
}
