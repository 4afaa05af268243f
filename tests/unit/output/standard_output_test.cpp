#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

#include "output/standard_output.h"
#include "values/errors.h"

using namespace vexlo;

TEST(StandardOutput, TakesAText) {
    testing::internal::CaptureStdout();
    print("two\nlines");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "two\nlines");
}

TEST(StandardOutput, WhatDoesNotGetThroughIsAnError) {
    EXPECT_EXIT(
        {
            if (std::freopen("/dev/full", "w", stdout) == nullptr)
                std::exit(4);
            try {
                print("text");
            } catch (const OutputError &error) {
                std::fputs(error.what(), stderr);
                std::_Exit(3); // stdout cannot be flushed
            }
            std::_Exit(0);
        },
        testing::ExitedWithCode(3), "^standard output: cannot be written: No space left on device$");
}
