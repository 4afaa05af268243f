// The content of dump files as the tests expect it, put together byte by byte.
#pragma once

#include <optional>
#include <string_view>

#include "dump_reader.h"

namespace vexlo_test {

// Appends the elements of a dump file to `raw`, all integers big-endian.
class dump_bytes {
public:
    dump_bytes &u16(unsigned v) {
        raw.push_back(static_cast<std::uint8_t>(v >> 8));
        raw.push_back(static_cast<std::uint8_t>(v));
        return *this;
    }
    dump_bytes &u32(std::uint32_t v) { return u16(v >> 16).u16(v & 0xFFFF); }
    dump_bytes &bytes_of(const bytes &b) {
        raw.insert(raw.end(), b.begin(), b.end());
        return *this;
    }
    dump_bytes &zeros(std::size_t n) { return bytes_of(bytes(n)); }

    // Text in a field of `width` bytes, filled up with zeros.
    dump_bytes &text(std::string_view s, std::size_t width) {
        return bytes_of(to_bytes(s)).zeros(width - s.size());
    }

    dump_bytes &value(const bytes &v) { return u16(static_cast<unsigned>(v.size())).bytes_of(v); }
    dump_bytes &value(std::string_view s) { return value(to_bytes(s)); }
    dump_bytes &null() { return u16(0xFFFE); }
    dump_bytes &lob() { return u16(0xFFFC); }
    dump_bytes &long_mark() { return u16(0xFFFB); }
    dump_bytes &row_end() { return u16(0); }
    dump_bytes &table_end() { return u16(0xFFFF); }

    // A LONG value of one chunk.
    dump_bytes &long_block(const bytes &v) { return u16(0xFFFD).value(v).u16(0); }

    // A whole row without LONG columns.
    dump_bytes &row(const std::vector<std::optional<bytes>> &values) {
        for (const std::optional<bytes> &v : values)
            v ? value(*v) : null();
        return row_end();
    }

    // One record of the column list.
    dump_bytes &column(std::string_view name, std::uint32_t ctyp, std::uint32_t clen,
                       std::uint32_t flag = 0) {
        return u32(flag).u32(ctyp).u32(clen).u32(0).text(name, 32);
    }

    bytes raw;
};

} // namespace vexlo_test
