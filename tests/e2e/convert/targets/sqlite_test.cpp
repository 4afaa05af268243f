// What vexlo-convert writes for SQLite, read by its own shell.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include "dump_writer.h"
#include "scratch_dir.h"
#include "target_fixtures.h"

using namespace vexlo_test;

namespace {

class Sqlite : public WithSqlite<testing::Test> {
protected:
    void convert(const DumpTable &table, std::vector<std::string> options) {
        Dump dump;
        dump.tables = {table};
        write_text(dir_ / "SCOTT.dat", dump_bytes(dump));
        options.insert(options.end(), {"--output", dir_ / "out", dir_ / "SCOTT.dat"});
        const ProgramResult result = run_convert(options);
        EXPECT_EQ(result.status, 0) << result.err;
    }

    // Converts to a script, which goes through a pipe into a database.
    void load_script(const DumpTable &table) {
        convert(table, {"--to", "sql", "--dialect", "sqlite"});
        const ProgramResult result = run_program({"/bin/sh", "-c",
                                                  "cat '" + (dir_ / "out/SCOTT.T.sql") + "' | " + SHELL +
                                                      " -bail '" + (dir_ / "script.db") + "'"});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err, "");
    }

    std::string query(const std::string &database, const std::string &sql) {
        return query_file(dir_ / database, sql);
    }

    scratch_dir dir_;
};

std::string hex_of(const Bytes &bytes) {
    std::string text;
    for (const char c : bytes) {
        constexpr char DIGITS[] = "0123456789ABCDEF";
        text += DIGITS[static_cast<uint8_t>(c) >> 4];
        text += DIGITS[static_cast<uint8_t>(c) & 0x0F];
    }
    return text;
}

TEST_F(Sqlite, ControlCharactersPassThroughThePipe) {
    Bytes controls = "x";
    for (char c = 0; c < 0x20; ++c)
        controls += c;
    const std::vector<Bytes> texts = {"a\r\nb\r", Bytes("\0\0x", 3), controls, "\n.quit\n",
                                      "\x1A",     "it's\x7F"};
    DumpTable table{.name = "T", .columns = {{"S", 1, 100}}};
    std::string expected;
    for (const Bytes &text : texts) {
        table.rows.push_back(row({value(text)}));
        expected += "text|" + hex_of(text) + "\n";
    }
    load_script(table);
    EXPECT_EQ(query("script.db", "SELECT typeof(S), hex(S) FROM T"), expected);
}

TEST_F(Sqlite, NoExpressionIsTooDeep) {
    Bytes text;
    for (int i = 0; i < 15000; ++i)
        text += "a\r";
    load_script({.name = "T", .columns = {{"S", 8, 0}}, .rows = {row({long_mark()}) + long_block({text})}});
    EXPECT_EQ(query("script.db", "SELECT typeof(S), hex(S) FROM T"), "text|" + hex_of(text) + "\n");
}

TEST_F(Sqlite, NumbersArriveToTheLastBit) {
    std::mt19937_64 random(3);
    DumpTable table{.name = "T", .columns = {{"D", 101, 8}, {"N", 2, 22}}};
    std::string doubles;
    for (int i = 0; i < 3000; ++i) {
        uint64_t bits = random();
        if (i % 10 == 0)
            bits &= 0x800FFFFFFFFFFFFFU; // too small to be normal
        double number;
        std::memcpy(&number, &bits, sizeof number);
        if (!std::isfinite(number))
            continue;
        const Bytes decimal = "0." + std::to_string(100000000000000U + random() % 899999999999999U);
        table.rows.push_back(row({value(ora_binary_double(number)), value(ora_number(decimal))}));
    }
    load_script(table);
    convert(table, {"--to", "sqlite"});
    const std::string bits = "SELECT hex(ieee754_to_blob(D)), typeof(N), hex(ieee754_to_blob(N)) FROM T";
    const std::string from_database = query("out/SCOTT.sqlite", bits);
    EXPECT_GT(from_database.size(), 90000U);
    EXPECT_TRUE(query("script.db", bits) == from_database);
}

TEST_F(Sqlite, RealNumbersWhereTheUserAsksForThem) {
    const DumpTable table{
        .name = "T",
        .columns = {{"N", 2, 22}},
        .rows = {row({value(ora_number("0.1234567890123456789"))}), row({value(ora_number("7"))}),
                 row({value(ora_number("99999999999999999999"))}), row({value(ora_number("-Infinity"))})}};
    convert(table, {"--to", "sqlite"});
    EXPECT_EQ(query("out/SCOTT.sqlite", "SELECT typeof(N) FROM T"), "text\ninteger\ntext\ntext\n");
    convert(table, {"--to", "sqlite", "--numbers", "real"});
    EXPECT_EQ(query("out/SCOTT.sqlite", "SELECT typeof(N) FROM T"), "real\ninteger\nreal\nreal\n");
    EXPECT_EQ(query("out/SCOTT.sqlite", "SELECT N FROM T ORDER BY N LIMIT 2"), "-Inf\n0.123456789012346\n");
}

} // namespace
