// The command table.
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "command_map.h"

namespace vexlo_test {
namespace {

TEST(CommandMap, HasEightCommandsInOrderAndAnEmptyEntry) {
    const std::vector<std::pair<std::string, cmd_handle>> expected{
        {"help", help_handle},     {"export", export_dict_handle}, {"load", load_dict_handle},
        {"set", set_user_handle},  {"show", show_user_handle},     {"list", list_handle},
        {"unload", unload_handle}, {"desc", desc_handle},          {"", nullptr}};
    ASSERT_EQ(std::size(command_map), expected.size());
    for (std::size_t i = 0; i < expected.size(); i++) {
        EXPECT_EQ(command_map[i].cmd_name, expected[i].first);
        EXPECT_EQ(command_map[i].cmd_function, expected[i].second);
    }
    EXPECT_EQ(sizeof command_map[0].cmd_name, 32u);
}

} // namespace
} // namespace vexlo_test
