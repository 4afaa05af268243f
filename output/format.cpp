#include "output/format.h"

#include "values/errors.h"

namespace vexlo {

std::unique_ptr<Format> make_format(const FormatOptions &options, Destination &destination,
                                    const std::string &database, const std::string &charset) {
    if (options.format == "csv")
        return make_csv_format(destination, options.lf);
    if (options.format == "jsonl")
        return make_jsonl_format(destination);
    if (options.format == "sql")
        return make_sql_format(destination, options.dialect);
    if (options.format == "sqlldr")
        return make_sqlldr_format(destination, options.raw ? charset : "AL32UTF8");
    if (options.format == "sqlite")
        return make_sqlite_format(destination, database);
    throw UsageError("format \"" + options.format + "\" is not known");
}

std::string output_name(const Table &table) {
    return table.owner.empty() ? table.name : table.owner + "." + table.name;
}

} // namespace vexlo
