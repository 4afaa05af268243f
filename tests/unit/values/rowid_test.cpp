#include <gtest/gtest.h>

#include "dump_writer.h"
#include "values/rowid.h"

namespace {

using RowidFormatter = char *(*)(const uint8_t *, size_t, char *);

std::string text_of(RowidFormatter format, const Bytes &bytes) {
    char out[vexlo::ROWID_TEXT_MAX];
    const char *end = format(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size(), out);
    return end == nullptr ? "invalid" : std::string(out, static_cast<size_t>(end - out));
}

std::string rowid(const Bytes &bytes) {
    return text_of(vexlo::format_rowid, bytes);
}

std::string urowid(const Bytes &bytes) {
    return text_of(vexlo::format_urowid, bytes);
}

const Bytes UNIVERSAL("\x01\x00\x01\x1D\xEC\x00\x04\x00\x00\x00\x97\x00\x04", 13);

TEST(Rowid, ExtendedRestrictedAndUniversal) {
    EXPECT_EQ(rowid(Bytes("\x00\x01\x1D\xEC\x01\x00\x00\x97\x00\x04", 10)), "AAAR3sAAEAAAACXAAE");
    EXPECT_EQ(rowid(Bytes("\x01\x00\x00\x97\x00\x04", 6)), "00000097.0004.0004");
    EXPECT_EQ(urowid(UNIVERSAL), "AAAR3sAAEAAAACXAAE");
}

TEST(Rowid, WhatIsNoAddressIsRefused) {
    EXPECT_EQ(urowid("\x02" + UNIVERSAL.substr(1)), "invalid");
    EXPECT_EQ(rowid(UNIVERSAL), "invalid");
    EXPECT_EQ(rowid(Bytes(9, '\0')), "invalid");
}

// The key of a row can have as many bytes as an address.
TEST(Rowid, KeysAreNoAddresses) {
    EXPECT_EQ(urowid(Bytes("\x02\x04\x01\x00\x00\x8B\x02\xC1\x02\xFE", 10)), "invalid");
    EXPECT_EQ(urowid(Bytes("\x02\x00\x02\xC1\x02\xFE", 6)), "invalid");
}

} // namespace
