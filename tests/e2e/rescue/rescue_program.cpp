#include "rescue_program.h"

#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

#include "programs.h"
#include "sample/demo.h"
#include "scratch_dir.h"

using namespace sample;
using namespace vexlo_test;

run_result run_rescue(std::vector<std::string> arguments, const run_options &options) {
    arguments.insert(arguments.begin(), program_path("vexlo-rescue"));
    return run_process(arguments, options);
}

std::vector<std::string> unload_arguments(const std::string &database, const std::string &output,
                                          const std::vector<std::string> &more) {
    std::vector<std::string> arguments = {"unload", "--files", database + "/*.dbf", "--output", output};
    if (std::find(more.begin(), more.end(), "--to") == more.end())
        arguments.insert(arguments.end(), {"--to", "csv"});
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

Json read_record(const std::string &directory) {
    return Json::parse(read_text(directory + "/rescue.json"));
}

Json record_of(const Json &record, const std::string &owner, const std::string &table) {
    for (const Json &entry : record.at("tables"))
        if (entry.at("owner") == owner && entry.at("table") == table)
            return entry;
    ADD_FAILURE() << "no entry of " << owner << "." << table;
    return {};
}

std::map<std::string, std::string> read_outputs(const std::string &directory) {
    std::map<std::string, std::string> outputs;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(directory)) {
        const std::string name = std::filesystem::relative(entry.path(), directory);
        if (entry.is_regular_file() && name != "rescue.json")
            outputs[name] = read_text(entry.path());
    }
    return outputs;
}

SimpleDatabase::SimpleDatabase(const std::string &dir, unsigned tables, unsigned rows, unsigned files)
    : db(dir) {
    TablespaceDef tablespace;
    tablespace.name = "USERS";
    tablespace.files = files;
    users = db.add_tablespace(tablespace);
    UserDef user;
    user.name = "SCOTT";
    scott = db.add_user(user);
    for (unsigned t = 1; t <= tables; ++t) {
        const std::string name = "T" + std::to_string(t);
        const size_t table = db.add_table(
            table_def(scott, name.c_str(), users, {number_column("ID"), varchar2_column("NAME", 40)}));
        for (unsigned row = 1; row <= t * rows; ++row)
            db.insert(table, {number(row), text("row " + std::to_string(row))});
    }
}
