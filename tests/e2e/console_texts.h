// What the console says in several tests.
#pragma once

#include <string>

namespace vexlo_test {

inline const std::string LOAD_FAILED = "Command \"load\" execute error.\n";
inline const std::string DESC_FAILED = "Command \"desc\" execute error.\n";
inline const std::string UNLOAD_FAILED = "Command \"unload\" execute error.\n";
inline const std::string NO_DICTIONARY = "dictionary data not loaded.\n";

} // namespace vexlo_test
