#include <cfloat>
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "dump_writer.h"
#include "values/binary_float.h"

namespace {

std::string float_text(const Bytes &bytes) {
    float value;
    if (!vexlo::decode_binary_float(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size(), value))
        return "invalid";
    char out[vexlo::FLOAT_TEXT_MAX];
    return {out, vexlo::format_float(value, out)};
}

std::string double_text(const Bytes &bytes) {
    double value;
    if (!vexlo::decode_binary_double(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size(), value))
        return "invalid";
    char out[vexlo::FLOAT_TEXT_MAX];
    return {out, vexlo::format_double(value, out)};
}

TEST(BinaryFloat, KnownPatterns) {
    EXPECT_EQ(float_text(Bytes("\xBF\x80\x00\x00", 4)), "1");
    EXPECT_EQ(float_text("\x40\x7F\xFF\xFF"), "-1");
    EXPECT_EQ(double_text(Bytes("\xBF\xF8\0\0\0\0\0\0", 8)), "1.5");
    EXPECT_EQ(double_text("\x40\x07\xFF\xFF\xFF\xFF\xFF\xFF"), "-1.5");
}

TEST(BinaryFloat, ShortestText) {
    EXPECT_EQ(float_text(ora_binary_float(0.1F)), "0.1");
    EXPECT_EQ(double_text(ora_binary_double(0.1)), "0.1");
    EXPECT_EQ(double_text(ora_binary_double(1.0 / 3)), "0.3333333333333333");
    EXPECT_EQ(double_text(ora_binary_double(1e300)), "1e+300");
    EXPECT_EQ(double_text(ora_binary_double(0.0)), "0");
}

TEST(BinaryFloat, TextReadsBackTheSame) {
    for (const float value : {FLT_MAX, FLT_MIN, FLT_TRUE_MIN, -FLT_MAX, 16777217.0F, 3.14159274F})
        EXPECT_EQ(std::strtof(float_text(ora_binary_float(value)).c_str(), nullptr), value);
    for (const double value : {DBL_MAX, DBL_MIN, DBL_TRUE_MIN, -DBL_MAX, 2.0 / 3, 9007199254740993.0})
        EXPECT_EQ(std::strtod(double_text(ora_binary_double(value)).c_str(), nullptr), value);
}

TEST(BinaryFloat, NoNumbers) {
    EXPECT_EQ(float_text(ora_binary_float(std::numeric_limits<float>::infinity())), "Infinity");
    EXPECT_EQ(double_text(ora_binary_double(-std::numeric_limits<double>::infinity())), "-Infinity");
    EXPECT_EQ(double_text(Bytes("\xFF\xF8\0\0\0\0\0\0", 8)), "NaN");
    EXPECT_EQ(float_text(Bytes("\xFF\xC0\0\0", 4)), "NaN");
}

TEST(BinaryFloat, WrongSizeIsRefused) {
    EXPECT_EQ(float_text("\xBF\x80"), "invalid");
    EXPECT_EQ(double_text("\xBF\x80"), "invalid");
}

} // namespace
