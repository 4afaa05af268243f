// Names and modes of the files that are written: a name from the dictionary leads to no other directory.
#include <sys/stat.h>

#include <filesystem>

#include "damage_fixture.h"

using namespace vexlo_test;

namespace {

// Files get their mode from the program alone while this lives.
class usual_umask {
public:
    usual_umask() : before_(umask(022)) {}
    ~usual_umask() { umask(before_); }
    usual_umask(const usual_umask &) = delete;
    usual_umask &operator=(const usual_umask &) = delete;

private:
    mode_t before_;
};

class DamageNames : public damage_console {
protected:
    std::string refused(const std::string &name) const {
        return "open " + dump_path(name) + ": No such file or directory\n";
    }

    std::vector<std::string> files_below(const std::string &dir) const {
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(dir))
            names.push_back(entry.path().string());
        return names;
    }
};

TEST_F(DamageNames, UserWithASlashIsRefused) {
    sample::UserDef def;
    def.name = "../dict/user";
    const uint32_t uid = db_->add_user(def);
    sample::TableDef t = table("T", {sample::number_column("ID")});
    t.owner = uid;
    db_->insert(db_->add_table(t), {sample::number(1)});
    finish();
    const bytes users = read_file(dict_path("user"));
    const size_t files = files_below(dir_.path()).size();
    EXPECT_EQ(run({"unload user \"../dict/user\""}).err, refused("../dict/user") + COMMAND_FAILED);
    EXPECT_EQ(read_file(dict_path("user")), users);
    EXPECT_EQ(files_below(dir_.path()).size(), files);
}

// The directory that the name leads to exists.
TEST_F(DamageNames, TableWithASlashIsRefused) {
    db_->insert(db_->add_table(table("down/T", {sample::number_column("ID")})), {sample::number(1)});
    finish();
    dir_.make_dir("db/data/SCOTT_down");
    EXPECT_EQ(run({"unload table scott.\"down/T\""}).err, refused("SCOTT_down/T") + COMMAND_FAILED);
    EXPECT_TRUE(files_below(dir_.file("db/data/SCOTT_down")).empty());
}

// In the file of a user the names of tables are no file names.
TEST_F(DamageNames, TableWithASlashIsUnloadedWithItsUser) {
    db_->insert(db_->add_table(table("down/T", {sample::number_column("ID")})), {sample::number(1)});
    finish();
    EXPECT_EQ(run({"unload user scott"}).err, progress("down/T", 1));
}

TEST_F(DamageNames, FilesAreWritableByTheirOwnerAlone) {
    const usual_umask mask;
    const size_t t = db_->add_table(table("L", {sample::typed_column("DATA", 8, 0)}));
    db_->insert(t, {sample::text(std::string(40000, 'l'))}); // through the temporary file
    finish();
    run({"unload table scott.l"});
    for (const char *name : {"user", "ts", "obj", "tab", "cluster", "col", "ind", "lob", "tabpart",
                             "tabsubpart", "tabcompart", "props"})
        EXPECT_EQ(file_mode(dict_path(name)), 0644U) << name;
    EXPECT_EQ(file_mode(dump_path("SCOTT_L")), 0644U);
    EXPECT_EQ(file_mode(dump_path("long_tmp")), 0644U);
}

} // namespace
