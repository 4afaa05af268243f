// From datafile to what people load next: rows go into a database, and the same rows must come out of the
// recovered dump in every format, read back by another program's reader.
#include <gtest/gtest.h>

#include "emp_csv.h"
#include "process.h"
#include "programs.h"
#include "sample/demo.h"
#include "scratch_dir.h"

namespace {

using namespace sample;
using vexlo_test::program_path;
using vexlo_test::run_process;
using vexlo_test::run_result;
using vexlo_test::run_vexlo;
using vexlo_test::scratch_dir;

std::string read_back(const std::string &format, const std::string &path, const std::string &table) {
    const run_result result = run_process({PYTHON_PROGRAM, READ_BACK_SCRIPT, format, path, table});
    EXPECT_EQ(result.status, 0) << result.describe();
    return result.out;
}

// One row of every type, one with little in it, one cut in the middle of a long text, and one that has
// migrated.
void write_types(Database &db) {
    TablespaceDef tablespace;
    tablespace.name = "USERS";
    tablespace.files = 2;
    const uint32_t users = db.add_tablespace(tablespace);
    UserDef user;
    user.name = "SCOTT";
    const size_t table = db.add_table(
        table_def(db.add_user(user), "TYPES", users,
                  {number_column("ID"), varchar2_column("NAME", 400), char_column("PAD", 5),
                   date_column("BORN"), typed_column("AT", TYPE_TIMESTAMP, 11),
                   typed_column("ZONED", TYPE_TIMESTAMP_TZ, 13), typed_column("YM", TYPE_INTERVAL_YM, 5),
                   typed_column("DS", TYPE_INTERVAL_DS, 11), typed_column("F", TYPE_BINARY_FLOAT, 4),
                   typed_column("D", TYPE_BINARY_DOUBLE, 8), typed_column("BIN", TYPE_RAW, 20)}));
    const Row rest = {padded("ab", 5),
                      date({2024, 2, 29, 1, 2, 3}),
                      timestamp({9999, 12, 31, 23, 59, 59}, 123456789),
                      timestamp_tz({2024, 6, 1, 12}, 0, -90),
                      interval_ym(-1, -2),
                      interval_ds(1, 2, 3, 4, 500000000),
                      binary_float(0.1F),
                      binary_double(-1e300),
                      raw(Bytes{0x00, 0xFF, 0x0A})};
    const auto row = [&](std::string_view id, std::string_view name) {
        Row all = {decimal(id), text(name)};
        all.insert(all.end(), rest.begin(), rest.end());
        return all;
    };
    db.insert(table, row("1234567890123456789012345678901234567890", "a,b;\"c\"\r\n\xE2\x82\xAC"));
    Row little(11);
    little[0] = decimal("-0.5");
    db.insert(table, little);
    RowPlacement cut;
    cut.cuts = {{1, 100}, {1, 200}, {4, 0}};
    cut.piece_per_block = true;
    db.insert(table, row("0", std::string(300, 'x')), cut);
    RowPlacement moved;
    moved.migrated = true;
    db.insert(table, row("9223372036854775807", "moved"), moved);
    db.finish();
}

// A value that spans row pieces takes two places among the columns, and so the last column of its row gets
// none.
std::string expected_types() {
    const std::string most = ",\"ab   \",\"2024-02-29T01:02:03\",\"9999-12-31T23:59:59.123456789\","
                             "\"2024-06-01T10:30:00-01:30\",\"P-1Y-2M\",\"P1DT2H3M4.5S\",\"0.1\",\"-1e+300\"";
    const std::string rest = most + ",\"00FF0A\"]\n";
    return "[\"ID\",\"NAME\",\"PAD\",\"BORN\",\"AT\",\"ZONED\",\"YM\",\"DS\",\"F\",\"D\",\"BIN\"]\n"
           "[\"1234567890123456789012345678901234567890\",\"a,b;\\\"c\\\"\\r\\n\xE2\x82\xAC\"" +
           rest + "[\"-0.5\",null,null,null,null,null,null,null,null,null,null]\n[\"0\",\"" +
           std::string(300, 'x') + "\"" + most + ",null]\n[\"9223372036854775807\",\"moved\"" + rest;
}

struct Format {
    const char *name;
    const char *file;
};

class RecoveryRoundtrip : public testing::TestWithParam<Format> {};

TEST_P(RecoveryRoundtrip, RowsOfEveryTypeComeBack) {
    scratch_dir dir;
    Database db(dir.file("db"));
    write_types(db);
    const run_result unloaded =
        run_vexlo(dir.file("db"), {"export dict", "load dict", "unload table scott.types"});
    ASSERT_EQ(unloaded.status, 0) << unloaded.describe();
    const std::string out = dir.file("out");
    const run_result converted = run_process({program_path("vexlo-convert"), "--to", GetParam().name,
                                              "--output", out, dir.file("db/data/SCOTT_TYPES.dat")});
    EXPECT_EQ(converted.status, 0) << converted.describe();
    EXPECT_EQ(read_back(GetParam().name, out + GetParam().file, "TYPES"), expected_types());
}

INSTANTIATE_TEST_SUITE_P(Formats, RecoveryRoundtrip,
                         testing::Values(Format{"csv", "/SCOTT.TYPES.csv"},
                                         Format{"jsonl", "/SCOTT.TYPES.jsonl"}),
                         [](const auto &test) { return test.param.name; });

TEST(Recovery, EmployeesOfTheDemonstrationComeOutAsCsv) {
    scratch_dir dir;
    write_demo(dir.file("db"), 8192);
    const run_result unloaded =
        run_vexlo(dir.file("db"), {"export dict", "load dict", "unload table scott.emp"});
    ASSERT_EQ(unloaded.status, 0) << unloaded.describe();
    const run_result csv = run_process({program_path("vexlo-convert"), "--quiet", "--to", "csv", "--eol",
                                        "lf", "--output", "-", dir.file("db/data/SCOTT_EMP.dat")});
    EXPECT_EQ(csv.status, 0) << csv.describe();
    EXPECT_EQ(csv.err, "");
    EXPECT_EQ(csv.out, vexlo_test::EMP_CSV);
}

} // namespace
