// Writes the databases that the benchmarks measure: `vexlo-bench-data DIR KIND N`, with N the MiB of the one
// table or, for the kind "dictionary", the number of columns.
#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <string>

#include "sample/database.h"
#include "sample/lob_data.h"

namespace {

using namespace sample;

constexpr uint32_t EXTENT_BLOCKS = 1024; // large tables have large extents
constexpr uint32_t TYPE_CLOB = 112, TYPE_BLOB = 113;

// What the kinds build on: one user and one tablespace besides SYSTEM.
struct Bench {
    Database &db;
    uint32_t owner;
    uint32_t tablespace;
};

Bench make_bench(Database &db) {
    TablespaceDef tablespace;
    tablespace.name = "BENCH_DATA";
    const uint32_t tsn = db.add_tablespace(tablespace);
    UserDef user;
    user.name = "BENCH";
    user.default_tablespace = tsn;
    return {db, db.add_user(user), tsn};
}

TableDef bench_table(const Bench &bench, std::string name, std::vector<ColumnDef> columns) {
    TableDef def;
    def.owner = bench.owner;
    def.name = std::move(name);
    def.tablespace = bench.tablespace;
    def.columns = std::move(columns);
    def.segment.extent_blocks = EXTENT_BLOCKS;
    return def;
}

// About 100 bytes in 8 columns: numbers, texts, a date, NULLs.
std::vector<ColumnDef> ordinary_columns() {
    return {number_column("ID"),           varchar2_column("NAME", 40), varchar2_column("CITY", 30),
            number_column("AMOUNT"),       date_column("CREATED"),      varchar2_column("STATUS", 10),
            varchar2_column("REMARK", 60), number_column("PARENT_ID")};
}

Row ordinary_row(int64_t i) {
    static const char *const cities[] = {"Amsterdam", "Rotterdam", "Den Haag", "Utrecht", "Eindhoven"};
    static const char *const states[] = {"NEW", "OPEN", "SHIPPED", "CLOSED"};
    return {
        number(i),
        text("Customer number " + std::to_string(i)),
        text(cities[i % 5]),
        decimal(std::to_string(i % 100000) + ".25"),
        date({static_cast<int>(1990 + i % 30), static_cast<int>(1 + i % 12), static_cast<int>(1 + i % 28)}),
        text(states[i % 4]),
        i % 3 == 0 ? null_value() : text("delivered to the back door, ask " + std::to_string(i % 977)),
        i % 7 == 0 ? null_value() : number(i / 7)};
}

int64_t rows_for(int64_t mib, int64_t bytes_a_row) {
    return mib * 1024 * 1024 / bytes_a_row;
}

void add_ordinary(Bench &bench, int64_t mib) {
    const size_t table = bench.db.add_table(bench_table(bench, "ORDINARY", ordinary_columns()));
    for (int64_t i = 0, n = rows_for(mib, 119); i < n; i++)
        bench.db.insert(table, ordinary_row(i));
}

void add_narrow(Bench &bench, int64_t mib) {
    const size_t table = bench.db.add_table(
        bench_table(bench, "NARROW", {number_column("A"), varchar2_column("B", 4), number_column("C")}));
    for (int64_t i = 0, n = rows_for(mib, 17); i < n; i++)
        bench.db.insert(table, {number(i % 10000), text("ab"), number(i % 50)});
}

void add_wide(Bench &bench, int64_t mib) {
    std::vector<ColumnDef> columns;
    for (int c = 0; c < 200; c++)
        columns.push_back(c % 2 == 0 ? number_column("N" + std::to_string(c))
                                     : varchar2_column("T" + std::to_string(c), 20));
    const size_t table = bench.db.add_table(bench_table(bench, "WIDE", columns));
    Row row(columns.size());
    for (int64_t i = 0, n = rows_for(mib, 1800); i < n; i++) {
        for (size_t c = 0; c < row.size(); c++)
            row[c] = c % 2 == 0 ? number(i + static_cast<int64_t>(c)) : text("value of column");
        bench.db.insert(table, row);
    }
}

void add_clustered(Bench &bench, int64_t mib) {
    ClusterDef cluster;
    cluster.owner = bench.owner;
    cluster.name = "ORDERS_CLUSTER";
    cluster.tablespace = bench.tablespace;
    cluster.key = {number_column("ID")};
    cluster.segment.extent_blocks = EXTENT_BLOCKS;
    const size_t index = bench.db.add_cluster(cluster);
    TableDef def = bench_table(bench, "CLUSTERED", ordinary_columns());
    def.cluster = index;
    def.key_columns = {"ID"};
    const size_t table = bench.db.add_table(def);
    for (int64_t i = 0, n = rows_for(mib, 119); i < n; i++) {
        Row row = ordinary_row(i);
        row[0] = number(i / 20);
        if (i % 20 == 0)
            bench.db.begin_key(index, row);
        bench.db.insert_member(table, row);
    }
}

// Every tenth row has migrated and every tenth is cut in the middle of a column.
void add_pieces(Bench &bench, int64_t mib) {
    const size_t table = bench.db.add_table(bench_table(bench, "PIECES", ordinary_columns()));
    for (int64_t i = 0, n = rows_for(mib, 119); i < n; i++) {
        RowPlacement placement;
        placement.migrated = i % 10 == 3;
        if (i % 10 == 7)
            placement.cuts = {{1, 5}};
        bench.db.insert(table, ordinary_row(i), placement);
    }
}

void add_partitioned(Bench &bench, int64_t mib) {
    constexpr size_t PARTS = 16;
    TableDef def = bench_table(bench, "PARTITIONED", ordinary_columns());
    for (size_t p = 0; p < PARTS; p++) {
        PartitionDef part;
        part.name = "P" + std::to_string(p);
        def.partitions.push_back(part);
    }
    const size_t table = bench.db.add_table(def);
    for (int64_t i = 0, n = rows_for(mib, 119); i < n; i++)
        bench.db.insert(table, ordinary_row(i), {}, static_cast<size_t>(i) % PARTS);
}

size_t add_lob_table(Bench &bench, const char *name, uint32_t type, LobStorage storage) {
    std::vector<ColumnDef> columns{number_column("ID"), typed_column("DOC", type, 4000)};
    columns[1].lobs = storage;
    return bench.db.add_table(bench_table(bench, name, columns));
}

// BLOBs of 1 MB each, half of them in SecureFiles.
void add_large_lobs(Bench &bench, int64_t mib) {
    constexpr size_t LENGTH = 1000000;
    LobStorage secure;
    secure.secure = true;
    const size_t tables[] = {add_lob_table(bench, "LARGE_BASIC", TYPE_BLOB, {}),
                             add_lob_table(bench, "LARGE_SECURE", TYPE_BLOB, secure)};
    for (int64_t i = 0, n = rows_for(mib, LENGTH); i < n; i++) {
        const size_t table = tables[i % 2];
        const Bytes data = lob_bytes({static_cast<uint32_t>(table), static_cast<uint64_t>(i), 1}, LENGTH);
        bench.db.insert(table, {number(i), bench.db.store_lob(table, 1, data)});
    }
}

// CLOBs of about 100 characters in the row, and the same texts as VARCHAR2.
void add_small_lobs(Bench &bench, int64_t mib) {
    const size_t lobs = add_lob_table(bench, "SMALL_LOBS", TYPE_CLOB, {});
    const size_t texts = bench.db.add_table(
        bench_table(bench, "SMALL_TEXTS", {number_column("ID"), varchar2_column("DOC", 400)}));
    for (int64_t i = 0, n = rows_for(mib, 400); i < n; i++) {
        const auto key = static_cast<uint64_t>(i);
        const std::u16string characters = lob_characters({1, key, 1}, 90 + key % 20);
        bench.db.insert(lobs, {number(i), bench.db.store_lob(lobs, 1, utf16_bytes(characters))});
        bench.db.insert(texts, {number(i), text(utf8_text(characters))});
    }
}

// One BLOB of N MiB.
void add_one_lob(Bench &bench, int64_t mib) {
    const size_t table = add_lob_table(bench, "ONE_LOB", TYPE_BLOB, {});
    const Bytes data = lob_bytes({1, 1, 1}, static_cast<size_t>(mib) * 1024 * 1024);
    bench.db.insert(table, {number(1), bench.db.store_lob(table, 1, data)});
}

// Tables of ten columns without rows, a hundred to a cluster.
void add_dictionary(Bench &bench, int64_t columns) {
    const int64_t tables = columns / 10;
    const int64_t clusters = std::max<int64_t>(tables / 100, 1);
    std::vector<size_t> indexes;
    for (int64_t c = 0; c < clusters; c++) {
        ClusterDef cluster;
        cluster.owner = bench.owner;
        cluster.name = "C" + std::to_string(c);
        cluster.tablespace = bench.tablespace;
        cluster.key = {number_column("K")};
        indexes.push_back(bench.db.add_cluster(cluster));
    }
    for (int64_t t = 0; t < tables; t++) {
        std::vector<ColumnDef> cols = {number_column("K")};
        for (int c = 1; c < 10; c++)
            cols.push_back(varchar2_column("COLUMN_" + std::to_string(c), 30));
        TableDef def = bench_table(bench, "T" + std::to_string(t), cols);
        def.cluster = indexes[static_cast<size_t>(t % clusters)];
        def.key_columns = {"K"};
        bench.db.add_table(def);
    }
}

int write_database(const char *dir, const std::string &kind, int64_t n) {
    const std::map<std::string, std::function<void(Bench &, int64_t)>> kinds = {
        {"ordinary", add_ordinary},     {"narrow", add_narrow},         {"wide", add_wide},
        {"clustered", add_clustered},   {"pieces", add_pieces},         {"partitioned", add_partitioned},
        {"dictionary", add_dictionary}, {"large-lobs", add_large_lobs}, {"small-lobs", add_small_lobs},
        {"one-lob", add_one_lob},
    };
    const auto found = kinds.find(kind);
    if (found == kinds.end()) {
        fprintf(stderr, "unknown kind %s\n", kind.c_str());
        return 2;
    }
    DatabaseOptions options;
    options.checksum = false;
    options.dictionary_extent_blocks = 128;
    Database db(dir, options);
    Bench bench = make_bench(db);
    found->second(bench, n);
    db.finish();
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 4) {
        fprintf(stderr, "usage: %s DIR KIND N\n", argv[0]);
        return 2;
    }
    try {
        return write_database(argv[1], argv[2], std::stoll(argv[3]));
    } catch (const std::exception &error) {
        fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
