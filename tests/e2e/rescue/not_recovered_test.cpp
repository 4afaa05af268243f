// Storage that is recognised, and never read as plain rows.
#include "recovered_fixture.h"

namespace {

using namespace sample;
using namespace vexlo_test;

class NotRecovered : public Recovered {
protected:
    // A table whose blocks or dictionary row say that it is stored in another way, beside a plain one.
    void write(uint8_t block_flags, uint8_t data_flags, uint32_t property) {
        add_tables(block_flags, data_flags, property);
        unload();
        expect_plain_rows_alone();
    }

    void add_tables(uint8_t block_flags, uint8_t data_flags, uint32_t property) {
        open();
        TableDef def = table("OTHER", {number_column("ID")});
        def.segment.block_flags = block_flags;
        def.segment.data_flags = data_flags;
        def.property = property;
        for (const TableDef &d : {def, table("PLAIN", {number_column("ID")})}) {
            const size_t t = db_->add_table(d);
            db_->insert(t, {number(1)});
            db_->insert(t, {number(2)});
        }
    }

    void expect_plain_rows_alone() const {
        EXPECT_EQ(column("PLAIN", "ID"), numbers(2));
        EXPECT_EQ(column("OTHER", "ID"), csv_row());
        EXPECT_EQ(result_.status, 1) << result_.describe();
        EXPECT_NE(record("OTHER").at("status"), "complete");
        EXPECT_EQ(record("OTHER").at("rows"), 0);
    }

    // Makes the bodies of encrypted blocks what they are without the key.
    void scramble_encrypted_blocks() const {
        const std::string content = read_text(users_file());
        for (size_t at = 0; at < content.size(); at += block_size()) {
            if (content[at] != 6 || (content[at + 15] & CACHE_FLAG_ENCRYPTED) == 0)
                continue;
            Bytes body(content.begin() + static_cast<std::ptrdiff_t>(at + 20),
                       content.begin() + static_cast<std::ptrdiff_t>(at + block_size() - 4));
            for (size_t i = 0; i < body.size(); i++)
                body[i] = static_cast<uint8_t>(body[i] ^ (i * 37 + 91));
            patch_file(users_file(), block_size(), static_cast<uint32_t>(at / block_size()), 20, body, true);
        }
    }
};

TEST_F(NotRecovered, CompressedBlocks) {
    write(CACHE_FLAG_CHECKED, DATA_FLAG_COMPRESSED, 0);
}

TEST_F(NotRecovered, EncryptedBlocks) {
    write(CACHE_FLAG_CHECKED | CACHE_FLAG_ENCRYPTED, 0, 0);
}

TEST_F(NotRecovered, EncryptedBlocksWhereMapsAreIgnored) {
    add_tables(CACHE_FLAG_CHECKED | CACHE_FLAG_ENCRYPTED, 0, 0);
    db_->finish();
    finished_ = true;
    scramble_encrypted_blocks();
    unload({"--ignore-maps"});
    expect_plain_rows_alone();
    EXPECT_EQ(record("OTHER").at("reason"), "1 encrypted blocks not recovered");
}

// A column of an object type has no place in the row: its attributes are hidden columns of its number.
TEST_F(NotRecovered, ColumnsOfObjectTypesAreNamedAndTheirAttributesAreHiddenColumns) {
    open();
    constexpr uint32_t TYPE_OBJECT = 121, ADDRESS = 2;
    ColumnDef address = typed_column("ADDRESS", TYPE_OBJECT, 1);
    address.stored = false;
    ColumnDef street = varchar2_column("SYS_NC00003$", 30);
    street.property = COLUMN_HIDDEN;
    street.col = ADDRESS;
    const size_t t = add("T", {number_column("ID"), address, street, number_column("LAST")});
    db_->insert(t, {number(1), null_value(), text("Main Street"), number(9)});
    unload();
    EXPECT_EQ(rows("T"), (std::vector<csv_row>{{"1", std::nullopt, "9"}}));
    EXPECT_EQ(record("T").at("status"), "partial");
    EXPECT_EQ(record("T").at("reason"), "1 columns of object types not recovered");
    EXPECT_EQ(result_.err, "");
    const run_result listed = run_rescue({"list", "--files", dir_.file("db/*.dbf")});
    EXPECT_NE(listed.out.find("1 columns of object types\n"), std::string::npos) << listed.out;

    unload({"--hidden", "--overwrite"});
    EXPECT_EQ(rows("T"), (std::vector<csv_row>{{"1", std::nullopt, "9", "Main Street"}}));
    EXPECT_EQ(record("T").at("status"), "complete");
}

TEST_F(NotRecovered, IndexOrganizedTables) {
    write(CACHE_FLAG_CHECKED, 0, TABLE_INDEX_ORGANIZED);
}

TEST_F(NotRecovered, NestedTables) {
    write(CACHE_FLAG_CHECKED, 0, TABLE_NESTED);
}

TEST_F(NotRecovered, ExternalTables) {
    write(CACHE_FLAG_CHECKED, 0, TABLE_EXTERNAL);
}

} // namespace
