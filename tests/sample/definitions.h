// What most databases of the tests have.
#pragma once

#include "sample/database.h"

namespace sample_test {

constexpr uint32_t CLOB = 112, BLOB = 113; // types of columns

// A tablespace USERS of so many files; returns its number.
inline uint32_t add_users_tablespace(sample::Database &db, unsigned files = 1) {
    sample::TablespaceDef def;
    def.name = "USERS";
    def.files = files;
    return db.add_tablespace(def);
}

} // namespace sample_test
