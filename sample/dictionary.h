// The rows of the dictionary tables that describe a model.
#pragma once

#include <functional>

#include "model.h"

namespace sample {

// Takes the dictionary's rows as they are made. Tables and clusters are given by their index in the model; a
// row has one value for each column of the table's definition.
struct DictionarySink {
    std::function<void(size_t cluster, const Row &key)> begin_key;
    std::function<void(size_t table, const Row &row)> insert;
};

// Makes the rows of all dictionary tables, those of a clustered table after begin_key for their key. Every
// segment of the model must have its place by now.
void write_dictionary(const Model &model, const DictionarySink &sink);

} // namespace sample
