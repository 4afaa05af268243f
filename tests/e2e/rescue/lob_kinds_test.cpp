// Columns whose values are LOBs of one kind or another, whatever their type is called, and LOBs that are not
// recovered.
#include <filesystem>

#include "recovered_fixture.h"
#include "sample/lob_data.h"
#include "sample/lob_locator.h"

namespace {

using namespace sample;
using namespace vexlo_test;

constexpr uint32_t OPAQUE_TYPE = 58;
constexpr uint32_t COMPRESS_LOW_FLAG = 0x2000, DEDUPLICATE_FLAG = 0x10000;

LobStorage secure_file(bool compress = false, uint32_t flags = 1) {
    LobStorage storage;
    storage.secure = true;
    storage.compress = compress;
    storage.flags = flags;
    return storage;
}

ColumnDef lob_column(const std::string &name, uint32_t type, const LobStorage &storage = {},
                     uint32_t form = 1) {
    ColumnDef column = typed_column(name, type, 4000);
    column.charset_form = type == BLOB_TYPE ? 0 : form;
    column.lobs = storage;
    return column;
}

class LobKinds : public Recovered {
protected:
    // Texts of these lengths in UTF-16 units, in the column at `column`, row by row.
    void insert_texts(size_t table, size_t column, const std::vector<size_t> &sizes, Row row = {},
                      size_t part = 0, size_t sub = 0) {
        row.resize(db_->model().tables[table].def.columns.size());
        for (const size_t size : sizes) {
            const std::u16string text = lob_characters({1, ++id_, 1}, size, db_->lob_is_wide(table, column));
            row[0] = number(static_cast<int64_t>(id_));
            row[column] = db_->store_lob(table, column, utf16_bytes(text), {}, part, sub);
            db_->insert(table, row, {}, part, sub);
            texts_.push_back(utf8_text(text));
        }
    }

    uint64_t id_ = 0;
    csv_row texts_;
};

const std::vector<size_t> SIZES = {0, 1, 1982, 1983, 4066, 4067, 20000};

TEST_F(LobKinds, XmlTypeIsTheTextOfItsHiddenColumn) {
    open();
    ColumnDef document = typed_column("DOC", OPAQUE_TYPE, 2000);
    document.stored = false;
    document.col = 2;
    ColumnDef hidden = lob_column("SYS_NC00003$", CLOB_TYPE);
    hidden.property = COLUMN_HIDDEN;
    hidden.col = 2;
    insert_texts(add("X", {number_column("ID"), document, hidden}), 2, SIZES);
    unload();
    EXPECT_EQ(header("X"), (csv_row{"ID", "DOC"}));
    EXPECT_EQ(column("X", "DOC"), texts_);
    EXPECT_EQ(result_.status, 0) << result_.describe();
}

TEST_F(LobKinds, LongVarchar2ColumnsAreLobs) {
    open();
    ColumnDef text = varchar2_column("TEXT", 32767);
    text.property = COLUMN_LOB_INSIDE;
    text.lobs = secure_file();
    insert_texts(add("V", {number_column("ID"), text}), 1, {1, 1982, 1983, 10000});
    unload();
    EXPECT_EQ(column("V", "TEXT"), texts_);
    EXPECT_EQ(result_.status, 0) << result_.describe();
    unload({"--overwrite", "--to", "sql", "--dialect", "oracle"});
    EXPECT_NE(read_text(dir_.file("out/SCOTT.V.sql")).find("\"TEXT\" CLOB"), std::string::npos);
}

// The locator of a BLOB in place of that of a CLOB, whose data is in the form of shorter values.
Value as_bytes(Value locator) {
    constexpr size_t TYPE = 4, FORM = 6, UNITS = 9;
    locator->at(TYPE) = 1;
    locator->at(FORM) = 0;
    locator->at(UNITS) = 1;
    return locator;
}

// Characters of two bytes, so that the ends of blocks part some.
TEST_F(LobKinds, LongVarchar2ColumnsMayBeKeptAsTheBytesOfTheirCharacters) {
    open();
    ColumnDef wide = varchar2_column("TEXT", 32767), national = varchar2_column("NATIONAL", 32767);
    for (ColumnDef *column : {&wide, &national}) {
        column->property = COLUMN_LOB_INSIDE;
        column->lobs = secure_file();
    }
    national.charset_form = 2;
    const size_t t = add("V", {number_column("ID"), wide, national});
    csv_row expected;
    for (const size_t size : {0U, 1U, 100U, 1500U, 4031U, 16000U}) {
        std::u16string characters(size, u'\u00E9');
        if (size > 1)
            characters[0] = u'x';
        const std::string utf8 = utf8_text(characters);
        expected.push_back(utf8);
        db_->insert(t, {number(1), as_bytes(db_->store_lob(t, 1, Bytes(utf8.begin(), utf8.end()))),
                        as_bytes(db_->store_lob(t, 2, utf16_bytes(characters)))});
    }
    for (const char *lobs : {"inline", "files"}) {
        unload({"--overwrite", "--lobs", lobs});
        EXPECT_EQ(result_.status, 0) << result_.describe();
        for (const char *name : {"TEXT", "NATIONAL"}) {
            csv_row texts = column("V", name);
            if (std::string(lobs) == "files")
                for (auto &text : texts)
                    text = read_text(dir_.file("out/" + *text));
            EXPECT_TRUE(texts == expected) << name << " " << lobs;
        }
    }
}

TEST_F(LobKinds, NclobIsInTheNationalCharacterSet) {
    open();
    db_->set_property("NLS_CHARACTERSET", "WE8ISO8859P1");
    insert_texts(add("N", {number_column("ID"), lob_column("TEXT", CLOB_TYPE, {}, 2)}), 1, SIZES);
    unload();
    EXPECT_EQ(column("N", "TEXT"), texts_);
    EXPECT_EQ(result_.status, 0) << result_.describe();
}

TEST_F(LobKinds, JsonComesOutAsItsBytes) {
    open();
    const size_t t = add("J", {number_column("ID"), lob_column("DOC", TYPE_JSON, secure_file(), 0)});
    const Bytes small = lob_bytes({1, 1, 1}, 20), large = lob_bytes({1, 2, 1}, 9000);
    db_->insert(t, {number(1), db_->store_lob(t, 1, small)});
    db_->insert(t, {number(2), db_->store_lob(t, 1, large)});
    unload();
    EXPECT_EQ(column("J", "DOC"), (csv_row{to_hex(small), to_hex(large)}));
    EXPECT_EQ(result_.status, 0) << result_.describe();
    unload({"--overwrite", "--to", "sql", "--dialect", "postgresql"});
    EXPECT_NE(read_text(dir_.file("out/SCOTT.J.sql")).find("\"DOC\" bytea"), std::string::npos);
}

TEST_F(LobKinds, BfileIsItsDirectoryAndName) {
    open();
    const size_t t = add("B", {number_column("ID"), typed_column("FILE", TYPE_BFILE, 530)});
    Bytes locator(16);
    locator[4] = 0x08;
    for (const std::string_view name : {"DOCS", "a report.pdf"}) {
        append_be16(locator, static_cast<uint16_t>(name.size()));
        locator.insert(locator.end(), name.begin(), name.end());
    }
    db_->insert(t, {number(1), locator});
    db_->insert(t, {number(2), null_value()});
    for (const char *lobs : {"inline", "files"}) {
        unload({"--overwrite", "--lobs", lobs});
        EXPECT_EQ(column("B", "FILE"), (csv_row{"DOCS/a report.pdf", std::nullopt}));
        EXPECT_EQ(result_.status, 0) << result_.describe();
    }
}

TEST_F(LobKinds, NamesOfBfilesAreInTheCharacterSetOfTheDatabase) {
    open();
    db_->set_property("NLS_CHARACTERSET", "WE8ISO8859P1");
    const size_t t = add("B", {number_column("ID"), typed_column("FILE", TYPE_BFILE, 530)});
    Bytes locator(16);
    locator[4] = 0x08;
    for (const std::string_view name : {"DIR\xC9", "caf\xE9.txt"}) {
        append_be16(locator, static_cast<uint16_t>(name.size()));
        locator.insert(locator.end(), name.begin(), name.end());
    }
    db_->insert(t, {number(1), locator});
    unload();
    EXPECT_EQ(column("B", "FILE"), csv_row{"DIR\u00C9/caf\u00E9.txt"});
    EXPECT_EQ(result_.status, 0) << result_.describe();
    EXPECT_EQ(result_.err, "");
}

// Without maps the index is found by its blocks, and its leaves tell that none of it is missing.
TEST_F(LobKinds, EmptyOnesOutOfTheRowAreEmptyWithoutMapsToo) {
    open();
    LobStorage storage;
    storage.in_row = false;
    insert_texts(add("T", {number_column("ID"), lob_column("TEXT", CLOB_TYPE, storage)}), 1, SIZES);
    unload({"--ignore-maps"});
    EXPECT_EQ(column("T", "TEXT"), texts_);
    EXPECT_EQ(result_.status, 0) << result_.describe();
}

// A leaf that was lost reads as a block that was never written.
TEST_F(LobKinds, PagesOfALostLeafOfTheIndexAreFoundByTheirBlocks) {
    constexpr size_t BLOCK = 2048, PAGE = BLOCK - 60, INDEX_HEADER = 100;
    DatabaseOptions options;
    options.block_size = BLOCK;
    open(options);
    const size_t t = add("T", {number_column("ID"), lob_column("DATA", BLOB_TYPE)});
    csv_row expected;
    for (uint64_t id = 1; id <= 40; ++id) {
        const Bytes data = lob_bytes({1, id, 1}, 30 * PAGE + id);
        db_->insert(t, {number(static_cast<int64_t>(id)), db_->store_lob(t, 1, data)});
        expected.push_back(to_hex(data));
    }
    db_->finish();
    finished_ = true;
    const std::string image = read_text(users_file());
    std::vector<size_t> leaves;
    for (size_t at = 0; at + BLOCK <= image.size(); at += BLOCK)
        if (image[at] == 6 && image[at + 20] == 2 && image[at + INDEX_HEADER] == 0)
            leaves.push_back(at);
    ASSERT_GE(leaves.size(), 3u);
    patch_file(users_file(), leaves[1], vexlo_test::bytes(BLOCK));
    unload();
    EXPECT_TRUE(column("T", "DATA") == expected);
    EXPECT_EQ(result_.status, 0) << result_.describe();
}

TEST_F(LobKinds, EveryPartitionHasItsSegments) {
    DatabaseOptions options;
    options.layout.full = true;
    open(options);
    TableDef plain = table("P", {number_column("ID"), lob_column("TEXT", CLOB_TYPE)});
    plain.partitions = {{"P1", {}, "1", {}}, {"P2", {}, "2", {}}};
    TableDef composite = table("C", {number_column("ID"), lob_column("TEXT", CLOB_TYPE, secure_file())});
    composite.partitions = {{"P1", {}, "1", {{"S1", {}}, {"S2", {}}}}};
    const size_t p = db_->add_table(plain), c = db_->add_table(composite);
    insert_texts(p, 1, SIZES, {}, 0);
    insert_texts(p, 1, SIZES, {}, 1);
    const csv_row plain_texts = std::exchange(texts_, {});
    insert_texts(c, 1, SIZES, {}, 0, 0);
    insert_texts(c, 1, SIZES, {}, 0, 1);
    unload();
    EXPECT_EQ(column("P", "TEXT"), plain_texts);
    EXPECT_EQ(column("C", "TEXT"), texts_);
    EXPECT_EQ(result_.status, 0) << result_.describe();
}

TEST_F(LobKinds, HolesAreZerosAndSpaces) {
    open();
    LobStorage storage;
    storage.in_row = false;
    const size_t b = add("B", {number_column("ID"), lob_column("DATA", BLOB_TYPE, storage)});
    const size_t c = add("C", {number_column("ID"), lob_column("DATA", CLOB_TYPE, storage)});
    constexpr size_t PAGE = 8132;
    Bytes bytes = lob_bytes({1, 1, 1}, 15 * PAGE);
    LobPlacement placement;
    placement.holes = {0, 5, 13};
    db_->insert(b, {number(1), db_->store_lob(b, 1, bytes, placement)});
    const std::u16string text(15 * PAGE / 2, u'x');
    db_->insert(c, {number(1), db_->store_lob(c, 1, utf16_bytes(text), placement)});
    unload();
    std::string expected(text.size(), 'x');
    for (const size_t hole : placement.holes) {
        std::fill_n(bytes.begin() + static_cast<ptrdiff_t>(hole * PAGE), PAGE, 0);
        std::fill_n(expected.begin() + static_cast<ptrdiff_t>(hole * PAGE / 2), PAGE / 2, ' ');
    }
    EXPECT_EQ(column("B", "DATA"), csv_row{to_hex(bytes)});
    EXPECT_EQ(column("C", "DATA"), csv_row{expected});
    EXPECT_EQ(result_.status, 0) << result_.describe();
}

TEST_F(LobKinds, OldVersionsOfSecureFilesAreNoData) {
    open();
    const size_t t = add("T", {number_column("ID"), lob_column("DATA", BLOB_TYPE, secure_file())});
    const Bytes bytes = lob_bytes({1, 1, 1}, 50000);
    LobPlacement placement;
    placement.old_versions = 2;
    db_->insert(t, {number(1), db_->store_lob(t, 1, bytes, placement)});
    unload();
    EXPECT_EQ(column("T", "DATA"), csv_row{to_hex(bytes)});
}

TEST_F(LobKinds, ManySmallOnes) {
    open();
    LobStorage out_of_row;
    out_of_row.in_row = false;
    const size_t t =
        add("T", {number_column("ID"), lob_column("A", CLOB_TYPE), lob_column("B", CLOB_TYPE, out_of_row)});
    csv_row in_row, outside;
    for (uint64_t id = 1; id <= 2000; ++id) {
        const std::u16string a = lob_characters({1, id, 1}, id % 300),
                             b = lob_characters({1, id, 2}, id % 90);
        db_->insert(t, {number(static_cast<int64_t>(id)), db_->store_lob(t, 1, utf16_bytes(a)),
                        db_->store_lob(t, 2, utf16_bytes(b))});
        in_row.push_back(utf8_text(a));
        outside.push_back(utf8_text(b));
    }
    unload({"--jobs", "3"});
    EXPECT_EQ(column("T", "A"), in_row);
    EXPECT_EQ(column("T", "B"), outside);
    EXPECT_EQ(result_.status, 0) << result_.describe();
}

// A locator is that of a file outside the database where the column is, not where one of its flags says so.
TEST_F(LobKinds, ALocatorOfAnotherTypeIsSaidWithItsBytes) {
    open();
    const size_t t = add("T", {number_column("ID"), lob_column("DATA", BLOB_TYPE)});
    Value damaged = db_->store_lob(t, 1, lob_bytes({1, 1, 1}, 10));
    damaged->at(4) |= 0x08;
    db_->insert(t, {number(1), damaged});
    unload();
    EXPECT_EQ(result_.status, 1);
    EXPECT_EQ(column("T", "_REASON", true), csv_row{"the locator is of a type that is not known: " +
                                                    to_hex(*damaged).substr(0, 80) + "..."});
    EXPECT_NE(result_.err.find("1 LOB locators are not understood"), std::string::npos) << result_.err;
}

// Output does not grow beyond all bounds by rows alone: sound LOBs have blocks of their own.
TEST_F(LobKinds, LobsThatTooManyRowsLeadToAreSuspect) {
    open();
    for (const bool secure : {false, true}) {
        SCOPED_TRACE(secure);
        const std::string name = secure ? "S" : "B";
        const size_t t = add(name, {number_column("ID"),
                                    lob_column("DATA", BLOB_TYPE, secure ? secure_file() : LobStorage())});
        const Bytes bytes = lob_bytes({1, 1, 1}, 500000);
        const Value locator = db_->store_lob(t, 1, bytes);
        for (int64_t i = 1; i <= 200; ++i)
            db_->insert(t, {number(i), locator});
    }
    unload();
    EXPECT_EQ(result_.status, 1);
    const uint64_t most = 9 * std::filesystem::file_size(users_file()) / 500000;
    for (const char *name : {"B", "S"}) {
        EXPECT_EQ(rows(name).size() + rows(name, true).size(), 200u);
        EXPECT_GE(rows(name).size(), 8u);
        EXPECT_LE(rows(name).size(), most);
        const csv_row reasons = column(name, "_REASON", true), values = column(name, "DATA", true);
        ASSERT_FALSE(reasons.empty());
        EXPECT_EQ(reasons.front(), "more LOBs lead to the blocks of the segment than can have any");
        EXPECT_EQ(values.front(), std::nullopt);
    }
}

// Rows of enough blocks for several threads, whose LOBs lead to the same blocks again and again, and rows
// that tell something on the way.
TEST_F(LobKinds, WhichOfThemAreReadDoesNotDependOnTheThreads) {
    open();
    const Bytes no_number{0xC1, 0xFF};
    const size_t t = add("T", {number_column("ID"), lob_column("DATA", CLOB_TYPE), number_column("N"),
                               varchar2_column("FILL", 2000)});
    const Value locator = db_->store_lob(t, 1, utf16_bytes(std::u16string(100000, u'x')));
    for (int64_t i = 1; i <= 1000; ++i)
        db_->insert(t, {number(i), i > 500 ? locator : null_value(),
                        i % 50 == 0 ? Value(no_number) : number(i), text(std::string(1700, 'f'))});
    for (const std::string format : {"csv", "sqlite"}) {
        SCOPED_TRACE(format);
        std::map<std::string, std::string> outputs;
        std::string messages;
        for (const std::string jobs : {"1", "2", "5"}) {
            SCOPED_TRACE(jobs);
            unload({"--overwrite", "--to", format, "--jobs", jobs});
            EXPECT_EQ(result_.status, 1);
            EXPECT_NE(result_.err.find("more LOBs lead to the blocks"), std::string::npos) << result_.err;
            EXPECT_GT(record("T").at("suspect_rows"), 100);
            if (jobs == "1") {
                outputs = read_outputs(dir_.file("out"));
                messages = result_.err;
            }
            EXPECT_TRUE(read_outputs(dir_.file("out")) == outputs);
            EXPECT_EQ(result_.err, messages);
        }
    }
}

// Kinds that are named and counted.
class LobsNotRecovered : public Recovered {
protected:
    // Unloads a table whose row 1 holds `lob` and expects it among the suspect rows.
    void expect_lost(size_t table, const Value &lob, const std::string &reason, uint64_t bytes) {
        db_->insert(table, {number(1), lob});
        db_->insert(table, {number(2), null_value()});
        unload();
        EXPECT_EQ(result_.status, 1);
        EXPECT_EQ(column("T", "ID"), csv_row{"2"});
        EXPECT_EQ(column("T", "ID", true), csv_row{"1"});
        EXPECT_EQ(column("T", "_REASON", true), csv_row{reason});
        EXPECT_EQ(column("T", "DATA", true), csv_row{""});
        EXPECT_NE(result_.err.find("1 LOBs are not whole, their rows are suspect: " + reason + ", " +
                                   std::to_string(bytes) + " bytes are missing"),
                  std::string::npos)
            << result_.err;
        EXPECT_EQ(record("T").at("status"), "partial");
    }

    size_t table_of(const LobStorage &storage, uint64_t property = 0) {
        open();
        ColumnDef data = lob_column("DATA", BLOB_TYPE, storage);
        data.property = property;
        return add("T", {number_column("ID"), data});
    }
};

TEST_F(LobsNotRecovered, ListsOfExtents) {
    const size_t t = table_of(secure_file());
    SecureInode inode;
    inode.length = 100000000;
    expect_lost(t, secure_list({}, inode, 0x1000781),
                "the LOB lies behind a list of extents, which is not decoded", 100000000);
}

TEST_F(LobsNotRecovered, EncryptedLobs) {
    const size_t t = table_of(secure_file(), COLUMN_ENCRYPTED);
    expect_lost(t, db_->store_lob(t, 1, lob_bytes({1, 1, 1}, 500)), "the LOB is encrypted", 500);
}

TEST_F(LobsNotRecovered, DeduplicatedLobs) {
    const size_t t = table_of(secure_file(false, DEDUPLICATE_FLAG));
    Value other = db_->store_lob(t, 1, lob_bytes({1, 1, 1}, 20000));
    other->at(19) ^= 0xFF; // the LOB that the blocks belong to is another one
    expect_lost(t, other, "the LOB is deduplicated, which is not decoded", 20000);
}

TEST_F(LobsNotRecovered, LobsCompressedLow) {
    const size_t t = table_of(secure_file(true, COMPRESS_LOW_FLAG));
    SecureInode inode;
    inode.length = 3000;
    inode.compressed = 50;
    const Bytes stored(50, 0x11);
    expect_lost(t, secure_in_row({}, inode, stored),
                "the LOB is compressed by the method LOW, which is not decoded", 3000);
}

// Options of the column alone lose nothing: LOBs may be older.
TEST_F(LobsNotRecovered, OptionsOfTheColumnDoNotMatterWhereALobCanBeRead) {
    const size_t t = table_of(secure_file(true, COMPRESS_LOW_FLAG | DEDUPLICATE_FLAG));
    const Bytes bytes(20000, 'x');
    db_->insert(t, {number(1), db_->store_lob(t, 1, bytes)});
    unload();
    EXPECT_EQ(column("T", "DATA"), csv_row{to_hex(bytes)});
    EXPECT_EQ(result_.status, 0) << result_.describe();
}

} // namespace
