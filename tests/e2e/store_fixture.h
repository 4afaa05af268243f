// A home for the program under test whose dictionary files the tests write themselves.
#pragma once

#include <string>
#include <vector>

#include "dict_reader.h"
#include "process.h"
#include "scratch_dir.h"

namespace vexlo_test {

// The content of all dictionary files.
struct dictionary {
    std::vector<dict_user> users;
    std::vector<dict_ts> tablespaces;
    std::vector<dict_obj> objects;
    std::vector<dict_tab> tables;
    std::vector<dict_col> columns;
    std::vector<dict_tabpart> parts;
    std::vector<dict_tabcompart> composites;
    std::vector<dict_tabsubpart> subparts;
    std::vector<dict_lob> lobs;
    std::vector<dict_ind> lob_indexes;
    std::vector<dict_cluster> clusters;
};

// SCOTT's EMP (LONG column, columns with every flag), DEPT and clustered ORDERS, his partitioned SALES and
// composite-partitioned COMPO, a dropped table, a table "Case" of the user Mixed, and a PUBLIC synonym.
dictionary small_dictionary();

// Base names of the ten files that a load reads, in its order.
extern const std::vector<std::string> loaded_names;

// The progress line of a dictionary step without its count: ". . verb   name$", blanks and dots.
std::string step_label(const std::string &verb, const std::string &name);

// The end of a progress line.
std::string rows_done(std::size_t rows);

// What a load of `content` prints up to the end of its `files`-th file.
std::string load_lines(const dictionary &content, std::size_t files = 10);

// A scratch directory with config.ini, a list of one SYSTEM datafile that has headers alone, and empty
// directories for dictionary and dump files.
class console_home {
public:
    console_home();

    // Writes all dictionary files but props.
    void store(const dictionary &content) const;

    std::string dict_dir() const { return dir_.file("dict"); }
    std::string data_dir() const { return dir_.file("data"); }
    std::string datafile() const { return dir_.file("system01.dbf"); }
    std::string dict_file(const std::string &name) const { return dict_dir() + "/" + name + ".dat"; }
    std::string file(const std::string &name) const { return dir_.file(name); }

    // Runs the program with the commands typed.
    run_result run(const std::vector<std::string> &commands, const run_options &options = {}) const;

private:
    scratch_dir dir_;
};

// Expects that the program ended with status 0, printed `out` to standard output, and behind the prompts on
// standard error exactly what `err` has for each command.
void expect_console(const run_result &result, const std::string &out, const std::vector<std::string> &err);

} // namespace vexlo_test
