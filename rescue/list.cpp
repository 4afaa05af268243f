#include "rescue/list.h"

#include <algorithm>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "output/standard_output.h"
#include "rescue/declared_type.h"
#include "rescue/open_database.h"
#include "rescue/plan.h"
#include "rescue/sample_table.h"
#include "rescue/table_layout.h"
#include "rescue/text_table.h"
#include "values/datetime.h"
#include "values/errors.h"

namespace vexlo {

namespace {

using Json = nlohmann::ordered_json;

struct ListedColumn {
    std::string name, type;
    bool nullable;
    std::optional<uint32_t> key; // position in the primary key, from 1
};

struct ListedTable {
    std::string owner, name;
    std::vector<std::string> partitions;
    std::vector<ListedColumn> columns;
    TableSample sample;
    std::optional<uint64_t> analyzed_rows;
    std::string analyzed; // when
    std::vector<std::string> obstacles;
};

std::vector<ListedColumn> listed_columns(const Dictionary &dictionary, uint32_t table,
                                         const TableLayout &layout) {
    std::vector<ListedColumn> columns;
    for (size_t i = 0; i < layout.table.columns.size(); ++i)
        for (const ColumnRecord &column : dictionary.columns(table)) {
            if (column.internal_column != layout.internal_columns[i])
                continue;
            ListedColumn listed{layout.table.columns[i].name, declared_type(column), !column.not_null, {}};
            for (const KeyColumnRecord &key : dictionary.primary_key(table))
                if (key.internal_column == column.internal_column)
                    listed.key = key.position;
            columns.push_back(std::move(listed));
        }
    return columns;
}

std::string moment_of(const std::array<uint8_t, 7> &stored) {
    Moment moment;
    if (!decode_moment(stored.data(), stored.size(), moment))
        return "";
    char text[MOMENT_TEXT_MAX];
    return {text, format_moment(moment, MomentStyle::iso, text)};
}

uint64_t blocks_of(const SegmentTally &tally, bool missing) {
    uint64_t blocks = 0;
    for (const Loss &loss : tally.losses)
        if ((loss.kind == LossKind::missing_file) == missing)
            blocks += loss.blocks;
    return blocks;
}

// What stands in the way of having all of the table.
std::vector<std::string> obstacles_of(const Dictionary &dictionary, const PlannedTable &table,
                                      const TableLayout &layout, const TableSample &sample) {
    std::vector<std::string> obstacles;
    if (table.obstacle != Obstacle::none)
        obstacles.emplace_back(obstacle_text(table.obstacle));
    std::ranges::copy(table.doubts(), std::back_inserter(obstacles));
    const auto add = [&](uint64_t count, const std::string &what) {
        if (count > 0)
            obstacles.push_back(std::to_string(count) + " " + what);
    };
    const std::string seen =
        sample.is_whole() ? "" : " among " + std::to_string(sample.sampled) + " looked at";
    add(dictionary.lost_columns(*table.table), "columns lost");
    add(layout.object_columns, "columns of object types");
    add(blocks_of(sample.tally, true), "blocks in missing files");
    add(blocks_of(sample.tally, false), "damaged blocks" + seen);
    add(sample.tally.counts.compressed, "compressed blocks" + seen);
    add(sample.tally.counts.encrypted, "encrypted blocks" + seen);
    add(static_cast<uint64_t>(std::ranges::count_if(
            dictionary.columns(table.table->object),
            [](const ColumnRecord &column) { return column_kind(column.type, false) == ColumnKind::lob; })),
        "LOB columns");
    return obstacles;
}

ListedTable look_at(const OpenDatabase &database, const PlannedTable &table, const RescueOptions &options,
                    BlockBudgets &budgets) {
    const Dictionary &dictionary = database.dictionary;
    ListedTable listed;
    listed.owner = table.owner;
    listed.name = table.name;
    for (const TableSegment &segment : table.segments)
        if (!segment.partition.empty()) {
            const std::string partition = dictionary.text(segment.partition);
            listed.partitions.push_back(segment.subpartition.empty()
                                            ? partition
                                            : partition + "/" + dictionary.text(segment.subpartition));
        }
    const TableLayout layout = make_layout(dictionary, *table.table, options.hidden);
    listed.columns = listed_columns(dictionary, table.table->object, layout);
    if (table.obstacle == Obstacle::none)
        listed.sample = sample_table(database, table, layout, options.reading, budgets);
    if (table.table->is_analyzed()) {
        listed.analyzed_rows = table.table->rows;
        listed.analyzed = moment_of(table.table->analyzed);
    }
    listed.obstacles = obstacles_of(dictionary, table, layout, listed.sample);
    return listed;
}

Json column_json(const ListedColumn &column) {
    return {{"name", column.name},
            {"type", column.type},
            {"nullable", column.nullable},
            {"key", column.key ? Json(*column.key) : Json(nullptr)}};
}

Json listed_json(const ListedTable &table, bool with_columns) {
    Json json = {{"owner", table.owner},
                 {"table", table.name},
                 {"partitions", table.partitions},
                 {"columns", table.columns.size()},
                 {"blocks", table.sample.blocks},
                 {"estimated_rows", table.sample.rows},
                 {"estimated_bytes", table.sample.bytes},
                 {"counted", table.sample.is_whole()},
                 {"analyzed_rows", table.analyzed_rows ? Json(*table.analyzed_rows) : Json(nullptr)},
                 {"analyzed", table.analyzed.empty() ? Json(nullptr) : Json(table.analyzed)},
                 {"obstacles", table.obstacles}};
    if (with_columns) {
        json["columns"] = Json::array();
        for (const ListedColumn &column : table.columns)
            json["columns"].push_back(column_json(column));
    }
    return json;
}

std::string joined(const std::vector<std::string> &texts) {
    std::string all;
    for (const std::string &text : texts)
        all += (all.empty() ? "" : ", ") + text;
    return all;
}

std::string column_line(const ListedColumn &column) {
    std::string line = "  " + printable(column.name) + "  " + column.type;
    if (!column.nullable)
        line += "  NOT NULL";
    if (column.key)
        line += "  KEY " + std::to_string(*column.key);
    return line + "\n";
}

// An estimate is marked as one.
std::string count_text(uint64_t count, const TableSample &sample) {
    return (sample.is_whole() ? "" : "~") + std::to_string(count);
}

std::string tables_text(const std::vector<ListedTable> &tables) {
    using enum TextTable::Align;
    TextTable text({left, right, right, right, right, right, right, left});
    text.add({"TABLE", "PARTITIONS", "COLUMNS", "BLOCKS", "ROWS", "BYTES", "ANALYZED ROWS", "IN THE WAY"});
    for (const ListedTable &table : tables)
        text.add({printable(table.owner + "." + table.name), std::to_string(table.partitions.size()),
                  std::to_string(table.columns.size()), std::to_string(table.sample.blocks),
                  count_text(table.sample.rows, table.sample), count_text(table.sample.bytes, table.sample),
                  table.analyzed_rows ? std::to_string(*table.analyzed_rows) : "-", joined(table.obstacles)});
    return text.text();
}

// With the columns of each table below its line.
std::string columns_text(const std::vector<ListedTable> &tables) {
    std::string lines = tables_text(tables), text;
    size_t at = lines.find('\n') + 1;
    text = lines.substr(0, at);
    for (const ListedTable &table : tables) {
        const size_t end = lines.find('\n', at) + 1;
        text += lines.substr(at, end - at);
        at = end;
        for (const ListedColumn &column : table.columns)
            text += column_line(column);
    }
    return text;
}

std::string json_text(const std::vector<ListedTable> &tables, bool with_columns) {
    std::string text = "{\"tables\": [";
    const char *separator = "\n  ";
    for (const ListedTable &table : tables) {
        text +=
            separator + listed_json(table, with_columns).dump(-1, ' ', false, Json::error_handler_t::replace);
        separator = ",\n  ";
    }
    return text + "]}\n";
}

} // namespace

int run_list(const RescueOptions &options, Console &console) {
    Report report(console);
    const OpenDatabase database(options, report);
    const std::vector<PlannedTable> planned = plan_tables(database, options);
    report_unmatched(planned, database.dictionary, options, report);
    BlockBudgets budgets(database.files);
    std::vector<ListedTable> tables;
    tables.reserve(planned.size());
    for (const PlannedTable &table : planned)
        tables.push_back(look_at(database, table, options, budgets));
    const std::string text = options.json      ? json_text(tables, options.columns)
                             : options.columns ? columns_text(tables)
                                               : tables_text(tables);
    print(text);
    return report.exit_status();
}

} // namespace vexlo
