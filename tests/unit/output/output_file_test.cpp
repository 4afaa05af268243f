#include "output/output_file.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "dump_writer.h"
#include "temporary_dir.h"
#include "values/errors.h"

namespace {

size_t entries(const std::string &directory) {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(directory), {}));
}

TEST(OutputFile, HasItsNameOnlyWhenItIsComplete) {
    TemporaryDir dir;
    {
        vexlo::OutputFile file(dir / "a.csv");
        file.append("abc");
        EXPECT_FALSE(std::filesystem::exists(dir / "a.csv"));
        file.finish();
    }
    EXPECT_EQ(read_file(dir / "a.csv"), "abc");
    EXPECT_EQ(entries(dir.path()), 1U);
}

TEST(OutputFile, UnfinishedLeavesNothingAndKeepsTheOlderFile) {
    TemporaryDir dir;
    write_file(dir / "a.csv", "old");
    {
        vexlo::OutputFile file(dir / "a.csv");
        file.append("new");
    }
    EXPECT_EQ(read_file(dir / "a.csv"), "old");
    EXPECT_EQ(entries(dir.path()), 1U);
}

TEST(OutputFile, LargeAndSmallPiecesKeepTheirOrder) {
    TemporaryDir dir;
    vexlo::OutputFile file(dir / "a");
    Bytes expected;
    vexlo::ByteBuffer bytes;
    for (size_t i = 0; i < 200; ++i) {
        const Bytes piece(i * (i % 3 == 0 ? 1370 : 1), static_cast<char>('a' + i % 26));
        file.append(piece);
        bytes.append(piece);
        bytes.put('\n');
        file.take(bytes);
        EXPECT_TRUE(bytes.empty());
        expected += piece + piece + '\n';
    }
    const Bytes huge(3 * vexlo::OutputFile::BUFFER_SIZE, 'H');
    file.append(huge);
    file.finish();
    EXPECT_TRUE(read_file(dir / "a") == expected + huge);
}

TEST(OutputFile, WhatCannotBeWrittenIsAnError) {
    EXPECT_THROW(vexlo::OutputFile("/nonexistent/directory/a"), vexlo::OutputError);
}

TEST(Destination, PathsAreSafeAndDifferent) {
    TemporaryDir dir;
    vexlo::Destination destination(dir / "out");
    EXPECT_EQ(destination.path_for("A.B", ".csv"), (dir / "out") + "/A.B.csv");
    EXPECT_EQ(destination.path_for("A.B", ".csv"), (dir / "out") + "/A.B_2.csv");
    EXPECT_EQ(destination.path_for("../x", ".csv"), (dir / "out") + "/%2E.%2Fx.csv");
    EXPECT_TRUE(std::filesystem::is_directory(dir / "out"));
}

} // namespace
