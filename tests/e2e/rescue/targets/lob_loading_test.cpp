// LOBs loaded into a PostgreSQL server, compared byte by byte.
#include "lob_rows.h"
#include "target_fixtures.h"

namespace {

using namespace vexlo_test;

class LobsIntoPostgresql : public WithPostgresql<LobRows> {
protected:
    void SetUp() override {
        WithPostgresql::SetUp();
        if (!IsSkipped() && !HasFatalFailure())
            LobRows::SetUp();
    }

    // The value that `expression` has in a row, "NULL" for none.
    std::string value_in(size_t id, const std::string &expression) {
        std::string line = query("SELECT coalesce(" + expression +
                                 ", 'NULL') FROM \"T\" WHERE \"ID\" = " + std::to_string(id));
        if (!line.empty())
            line.pop_back();
        return line;
    }

    // psql leaves characters that Unicode has not assigned out of texts that it prints.
    static std::string hex_of(const std::string &bytes) { return "upper(encode(" + bytes + ", 'hex'))"; }

    void expect_all_rows() {
        EXPECT_EQ(query("SELECT count(*) FROM \"T\""), std::to_string(ROWS.size()) + "\n");
        for (size_t id = 1; id <= ROWS.size(); ++id) {
            SCOPED_TRACE(id);
            EXPECT_EQ(value_in(id, "\"N\"::text"), std::to_string(id));
            const std::string text = text_of(id);
            EXPECT_TRUE(value_in(id, hex_of("convert_to(\"C\", 'UTF8')")) ==
                        (size_of(id, 1) ? to_hex(bytes(text.begin(), text.end())) : "NULL"));
            for (const uint32_t column : {2u, 4u}) {
                const char *const name = column == 2 ? "\"B\"" : "\"E\"";
                EXPECT_TRUE(value_in(id, hex_of(name)) ==
                            (size_of(id, column) ? to_hex(bytes_of(id, column)) : "NULL"))
                    << name;
            }
        }
    }
};

TEST_F(LobsIntoPostgresql, ByTheScript) {
    unload({"--to", "sql", "--dialect", "postgresql"});
    EXPECT_EQ(result_.status, 0) << result_.describe();
    const ProgramResult loaded = server_->run_script(database_, dir_.file("out/SCOTT.T.sql"));
    EXPECT_EQ(loaded.status, 0) << loaded.err;
    EXPECT_EQ(loaded.err, "");
    expect_all_rows();
}

TEST_F(LobsIntoPostgresql, ByCopyOfCsv) {
    unload({"--to", "csv", "--dialect", "postgresql"});
    EXPECT_EQ(result_.status, 0) << result_.describe();
    query("CREATE TABLE \"T\" (\"ID\" numeric, \"C\" text, \"B\" bytea, \"N\" numeric, \"E\" bytea)");
    query("\\copy \"T\" FROM '" + dir_.file("out/SCOTT.T.csv") + "' csv header");
    expect_all_rows();
}

} // namespace
