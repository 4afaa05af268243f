#include <gtest/gtest.h>

#include "dump_writer.h"
#include "values/rowid.h"

namespace {

std::string text_of(const Bytes &bytes) {
    char out[vexlo::ROWID_TEXT_MAX];
    const char *end = vexlo::format_rowid(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size(), out);
    return end == nullptr ? "invalid" : std::string(out, static_cast<size_t>(end - out));
}

TEST(Rowid, ExtendedRestrictedAndUniversal) {
    EXPECT_EQ(text_of(Bytes("\x00\x01\x1D\xEC\x01\x00\x00\x97\x00\x04", 10)), "AAAR3sAAEAAAACXAAE");
    EXPECT_EQ(text_of(Bytes("\x01\x00\x00\x97\x00\x04", 6)), "00000097.0004.0004");
    EXPECT_EQ(text_of(Bytes("\x01\x00\x01\x1D\xEC\x00\x04\x00\x00\x00\x97\x00\x04", 13)),
              "AAAR3sAAEAAAACXAAE");
}

TEST(Rowid, WhatIsNoAddressIsRefused) {
    EXPECT_EQ(text_of(Bytes("\x02\x00\x01\x1D\xEC\x00\x04\x00\x00\x00\x97\x00\x04", 13)), "invalid");
    EXPECT_EQ(text_of(Bytes(9, '\0')), "invalid");
}

} // namespace
