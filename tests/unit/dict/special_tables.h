// The special-table vectors that the sorts of objects and tables fill, and these sorts over given records.
#pragma once

#include <array>

#include "sort_family.h"

namespace vexlo_test {

using vector5 = std::array<std::uint32_t, SPECIAL_TABLES>;

constexpr vector5 ALL_SPECIAL{SPECIAL_OBJN, SPECIAL_OBJN + 1, SPECIAL_OBJN + 2, SPECIAL_OBJN + 3,
                              SPECIAL_OBJN + 4};

// The header addresses of special_tabs().
constexpr vector5 ALL_ADDRESSES{1U << 22 | 100, 2U << 22 | 101, 3U << 22 | 102, 4U << 22 | 103,
                                5U << 22 | 104};

inline OBJ object(std::uint32_t objn, std::uint32_t owner, const char *name) {
    OBJ obj{.flag = 0, .objn = objn, .owner = owner, .type = 2, .name = {}};
    std::snprintf(obj.name, NAME_SIZE, "%s", name);
    return obj;
}

class SpecialTables : public store_context {
protected:
    int sort_obj(const std::vector<OBJ> &objects) {
        store("obj", objects);
        int result = 0;
        said_ = messages_of([&] { result = sort_obj_by_objn(sobj_.data()); });
        return result;
    }

    int sort_tab(const std::vector<TAB> &tables) {
        store("tab", tables);
        int result = 0;
        said_ =
            messages_of([&] { result = sort_tab_by_objn(ALL_SPECIAL.data(), tabn_.data(), rdba_.data()); });
        return result;
    }

    // What sort_obj reports when the object of the special table `k` is `instead`.
    std::string said_with(std::size_t k, const OBJ &instead) {
        std::vector<OBJ> objects = special_objects();
        objects[k] = instead;
        EXPECT_EQ(sort_obj(objects), -1);
        return said_;
    }

    vector5 sobj_{91, 92, 93, 94, 95};
    vector5 tabn_{81, 82, 83, 84, 85};
    vector5 rdba_{71, 72, 73, 74, 75};
    std::string said_;
};

} // namespace vexlo_test
