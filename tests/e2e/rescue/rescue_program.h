// Runs vexlo-rescue as a user does.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "process.h"
#include "sample/database.h"

using Json = nlohmann::ordered_json;

constexpr size_t BLOCK_SIZE = 8192; // where nothing else is asked for

// Runs vexlo-rescue with these arguments.
vexlo_test::run_result run_rescue(std::vector<std::string> arguments,
                                  const vexlo_test::run_options &options = {});

// The arguments of `unload` of every datafile in `database`/*.dbf into `output`, and `more`; as CSV unless
// that says otherwise.
std::vector<std::string> unload_arguments(const std::string &database, const std::string &output,
                                          const std::vector<std::string> &more = {});

// The record in an output directory.
Json read_record(const std::string &directory);

// The entry of a table there; fails the test when there is none.
Json record_of(const Json &record, const std::string &owner, const std::string &table);

// Every file below a directory and its content, rescue.json apart.
std::map<std::string, std::string> read_outputs(const std::string &directory);

// A user with tables T1, T2, ... of ID and NAME, in a tablespace USERS of `files` files; table n has n *
// `rows` rows.
struct SimpleDatabase {
    SimpleDatabase(const std::string &dir, unsigned tables, unsigned rows, unsigned files = 1);

    sample::Database db;
    uint32_t users;
    uint32_t scott;
};
