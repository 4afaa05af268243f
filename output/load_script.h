// The script beside the outputs of a run that creates all its tables in the target and loads them.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "output/format.h"

namespace vexlo {

// load.sql where the target's own shell can do all of it, load.sh where another has to help. Both name the
// outputs as they stand in their directory. There is none for standard output, nor for formats that belong to
// no target or are loaded as they are.
class LoadScript {
public:
    // Both must outlive the script, whose name in `destination` is taken here.
    LoadScript(const FormatOptions &options, Destination &destination);

    // A table is complete: the `number`th of the run, its output the file at `path`, in the character set
    // `charset`, by Oracle's name. Any thread may add tables.
    void add(uint64_t number, const Table &table, const std::string &path, const std::string &charset);

    // Writes the script of the tables, in the order of their numbers, in place of an older one. A file of
    // that name that is no such script stays, which is told. Throws OutputError.
    void write(Report &report);

private:
    enum class Kind : uint8_t { none, psql, sqlite, shell };

    struct Entry {
        std::string owner;
        std::string commands;
    };

    static Kind kind_of(const FormatOptions &options);
    std::string commands_for(const Table &table, const std::string &file, const std::string &charset) const;
    std::string psql_commands(const Table &table, const std::string &file) const;
    std::string shell_commands(const Table &table, const std::string &file, const std::string &charset) const;
    std::string head() const;
    std::string text() const;
    std::string schema_switch(const std::string &owner, bool several) const;

    const FormatOptions &options_;
    Destination &destination_;
    Kind kind_;
    std::string path_;
    std::mutex mutex_;
    std::map<uint64_t, Entry> tables_;
};

} // namespace vexlo
