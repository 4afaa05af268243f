// Standard output, for programs that answer there.
#pragma once

#include <string_view>

namespace vexlo {

// Writes `text` as a whole. Throws OutputError when it does not get through.
void print(std::string_view text);

} // namespace vexlo
