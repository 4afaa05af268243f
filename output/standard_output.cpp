#include "output/standard_output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "values/errors.h"

namespace vexlo {

void print(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        throw OutputError(std::string("standard output: cannot be written: ") + std::strerror(errno));
}

} // namespace vexlo
