#include <stdlib.h>

#include <gtest/gtest.h>

#include "programs.h"
#include "scratch_dir.h"

namespace vexlo_test {
namespace {

// The environment has its old value again at the end.
class Programs : public testing::Test {
protected:
    ~Programs() override {
        if (before_ == nullptr)
            unsetenv(NAME);
        else
            setenv(NAME, old_.c_str(), 1);
    }

    static constexpr const char *NAME = "VEXLO_PROGRAMS";
    const char *before_ = getenv(NAME);
    const std::string old_ = before_ == nullptr ? "" : before_;
};

TEST_F(Programs, AreThoseOfThisBuildOrOfTheDirectoryNamed) {
    unsetenv(NAME);
    EXPECT_TRUE(program_path("vexlo").ends_with("/bin/vexlo"));
    setenv(NAME, "/elsewhere", 1);
    EXPECT_EQ(program_path("vexlo-convert"), "/elsewhere/vexlo-convert");
}

TEST_F(Programs, AreSanitizedWhenTheyNeedItsLibrary) {
    const scratch_dir dir;
    write_text(dir.file("with"), "\x7f"
                                 "ELF __asan_init");
    write_text(dir.file("without"), "\x7f"
                                    "ELF");
    EXPECT_TRUE(is_sanitized(dir.file("with")));
    EXPECT_FALSE(is_sanitized(dir.file("without")));
}

} // namespace
} // namespace vexlo_test
