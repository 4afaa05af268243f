// Moments in a form of the user's own, in the letters of strftime.
#pragma once

#include <cstddef>
#include <string_view>

#include "values/datetime.h"

namespace vexlo {

constexpr size_t DATE_FORMAT_TEXT_MAX = 160; // room format_date() needs at most

// Whether `form` has known letters only (%Y %C %y %m %d %e %H %I %M %S %p %j %a %A %b %B %h %u %w %D %F %T %R
// %N %z %n %t %%) and no moment written in it is longer than DATE_FORMAT_TEXT_MAX. %N are the nine digits of
// the fraction, %z is the offset as +hhmm.
bool is_date_format(std::string_view form);

// Writes `moment` in a sound form; returns the end. `zone` is null for a moment without one. Names are
// English, a year before 0000 has a sign.
char *format_date(const Moment &moment, const Zone *zone, std::string_view form, char *out);

} // namespace vexlo
