#include "recovered_fixture.h"

#include <algorithm>

namespace vexlo_test {

using namespace sample;

void Recovered::open(DatabaseOptions options, unsigned files) {
    TablespaceDef users;
    users.files = files;
    open(std::move(options), users);
}

void Recovered::open(DatabaseOptions options, TablespaceDef users) {
    db_ = std::make_unique<Database>(dir_.file("db"), std::move(options));
    users.name = "USERS";
    users_ = db_->add_tablespace(users);
    UserDef user;
    user.name = "SCOTT";
    scott_ = db_->add_user(user);
}

TableDef Recovered::table(const std::string &name, std::vector<ColumnDef> columns) const {
    return table_def(scott_, name.c_str(), users_, std::move(columns));
}

void Recovered::unload(const std::vector<std::string> &more) {
    if (!std::exchange(finished_, true))
        db_->finish();
    std::vector<std::string> arguments = more;
    arguments.push_back("--quiet");
    result_ = run_rescue(unload_arguments(dir_.file("db"), dir_.file("out"), arguments));
    EXPECT_LE(result_.status, 1) << result_.describe();
}

std::vector<csv_row> Recovered::rows(const std::string &name, bool suspect) const {
    const std::string file = "out/SCOTT." + name + (suspect ? ".suspect.csv" : ".csv");
    if (!file_exists(dir_.file(file))) {
        ADD_FAILURE() << "no " << file << "; " << result_.describe();
        return {};
    }
    std::vector<csv_row> all = parse_csv(read_text(dir_.file(file)));
    all.erase(all.begin());
    return all;
}

csv_row Recovered::header(const std::string &name) const {
    return parse_csv(read_text(dir_.file("out/SCOTT." + name + ".csv"))).at(0);
}

csv_row Recovered::column(const std::string &name, const std::string &column, bool suspect) const {
    const std::string file = "out/SCOTT." + name + (suspect ? ".suspect.csv" : ".csv");
    if (!file_exists(dir_.file(file)))
        return {};
    const std::vector<csv_row> all = parse_csv(read_text(dir_.file(file)));
    const auto place = std::find(all[0].begin(), all[0].end(), column);
    csv_row values;
    for (size_t r = 1; r < all.size() && place != all[0].end(); r++)
        values.push_back(all[r].at(static_cast<size_t>(place - all[0].begin())));
    return values;
}

Json Recovered::record(const std::string &name) const {
    return record_of(read_record(dir_.file("out")), "SCOTT", name);
}

std::string Recovered::users_file(size_t n) const {
    for (const TablespaceEntry &t : db_->model().tablespaces)
        if (t.tsn == users_)
            return t.storage->files().at(n)->info().path.string();
    return "";
}

uint32_t block_number(uint32_t rdba) {
    return rdba & 0x3FFFFF;
}

csv_row numbers(int n) {
    csv_row row;
    for (int i = 1; i <= n; i++)
        row.push_back(std::to_string(i));
    return row;
}

} // namespace vexlo_test
