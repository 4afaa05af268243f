// Texts and bytes as expressions of Oracle's SQL, in lines that SQL*Plus reads: at most 2499 characters, and
// no literal that runs over lines which look like commands. So literals are short, joined by ||, and control
// characters are written as CHR(n).
#pragma once

#include <string_view>

#include "output/byte_buffer.h"

namespace vexlo {

// Bytes of one literal, of text before quotes are doubled.
constexpr size_t ORACLE_LITERAL_SIZE = 1000;

// The part of `utf8` that one literal takes: no control character, no character cut in two.
size_t oracle_literal_part(std::string_view utf8);

// The first `limit` bytes of `utf8`, and what of a character lies behind them.
std::string_view whole_characters(std::string_view utf8, size_t limit);

// `data` as HEXTORAW('...').
void put_hextoraw(std::string_view data, ByteBuffer &bytes);

// A text as a run of literals and control characters.
void put_text_expression(std::string_view utf8, bool national, ByteBuffer &bytes);

} // namespace vexlo
