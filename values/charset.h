// Character sets: Oracle's names and what the C library's iconv calls the same set.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vexlo {

enum class Codec : uint8_t {
    utf8,  // checked, otherwise taken as it is
    cesu8, // UTF-8 that writes a supplementary character as two three-byte surrogates
    utf16be,
    utf16le,
    iconv, // by a table that is built in, or by the C library
    raw,   // bytes are passed through
};

struct Charset {
    std::string_view oracle;
    const char *iconv; // iconv's name for it
    Codec codec;
    bool ascii;             // a text of nothing but bytes below 0x80 is ASCII
    uint8_t unit;           // bytes of one code unit: what is skipped when a character is not valid
    bool wave_dash = false; // what iconv gives as U+FF5E is the wave dash U+301C
};

// Bytes that are passed through, and what text of a set that is not known is read as.
constexpr Charset RAW_CHARSET{"raw", "", Codec::raw, false, 1};
constexpr Charset UTF8_CHARSET{"UTF-8", "UTF-8", Codec::utf8, true, 1};

// Every character set known by name.
std::span<const Charset> known_charsets();

// The character set of an Oracle name, compared without regard to case; null when it is not known.
const Charset *find_charset(std::string_view oracle_name);

// The Oracle name of the character set that dictionaries give this number; empty for one that is not known.
std::string_view charset_of_number(uint32_t number);

// Whether texts of the set are converted without the C library's iconv.
bool is_built_in(const Charset &set);

// The declared length in characters of a national column of `bytes` bytes.
uint32_t national_characters(const Charset &national, uint32_t bytes);

// The character set a user names: an Oracle name or, failing that, one that iconv knows; throws UsageError
// when neither. The text must outlive the result.
Charset charset_of_user(const std::string &name);

} // namespace vexlo
