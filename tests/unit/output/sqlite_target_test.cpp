#include <gtest/gtest.h>

#include "output/sqlite_target.h"

namespace {

using vexlo::sqlite_storage;
using vexlo::SqliteStorage;

TEST(SqliteTarget, WholeNumbersOfSixtyFourBitsAreIntegers) {
    for (const char *text : {"0", "-1", "9223372036854775807", "-9223372036854775808"})
        EXPECT_EQ(sqlite_storage(text), SqliteStorage::integer) << text;
}

TEST(SqliteTarget, UpToFifteenDigitsAreReal) {
    for (const char *text :
         {"0.5", "-123456789.012345", "1E+125", "1.5E-130", "100000000000000000000", "0.00001"})
        EXPECT_EQ(sqlite_storage(text), SqliteStorage::real) << text;
}

TEST(SqliteTarget, WhatADoubleWouldChangeIsText) {
    for (const char *text : {"9223372036854775808", "0.1234567890123456", "-1.2345678901234567E+50"})
        EXPECT_EQ(sqlite_storage(text), SqliteStorage::text) << text;
}

} // namespace
