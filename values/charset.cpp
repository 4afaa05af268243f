#include "values/charset.h"

#include <strings.h>

#include <algorithm>
#include <cctype>

#include "values/errors.h"
#include "values/iconv_library.h"
#include "values/padded_bytes.h"
#include "values/single_byte.h"
#include "values/text_decoder.h"

namespace vexlo {

namespace {

// JA16SJIS and JA16SJISTILDE differ in the wave dash (U+301C and U+FF5E) alone, as do the two EUC forms; the
// YEN forms give 0x5C as U+00A5.
constexpr Charset CHARSETS[] = {
    // UTF
    {"AL32UTF8", "UTF-8", Codec::utf8, true, 1},
    {"UTF8", "UTF-8", Codec::cesu8, true, 1},
    {"AL24UTFFSS", "UTF-8", Codec::cesu8, true, 1},
    {"AL16UTF16", "UTF-16BE", Codec::utf16be, false, 2},
    {"AL16UTF16LE", "UTF-16LE", Codec::utf16le, false, 2},
    // ASCII and its national forms
    {"US7ASCII", "ASCII", Codec::iconv, true, 1},
    {"D7DEC", "ISO646-DE", Codec::iconv, false, 1},
    {"F7DEC", "ISO646-FR", Codec::iconv, false, 1},
    {"S7DEC", "ISO646-SE", Codec::iconv, false, 1},
    {"E7DEC", "ISO646-ES", Codec::iconv, false, 1},
    {"I7DEC", "ISO646-IT", Codec::iconv, false, 1},
    {"NDK7DEC", "ISO646-DK", Codec::iconv, false, 1},
    {"SF7ASCII", "ISO646-SE2", Codec::iconv, false, 1},
    {"YUG7ASCII", "ISO646-YU", Codec::iconv, false, 1},
    // ISO 8859
    {"WE8ISO8859P1", "ISO-8859-1", Codec::iconv, true, 1},
    {"EE8ISO8859P2", "ISO-8859-2", Codec::iconv, true, 1},
    {"SE8ISO8859P3", "ISO-8859-3", Codec::iconv, true, 1},
    {"NEE8ISO8859P4", "ISO-8859-4", Codec::iconv, true, 1},
    {"CL8ISO8859P5", "ISO-8859-5", Codec::iconv, true, 1},
    {"AR8ISO8859P6", "ISO-8859-6", Codec::iconv, true, 1},
    {"EL8ISO8859P7", "ISO-8859-7", Codec::iconv, true, 1},
    {"IW8ISO8859P8", "ISO-8859-8", Codec::iconv, true, 1},
    {"WE8ISO8859P9", "ISO-8859-9", Codec::iconv, true, 1},
    {"TR8ISO8859P9", "ISO-8859-9", Codec::iconv, true, 1},
    {"AZ8ISO8859P9E", "ISO-8859-9E", Codec::iconv, true, 1},
    {"NE8ISO8859P10", "ISO-8859-10", Codec::iconv, true, 1},
    {"BLT8ISO8859P13", "ISO-8859-13", Codec::iconv, true, 1},
    {"CEL8ISO8859P14", "ISO-8859-14", Codec::iconv, true, 1},
    {"WE8ISO8859P15", "ISO-8859-15", Codec::iconv, true, 1},
    // Windows
    {"EE8MSWIN1250", "CP1250", Codec::iconv, true, 1},
    {"CL8MSWIN1251", "CP1251", Codec::iconv, true, 1},
    {"WE8MSWIN1252", "CP1252", Codec::iconv, true, 1},
    {"EL8MSWIN1253", "CP1253", Codec::iconv, true, 1},
    {"TR8MSWIN1254", "CP1254", Codec::iconv, true, 1},
    {"IW8MSWIN1255", "CP1255", Codec::iconv, true, 1},
    {"AR8MSWIN1256", "CP1256", Codec::iconv, true, 1},
    {"BLT8MSWIN1257", "CP1257", Codec::iconv, true, 1},
    {"VN8MSWIN1258", "CP1258", Codec::iconv, true, 1},
    {"TH8MSWIN874", "WINDOWS-874", Codec::iconv, true, 1},
    {"LT8MSWIN921", "CP921", Codec::iconv, true, 1},
    {"ET8MSWIN923", "CP922", Codec::iconv, true, 1},
    // DOS
    {"US8PC437", "CP437", Codec::iconv, true, 1},
    {"EL8PC737", "CP737", Codec::iconv, true, 1},
    {"BLT8PC775", "CP775", Codec::iconv, true, 1},
    {"WE8PC850", "CP850", Codec::iconv, true, 1},
    {"EL8PC851", "CP851", Codec::iconv, true, 1},
    {"EE8PC852", "CP852", Codec::iconv, true, 1},
    {"RU8PC855", "CP855", Codec::iconv, true, 1},
    {"TR8PC857", "CP857", Codec::iconv, true, 1},
    {"WE8PC858", "CP858", Codec::iconv, true, 1},
    {"WE8PC860", "CP860", Codec::iconv, true, 1},
    {"IS8PC861", "CP861", Codec::iconv, true, 1},
    {"IW8PC1507", "CP862", Codec::iconv, true, 1},
    {"CDN8PC863", "CP863", Codec::iconv, true, 1},
    {"AR8PC864", "CP864", Codec::iconv, false, 1},
    {"N8PC865", "CP865", Codec::iconv, true, 1},
    {"RU8PC866", "CP866", Codec::iconv, true, 1},
    {"EL8PC869", "CP869", Codec::iconv, true, 1},
    {"LT8PC772", "CP772", Codec::iconv, true, 1},
    {"LT8PC774", "CP774", Codec::iconv, true, 1},
    // Cyrillic
    {"CL8KOI8R", "KOI8-R", Codec::iconv, true, 1},
    {"CL8KOI8U", "KOI8-U", Codec::iconv, true, 1},
    {"CL8MACCYRILLIC", "MAC-CYRILLIC", Codec::iconv, true, 1},
    {"CL8MACCYRILLICS", "MAC-CYRILLIC", Codec::iconv, true, 1},
    {"BG8MSWIN", "CP1251", Codec::iconv, true, 1},
    {"BG8PC437S", "MIK", Codec::iconv, true, 1},
    {"CL8ISOIR111", "ECMA-CYRILLIC", Codec::iconv, true, 1},
    {"RU8BESTA", "KOI8-R", Codec::iconv, true, 1},
    // Macintosh and other vendors
    {"WE8MACROMAN8", "MACINTOSH", Codec::iconv, true, 1},
    {"WE8MACROMAN8S", "MACINTOSH", Codec::iconv, true, 1},
    {"EE8MACCE", "MAC-CENTRALEUROPE", Codec::iconv, true, 1},
    {"EE8MACCES", "MAC-CENTRALEUROPE", Codec::iconv, true, 1},
    {"WE8DEC", "DEC-MCS", Codec::iconv, true, 1},
    {"WE8ROMAN8", "HP-ROMAN8", Codec::iconv, true, 1},
    {"WE8HP", "HP-ROMAN8", Codec::iconv, true, 1},
    {"TR8DEC", "TURKISH8", Codec::iconv, true, 1},
    {"AR8ASMO708PLUS", "ISO-8859-6", Codec::iconv, true, 1},
    {"AR8ASMO8X", "ISO-8859-6", Codec::iconv, true, 1},
    // South and South-East Asia
    {"TH8TISASCII", "TIS-620", Codec::iconv, true, 1},
    {"VN8VN3", "TCVN", Codec::iconv, false, 1},
    // Chinese
    {"ZHS16GBK", "CP936", Codec::iconv, true, 1},
    {"ZHS16CGB231280", "GB2312", Codec::iconv, true, 1},
    {"ZHS32GB18030", "GB18030", Codec::iconv, true, 1},
    {"ZHT16BIG5", "BIG5", Codec::iconv, true, 1},
    {"ZHT16MSWIN950", "CP950", Codec::iconv, true, 1},
    {"ZHT16HKSCS", "BIG5-HKSCS", Codec::iconv, true, 1},
    {"ZHT16HKSCS31", "BIG5-HKSCS", Codec::iconv, true, 1},
    {"ZHT16HKSCS2004", "BIG5-HKSCS", Codec::iconv, true, 1},
    {"ZHT32EUC", "EUC-TW", Codec::iconv, true, 1},
    // Japanese
    {"JA16SJIS", "CP932", Codec::iconv, true, 1, true},
    {"JA16SJISTILDE", "CP932", Codec::iconv, true, 1},
    {"JA16SJISYEN", "SJIS", Codec::iconv, false, 1},
    {"JA16EUC", "EUC-JP", Codec::iconv, true, 1},
    {"JA16EUCTILDE", "EUC-JP-MS", Codec::iconv, true, 1},
    {"JA16EUCYEN", "EUC-JP", Codec::iconv, true, 1},
    {"JA16VMS", "EUC-JP", Codec::iconv, true, 1},
    // Korean
    {"KO16KSC5601", "EUC-KR", Codec::iconv, true, 1},
    {"KO16MSWIN949", "UHC", Codec::iconv, true, 1},
    {"KO16KSCCS", "JOHAB", Codec::iconv, false, 1},
    // EBCDIC
    {"WE8EBCDIC37", "CP037", Codec::iconv, false, 1},
    {"WE8EBCDIC37C", "CP037", Codec::iconv, false, 1},
    {"WE8EBCDIC284", "CP284", Codec::iconv, false, 1},
    {"WE8EBCDIC285", "CP285", Codec::iconv, false, 1},
    {"WE8EBCDIC500", "CP500", Codec::iconv, false, 1},
    {"WE8EBCDIC500C", "CP500", Codec::iconv, false, 1},
    {"WE8EBCDIC871", "CP871", Codec::iconv, false, 1},
    {"WE8EBCDIC1047", "CP1047", Codec::iconv, false, 1},
    {"WE8EBCDIC1140", "CP1140", Codec::iconv, false, 1},
    {"WE8EBCDIC1140C", "CP1140", Codec::iconv, false, 1},
    {"WE8EBCDIC1145", "CP1145", Codec::iconv, false, 1},
    {"WE8EBCDIC1146", "CP1146", Codec::iconv, false, 1},
    {"WE8EBCDIC1148", "CP1148", Codec::iconv, false, 1},
    {"WE8EBCDIC1148C", "CP1148", Codec::iconv, false, 1},
    {"D8EBCDIC273", "CP273", Codec::iconv, false, 1},
    {"D8EBCDIC1141", "CP1141", Codec::iconv, false, 1},
    {"DK8EBCDIC277", "IBM277", Codec::iconv, false, 1},
    {"DK8EBCDIC1142", "CP1142", Codec::iconv, false, 1},
    {"S8EBCDIC278", "CP278", Codec::iconv, false, 1},
    {"S8EBCDIC1143", "CP1143", Codec::iconv, false, 1},
    {"I8EBCDIC280", "CP280", Codec::iconv, false, 1},
    {"I8EBCDIC1144", "CP1144", Codec::iconv, false, 1},
    {"F8EBCDIC297", "CP297", Codec::iconv, false, 1},
    {"F8EBCDIC1147", "CP1147", Codec::iconv, false, 1},
    {"EE8EBCDIC870", "CP870", Codec::iconv, false, 1},
    {"EE8EBCDIC870C", "CP870", Codec::iconv, false, 1},
    {"CL8EBCDIC1025", "CP1025", Codec::iconv, false, 1},
    {"CL8EBCDIC1025C", "CP1025", Codec::iconv, false, 1},
    {"EL8EBCDIC875", "CP875", Codec::iconv, false, 1},
    {"EL8EBCDIC423R", "CP423", Codec::iconv, false, 1},
    {"TR8EBCDIC1026", "CP1026", Codec::iconv, false, 1},
    {"AR8EBCDIC420S", "CP420", Codec::iconv, false, 1},
    {"IW8EBCDIC424", "CP424", Codec::iconv, false, 1},
    {"BLT8EBCDIC1112", "CP1112", Codec::iconv, false, 1},
};

struct NumberedCharset {
    uint32_t number;
    std::string_view oracle;
};

constexpr NumberedCharset NUMBERS[] = {
    {1, "US7ASCII"},         {2, "WE8DEC"},          {31, "WE8ISO8859P1"},  {32, "EE8ISO8859P2"},
    {33, "SE8ISO8859P3"},    {34, "NEE8ISO8859P4"},  {35, "CL8ISO8859P5"},  {36, "AR8ISO8859P6"},
    {37, "EL8ISO8859P7"},    {38, "IW8ISO8859P8"},   {39, "WE8ISO8859P9"},  {40, "NE8ISO8859P10"},
    {41, "TH8TISASCII"},     {45, "VN8MSWIN1258"},   {46, "WE8ISO8859P15"}, {47, "BLT8ISO8859P13"},
    {152, "RU8PC866"},       {170, "EE8MSWIN1250"},  {171, "CL8MSWIN1251"}, {174, "EL8MSWIN1253"},
    {175, "IW8MSWIN1255"},   {177, "TR8MSWIN1254"},  {178, "WE8MSWIN1252"}, {179, "BLT8MSWIN1257"},
    {196, "CL8KOI8R"},       {560, "AR8MSWIN1256"},  {830, "JA16EUC"},      {832, "JA16SJIS"},
    {837, "JA16EUCTILDE"},   {838, "JA16SJISTILDE"}, {840, "KO16KSC5601"},  {846, "KO16MSWIN949"},
    {850, "ZHS16CGB231280"}, {852, "ZHS16GBK"},      {854, "ZHS32GB18030"}, {865, "ZHT16BIG5"},
    {867, "ZHT16MSWIN950"},  {868, "ZHT16HKSCS"},    {870, "AL24UTFFSS"},   {871, "UTF8"},
    {873, "AL32UTF8"},       {2000, "AL16UTF16"},
};

// Whether bytes below 0x80 read as themselves, found by converting them all.
bool keeps_ascii(const Charset &set) {
    std::string low;
    for (int byte = 0; byte < 128; ++byte)
        low += static_cast<char>(byte);
    const PaddedBytes padded(low);
    uint64_t replaced = 0;
    TextDecoder decoder(set);
    return decoder.decode(padded.data(), padded.size(), replaced) == low;
}

// A set that is built in and that iconv has under this name; null when there is none.
const Charset *find_by_iconv_name(std::string_view name) {
    for (const Charset &set : CHARSETS)
        if (same_charset_name(set.iconv, name) && is_built_in(set))
            return &set;
    return nullptr;
}

} // namespace

std::span<const Charset> known_charsets() {
    return CHARSETS;
}

const Charset *find_charset(std::string_view oracle_name) {
    for (const Charset &set : CHARSETS)
        if (same_charset_name(set.oracle, oracle_name))
            return &set;
    return nullptr;
}

std::string_view charset_of_number(uint32_t number) {
    for (const NumberedCharset &set : NUMBERS)
        if (set.number == number)
            return set.oracle;
    return {};
}

bool is_built_in(const Charset &set) {
    return set.codec != Codec::iconv || single_byte_set(set.iconv).has_value();
}

// The dictionary counts the longest form of a character: two bytes in UTF-16, three in the older UTF-8.
uint32_t national_characters(const Charset &national, uint32_t bytes) {
    const uint32_t each = national.unit == 2 ? 2 : national.codec == Codec::cesu8 ? 3 : 1;
    return bytes / each;
}

Charset charset_of_user(const std::string &name) {
    if (const Charset *set = find_charset(name))
        return *set;
    const bool has_letters =
        std::any_of(name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c); });
    Charset set{name, name.c_str(), Codec::iconv, false, 0};
    if (const Charset *same = find_by_iconv_name(name)) {
        set.codec = same->codec;
        set.unit = same->unit;
    } else if (has_letters) { // a name without any is that of the locale
        set.unit = iconv_unit(name);
    }
    if (set.unit == 0)
        throw UsageError("character set \"" + name + "\" is not known" +
                         (HAVE_ICONV ? "" : " to this program without shared libraries"));
    set.ascii = keeps_ascii(set);
    return set;
}

} // namespace vexlo
