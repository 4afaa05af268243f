// Tables of text on the terminal.
#include <gtest/gtest.h>

#include "rescue/text_table.h"

namespace vexlo {
namespace {

TEST(TextTable, ColumnsAreAsWideAsTheirWidestCell) {
    using enum TextTable::Align;
    TextTable table({left, right, left});
    table.add({"NAME", "ROWS", "NOTE"});
    table.add({"\xC3\x84\xC3\x96", "12345", ""});
    table.add({"ABCDE", "1", "x"});
    EXPECT_EQ(table.text(), "NAME    ROWS  NOTE\n"
                            "\xC3\x84\xC3\x96     12345\n"
                            "ABCDE      1  x\n");
}

} // namespace
} // namespace vexlo
