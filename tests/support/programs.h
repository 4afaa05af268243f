// The programs under test.
#pragma once

#include <string>

namespace vexlo_test {

// Path of the program `name` of this build; of the directory that VEXLO_PROGRAMS in the environment names,
// when it is set, so that the same tests try the programs of another build.
std::string program_path(const std::string &name);

// Whether the program at `path` was built with the address sanitizer, which reserves terabytes of addresses,
// takes memory of its own and several times the time.
bool is_sanitized(const std::string &path);

} // namespace vexlo_test
