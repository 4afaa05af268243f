// Storage that is recognised, and never read as plain rows.
#include "recovered_fixture.h"

namespace {

using namespace sample;
using namespace vexlo_test;

class NotRecovered : public Recovered {
protected:
    // A table whose blocks or dictionary row say that it is stored in another way, beside a plain one.
    void write(uint8_t block_flags, uint8_t data_flags, uint32_t property) {
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
        unload();
        EXPECT_EQ(column("PLAIN", "ID"), numbers(2));
        EXPECT_EQ(column("OTHER", "ID"), csv_row());
        EXPECT_EQ(result_.status, 1) << result_.describe();
        EXPECT_NE(record("OTHER").at("status"), "complete");
        EXPECT_EQ(record("OTHER").at("rows"), 0);
    }
};

TEST_F(NotRecovered, CompressedBlocks) {
    write(CACHE_FLAG_CHECKED, DATA_FLAG_COMPRESSED, 0);
}

TEST_F(NotRecovered, EncryptedBlocks) {
    write(CACHE_FLAG_CHECKED | CACHE_FLAG_ENCRYPTED, 0, 0);
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
