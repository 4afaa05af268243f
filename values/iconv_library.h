// The C library's converters of character sets. They are shared libraries of their own, loaded when they are
// asked for, which a program without shared libraries cannot do.
#pragma once

#include <iconv.h>

#include <cstdint>
#include <string>

namespace vexlo {

// Whether this program can load them.
extern const bool HAVE_ICONV;

inline const iconv_t NO_ICONV = reinterpret_cast<iconv_t>(-1);

// A converter from the set of iconv's name to UTF-8; NO_ICONV when there is none.
iconv_t open_iconv(const std::string &name);

// Bytes of one code unit of a set that iconv knows: what one letter more takes. 0 when iconv does not know
// it.
uint8_t iconv_unit(const std::string &name);

} // namespace vexlo
