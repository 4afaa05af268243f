// The data of LOBs, made of the place they belong to: any wrong page, block or byte shows.
#pragma once

#include <string>
#include <string_view>

#include "bytes.h"

namespace sample {

// Where a LOB belongs: some number of the table, the key of its row, the position of its column.
struct LobKey {
    uint32_t table = 0;
    uint64_t row = 0;
    uint32_t column = 0;
};

// The bytes of a BLOB.
Bytes lob_bytes(const LobKey &key, size_t length);

// The characters of a CLOB in UTF-16 units. With `wide` some are beyond the single-byte character sets, and
// some take two units, which begin at odd places so that the ends of chunks part them.
std::u16string lob_characters(const LobKey &key, size_t units, bool wide = true);

// The forms in which databases store characters, and the one in which they are recovered. latin1_bytes takes
// what lob_characters gives without `wide`.
Bytes utf16_bytes(std::u16string_view characters);
Bytes latin1_bytes(std::u16string_view characters);
std::string utf8_text(std::u16string_view characters);

} // namespace sample
