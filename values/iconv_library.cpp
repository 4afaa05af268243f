#include "values/iconv_library.h"

namespace vexlo {

#ifdef VEXLO_STATIC
const bool HAVE_ICONV = false;
#else
const bool HAVE_ICONV = true;
#endif

iconv_t open_iconv(const std::string &name) {
    return HAVE_ICONV && !name.empty() ? iconv_open("UTF-8", name.c_str()) : NO_ICONV;
}

bool iconv_knows(const std::string &name) {
    const iconv_t cd = open_iconv(name);
    if (cd == NO_ICONV)
        return false;
    iconv_close(cd);
    return true;
}

} // namespace vexlo
