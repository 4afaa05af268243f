// The selection sort whose exact exchanges fix the order of records with equal keys in a sorted dictionary
// file.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace vexlo_test {

// Sorts in place: each position in turn is exchanged with the first of the smallest records behind it.
// less(a, b) tells whether a's key is strictly smaller than b's. Not stable.
template <class Record, class Less>
void selection_sort(std::vector<Record> &records, Less less) {
    for (std::size_t i = 0; i + 1 < records.size(); ++i) {
        std::size_t min = i;
        for (std::size_t k = i + 1; k < records.size(); ++k)
            if (less(records[k], records[min]))
                min = k;
        if (min != i)
            std::swap(records[i], records[min]);
    }
}

} // namespace vexlo_test
