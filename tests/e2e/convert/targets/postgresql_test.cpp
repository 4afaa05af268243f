// What vexlo-convert writes for PostgreSQL, loaded into a server.
#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include "random_values.h"
#include "scratch_dir.h"
#include "target_fixtures.h"

using namespace vexlo_test;

namespace {

class Postgresql : public WithPostgresql<testing::Test> {
protected:
    // A dump of one table.
    std::string dump_of(const DumpTable &table, const std::string &zone = "00:00") {
        Dump dump;
        dump.dbtimezone = zone;
        dump.tables = {table};
        write_text(dir_ / "SCOTT.dat", dump_bytes(dump));
        return dir_ / "SCOTT.dat";
    }

    ProgramResult convert(std::vector<std::string> options) {
        options.insert(options.end(), {"--output", dir_ / "out", dir_ / "SCOTT.dat"});
        return run_convert(options);
    }

    void load_script(const std::string &name = "T") { load_file("SCOTT." + name + ".sql"); }

    void load_file(const std::string &name) {
        const ProgramResult result = server_->run_script(database_, dir_ / ("out/" + name));
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err, "");
    }

    long rows_in(const std::string &table) {
        return std::atol(query("SELECT count(*) FROM " + table).c_str());
    }

    long rejected_rows(const std::string &file) {
        if (!std::filesystem::exists(dir_ / ("out/" + file)))
            return 0;
        const std::string text = read_text(dir_ / ("out/" + file));
        return std::count(text.begin(), text.end(), '\n');
    }

    scratch_dir dir_;
};

constexpr int ROWS = 3000;

// Rows of `columns` columns of one type, on both sides of what the server has for a row: each row has values
// in more of them than the one before.
DumpTable wide_table(const DumpColumn &column, size_t columns, const Bytes &bytes, size_t step) {
    DumpTable table{.name = "T"};
    for (size_t i = 0; i < columns; ++i)
        table.columns.push_back({"C" + std::to_string(i), column.ctyp, column.clen});
    for (size_t filled = step; filled <= columns; filled += step)
        table.rows.push_back(row(std::vector<Bytes>(filled, value(bytes))));
    return table;
}

TEST_F(Postgresql, RowsLargerThanThatOfAPageAreRejected) {
    const DumpTable tables[] = {wide_table({"", 1, 30}, 1000, Bytes(30, 'x'), 20),
                                wide_table({"", 1, 30}, 1000, Bytes(12, 'y'), 20),
                                wide_table({"", 23, 200}, 500, Bytes(200, '\x01'), 10),
                                wide_table({"", 2, 22}, 1600, ora_number("12345678.9"), 40),
                                wide_table({"", 12, 7}, 1200, ora_date(2000, 1, 1), 20)};
    for (const DumpTable &table : tables) {
        dump_of(table);
        const auto rows = static_cast<long>(table.rows.size());
        EXPECT_EQ(convert({"--to", "sql", "--dialect", "postgresql"}).status, 1);
        load_script();
        const long rejected = rejected_rows("SCOTT.T.sql.rejected");
        EXPECT_GT(rejected, 0) << table.columns[0].ctyp;
        EXPECT_LT(rejected, rows / 2 + rows / 4);
        EXPECT_EQ(rows_in("\"T\"") + rejected, rows);

        EXPECT_EQ(convert({"--to", "csv", "--dialect", "postgresql"}).status, 1);
        EXPECT_EQ(rejected_rows("SCOTT.T.csv.rejected"), rejected);
        query("DELETE FROM \"T\"");
        query("\\copy \"T\" FROM '" + (dir_ / "out/SCOTT.T.csv") + "' csv header");
        EXPECT_EQ(rows_in("\"T\"") + rejected, rows);
        query("DROP TABLE \"T\"");
    }
}

TEST_F(Postgresql, TableOfMoreColumnsThanTheServerTakesIsAFailure) {
    Dump dump;
    dump.tables = {wide_table({"", 2, 22}, 1601, ora_number("1"), 1601),
                   {.name = "GOOD", .columns = {{"A", 2, 22}}, .rows = {row({value(ora_number("1"))})}}};
    write_text(dir_ / "SCOTT.dat", dump_bytes(dump));
    for (const char *format : {"sql", "csv"}) {
        const ProgramResult result = convert({"--to", format, "--dialect", "postgresql"});
        EXPECT_EQ(result.status, 2);
        EXPECT_NE(result.err.find("1601 columns are more than the 1600 that the server takes"),
                  std::string::npos)
            << result.err;
        EXPECT_FALSE(std::filesystem::exists(dir_ / ("out/SCOTT.T." + std::string(format))));
        EXPECT_TRUE(std::filesystem::exists(dir_ / ("out/SCOTT.GOOD." + std::string(format))));
    }
}

TEST_F(Postgresql, EveryRowIsLoadedOrRejected) {
    for (const char *zone : {"+02:00", "AMERICAN"}) {
        const std::string name = zone[0] == '+' ? "ZONE" : "NOZONE";
        dump_of(table_of_all_types(name, ROWS, 7), zone);
        EXPECT_EQ(convert({"--to", "sql", "--dialect", "postgresql"}).status, 1);
        load_script(name);
        const long rejected = rejected_rows("SCOTT." + name + ".sql.rejected");
        EXPECT_GT(rejected, 0);
        EXPECT_EQ(rows_in('"' + name + '"') + rejected, ROWS);
    }
}

TEST_F(Postgresql, CsvOfTheDialectLoadsTheSameRowsByCopy) {
    dump_of(table_of_all_types("T", ROWS, 11), "+02:00");
    EXPECT_EQ(convert({"--to", "sql", "--dialect", "postgresql"}).status, 1);
    load_script();
    EXPECT_EQ(convert({"--to", "csv", "--dialect", "postgresql"}).status, 1);
    query("CREATE TABLE \"C\" (LIKE \"T\")");
    const ProgramResult copy =
        server_->command(database_, "\\copy \"C\" from '" + (dir_ / "out/SCOTT.T.csv") + "' csv header");
    EXPECT_EQ(copy.status, 0) << copy.err;
    EXPECT_EQ(rows_in("\"C\"") + rejected_rows("SCOTT.T.csv.rejected"), ROWS);
    const std::string differing = "SELECT count(*) FROM ((TABLE \"T\" EXCEPT TABLE \"C\") UNION ALL "
                                  "(TABLE \"C\" EXCEPT TABLE \"T\")) d";
    EXPECT_EQ(query(differing), "0\n");
}

TEST_F(Postgresql, ValuesArriveAsTheyWere) {
    dump_of(
        {.name = "T",
         .columns = {{"N", 2, 22}, {"S", 1, 40}, {"D", 12, 7}, {"R", 23, 4}, {"B", 101, 8}, {"I", 183, 11}},
         .rows = {row({value(ora_number("-0.1234567890123456789012345678901234567891")),
                       value("tab\tback\\slash\r\n\\.\nend \x01"), value(ora_date(0, 2, 29, 1, 2, 3)),
                       value(Bytes("\x00\xFF", 2)), value(ora_binary_double(0.1)),
                       value(ora_interval_ds(-1, -2, -3, -4, -500000000))}),
                  row({value(ora_number("Infinity"))})}});
    EXPECT_EQ(convert({"--to", "sql", "--dialect", "postgresql"}).status, 0);
    load_script();
    EXPECT_EQ(
        query(
            "SELECT \"N\", encode(convert_to(\"S\", 'UTF8'), 'hex'), \"D\", \"R\", \"B\", \"I\" FROM \"T\""),
        "-0.1234567890123456789012345678901234567891|746162096261636b5c736c6173680d0a5c2e0a656e642001|"
        "0001-02-29 01:02:03 BC|\\x00ff|0.1|-1 days -02:03:04.5\nInfinity|||||\n");
}

TEST_F(Postgresql, RejectedRowsAreKeptWithTheirReason) {
    dump_of({.name = "T",
             .columns = {{"S", 1, 3}, {"D", 12, 7}},
             .rows = {row({value("abcd")}), row({value("\xC3\xA9\xC3\xA9\xC3\xA9")}),
                      row({value(Bytes("a\0b", 3))}), row({null(), value(ora_date(1500, 2, 29))})}});
    const ProgramResult result = convert({"--to", "sql", "--dialect", "postgresql"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(read_text(dir_ / "out/SCOTT.T.sql.rejected"),
              "{\"_ROW\":1,\"_REASON\":\"column \\\"S\\\": 4 characters are more than the 3 "
              "declared\",\"S\":\"abcd\",\"D\":null}\n"
              "{\"_ROW\":3,\"_REASON\":\"column \\\"S\\\": the server has no place for NUL in a "
              "text\",\"S\":\"a\\u0000b\",\"D\":null}\n"
              "{\"_ROW\":4,\"_REASON\":\"column \\\"D\\\": 1500-02-29 00:00:00 is a day that the calendar of "
              "the server "
              "lacks\",\"S\":null,\"D\":\"1500-02-29T00:00:00\"}\n");
    EXPECT_NE(result.err.find("3 rows that the target would refuse are in "), std::string::npos);
    load_script();
    EXPECT_EQ(query("SELECT \"S\" FROM \"T\""), "ééé\n");
    dump_of({.name = "T", .columns = {{"S", 1, 3}}, .rows = {row({value("abc")})}});
    EXPECT_EQ(convert({"--to", "sql", "--dialect", "postgresql"}).status, 0);
    EXPECT_FALSE(std::filesystem::exists(dir_ / "out/SCOTT.T.sql.rejected"));
}

TEST_F(Postgresql, RejectedRowsHaveEachNameOnce) {
    dump_of({.name = "T",
             .columns = {{"_ROW", 1, 3}, {"_REASON", 2, 22}},
             .rows = {row({value("abcd"), value(ora_number("7"))})}});
    EXPECT_EQ(convert({"--to", "sql", "--dialect", "postgresql"}).status, 1);
    EXPECT_EQ(read_text(dir_ / "out/SCOTT.T.sql.rejected"),
              "{\"_ROW\":1,\"_REASON\":\"column \\\"_ROW\\\": 4 characters are more than the 3 declared\","
              "\"_ROW_2\":\"abcd\",\"_REASON_2\":7}\n");
}

TEST_F(Postgresql, RejectedRowsGoToStandardErrorBesideStandardOutput) {
    const std::string file = dump_of({.name = "T", .columns = {{"S", 1, 3}}, .rows = {row({value("abcd")})}});
    const ProgramResult result =
        run_convert({"--to", "csv", "--dialect", "postgresql", "--output", "-", file});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "S\r\n");
    EXPECT_NE(result.err.find("\"S\":\"abcd\"}\n"), std::string::npos);
}

TEST_F(Postgresql, AFailingScriptEndsWithAStatus) {
    dump_of({.name = "T", .columns = {{"S", 1, 3}}, .rows = {row({value("abc")})}});
    convert({"--to", "sql", "--dialect", "postgresql"});
    load_script();
    EXPECT_NE(server_->run_script(database_, dir_ / "out/SCOTT.T.sql").status, 0);
    EXPECT_EQ(rows_in("\"T\""), 1);
}

TEST_F(Postgresql, FinerFractionsAreRoundedAndTold) {
    dump_of({.name = "T",
             .columns = {{"A", 180, 11}},
             .rows = {row({value(ora_timestamp(ora_date(2024, 1, 1), 123456700))}),
                      row({value(ora_timestamp(ora_date(2024, 1, 1), 5000))})}});
    const ProgramResult result = convert({"--to", "sql", "--dialect", "postgresql"});
    EXPECT_NE(result.err.find("1 values are finer than microseconds"), std::string::npos);
    load_script();
    EXPECT_EQ(query("SELECT * FROM \"T\""), "2024-01-01 00:00:00.123457\n2024-01-01 00:00:00.000005\n");
}

// Every hundredth half between two microseconds, and the last of a year, goes to the even one.
TEST_F(Postgresql, HalvesAreRoundedToEven) {
    DumpTable table{.name = "T", .columns = {{"K", 2, 22}, {"A", 180, 11}, {"I", 183, 11}}};
    for (int k = 0; k < 1000000; k += k < 999900 ? 101 : 1)
        table.rows.push_back(row(
            {value(ora_number(std::to_string(k))),
             value(ora_timestamp(ora_date(1999, 12, 31, 23, 59, 59), static_cast<uint32_t>(k) * 1000 + 500)),
             value(ora_interval_ds(2, 23, 59, 59, k * 1000 + 500))}));
    dump_of(table);
    for (const char *format : {"sql", "csv"}) {
        EXPECT_EQ(convert({"--to", format, "--dialect", "postgresql"}).status, 0);
        if (format == std::string("sql")) {
            load_script();
        } else {
            query("DELETE FROM \"T\"");
            query("\\copy \"T\" FROM '" + (dir_ / "out/SCOTT.T.csv") + "' csv header");
        }
        EXPECT_EQ(rows_in("\"T\""), static_cast<long>(table.rows.size()));
        const std::string micros = "(\"K\" + \"K\" % 2) * interval '1 microsecond'";
        EXPECT_EQ(
            query("SELECT count(*) FROM \"T\" WHERE \"A\" <> '1999-12-31 23:59:59'::timestamp + " + micros),
            "0\n");
        EXPECT_EQ(query("SELECT count(*) FROM \"T\" WHERE \"I\" <> interval '2 days 23:59:59' + " + micros),
                  "0\n");
    }
}

TEST_F(Postgresql, LocalTimeOfAnUnknownZoneIsNotShiftedByTheSession) {
    dump_of({.name = "T",
             .columns = {{"L", 231, 11}},
             .rows = {row({value(ora_timestamp(ora_date(2024, 1, 1, 12), 0))})}},
            "AMERICAN");
    EXPECT_EQ(convert({"--to", "sql", "--dialect", "postgresql"}).status, 0);
    query("ALTER DATABASE " + database_ + " SET timezone = 'Asia/Tokyo'");
    load_script();
    EXPECT_EQ(query("SET timezone = 'America/New_York'; SELECT * FROM \"T\""), "2024-01-01 12:00:00\n");
}

// The server would take it for a table of its own.
TEST_F(Postgresql, TablesOfTheServerAreNotLoadedInto) {
    dump_of({.name = "PG_CLASS", .columns = {{"OID", 2, 22}}, .rows = {row({value(ora_number("7"))})}});
    const ProgramResult result = convert({"--to", "sql", "--dialect", "postgresql", "--lowercase"});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.err.find("table \"PG_CLASS\": is named \"_pg_class\"\n"), std::string::npos)
        << result.err;
    load_file("scott._pg_class.sql");
    EXPECT_EQ(query("SELECT oid FROM _pg_class"), "7\n");
}

TEST_F(Postgresql, TablesAndRowsApart) {
    dump_of({.name = "T", .columns = {{"XMIN", 1, 3}}, .rows = {row({value("abc")})}});
    EXPECT_EQ(convert({"--to", "sql", "--dialect", "postgresql", "--lowercase", "--ddl-only"}).status, 0);
    load_file("scott.t.ddl.sql");
    EXPECT_EQ(query("SELECT count(*) FROM t"), "0\n");
    EXPECT_EQ(convert({"--to", "sql", "--dialect", "postgresql", "--lowercase", "--data-only"}).status, 0);
    load_file("scott.t.data.sql");
    EXPECT_EQ(query("SELECT xmin_ FROM t"), "abc\n");
}

} // namespace
