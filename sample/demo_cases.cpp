#include <string>

#include "demo.h"
#include "vexlo.h"

namespace sample {

namespace {

// Text whose every position can be told from its neighbours.
std::string pattern(size_t length, size_t seed) {
    std::string s;
    s.reserve(length);
    for (size_t i = 0; i < length; i++)
        s += static_cast<char>('A' + (i / 26 + i + seed) % 26);
    return s;
}

Bytes binary_pattern(size_t length) {
    Bytes bytes(length);
    for (size_t i = 0; i < length; i++)
        bytes[i] = static_cast<uint8_t>(i * 7 + i / 256);
    return bytes;
}

// ---- Partitions

void add_sales(DemoContext &demo) {
    TableDef def = table_def(demo.hr, "SALES", demo.data,
                             {number_column("SALE_ID"), date_column("SOLD_ON"), number_column("AMOUNT")});
    const struct {
        const char *name;
        uint32_t tablespace;
        const char *bound;
    } quarters[] = {
        {"SALES_Q1", demo.data, "TO_DATE('2020-04-01', 'YYYY-MM-DD')"},
        {"SALES_Q2", demo.legacy, "TO_DATE('2020-07-01', 'YYYY-MM-DD')"},
        {"SALES_Q3", demo.big, "TO_DATE('2020-10-01', 'YYYY-MM-DD')"},
        {"SALES_Q4", demo.data, "MAXVALUE"},
    };
    for (const auto &q : quarters) {
        PartitionDef part;
        part.name = q.name;
        part.tablespace = q.tablespace;
        part.high_value = q.bound;
        def.partitions.push_back(part);
    }
    size_t table = demo.db.add_table(def);
    for (int i = 0; i < 48; i++)
        demo.db.insert(
            table, {number(i + 1), date({2020, 1 + i % 12, 1 + i % 28}), decimal(std::to_string(i) + ".99")},
            {}, static_cast<size_t>(i % 12 / 3));
}

void add_composite(DemoContext &demo) {
    TableDef def =
        table_def(demo.hr, "SALES_BY_REGION", demo.data,
                  {number_column("SALE_ID"), number_column("YEAR"), varchar2_column("REGION", 10)});
    for (int year : {2018, 2019}) {
        std::string name = "Y" + std::to_string(year);
        PartitionDef part;
        part.name = name;
        part.high_value = std::to_string(year + 1);
        part.subpartitions = {{name + "_EAST", {}}, {name + "_WEST", demo.users}};
        def.partitions.push_back(part);
    }
    size_t table = demo.db.add_table(def);
    for (int i = 0; i < 20; i++) {
        bool west = i % 2 == 1;
        auto year = static_cast<size_t>(i / 10);
        demo.db.insert(table, {number(i), number(2018 + i / 10), text(west ? "WEST" : "EAST")}, {}, year,
                       west ? 1 : 0);
    }
}

// ---- Clusters

// Orders and their lines share a cluster keyed by shop and order number.
void add_order_cluster(DemoContext &demo) {
    ClusterDef cluster_def;
    cluster_def.owner = demo.hr;
    cluster_def.name = "C_ORDER";
    cluster_def.tablespace = demo.users;
    cluster_def.key = {number_column("SHOP_ID"), number_column("ORDER_ID")};
    size_t cluster = demo.db.add_cluster(cluster_def);

    TableDef orders = table_def(demo.hr, "ORDERS", demo.users,
                                {number_column("SHOP_ID"), number_column("ORDER_ID"),
                                 date_column("ORDERED_ON"), varchar2_column("CUSTOMER", 40)});
    TableDef lines = table_def(demo.hr, "ORDER_LINES", demo.users,
                               {number_column("LINE_NO"), number_column("SHOP_ID"), number_column("ORDER_ID"),
                                varchar2_column("ITEM", 30), number_column("PRICE")});
    for (TableDef *def : {&orders, &lines}) {
        def->cluster = cluster;
        def->key_columns = {"SHOP_ID", "ORDER_ID"};
    }
    size_t order_table = demo.db.add_table(orders);
    size_t line_table = demo.db.add_table(lines);
    for (int i = 0; i < 300; i++) {
        Value shop = number(1 + i % 3);
        Value order = number(1000 + i);
        demo.db.begin_key(cluster, {shop, order});
        demo.db.insert_member(order_table, {shop, order, date({2021, 1 + i % 12, 1 + i % 28}),
                                            text("Customer " + std::to_string(i))});
        for (int line = 1; line <= 1 + i % 4; line++) {
            RowPlacement placement;
            placement.migrated = i % 50 == 7 && line == 1;
            demo.db.insert_member(line_table,
                                  {number(line), shop, order, text("Item " + std::to_string(line)),
                                   decimal(std::to_string(i) + ".25")},
                                  placement);
        }
    }
}

// ---- Pieces

void add_chained(DemoContext &demo) {
    size_t table = demo.db.add_table(
        table_def(demo.scott, "CHAINED_ROWS", demo.data,
                  {number_column("ID"), varchar2_column("A", 4000), varchar2_column("B", 4000),
                   varchar2_column("C", 4000), varchar2_column("D", 4000), number_column("TAIL")}));
    auto row = [](int id, size_t length) {
        auto seed = static_cast<size_t>(id);
        return Row{number(id),
                   text(pattern(length, seed)),
                   text(pattern(length, seed + 1)),
                   text(pattern(length, seed + 2)),
                   text(pattern(length, seed + 3)),
                   number(-id)};
    };
    demo.db.insert(table, row(1, 20));
    demo.db.insert(table, row(2, 4000));
    RowPlacement between;
    between.cuts = {{2, 0}, {4, 0}};
    demo.db.insert(table, row(3, 100), between);
    RowPlacement spread = between;
    spread.piece_per_block = true;
    demo.db.insert(table, row(4, 300), spread);
    RowPlacement inside;
    inside.cuts = {{1, 50}, {1, 120}, {3, 10}};
    demo.db.insert(table, row(5, 200), inside);
    RowPlacement moved = between;
    moved.migrated = true;
    demo.db.insert(table, row(6, 100), moved);
}

void add_migrated(DemoContext &demo) {
    size_t table = demo.db.add_table(table_def(demo.scott, "MIGRATED_ROWS", demo.data,
                                               {number_column("ID"), varchar2_column("TEXT", 1000)}));
    for (int i = 1; i <= 60; i++) {
        RowPlacement placement;
        placement.migrated = i % 3 == 0;
        demo.db.insert(table, {number(i), text(pattern(static_cast<size_t>(5 * i), static_cast<size_t>(i)))},
                       placement);
    }
}

void add_wide(DemoContext &demo) {
    std::vector<ColumnDef> columns;
    for (int i = 1; i <= 300; i++)
        columns.push_back(number_column("COL_" + std::to_string(i)));
    size_t table = demo.db.add_table(table_def(demo.scott, "WIDE_TABLE", demo.users, std::move(columns)));
    for (int r = 0; r < 5; r++) {
        Row row;
        for (int i = 1; i <= 300; i++)
            row.push_back(i % 17 == r ? null_value() : number(1000 * r + i));
        demo.db.insert(table, row);
    }
}

// Many small extents, so that the extent map goes on in chained map blocks.
void add_many_extents(DemoContext &demo) {
    TableDef def = table_def(demo.scott, "MANY_EXTENTS", demo.data,
                             {number_column("ID"), varchar2_column("FILLER", 200)});
    def.segment.extent_blocks = 4;
    def.segment.map_entries = 3;
    size_t table = demo.db.add_table(def);
    for (int i = 0; i < 2000; i++)
        demo.db.insert(table, {number(i), text(pattern(150, static_cast<size_t>(i)))});
}

void add_small_blocks(DemoContext &demo) {
    size_t table = demo.db.add_table(table_def(demo.hr, "OTHER_BLOCK_SIZE", demo.small,
                                               {number_column("ID"), varchar2_column("TEXT", 2000)}));
    for (int i = 0; i < 40; i++)
        demo.db.insert(table, {number(i), text(pattern(static_cast<size_t>(40 * i), 3))});
}

void add_bigfile_table(DemoContext &demo) {
    size_t table = demo.db.add_table(
        table_def(demo.hr, "BIGFILE_TABLE", demo.big, {number_column("ID"), varchar2_column("TEXT", 4000)}));
    for (int i = 0; i < 30; i++) {
        RowPlacement placement;
        placement.migrated = i % 7 == 3;
        demo.db.insert(table, {number(i), text(pattern(static_cast<size_t>(100 * i), 5))}, placement);
    }
}

void add_row_dependencies(DemoContext &demo) {
    TableDef def = table_def(demo.hr, "ROW_DEPENDENCIES", demo.users,
                             {number_column("ID"), varchar2_column("TEXT", 40)});
    def.flags = TABLE_ROW_DEPENDENCIES;
    size_t table = demo.db.add_table(def);
    for (int i = 1; i <= 10; i++)
        demo.db.insert(table, {number(i), text(pattern(10, static_cast<size_t>(i)))});
}

ColumnDef column_with(ColumnDef def, uint32_t property, bool stored) {
    def.property = property;
    def.stored = stored;
    return def;
}

void add_hidden_columns(DemoContext &demo) {
    constexpr uint32_t computed = 0x10000; // goes with COLUMN_VIRTUAL
    size_t table = demo.db.add_table(table_def(
        demo.scott, "HIDDEN_COLUMNS", demo.users,
        {number_column("ID"),
         column_with(varchar2_column("SYS_C00002_24010112:00:00$", 20), COLUMN_UNUSED, true),
         varchar2_column("NAME", 20), column_with(number_column("TWICE"), COLUMN_VIRTUAL | computed, false),
         column_with(typed_column("SYS_STS$", TYPE_RAW, 16), COLUMN_HIDDEN, true), number_column("LAST"),
         column_with(varchar2_column("SYS_NC00007$", 20), COLUMN_HIDDEN | COLUMN_VIRTUAL | computed,
                     false)}));
    for (int i = 1; i <= 8; i++)
        demo.db.insert(table, {number(i), text("unused"), text("Name " + std::to_string(i)), null_value(),
                               raw(Bytes{0xAB, 0xCD}), number(10 * i), null_value()});
}

} // namespace

void add_partitioned_tables(DemoContext &demo) {
    add_sales(demo);
    add_composite(demo);
}

void add_clustered_tables(DemoContext &demo) {
    add_order_cluster(demo);
}

void add_long_tables(DemoContext &demo) {
    size_t notes = demo.db.add_table(table_def(demo.scott, "LONG_NOTES", demo.data,
                                               {number_column("ID"), typed_column("NOTE", TYPE_LONG, 0)}));
    demo.db.insert(notes, {number(1), text("a short note")});
    demo.db.insert(notes, {number(2), null_value()});
    demo.db.insert(notes, {number(3), text(pattern(30000, 1))});
    RowPlacement pieces;
    for (size_t at = 900; at < 9000; at += 900)
        pieces.cuts.push_back({1, at});
    demo.db.insert(notes, {number(4), text(pattern(9000, 2))}, pieces);

    size_t images =
        demo.db.add_table(table_def(demo.scott, "LONG_IMAGES", demo.data,
                                    {number_column("ID"), typed_column("IMAGE", TYPE_LONG_RAW, 0)}));
    demo.db.insert(images, {number(1), raw(binary_pattern(300))});
    demo.db.insert(images, {number(2), raw(binary_pattern(20000))});

    size_t huge = demo.db.add_table(table_def(demo.scott, "LONG_HUGE", demo.data,
                                              {number_column("ID"), typed_column("BOOK", TYPE_LONG, 0)}));
    demo.db.insert(huge, {number(1), text(pattern(100000, 3))});
}

void add_lob_tables(DemoContext &demo) {
    for (bool empty : {true, false}) {
        size_t table =
            demo.db.add_table(table_def(demo.scott, empty ? "LOB_EMPTY" : "LOB_FILLED", demo.users,
                                        {number_column("ID"), typed_column("DOC", TYPE_CLOB, 4000),
                                         typed_column("PIC", TYPE_BLOB, 4000), varchar2_column("NAME", 20)}));
        for (uint32_t i = 1; i <= 5; i++) {
            bool filled = !empty && i > 2;
            demo.db.insert(table, {number(i), filled ? lob_locator(1000 + i, true) : null_value(),
                                   filled ? lob_locator(2000 + i, false) : null_value(), text("doc")});
        }
    }
}

void add_type_tables(DemoContext &demo) {
    ColumnDef national = varchar2_column("NATIONAL", 40);
    national.charset_form = 2;
    size_t table = demo.db.add_table(table_def(
        demo.mixed, "Every Type", demo.data,
        {number_column("N"), varchar2_column("V", 4000), national, char_column("C", 10), date_column("D"),
         typed_column("R", TYPE_RAW, 2000), typed_column("BF", TYPE_BINARY_FLOAT, 4),
         typed_column("BD", TYPE_BINARY_DOUBLE, 8), typed_column("TS", TYPE_TIMESTAMP, 11),
         typed_column("TSTZ", TYPE_TIMESTAMP_TZ, 13), typed_column("TSLTZ", TYPE_TIMESTAMP_LTZ, 11),
         typed_column("YM", TYPE_INTERVAL_YM, 5), typed_column("DS", TYPE_INTERVAL_DS, 11)}));
    DateTime noon{2022, 6, 15, 12, 34, 56};
    demo.db.insert(table,
                   {decimal("-12345.6789"), text("plain"), raw(Bytes{0x00, 'n', 0x00, 'a'}),
                    padded("abc", 10), date({-4712, 1, 1}), raw(Bytes{0x00, 0xFF, 0x80}), binary_float(-1.5F),
                    binary_double(3.14159), timestamp(noon), timestamp_tz(noon, 123456789, -210),
                    timestamp(noon, 500), interval_ym(-3, -2), interval_ds(5, 4, 3, 2, 1)});
    demo.db.insert(table, Row(13));
    Row sparse(13);
    sparse[1] = text(pattern(1500, 9));
    sparse[4] = date(noon);
    demo.db.insert(table, sparse);
    Row last_only(13);
    last_only[12] = interval_ds(0, 0, 0, -1, 0);
    demo.db.insert(table, last_only);
    Row lengths(13);
    for (size_t length : {250U, 251U, 253U, 254U, 255U, 256U}) {
        lengths[0] = number(static_cast<int64_t>(length));
        lengths[1] = text(pattern(length, length));
        demo.db.insert(table, lengths);
    }
}

void add_piece_tables(DemoContext &demo) {
    add_chained(demo);
    add_migrated(demo);
    add_wide(demo);
    add_many_extents(demo);
    add_small_blocks(demo);
    add_bigfile_table(demo);
    add_row_dependencies(demo);
    add_hidden_columns(demo);
}

} // namespace sample
