// Why a LOB is not whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vexlo {

// The first reason found.
enum class LobFault : uint8_t {
    none,
    no_segment,     // the dictionary does not say where its data lies
    lost,           // nothing leads to its data
    ambiguous,      // its index can be read in two ways
    exhausted,      // too many LOBs lead to the same blocks
    missing_pages,  // blocks that are not there or hold something else
    unknown_length, // the entry that states it is lost: whole pages are given
    length,         // the stated length reaches behind the last chunk
    damaged_stream, // what is compressed cannot be inflated
    list_block,     // a list of extents in blocks of its own: not decoded
    compress_low,   // compressed by a method that is not decoded
    deduplicated,   // its blocks belong to another LOB
    encrypted,      // ciphertext
    no_zlib,        // compressed, and this program was built without zlib
};

constexpr size_t LOB_FAULTS = static_cast<size_t>(LobFault::no_zlib) + 1;

// "blocks of the LOB are lost", ...; empty for none.
std::string_view lob_fault_text(LobFault fault);

} // namespace vexlo
