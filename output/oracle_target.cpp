#include "output/oracle_target.h"

namespace vexlo {

OracleConversion oracle_conversion(ColumnKind kind, bool with_zone) {
    switch (kind) {
    case ColumnKind::date:
        return {"TO_DATE(", ",'SYYYY-MM-DD HH24:MI:SS')"};
    case ColumnKind::timestamp_ltz:
        if (with_zone)
            return oracle_conversion(ColumnKind::timestamp_tz, with_zone);
        [[fallthrough]];
    case ColumnKind::timestamp:
        return {"TO_TIMESTAMP(", ",'SYYYY-MM-DD HH24:MI:SS.FF9')"};
    case ColumnKind::timestamp_tz:
        return {"TO_TIMESTAMP_TZ(", ",'SYYYY-MM-DD HH24:MI:SS.FF9 TZH:TZM')"};
    case ColumnKind::interval_ym:
        return {"TO_YMINTERVAL(", ")"};
    case ColumnKind::interval_ds:
        return {"TO_DSINTERVAL(", ")"};
    default:
        return {"", ""};
    }
}

bool is_unwritable_in_oracle(const Column &column, const Cell &cell) {
    return (cell.kind == CellKind::special && column.kind == ColumnKind::number) ||
           (cell.facts & YEAR_ZERO) != 0;
}

std::string unwritable_in_oracle(const Column &column) {
    return "column \"" + printable(column.name) + "\": Oracle cannot load " +
           (column.kind == ColumnKind::number ? "an infinite NUMBER" : "the year 0") + ", taken as NULL";
}

} // namespace vexlo
