#include "rescue/summary.h"

#include "output/console.h"
#include "rescue/text_table.h"

namespace vexlo {

namespace {

uint64_t lost_blocks(const TableEntry &table) {
    uint64_t blocks = 0;
    for (const LossEntry &loss : table.losses)
        blocks += loss.blocks;
    return blocks;
}

} // namespace

std::string summary_text(const std::vector<TableEntry> &tables) {
    using enum TextTable::Align;
    TextTable text({left, left, right, right, right, left});
    text.add({"TABLE", "STATUS", "ROWS", "SUSPECT", "BLOCKS LOST", "REASON"});
    uint64_t rows = 0, suspect = 0, lost = 0;
    for (const TableEntry &table : tables) {
        const std::string name =
            table.owner + "." + table.table + (table.partition ? "/" + *table.partition : "");
        text.add({printable(name), std::string(status_name(table.status)), std::to_string(table.rows),
                  std::to_string(table.suspect_rows), std::to_string(lost_blocks(table)),
                  printable(table.reason.value_or(""))});
        rows += table.rows;
        suspect += table.suspect_rows;
        lost += lost_blocks(table);
    }
    text.add({std::to_string(tables.size()) + (tables.size() == 1 ? " table" : " tables"), "",
              std::to_string(rows), std::to_string(suspect), std::to_string(lost), ""});
    return text.text();
}

} // namespace vexlo
