// An input that cannot be read to its end.
#include <filesystem>

#include <gtest/gtest.h>

#include "dump_writer.h"
#include "program.h"
#include "scratch_dir.h"

using namespace vexlo_test;

namespace {

namespace fs = std::filesystem;

class ReadError : public testing::Test {
protected:
    ReadError() {
        Dump dump;
        DumpTable table{.name = "T", .columns = {{"ID", 2, 22}, {"TEXT", 1, 4000}}};
        for (int i = 0; i < 1000; ++i)
            table.rows.push_back(row({value(ora_number(std::to_string(i))), value(Bytes(3000, 'x'))}));
        dump.tables = {table};
        write_text(dir_ / "SCOTT.dat", dump_bytes(dump));
    }

    // The bytes at 2000000 cannot be read when `broken`.
    ProgramResult convert(const std::string &format, bool broken) {
        run_options options;
        if (broken)
            options.io_rules = "call=pread,path=SCOTT.dat,at=2000000,errno=EIO";
        return run_convert({"--to", format, "--output", dir_ / "out", dir_ / "SCOTT.dat"}, options);
    }

    std::string output(const std::string &format) {
        return dir_ / "out/" + (format == "sqlite" ? "SCOTT.sqlite" : "SCOTT.T." + format);
    }

    scratch_dir dir_;
};

TEST_F(ReadError, RowsBeforeItAreKept) {
    const ProgramResult result = convert("csv", true);
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("Input/output error"), std::string::npos) << result.err;
    EXPECT_GT(fs::file_size(output("csv")), 1000000U);
}

TEST_F(ReadError, OutputOfAnEarlierRunIsNotReplacedByAShorterOne) {
    for (const std::string format : {"csv", "jsonl", "sql", "sqlite"}) {
        ASSERT_EQ(convert(format, false).status, 0) << format;
        const std::string whole = read_text(output(format));
        const ProgramResult result = convert(format, true);
        EXPECT_EQ(result.status, 2) << format;
        EXPECT_TRUE(read_text(output(format)) == whole) << format;
        EXPECT_NE(result.err.find("stays as it was before this run"), std::string::npos) << result.err;
    }
    for (const auto &entry : fs::directory_iterator(dir_ / "out"))
        EXPECT_NE(entry.path().extension(), ".part");
}

} // namespace
