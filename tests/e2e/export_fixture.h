// Dictionary exports of small generated databases, and the transcript that an export must print.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "process.h"
#include "sample/database.h"
#include "scratch_dir.h"

namespace vexlo_test {

// One of the 22 steps of an export, in the order in which they run.
struct export_step {
    const char *label;
    const char *table; // whose rows are counted
    const char *file;  // base name of the dictionary file
    const char *write; // what a failed write calls the table; null for a sort
    const char *error; // last line of the step when it fails; empty for a sort
};

const std::vector<export_step> &export_steps();

// Base names of the dictionary files and the sizes of their records.
const std::map<std::string, size_t> &dictionary_files();

class ExportTest : public ::testing::Test {
protected:
    ExportTest();

    // Writes the database: one object at least for each dictionary file. `options` may be changed before;
    // its hook sees every dictionary row first. A database that was there is replaced.
    // `extra` may store further rows before the database is finished.
    void build(const std::function<void(sample::Database &)> &extra = {});

    sample::DatabaseOptions options_;
    std::unique_ptr<sample::Database> db_;

    run_result run(const std::vector<std::string> &commands, run_options options = {}) const;

    // What standard error holds behind the prompt of each command of such a run. Standard output must be
    // empty and the exit status 0.
    std::vector<std::string> transcript(const std::vector<std::string> &commands,
                                        run_options options = {}) const;

    // What a whole export prints, and what its first `steps` steps print.
    std::string whole_export() const { return first_steps(export_steps().size()); }
    std::string first_steps(size_t steps) const;

    // What is printed when the step fails with the given lines: all before it, its label, and the lines.
    std::string failed_step(size_t step, const std::string &lines) const;

    // Index of the step with the given label text.
    static size_t step(const std::string &label);

    // Rows of a dictionary table that the export keeps.
    uint32_t kept(const std::string &table) const;

    std::string dict(const std::string &file) const { return scratch_.file("db/dict/" + file + ".dat"); }
    std::string system_file() const { return scratch_.file("db/system01.dbf"); }

    // All dictionary files by base name; those that do not exist are left out.
    std::map<std::string, bytes> dictionary() const;

    // Block number of the segment header of a dictionary cluster or table.
    uint32_t cluster_header(const char *cluster) const;
    uint32_t table_header(const char *table) const;

    // Overwrites bytes of a block of the SYSTEM datafile and gives it a new check value unless told not to.
    void patch(uint32_t block, size_t offset, const bytes &data, bool reseal = true) const;

    scratch_dir scratch_;
    std::map<std::string, uint32_t> kept_; // what `kept` tells
};

constexpr char COMMAND_ERROR[] = "Command \"export\" execute error.\n";

// "%x" of a number.
std::string hex(uint32_t number);

// A hook that hands the text of each bootstrap statement with the given beginning to `change`.
sample::DictionaryHook change_statement(const std::string &beginning,
                                        std::function<void(sample::Value &text)> change);

// A hook that leaves out the bootstrap statement with the given beginning.
sample::DictionaryHook drop_statement(const std::string &beginning);

} // namespace vexlo_test
