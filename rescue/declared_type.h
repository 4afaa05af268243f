// Column types as they were declared.
#pragma once

#include <string>

#include "rescue/dictionary.h"

namespace vexlo {

// "NUMBER(7,2)", "VARCHAR2(30 CHAR)", "TIMESTAMP(6) WITH TIME ZONE", ...
std::string declared_type(const ColumnRecord &column);

} // namespace vexlo
