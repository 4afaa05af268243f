#include <fcntl.h>

#include <cerrno>
#include <filesystem>

#include <gtest/gtest.h>

#include "../clean_context.h"
#include "create_file.h"

namespace vexlo_test {
namespace {

size_t open_descriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

using CreateFile = clean_context;

TEST_F(CreateFile, ARefusedOutputStaysAsItIsAndLeavesNoDescriptorOpen) {
    set_list("list");
    const size_t before = open_descriptors();
    EXPECT_EQ(create_file(path("files.txt").c_str()), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(read_text(path("files.txt")), "list");
}

} // namespace
} // namespace vexlo_test
