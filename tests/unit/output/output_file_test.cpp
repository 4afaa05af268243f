#include <filesystem>

#include <gtest/gtest.h>

#include "dump_writer.h"
#include "output/output_file.h"
#include "scratch_dir.h"
#include "values/errors.h"

using namespace vexlo_test;

namespace {

size_t entries(const std::string &directory) {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(directory), {}));
}

TEST(OutputFile, HasItsNameOnlyWhenItIsComplete) {
    scratch_dir dir;
    {
        vexlo::OutputFile file(dir / "a.csv");
        file.append("abc");
        EXPECT_FALSE(std::filesystem::exists(dir / "a.csv"));
        file.finish();
    }
    EXPECT_EQ(read_text(dir / "a.csv"), "abc");
    EXPECT_EQ(entries(dir.path()), 1U);
}

TEST(OutputFile, UnfinishedLeavesNothingAndKeepsTheOlderFile) {
    scratch_dir dir;
    write_text(dir / "a.csv", "old");
    {
        vexlo::OutputFile file(dir / "a.csv");
        file.append("new");
    }
    EXPECT_EQ(read_text(dir / "a.csv"), "old");
    EXPECT_EQ(entries(dir.path()), 1U);
}

// Where every process has the same number, as in a container.
TEST(OutputFile, WhatAProcessOfTheSameNumberLeftIsReplaced) {
    scratch_dir dir;
    write_text(vexlo::PendingPath(dir / "a.csv").temporary(), "left");
    vexlo::OutputFile file(dir / "a.csv");
    file.append("new");
    file.finish();
    EXPECT_EQ(read_text(dir / "a.csv"), "new");
    EXPECT_EQ(entries(dir.path()), 1U);
}

TEST(OutputFile, LargeAndSmallPiecesKeepTheirOrder) {
    scratch_dir dir;
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
    EXPECT_TRUE(read_text(dir / "a") == expected + huge);
}

TEST(OutputFile, WhatCannotBeWrittenIsAnError) {
    EXPECT_THROW(vexlo::OutputFile("/nonexistent/directory/a"), vexlo::OutputError);
}

TEST(Destination, PathsAreSafeAndDifferent) {
    scratch_dir dir;
    vexlo::Destination destination(dir / "out");
    EXPECT_EQ(destination.path_for("A.B", ".csv"), (dir / "out") + "/A.B.csv");
    EXPECT_EQ(destination.path_for("A.B", ".csv"), (dir / "out") + "/A.B_2.csv");
    EXPECT_EQ(destination.path_for("../x", ".csv"), (dir / "out") + "/%2E.%2Fx.csv");
    EXPECT_TRUE(std::filesystem::is_directory(dir / "out"));
}

TEST(Destination, OfOneTableHasItsOutputsAtOneStemAndInALog) {
    scratch_dir dir;
    vexlo::Destination destination = vexlo::Destination::at(dir / "%2F.T");
    EXPECT_EQ(destination.path_for("whatever", ".ctl"), dir / "%2F.T.ctl");
    const auto small = destination.open_path(destination.path_for("whatever", ".csv"));
    const auto large = destination.open_path(destination.path_for("other", ".ldr"));
    small->append("123456789");
    const Bytes bytes(3 * vexlo::OutputFile::BUFFER_SIZE, '\0');
    large->append(bytes);
    large->append("1");
    EXPECT_TRUE(destination.log()->empty());
    small->finish();
    large->finish();
    ASSERT_EQ(destination.log()->size(), 2U);
    EXPECT_EQ((*destination.log())[0].path, dir / "%2F.T.csv");
    EXPECT_EQ((*destination.log())[0].bytes, 9U);
    EXPECT_EQ((*destination.log())[0].crc32, 0xCBF43926U);
    vexlo::Digest digest;
    digest.add(bytes.data(), bytes.size());
    digest.add("1", 1);
    EXPECT_EQ((*destination.log())[1].bytes, bytes.size() + 1);
    EXPECT_EQ((*destination.log())[1].crc32, digest.crc32());
}

TEST(Destination, BytesAreWrittenDirectlyWhereThatIsAskedFor) {
    scratch_dir dir;
    vexlo::Destination destination = vexlo::Destination::at(dir / "T");
    destination.write_directly();
    const std::string path = destination.path_for("whatever", ".csv");
    const auto file = destination.open_stream(path);
    vexlo::ByteBuffer bytes;
    bytes.append(Bytes(vexlo::OutputFile::BUFFER_SIZE, 'x'));
    file->take(bytes);
    EXPECT_TRUE(bytes.empty());
    vexlo::PendingPath place(path);
    place.keep();
    EXPECT_EQ(std::filesystem::file_size(place.temporary()), vexlo::OutputFile::BUFFER_SIZE);
    file->append("rest");
    file->finish();
    EXPECT_TRUE(read_text(path) == Bytes(vexlo::OutputFile::BUFFER_SIZE, 'x') + "rest");
}

TEST(OutputFile, UnfinishedOnesAreKnownByTheirNames) {
    using vexlo::unfinished_output;
    EXPECT_EQ(unfinished_output(".A.B.csv.123.part"), "A.B.csv");
    scratch_dir dir;
    const std::string temporary = vexlo::PendingPath(dir / "a.b").temporary();
    EXPECT_EQ(unfinished_output(temporary.substr(temporary.rfind('/') + 1)), "a.b");
    for (const char *name : {"", "A.csv", ".A.csv", "A.csv.123.part", ".A.csv.12x.part", ".A.csv..part",
                             ".part", ".A.csv.123.part2"})
        EXPECT_EQ(unfinished_output(name), std::nullopt) << name;
}

} // namespace
