#include "export_fixture.h"

#include <cstdio>

#include "sample/system_tables.h"

namespace vexlo_test {

namespace {

bool begins_with(const sample::Value &text, const std::string &beginning) {
    return text && std::string(text->begin(), text->end()).starts_with(beginning);
}

// Rows that are of no interest to the export: users of another type than 1, indexes of another type than 8.
bool is_kept(std::string_view table, const sample::Row &row) {
    if (table == "USER$")
        return row.at(1) == sample::number(1);
    if (table == "IND$")
        return row.at(11) == sample::number(8);
    return true;
}

// Something for every dictionary file.
void add_objects(sample::Database &db) {
    sample::TableDef plain;
    plain.name = "PLAIN";
    plain.columns = {sample::number_column("ID"), sample::typed_column("DOC", 112, 4000)};
    db.add_table(plain);

    sample::TableDef parts;
    parts.name = "PARTS";
    parts.columns = {sample::number_column("ID")};
    parts.partitions.resize(2);
    parts.partitions[0].name = "P1";
    parts.partitions[1].name = "P2";
    db.add_table(parts);

    sample::TableDef composite = parts;
    composite.name = "COMPOSITE";
    for (sample::PartitionDef &part : composite.partitions)
        part.subpartitions = {{part.name + "_S1", {}}, {part.name + "_S2", {}}};
    db.add_table(composite);
}

} // namespace

const std::vector<export_step> &export_steps() {
    static const std::vector<export_step> steps = {
        {". . export user$", "USER$", "user", "user", "export user$ error.\n"},
        {". . export ts$", "TS$", "ts", "tablespace", "export ts$ error.\n"},
        {". . export obj$", "OBJ$", "obj", "object", "export obj$ error.\n"},
        {". . export tab$", "TAB$", "tab", "table", "export tab$ error.\n"},
        {". . export clu$", "CLU$", "cluster", "cluster", "export clu$ error.\n"},
        {". . export col$", "COL$", "col", "column", "export col$ error.\n"},
        {". . export ind$", "IND$", "ind", "lob index", "export ind$ error.\n"},
        {". . sort   user$", "USER$", "user", nullptr, ""},
        {". . sort   ts$", "TS$", "ts", nullptr, ""},
        {". . sort   obj$", "OBJ$", "obj", nullptr, ""},
        {". . sort   tab$", "TAB$", "tab", nullptr, ""},
        {". . sort   col$", "COL$", "col", nullptr, ""},
        {". . sort   ind$", "IND$", "ind", nullptr, ""},
        {". . export lob$", "LOB$", "lob", "lob", "export lob$ error.\n"},
        {". . export tabpart$", "TABPART$", "tabpart", "tabpart", "export tabpart$ error.\n"},
        {". . export tabsubpart$", "TABSUBPART$", "tabsubpart", "tabsubpart", "export tabsubpart$ error.\n"},
        {". . export tabcompart$", "TABCOMPART$", "tabcompart", "tabcompart", "export tabcompart$ error.\n"},
        {". . export props$", "PROPS$", "props", "property", "export props$ error.\n"},
        {". . sort   lob$", "LOB$", "lob", nullptr, ""},
        {". . sort   tabpart$", "TABPART$", "tabpart", nullptr, ""},
        {". . sort   tabsubpart$", "TABSUBPART$", "tabsubpart", nullptr, ""},
        {". . sort   tabcompart$", "TABCOMPART$", "tabcompart", nullptr, ""},
    };
    return steps;
}

const std::map<std::string, size_t> &dictionary_files() {
    static const std::map<std::string, size_t> files = {
        {"user", 48}, {"ts", 40},  {"obj", 48},     {"tab", 56},        {"cluster", 16},    {"col", 56},
        {"ind", 32},  {"lob", 40}, {"tabpart", 32}, {"tabsubpart", 32}, {"tabcompart", 32}, {"props", 160},
    };
    return files;
}

ExportTest::ExportTest() {
    options_.block_size = 4096;
}

void ExportTest::build(const std::function<void(sample::Database &)> &extra) {
    kept_.clear();
    sample::DatabaseOptions options = options_;
    options.dictionary_hook = [this](std::string_view table, sample::Row &row,
                                     sample::RowPlacement &placement) {
        const auto &hook = options_.dictionary_hook;
        if (hook && !hook(table, row, placement))
            return false;
        kept_[std::string(table)] += !placement.deleted && is_kept(table, row);
        return true;
    };
    db_ = std::make_unique<sample::Database>(scratch_.file("db"), options);
    add_objects(*db_);
    if (extra)
        extra(*db_);
    db_->finish();
}

run_result ExportTest::run(const std::vector<std::string> &commands, run_options options) const {
    return run_vexlo(scratch_.file("db/config.ini"), commands, std::move(options));
}

std::vector<std::string> ExportTest::transcript(const std::vector<std::string> &commands,
                                                run_options options) const {
    const run_result result = run(commands, std::move(options));
    EXPECT_EQ(result.end, ending::exited) << result.describe();
    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(result.out, "");
    std::vector<std::string> said = split_console(result.err).commands;
    EXPECT_EQ(said.size(), commands.size() + 1) << result.describe();
    said.resize(commands.size());
    return said;
}

namespace {

// The label, blanks up to 23 characters, dots up to 64.
std::string progress(const export_step &step) {
    std::string line = step.label;
    line.resize(23, ' ');
    line.resize(64, '.');
    return line;
}

} // namespace

std::string ExportTest::first_steps(size_t steps) const {
    std::string text;
    for (size_t i = 0; i < steps; i++) {
        char count[32];
        snprintf(count, sizeof count, "%10u rows done.\n", kept(export_steps()[i].table));
        text += progress(export_steps()[i]) + count;
    }
    return text;
}

std::string ExportTest::failed_step(size_t step, const std::string &lines) const {
    return first_steps(step) + progress(export_steps()[step]) + lines + export_steps()[step].error +
           COMMAND_ERROR;
}

size_t ExportTest::step(const std::string &label) {
    size_t at = 0;
    while (export_steps().at(at).label != label)
        at++;
    return at;
}

uint32_t ExportTest::kept(const std::string &table) const {
    const auto it = kept_.find(table);
    return it == kept_.end() ? 0 : it->second;
}

std::map<std::string, bytes> ExportTest::dictionary() const {
    std::map<std::string, bytes> files;
    for (const auto &[name, size] : dictionary_files())
        if (file_exists(dict(name)))
            files[name] = read_file(dict(name));
    return files;
}

uint32_t ExportTest::cluster_header(const char *cluster) const {
    const sample::Model &model = db_->model();
    return model.clusters[sample::find_system_cluster(model, cluster)].place.block;
}

uint32_t ExportTest::table_header(const char *table) const {
    const sample::Model &model = db_->model();
    return model.tables[sample::find_system_table(model, table)].place.block;
}

void ExportTest::patch(uint32_t block, size_t offset, const bytes &data, bool reseal) const {
    sample::patch_file(system_file(), options_.block_size, block, offset, data, reseal);
}

std::string hex(uint32_t number) {
    char text[16];
    snprintf(text, sizeof text, "%x", number);
    return text;
}

sample::DictionaryHook change_statement(const std::string &beginning,
                                        std::function<void(sample::Value &text)> change) {
    return [=](std::string_view table, sample::Row &row, sample::RowPlacement &) {
        if (table == "BOOTSTRAP$" && begins_with(row.at(2), beginning))
            change(row.at(2));
        return true;
    };
}

sample::DictionaryHook drop_statement(const std::string &beginning) {
    return [=](std::string_view table, sample::Row &row, sample::RowPlacement &) {
        return table != "BOOTSTRAP$" || !begins_with(row.at(2), beginning);
    };
}

} // namespace vexlo_test
