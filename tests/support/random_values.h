// Values of every type: those at the ends of their ranges and random ones between.
#pragma once

#include <random>
#include <vector>

#include "dump_writer.h"

// A table with a column of every type and `rows` rows; about one value in ten is NULL.
DumpTable table_of_all_types(const std::string &name, int rows, unsigned seed);
