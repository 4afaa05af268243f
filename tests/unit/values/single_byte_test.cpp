#include <iconv.h>

#include <string>

#include <gtest/gtest.h>

#include "values/charset.h"
#include "values/single_byte.h"

namespace {

constexpr char16_t NO_CHARACTER = 0xFFFD;

// What iconv reads in the given bytes, in UTF-16; a single U+FFFD where they are not valid.
class Iconv {
public:
    explicit Iconv(std::string_view set) : cd_(iconv_open("UTF-16LE", std::string(set).c_str())) {
        EXPECT_NE(cd_, reinterpret_cast<iconv_t>(-1)) << set;
    }
    ~Iconv() { iconv_close(cd_); }
    Iconv(const Iconv &) = delete;
    Iconv &operator=(const Iconv &) = delete;

    std::u16string read(std::string bytes) {
        char16_t out[16];
        char *from = bytes.data(), *to = reinterpret_cast<char *>(out);
        size_t from_left = bytes.size(), to_left = sizeof out;
        iconv(cd_, nullptr, nullptr, nullptr, nullptr);
        if (iconv(cd_, &from, &from_left, &to, &to_left) == static_cast<size_t>(-1))
            return {NO_CHARACTER};
        iconv(cd_, nullptr, nullptr, &to, &to_left);
        return {out, (sizeof out - to_left) / sizeof(char16_t)};
    }

private:
    iconv_t cd_;
};

std::string bytes_of(std::initializer_list<unsigned> bytes) {
    std::string text;
    for (const unsigned byte : bytes)
        text += static_cast<char>(byte);
    return text;
}

TEST(SingleByte, EveryByteReadsAsIconvReadsIt) {
    for (const vexlo::SingleByteSource &source : vexlo::single_byte_sources()) {
        const auto set = vexlo::single_byte_set(source.iconv);
        ASSERT_TRUE(set) << source.iconv;
        Iconv iconv(source.iconv);
        for (unsigned byte = 0; byte < 256; ++byte)
            EXPECT_EQ(std::u16string(1, set->characters[byte]), iconv.read(bytes_of({byte})))
                << source.iconv << " " << byte;
    }
}

// The characters of two bytes, each the set's own or both together.
std::u16string pair_of(const vexlo::SingleByteSet &set, unsigned first, unsigned second) {
    const char16_t a = set.characters[first], b = set.characters[second];
    if (a == NO_CHARACTER || b == NO_CHARACTER)
        return {NO_CHARACTER};
    const char16_t both = vexlo::composed(set.compositions, a, b);
    return both != 0 ? std::u16string(1, both) : std::u16string{a, b};
}

TEST(SingleByte, MarksCombineWithTheLetterBeforeThemWhereIconvCombinesThem) {
    size_t sets = 0;
    for (const vexlo::SingleByteSource &source : vexlo::single_byte_sources()) {
        if (source.compositions.empty())
            continue;
        ++sets;
        const auto set = vexlo::single_byte_set(source.iconv);
        Iconv iconv(source.iconv);
        for (unsigned first = 0; first < 256; ++first)
            for (unsigned second = 0; second < 256; ++second)
                ASSERT_EQ(pair_of(*set, first, second), iconv.read(bytes_of({first, second})))
                    << source.iconv << " " << first << " " << second;
    }
    EXPECT_EQ(sets, 3U);
}

TEST(SingleByte, CombinedCharacterTakesAFurtherMark) {
    const auto hebrew = vexlo::single_byte_set("CP1255");
    ASSERT_TRUE(hebrew);
    const char16_t shin_with_dot = vexlo::composed(hebrew->compositions, u'\u05E9', u'\u05C1');
    EXPECT_EQ(shin_with_dot, u'\uFB2A');
    EXPECT_EQ(vexlo::composed(hebrew->compositions, shin_with_dot, u'\u05BC'), u'\uFB2C');
}

TEST(SingleByte, EveryKnownSetOfOneByteIsBuiltIn) {
    for (const vexlo::Charset &set : vexlo::known_charsets()) {
        if (set.codec != vexlo::Codec::iconv || set.unit != 1)
            continue;
        const bool far_east =
            set.oracle.starts_with("ZH") || set.oracle.starts_with("JA") || set.oracle.starts_with("KO");
        EXPECT_EQ(vexlo::single_byte_set(set.iconv).has_value(), !far_east) << set.oracle;
    }
}

TEST(SingleByte, NamesAreFoundInAnyCaseAndWhole) {
    EXPECT_TRUE(vexlo::single_byte_set("koi8-r"));
    EXPECT_FALSE(vexlo::single_byte_set("KOI8"));
    EXPECT_FALSE(vexlo::single_byte_set("KOI8-RU"));
    EXPECT_FALSE(vexlo::single_byte_set(""));
    EXPECT_FALSE(vexlo::single_byte_set("UTF-8"));
}

} // namespace
