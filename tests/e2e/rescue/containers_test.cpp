// Files of several containers of one database: their tablespaces, relative files and objects have the same
// numbers.
#include <filesystem>

#include <gtest/gtest.h>

#include "format/file_header.h"
#include "rescue_program.h"
#include "sample/demo.h"
#include "scratch_dir.h"

namespace {

using namespace sample;
using namespace vexlo_test;

constexpr uint32_t FILE_HEADER = 1;

class Containers : public testing::Test {
protected:
    // A container with the table SCOTT.T of one row, in as many files of USERS as there are rows of it.
    void make(const std::string &name, const std::string &content, unsigned files = 1) {
        DatabaseOptions options;
        options.layout.full = true;
        Database db(dir_.file(name), options);
        TablespaceDef users;
        users.name = "USERS";
        users.files = files;
        const uint32_t tablespace = db.add_tablespace(users);
        UserDef user;
        user.name = "SCOTT";
        const size_t t =
            db.add_table(table_def(db.add_user(user), "T", tablespace, {varchar2_column("CONTENT", 30)}));
        db.insert(t, {text(content)});
        db.finish();
    }

    // Puts a file of a container beside those of another one; absolute file numbers are unique in all of
    // them.
    void put(const std::string &file, const std::string &name, uint8_t number) {
        std::filesystem::copy_file(dir_.file(file), dir_.file("root/" + name));
        patch_file(dir_.file("root/" + name), BLOCK_SIZE, FILE_HEADER, KCCFHFNO, Bytes{number, 0}, true);
    }

    run_result unload(const std::string &files) const {
        return run_rescue(
            {"unload", "--files", dir_.file(files), "--to", "csv", "--output", dir_.file("out"), "--quiet"});
    }

    scratch_dir dir_;
};

TEST_F(Containers, FilesOfSeveralAreRefused) {
    make("root", "root");
    make("pdb", "pdb");
    put("pdb/system01.dbf", "system02.dbf", 11);
    put("pdb/users01.dbf", "users02.dbf", 12);
    const run_result refused = unload("root/*.dbf");
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.err,
              "vexlo-rescue: \"" + dir_.file("root/system01.dbf") + "\" and \"" +
                  dir_.file("root/system02.dbf") +
                  "\" are both the first file of a SYSTEM tablespace: files of several containers? "
                  "Give those of one at a time\n");
    EXPECT_FALSE(file_exists(dir_.file("out")));
}

TEST_F(Containers, TablespacesOfSeveralBesideOneDictionaryAreRefused) {
    make("root", "root");
    make("pdb", "pdb");
    put("pdb/users01.dbf", "users02.dbf", 12);
    const run_result refused = unload("root/*.dbf");
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(
        refused.err.find("are both relative file 2 of tablespace 4: files of several containers? Give those "
                         "of one at a time\n"),
        std::string::npos)
        << refused.err;
}

TEST_F(Containers, FilesOfOneAtATimeAreRead) {
    make("root", "root");
    make("pdb", "pdb");
    put("pdb/system01.dbf", "pdb_system01.dbf", 11);
    put("pdb/users01.dbf", "pdb_users01.dbf", 12);
    EXPECT_EQ(unload("root/[su]*.dbf").status, 0);
    EXPECT_EQ(read_text(dir_.file("out/SCOTT.T.csv")), "CONTENT\r\nroot\r\n");
    std::filesystem::remove_all(dir_.file("out"));
    unload("root/pdb*.dbf");
    EXPECT_EQ(read_text(dir_.file("out/SCOTT.T.csv")), "CONTENT\r\npdb\r\n");
}

TEST_F(Containers, AFileThatTheDictionaryDoesNotNameIsTold) {
    make("root", "root");
    make("pdb", "pdb", 2);
    put("pdb/users02.dbf", "users02.dbf", 13);
    const run_result result = unload("root/*.dbf");
    EXPECT_EQ(result.err,
              "vexlo-rescue: \"" + dir_.file("root/users02.dbf") +
                  "\": relative file 3 of tablespace 4 is not named by the dictionary: is it of another "
                  "container?\n");
    EXPECT_EQ(read_text(dir_.file("out/SCOTT.T.csv")), "CONTENT\r\nroot\r\n");
}

TEST_F(Containers, AFileAtThePlaceOfAnotherOneIsTold) {
    make("root", "root");
    make("pdb", "pdb");
    std::filesystem::remove(dir_.file("root/users01.dbf"));
    put("pdb/users01.dbf", "users02.dbf", 12);
    const run_result result = unload("root/*.dbf");
    EXPECT_EQ(result.err, "vexlo-rescue: \"" + dir_.file("root/users02.dbf") +
                              "\": is file 12, the dictionary names file 2 at its place: is it of another "
                              "container?\n");
}

} // namespace
