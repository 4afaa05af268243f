#include <vector>

#include <gtest/gtest.h>

#include "output/cell.h"
#include "rescue/long_value.h"

using namespace vexlo;

// Where no directory is given, nothing but the size is wanted of what memory does not hold.
TEST(LongValue, WithoutADirectoryIsAsLongAsItWasAndWritesNoFile) {
    constexpr size_t PIECE = 1 << 20, PIECES = LongValue::IN_MEMORY / PIECE + 2;
    const std::vector<uint8_t> piece(PIECE, 0x55);
    LongValue value("");
    for (size_t i = 0; i < PIECES; ++i)
        value.append(piece.data(), piece.size());
    const Field field = value.field();
    ASSERT_EQ(field.kind, FieldKind::stream);
    EXPECT_EQ(stream_size(*field.stream), PIECE * PIECES);
}
