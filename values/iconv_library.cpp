#include "values/iconv_library.h"

namespace vexlo {

#ifdef VEXLO_STATIC
const bool HAVE_ICONV = false;
#else
const bool HAVE_ICONV = true;
#endif

namespace {

// Bytes of a text of `count` letters, with what some sets begin a text with.
size_t size_of_letters(iconv_t writer, size_t count) {
    char letters[] = "aa", bytes[32];
    char *from = letters, *to = bytes;
    size_t from_left = count, to_left = sizeof bytes;
    iconv(writer, nullptr, nullptr, nullptr, nullptr);
    iconv(writer, &from, &from_left, &to, &to_left);
    return sizeof bytes - to_left;
}

} // namespace

iconv_t open_iconv(const std::string &name) {
    return HAVE_ICONV && !name.empty() ? iconv_open("UTF-8", name.c_str()) : NO_ICONV;
}

uint8_t iconv_unit(const std::string &name) {
    constexpr size_t UNIT_MAX = 4;
    const iconv_t reader = open_iconv(name);
    if (reader == NO_ICONV)
        return 0;
    iconv_close(reader);
    const iconv_t writer = iconv_open(name.c_str(), "UTF-8");
    if (writer == NO_ICONV)
        return 1;
    const size_t unit = size_of_letters(writer, 2) - size_of_letters(writer, 1);
    iconv_close(writer);
    return unit >= 1 && unit <= UNIT_MAX ? static_cast<uint8_t>(unit) : uint8_t{1};
}

} // namespace vexlo
