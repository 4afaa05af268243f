// Datafiles that change while the program runs: a walk goes by the sizes that they have when it begins.
#include "live_console.h"
#include "unload_fixture.h"

using namespace vexlo_test;

namespace {

constexpr size_t LEAST_SIZE = 40960; // bytes that a datafile has when it is opened

class UnloadGrowth : public unload_console {};

TEST_F(UnloadGrowth, FileRestoredAfterTheStartIsReadWhole) {
    const size_t t = db_->add_table(table("T", {sample::varchar2_column("C", 4000)}));
    for (int i = 0; i < 1500; i++)
        db_->insert(t, {sample::text(std::string(3000, 'x'))});
    finish();
    const std::string users = db_->datafiles().at(1).string();
    const bytes whole = read_file(users);
    ASSERT_GT(whole.size(), read_file(db_->datafiles().at(0).string()).size() + 2 * LEAST_SIZE);
    resize_file(users, LEAST_SIZE);

    live_console console(db_->config_path().string());
    console.wait_for_prompt();
    resize_file(users, whole.size()); // the same file, as a restore writes it
    patch_file(users, 0, whole);
    console.type("load dict\nunload table scott.t\nexit\n");
    console.wait_for_prompt();
    EXPECT_EQ(console.wait_for_prompt(), progress("T", 1500));
    EXPECT_EQ(console.wait_for_end(), 0);
}

} // namespace
