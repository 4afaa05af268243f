// The elements of a dump file, put together byte by byte. The one place in the tests that writes its marks
// and records: what an unload must give and what a conversion is given are both made of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "bytes.h"

namespace vexlo_test {

// Appends the elements of a dump file to `raw`, all integers big-endian.
class dump_builder {
public:
    dump_builder &u16(unsigned v) {
        raw.push_back(static_cast<std::uint8_t>(v >> 8));
        raw.push_back(static_cast<std::uint8_t>(v));
        return *this;
    }
    dump_builder &u32(std::uint32_t v) { return u16(v >> 16).u16(v & 0xFFFF); }
    dump_builder &u64(std::uint64_t v) {
        return u32(static_cast<std::uint32_t>(v >> 32)).u32(static_cast<std::uint32_t>(v));
    }
    dump_builder &bytes_of(const bytes &b) {
        raw.insert(raw.end(), b.begin(), b.end());
        return *this;
    }
    dump_builder &zeros(std::size_t n) { return bytes_of(bytes(n)); }

    // Text in a field of `width` bytes, cut to it or filled up with zeros.
    dump_builder &text(std::string_view s, std::size_t width) {
        s = s.substr(0, width);
        return bytes_of(to_bytes(s)).zeros(width - s.size());
    }

    dump_builder &value(const bytes &v) { return u16(static_cast<unsigned>(v.size())).bytes_of(v); }
    dump_builder &value(std::string_view s) { return value(to_bytes(s)); }
    dump_builder &null() { return u16(0xFFFE); }
    dump_builder &lob() { return u16(0xFFFC); }
    dump_builder &long_mark() { return u16(0xFFFB); }
    dump_builder &row_end() { return u16(0); }
    dump_builder &table_end() { return u16(0xFFFF); }

    // A LONG value: its mark, chunks of value(), its end.
    dump_builder &long_begin() { return u16(0xFFFD); }
    dump_builder &long_end() { return u16(0); }
    // A LONG value of one chunk.
    dump_builder &long_block(const bytes &v) { return long_begin().value(v).long_end(); }

    // A whole row without LONG columns.
    dump_builder &row(const std::vector<std::optional<bytes>> &values) {
        for (const std::optional<bytes> &v : values)
            v ? value(*v) : null();
        return row_end();
    }

    // One record of the column list. What `unused` holds is of no meaning.
    dump_builder &column(std::string_view name, std::uint32_t ctyp, std::uint32_t clen,
                         std::uint32_t flag = 0, std::uint32_t unused = 0) {
        return u32(flag).u32(ctyp).u32(clen).u32(unused).text(name, 32);
    }

    // One record of the table directory.
    dump_builder &table(std::string_view name, std::uint32_t flag, std::uint32_t ncol, std::uint32_t nlob,
                        std::uint32_t nrows, std::uint64_t offset) {
        return u32(flag).u32(ncol).u32(nlob).u32(nrows).u64(offset).text(name, 32);
    }

    // The header, as far as it has content.
    dump_builder &header(std::string_view owner, std::string_view nls_lang, std::string_view ncharset,
                         std::string_view dbtimezone, std::uint32_t tab_cnt) {
        text("vexlo", 32).text(owner, 32).text(nls_lang, 128).text(ncharset, 64).text(dbtimezone, 64);
        return u32(tab_cnt);
    }

    bytes raw;
};

} // namespace vexlo_test
