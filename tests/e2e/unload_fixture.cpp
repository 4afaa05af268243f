#include "unload_fixture.h"

namespace vexlo_test {

const std::string COMMAND_FAILED = "Command \"unload\" execute error.\n";

unload_console::unload_console(sample::DatabaseOptions options)
    : db_(std::make_unique<sample::Database>(dir_.file("db"), std::move(options))) {
    users_ = add_tablespace("USERS", 1);
    sample::UserDef user;
    user.name = "SCOTT";
    scott_ = db_->add_user(user);
}

sample::TableDef unload_console::table(const std::string &name,
                                       std::vector<sample::ColumnDef> columns) const {
    sample::TableDef def;
    def.owner = scott_;
    def.name = name;
    def.tablespace = users_;
    def.columns = std::move(columns);
    return def;
}

size_t unload_console::add_numbers(const std::string &name, int rows, uint32_t object_flags,
                                   uint32_t property) {
    sample::TableDef def = table(name, {sample::number_column("ID")});
    def.object_flags = object_flags;
    def.property = property;
    const size_t t = db_->add_table(def);
    for (int i = 1; i <= rows; i++)
        db_->insert(t, {sample::number(i)});
    return t;
}

uint32_t unload_console::add_tablespace(const std::string &name, unsigned files, size_t block_size,
                                        bool bigfile) {
    sample::TablespaceDef def;
    def.name = name;
    def.files = files;
    def.block_size = block_size;
    def.bigfile = bigfile;
    return db_->add_tablespace(def);
}

void unload_console::finish() {
    db_->finish();
    const run_result got = run_vexlo(db_->config_path().string(), {"export dict"});
    ASSERT_EQ(got.status, 0) << got.describe();
    ASSERT_EQ(got.err.find("error"), std::string::npos) << got.describe();
}

unload_output unload_console::run(std::vector<std::string> commands, run_options options) {
    commands.insert(commands.begin(), "load dict");
    const run_result got = run_vexlo(db_->config_path().string(), commands, std::move(options));
    EXPECT_EQ(got.status, 0) << got.describe();
    const console_text text = split_console(got.err);
    if (text.commands.size() != commands.size() + 1) {
        ADD_FAILURE() << got.describe();
        return {};
    }
    for (size_t i = 0; i + 1 < commands.size(); i++)
        EXPECT_EQ(text.commands[i].find("execute error"), std::string::npos) << text.commands[i];
    EXPECT_EQ(text.commands.back(), "");
    return {got.out, text.commands[commands.size() - 1]};
}

bytes unload_console::data_area(const std::string &name) const {
    const bytes raw = dump(name);
    EXPECT_GE(raw.size(), 1536U);
    return raw.size() < 1536 ? bytes{} : bytes(raw.begin() + 1536, raw.end());
}

std::string progress(const std::string &table, unsigned rows, const std::string &user,
                     const std::string &between) {
    std::string line = ". . unloading table \"" + user + "\".\"" + table + "\"  ";
    if (line.size() < 80)
        line.append(80 - line.size(), '.');
    const std::string count = std::to_string(rows);
    return line + between + std::string(10 - count.size(), ' ') + count + " rows done.\n";
}

std::string filled(std::string format, const std::string &value) {
    return format.replace(format.find("%s"), 2, value);
}

bytes number_value(int n) {
    return sample::number(n).value();
}

} // namespace vexlo_test
