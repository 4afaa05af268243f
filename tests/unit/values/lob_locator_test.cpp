#include <fstream>
#include <map>

#include <gtest/gtest.h>

#include "bytes.h"
#include "values/lob_locator.h"

namespace {

using vexlo::LobLocator;
using vexlo::LobPlace;
using vexlo::LobType;
using ByteVector = vexlo_test::bytes;
using vexlo_test::from_hex;

// The stored values by their descriptions.
std::map<std::string, ByteVector> stored_values() {
    std::map<std::string, ByteVector> values;
    std::ifstream in(VEXLO_TEST_DATA "/lob_values.txt");
    for (std::string line; std::getline(in, line);)
        if (const size_t tab = line.find('\t'); tab != std::string::npos && line[0] != '#')
            values[line.substr(0, tab) + " " + line.substr(tab + 1, 50)] = from_hex(line.substr(tab + 1));
    return values;
}

LobLocator decode(const ByteVector &bytes) {
    std::string fault;
    const auto lob = vexlo::decode_lob_locator(bytes, fault);
    EXPECT_TRUE(lob) << fault;
    return lob.value_or(LobLocator{});
}

std::string fault_of(const ByteVector &bytes) {
    std::string fault;
    EXPECT_FALSE(vexlo::decode_lob_locator(bytes, fault));
    return fault;
}

std::string characters(const LobLocator &lob) {
    std::string text;
    for (size_t i = 1; i < lob.data.size(); i += 2)
        text += static_cast<char>(lob.data[i]);
    return text;
}

constexpr char SECURE_HEAD[] = "0070 0001 01 0c 00 80 0001 00000001000000000001 ";
constexpr char BASIC_HEAD[] = "0054 0001 01 0c 00 00 0001 00000001000000000001 ";

TEST(LobLocator, EveryStoredValueDecodesToItsLastByte) {
    const auto values = stored_values();
    ASSERT_EQ(values.size(), 26u);
    for (const auto &[what, bytes] : values) {
        SCOPED_TRACE(what);
        const LobLocator lob = decode(bytes);
        const bool is_empty = what.starts_with("Empty");
        EXPECT_EQ(lob.place == LobPlace::empty || lob.place == LobPlace::index,
                  is_empty || bytes.size() == 20);
        if (lob.place == LobPlace::in_row && !lob.compressed) {
            EXPECT_EQ(lob.data.size(), lob.length);
        }
    }
}

TEST(LobLocator, NoStoredValueDecodesWithAByteLess) {
    for (const auto &[what, bytes] : stored_values()) {
        SCOPED_TRACE(what);
        EXPECT_NE(fault_of(ByteVector(bytes.begin(), bytes.end() - 1)), "");
        ByteVector longer = bytes;
        longer.push_back(0);
        EXPECT_NE(fault_of(longer), "");
    }
}

TEST(LobLocator, BasicFileInRow) {
    const ByteVector bytes =
        from_hex("0054 0001 02 0c 80 00 0002 0000000100000 00ae44a 0020 09 00 00000000 0010 0000 00000001"
                 "5f0053d14e007ec45f0053d14e8c7ec4");
    const LobLocator lob = decode(bytes);
    EXPECT_EQ(lob.type, LobType::clob);
    EXPECT_EQ(lob.place, LobPlace::in_row);
    EXPECT_FALSE(lob.secure_file);
    EXPECT_TRUE(lob.utf16);
    EXPECT_EQ(vexlo::lob_id_text(lob.id), "000000010000000AE44A");
    EXPECT_EQ(lob.length, 16u);
    EXPECT_EQ(lob.version_base, 1u);
    EXPECT_EQ(lob.data.data(), bytes.data() + 36);
}

// Rows of 11g: the characters are CJK ones.
TEST(LobLocator, StoredByOlderReleases) {
    const LobLocator second = decode(from_hex("00 54 00 01 02 0c 80 00 00 02 00 00 00 01 00 00 00 0a e4 4b "
                                              "00 20 09 00 00 00 00 00 00 10 00 00 00 00 00 01 "
                                              "8b be 8b a1 4e 00 7e c4 8b be 8b a1 4e 8c 7e c4"));
    EXPECT_EQ(second.place, LobPlace::in_row);
    EXPECT_EQ(second.data.size(), 16u);
    const LobLocator one =
        decode(from_hex("00 54 00 01 02 0c 80 00 00 02 00 00 00 01 00 00 00 0a e4 4c 00 12 09 00 00 "
                        "00 00 00 00 02 00 00 00 00 00 01 5b b6"));
    EXPECT_EQ(one.data.size(), 2u);
    const LobLocator secure =
        decode(from_hex("00 54 00 01 02 0c 80 80 00 02 00 00 00 01 00 04 29 37 3d a5 00 11 40 90 "
                        "00 0b 20 00 14 01 00 00 20 cb 0f 2f 01"));
    EXPECT_TRUE(secure.secure_file);
    EXPECT_EQ(secure.place, LobPlace::extents);
    EXPECT_EQ(secure.length, 20u);
    ASSERT_EQ(secure.extents.size(), 1u);
    EXPECT_EQ(secure.extents[0].rdba, 0x20CB0F2Fu);
}

TEST(LobLocator, BasicFileChunks) {
    const LobLocator lob = decode(
        from_hex(std::string(BASIC_HEAD) + "0018 05 00 00000001 0010 0000 00000002 01000087 0100008f"));
    EXPECT_EQ(lob.place, LobPlace::chunks);
    EXPECT_EQ(lob.blocks, 1u);
    EXPECT_EQ(lob.bytes, 16u);
    EXPECT_EQ(lob.version_base, 2u);
    EXPECT_EQ(lob.addresses, (std::vector<uint32_t>{0x01000087, 0x0100008F}));
}

TEST(LobLocator, BasicFileHoldsTwelveAddressesAtMost) {
    std::string text = std::string(BASIC_HEAD) + "0040 05 00 0000000c 0000 0000 00000001";
    for (int i = 0; i < 12; ++i)
        text += "01000087";
    EXPECT_EQ(decode(from_hex(text)).addresses.size(), 12u);
    text.replace(text.find("0040"), 4, "0044");
    EXPECT_EQ(fault_of(from_hex(text + "01000087")), "the locator has bytes left over");
}

TEST(LobLocator, StorageInRowDisabledLeadsToTheIndex) {
    const LobLocator lob = decode(from_hex("0070000101080000000100000001000000106100"));
    EXPECT_EQ(lob.place, LobPlace::index);
    EXPECT_EQ(vexlo::lob_id_text(lob.id), "00000001000000106100");
}

TEST(LobLocator, SecureFileExtents) {
    const LobLocator lob =
        decode(from_hex("0070 0001 02 0c 80 80 0002 00000001000000000001 0025 40 90 001f 22 00 030d40 01"
                        "03 01 030006a6 02 01 03000095 03 01 03000091 04 02 030003bb 10"));
    EXPECT_EQ(lob.place, LobPlace::extents);
    EXPECT_EQ(lob.length, 200000u);
    EXPECT_FALSE(lob.compressed);
    ASSERT_EQ(lob.extents.size(), 4u);
    EXPECT_EQ(lob.extents[0].rdba, 0x030006A6u);
    EXPECT_EQ(lob.extents[3].rdba, 0x030003BBu);
    EXPECT_EQ(lob.extents[3].blocks, 16u);
}

TEST(LobLocator, ExtentsDoNotOverlap) {
    const std::string head = SECURE_HEAD;
    const auto two = [&](const char *second) {
        return from_hex(head + "0019 40 90 0013 22 00 030d40 01 01 00 01000020 04 00 " + second);
    };
    EXPECT_EQ(decode(two("01000024 04")).extents.size(), 2u);
    EXPECT_EQ(decode(two("0100001c 04")).extents.size(), 2u);
    EXPECT_EQ(fault_of(two("01000023 04")), "the locator has extents that overlap");
    EXPECT_EQ(fault_of(two("0100001d 04")), "the locator has extents that overlap");
}

TEST(LobLocator, SecureFileInRowThatWasNotWorthCompressing) {
    for (const char *method : {"01", "11"}) {
        const ByteVector bytes =
            from_hex(std::string(SECURE_HEAD) + "0010 48 92 0001 0007 " + method + " 00 00 03 01 616263");
        const LobLocator lob = decode(bytes); // a view of them
        EXPECT_EQ(lob.place, LobPlace::in_row);
        EXPECT_FALSE(lob.compressed);
        EXPECT_EQ(std::string(lob.data.begin(), lob.data.end()), "abc");
    }
}

TEST(LobLocator, SecureFileVersionsHaveOneToFourBytes) {
    for (const char *version : {"00 00 03 01", "00 01 03 0102", "00 02 03 010203", "00 03 03 01020304"}) {
        ByteVector bytes = from_hex(std::string(SECURE_HEAD) + "0000 48 90 0000 " + version + " 616263");
        bytes[21] = static_cast<uint8_t>(bytes.size() - 20);
        bytes[25] = static_cast<uint8_t>(bytes.size() - 26);
        EXPECT_EQ(decode(bytes).data.size(), 3u) << version;
    }
}

TEST(LobLocator, SecureFileLengthsInRowAgreeWithTheData) {
    const std::string head = std::string(SECURE_HEAD) + "000f 48 90 0009 10 00 ";
    EXPECT_EQ(decode(from_hex(head + "03 01 0003 616263")).data.size(), 3u);
    EXPECT_EQ(fault_of(from_hex(head + "04 01 0003 616263")), "the locator's length is not that of its data");
}

TEST(LobLocator, SecureFileExtentsOfManyBlocks) {
    const LobLocator lob =
        decode(from_hex(std::string(SECURE_HEAD) + "0015 40 90 000f 23 00 40000000 01 00 20 01000080 ffff"));
    ASSERT_EQ(lob.extents.size(), 1u);
    EXPECT_EQ(lob.extents[0].blocks, 0xFFFFu);
    EXPECT_EQ(lob.length, 0x40000000u);
}

TEST(LobLocator, LittleEndianCharacters) {
    const LobLocator lob = decode(
        from_hex("0054 0001 02 0c 80 40 0002 00000001000000000001 0012 09 00 00000000 0002 0000 00000001 "
                 "4100"));
    EXPECT_TRUE(lob.utf16);
    EXPECT_TRUE(lob.little_endian);
    EXPECT_EQ(lob.data.size(), 2u);
}

TEST(LobLocator, SecureFileCompressedExtents) {
    const LobLocator lob = decode(from_hex("00700001010c0080000100000001000000106578001d409200050010318105013"
                                           "d32000186a00100020300032e010186a0"));
    EXPECT_TRUE(lob.compressed);
    EXPECT_EQ(lob.length, 100000u);
    EXPECT_EQ(lob.stored_length, 0x13Du);
    ASSERT_EQ(lob.extents.size(), 1u);
    EXPECT_EQ(lob.extents[0].blocks, 1u);
}

TEST(LobLocator, SecureFileListBlock) {
    const LobLocator lob = decode(from_hex(
        "00700001010c008000010000000100000010657a001940920006000b31020604a34053c005f5e1001803000781"));
    EXPECT_EQ(lob.place, LobPlace::list_block);
    EXPECT_EQ(lob.length, 100000000u);
    EXPECT_EQ(lob.list_rdba, 0x03000781u);
}

TEST(LobLocator, CharactersOfAMultibyteDatabase) {
    size_t met = 0;
    for (const auto &[what, bytes] : stored_values()) {
        if (what.find("CLOB with 100 chars") == std::string::npos || decode(bytes).place != LobPlace::in_row)
            continue;
        ++met;
        EXPECT_EQ(characters(decode(bytes)), std::string(100, decode(bytes).secure_file ? 'G' : 'E')) << what;
    }
    EXPECT_EQ(met, 4u);
}

TEST(LobLocator, UnknownFlagsAreAFault) {
    const std::string plain = std::string(BASIC_HEAD) + "0010 09 00 00000000 0000 0000 00000000";
    EXPECT_EQ(decode(from_hex(plain)).place, LobPlace::empty);
    const std::map<size_t, uint8_t> changes = {{5, 0x1c}, {6, 0x01}, {7, 0x01}, {22, 0x19}};
    for (const auto &[at, value] : changes) {
        ByteVector bytes = from_hex(plain);
        bytes[at] = value;
        EXPECT_EQ(fault_of(bytes), "the locator has flags that are not known") << at;
    }
}

TEST(LobLocator, OtherVersionsAreAFault) {
    ByteVector bytes = from_hex(std::string(BASIC_HEAD) + "0010 09 00 00000000 0000 0000 00000000");
    bytes[3] = 2;
    EXPECT_EQ(fault_of(bytes), "the value is no locator of a known version");
    EXPECT_EQ(fault_of({}), "the locator is cut off");
}

TEST(Bfile, DirectoryAndName) {
    ByteVector bytes = from_hex("00280001 08080000 0001 000000000000");
    for (const std::string name : {"DOCS", "a.pdf"}) {
        bytes.push_back(0);
        bytes.push_back(static_cast<uint8_t>(name.size()));
        bytes.insert(bytes.end(), name.begin(), name.end());
    }
    const auto bfile = vexlo::decode_bfile(bytes);
    ASSERT_TRUE(bfile);
    EXPECT_EQ(bfile->directory, "DOCS");
    EXPECT_EQ(bfile->file, "a.pdf");
    bytes.push_back('x');
    EXPECT_FALSE(vexlo::decode_bfile(bytes));
}

} // namespace
