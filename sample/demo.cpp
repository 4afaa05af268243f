#include "demo.h"

#include <utility>

#include "vexlo.h"

namespace sample {

namespace {

uint32_t add_tablespace(Database &db, const char *name, unsigned files, SegmentKind kind,
                        size_t block_size = 0) {
    TablespaceDef def;
    def.name = name;
    def.files = files;
    def.kind = kind;
    def.block_size = block_size;
    return db.add_tablespace(def);
}

uint32_t add_bigfile(Database &db, const char *name) {
    TablespaceDef def;
    def.name = name;
    def.bigfile = true;
    return db.add_tablespace(def);
}

uint32_t add_user(Database &db, const char *name, uint32_t tablespace) {
    UserDef def;
    def.name = name;
    def.default_tablespace = tablespace;
    return db.add_user(def);
}

void add_role(Database &db, const char *name) {
    UserDef def;
    def.name = name;
    def.role = true;
    db.add_user(def);
}

// Some dictionary rows have outgrown their block and migrated, as after years of use. BOOTSTRAP$ is written
// once.
DictionaryHook age_dictionary() {
    return [count = 0](std::string_view table, Row &, RowPlacement &placement) mutable {
        placement.migrated = ++count % 17 == 0 && table != "BOOTSTRAP$";
        return true;
    };
}

} // namespace

TableDef table_def(uint32_t owner, const char *name, uint32_t tablespace, std::vector<ColumnDef> columns) {
    TableDef def;
    def.owner = owner;
    def.name = name;
    def.tablespace = tablespace;
    def.columns = std::move(columns);
    return def;
}

void write_demo(const std::filesystem::path &dir, size_t block_size) {
    DatabaseOptions options;
    options.block_size = block_size;
    options.dictionary_hook = age_dictionary();
    Database db(dir, options);

    for (const char *role : {"CONNECT", "RESOURCE", "DBA"})
        add_role(db, role);
    add_user(db, "SYSTEM", 0);
    DemoContext demo{db, 0, 0, 0, 0, 0, 0, 0, 0};
    demo.users = add_tablespace(db, "USERS", 1, SegmentKind::bitmap);
    demo.data = add_tablespace(db, "APP_DATA", 3, SegmentKind::bitmap);
    demo.legacy = add_tablespace(db, "LEGACY", 1, SegmentKind::freelist);
    demo.big = add_bigfile(db, "BIG_DATA");
    demo.small =
        add_tablespace(db, "SMALL_BLOCKS", 1, SegmentKind::freelist, block_size == 4096 ? 8192 : 4096);
    demo.scott = add_user(db, "SCOTT", demo.users);
    demo.hr = add_user(db, "HR", demo.users);
    demo.mixed = add_user(db, "Mixed", demo.data);

    add_scott_tables(demo);
    add_hr_tables(demo);
    add_partitioned_tables(demo);
    add_clustered_tables(demo);
    add_long_tables(demo);
    add_lob_tables(demo);
    add_type_tables(demo);
    add_piece_tables(demo);
    add_odd_objects(demo);
    db.finish();
}

void add_odd_objects(DemoContext &demo) {
    struct OddTable {
        uint32_t owner;
        const char *name;
        uint32_t property;
        uint32_t object_flags;
    };
    const OddTable tables[] = {
        {demo.scott, "BIN$jQ2kV0w7TjngUwoAAAoZ1w==$0", 0, OBJ_DROPPED},
        {demo.scott, "CART_TEMP", TABLE_GLOBAL_TEMPORARY, OBJ_TEMPORARY},
        {demo.scott, "SORT_SCRATCH", 0, OBJ_TEMPORARY},
        {demo.scott, "COUNTRY_CODES", TABLE_INDEX_ORGANIZED, 0},
        {demo.scott, "EXT_FEED", TABLE_EXTERNAL, 0},
        {demo.mixed, "Case", 0, 0},
    };
    for (const OddTable &odd : tables) {
        TableDef def =
            table_def(odd.owner, odd.name, demo.users, {number_column("ID"), varchar2_column("Note", 40)});
        def.property = odd.property;
        def.object_flags = odd.object_flags;
        size_t table = demo.db.add_table(def);
        demo.db.insert(table, {number(1), text("first")});
        demo.db.insert(table, {number(2), text("second")});
    }

    const ObjectDef objects[] = {
        {demo.scott, "EMP_VIEW", OBJECT_VIEW, 0, {}},     {demo.scott, "ORDER_SEQ", OBJECT_SEQUENCE, 0, {}},
        {USER_PUBLIC, "EMP", OBJECT_SYNONYM, 0, {}},      {USER_PUBLIC, "ALL_SALES", OBJECT_SYNONYM, 0, {}},
        {USER_SYS, "DBA_EVERYTHING", OBJECT_VIEW, 0, {}},
    };
    for (const ObjectDef &object : objects)
        demo.db.add_object(object);
}

} // namespace sample
