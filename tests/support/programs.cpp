#include "programs.h"

#include <cstdlib>

#include "scratch_dir.h"

namespace vexlo_test {

std::string program_path(const std::string &name) {
    const char *directory = std::getenv("VEXLO_PROGRAMS");
    return std::string(directory != nullptr ? directory : VEXLO_PROGRAM_DIR) + "/" + name;
}

bool is_sanitized(const std::string &path) {
    return read_text(path).find("__asan_init") != std::string::npos;
}

} // namespace vexlo_test
