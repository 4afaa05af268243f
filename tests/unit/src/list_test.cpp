// What the listings say when nothing is there to be listed.
#include <gtest/gtest.h>

#include "../clean_context.h"
#include "command_map.h"
#include "dict_array.h"

namespace vexlo_test {
namespace {

class ListNothing : public clean_context {
protected:
    static std::string list(std::string what) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(list_handle(what.data()), 0);
        return testing::internal::GetCapturedStdout();
    }
};

TEST_F(ListNothing, WithoutADatafileTableThereAreNoFiles) {
    EXPECT_EQ(list("files"), "Data files not loaded.\n");
}

TEST_F(ListNothing, WithoutUsersTheyAreNotLoaded) {
    EXPECT_EQ(list("users"), "User information not loaded.\n");
}

// Nothing that an earlier command left in the work buffer is listed.
TEST_F(ListNothing, UsersThatStandInTheWorkBufferAreNone) {
    g_ctx.usr = reinterpret_cast<USER *>(g_ctx.wrk);
    g_ctx.usr[0] = {};
    g_ctx.sys.nu = g_ctx.cap.nu = 1;
    EXPECT_EQ(list("users"), "USER_ID     DEFAULT TS#     USER_NAME\n");
}

} // namespace
} // namespace vexlo_test
