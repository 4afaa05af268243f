// A SQLite database that several runs write, each going on where the one before it was ended.
#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>

#include "output/format.h"

namespace vexlo {

// The database stands beside its place under another name until finish(). What commit() has confirmed is safe
// there: neither the end of the program nor loss of power takes it away, and what was written behind it is
// undone when the database is opened the next time. Of the last table the end of the program is all that this
// is true for.
class ResumableDatabase : public Format {
public:
    // Drops every table but these.
    virtual void keep_tables(const std::set<std::string> &names) = 0;
    // What comes is the last table: nobody waits for it to be on the disk. What an earlier commit() has
    // confirmed can be lost with it, but not without a trace. Between two transactions.
    virtual void begin_last() = 0;
    // The tables written since the last commit() or roll_back() stay.
    virtual void commit() = 0;
    // They go.
    virtual void roll_back() = 0;
};

// A database that will be at `path`. `earlier` is what another run has left of it, be it at `path`; empty to
// begin a new one, which has large pages when its tables have LOBs. Throws UsageError when the program was
// built without SQLite, OutputError.
std::unique_ptr<ResumableDatabase> open_resumable_database(const std::string &path,
                                                           const std::string &earlier,
                                                           const FormatOptions &options, bool has_lobs);

// The tables of the database that a run has left at `path`; nothing when there is none or it is not sound.
std::optional<std::set<std::string>> database_tables(const std::string &path);

} // namespace vexlo
