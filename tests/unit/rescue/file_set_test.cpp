#include <fstream>

#include "format/block_address.h"
#include "format/file_header.h"
#include "rescue/file_set.h"
#include "rescue_fixture.h"
#include "values/errors.h"

using namespace rescue_test;
using namespace vexlo;

namespace {

class FileSetTest : public RescueTest {
protected:
    void write(const std::string &name, const std::string &text) { std::ofstream(path_of(name)) << text; }
    void copy(std::string_view from, std::string_view to) {
        std::filesystem::copy_file(path_of(from), path_of(to));
    }
    static std::vector<std::string> used_paths(const FileSet &files) {
        std::vector<std::string> names;
        for (const auto &file : files.inputs())
            if (file->is_used())
                names.push_back(std::filesystem::path(file->path()).filename().string());
        return names;
    }
    static FileQuery of_files(std::vector<std::string> files) { return {std::move(files), {}, {}, {}}; }
};

using Names = std::vector<std::string>;

} // namespace

TEST_F(FileSetTest, ADirectoryGivesItsDatafilesAndNamesTheOthers) {
    db().finish();
    const FileSet files(of_files({directory()}));
    EXPECT_EQ(used_paths(files), (Names{SYSTEM_FILE, USERS_FILE}));
    EXPECT_EQ(files.notes(), (Names{"\"" + path_of("config.ini") + "\": not a datafile: text file",
                                    "\"" + path_of("datafiles.txt") + "\": not a datafile: text file"}));
    EXPECT_EQ(files.dbid(), 0x56E71A0Cu);
    ASSERT_NE(files.root(), nullptr);
    EXPECT_EQ(files.root()->path(), path_of(SYSTEM_FILE));
}

TEST_F(FileSetTest, PatternsListsAndConfigurationsGiveTheirFiles) {
    db().finish();
    write("list.txt", "# comment\n\n  " + path_of(USERS_FILE) + " # the only one");
    write("my.ini", "dictdir = x\ndatafiles =  " + path_of("list.txt") + "\n");
    EXPECT_EQ(used_paths(FileSet(of_files({path_of("us*.dbf")}))), (Names{USERS_FILE}));
    EXPECT_EQ(used_paths(FileSet(FileQuery{{}, path_of("list.txt"), {}, {}})), (Names{USERS_FILE}));
    EXPECT_EQ(used_paths(FileSet(FileQuery{{}, {}, path_of("my.ini"), {}})), (Names{USERS_FILE}));
    EXPECT_EQ(used_paths(FileSet(FileQuery{{path_of(SYSTEM_FILE)}, path_of("list.txt"), {}, {}})),
              (Names{SYSTEM_FILE, USERS_FILE}));
}

TEST_F(FileSetTest, APathThatGivesNothingIsAUsageError) {
    db().finish();
    write("empty.txt", "# nothing\n");
    EXPECT_THROW(FileSet(of_files({path_of("none.dbf")})), UsageError);
    EXPECT_THROW(FileSet(of_files({path_of("none*.dbf")})), UsageError);
    EXPECT_THROW(FileSet(FileQuery{{}, path_of("empty.txt"), {}, {}}), UsageError);
    EXPECT_THROW(FileSet(FileQuery{{}, path_of("none.txt"), {}, {}}), UsageError);
    EXPECT_THROW(FileSet(FileQuery{{}, {}, path_of("empty.txt"), {}}), UsageError);
    EXPECT_THROW(FileSet(of_files({path_of("empty.txt")})), InputError);
}

TEST_F(FileSetTest, AListedFileThatCannotBeOpenedIsMissing) {
    db().finish();
    write("list.txt", path_of(USERS_FILE) + "\n" + path_of("gone.dbf") + "\n");
    const FileSet files(FileQuery{{}, path_of("list.txt"), {}, {}});
    ASSERT_EQ(files.inputs().size(), 2u);
    EXPECT_EQ(files.inputs()[1]->status(), FileStatus::missing);
    EXPECT_STREQ(status_text(files.inputs()[1]->status()), "missing");
}

TEST_F(FileSetTest, AFileNamedTwiceIsOneFile) {
    db().finish();
    std::filesystem::create_symlink(path_of(USERS_FILE), path_of("link.dbf"));
    const FileSet files(of_files({path_of(USERS_FILE), path_of(USERS_FILE), path_of("link.dbf")}));
    EXPECT_EQ(files.inputs().size(), 1u);
    EXPECT_TRUE(files.notes().empty());
}

TEST_F(FileSetTest, OfTwoCopiesTheOneWithTheNewerCheckpointIsUsed) {
    db().finish();
    copy(USERS_FILE, "copy.dbf");
    patch("copy.dbf", FILE_HEADER, KCVCPSCN, {0xFF, 0xFF, 0xFF, 0xFF, 0x01, 0x00});
    patch(USERS_FILE, FILE_HEADER, KCVCPSCN, {0x01, 0x00, 0x00, 0x00, 0x02, 0x00}); // wrap 2 is newer
    const FileSet files(of_files({path_of("copy.dbf"), path_of(USERS_FILE)}));
    EXPECT_EQ(used_paths(files), (Names{USERS_FILE}));
    EXPECT_EQ(files.inputs()[0]->status(), FileStatus::duplicate);
    EXPECT_EQ(files.notes(), (Names{"\"" + path_of("copy.dbf") + "\": duplicate: copy of \"" +
                                    path_of(USERS_FILE) + "\", whose checkpoint is newer"}));
}

TEST_F(FileSetTest, OfEqualCopiesTheFirstIsUsed) {
    db().finish();
    copy(USERS_FILE, "copy.dbf");
    const FileSet files(of_files({path_of("copy.dbf"), path_of(USERS_FILE)}));
    EXPECT_EQ(used_paths(files), (Names{"copy.dbf"}));
    EXPECT_EQ(files.notes(), (Names{"\"" + path_of(USERS_FILE) + "\": duplicate: copy of \"" +
                                    path_of("copy.dbf") + "\", whose checkpoint is the same"}));
}

TEST_F(FileSetTest, SeveralDatabasesAreAnErrorUnlessOneIsChosen) {
    db().finish();
    copy(USERS_FILE, "other.dbf");
    patch("other.dbf", FILE_HEADER, KCCFHDBI, {7, 0, 0, 0});
    FileQuery query = of_files({path_of(SYSTEM_FILE), path_of("other.dbf")});
    EXPECT_THROW(FileSet{query}, UsageError);
    query.dbid = 7;
    const FileSet files(query);
    EXPECT_EQ(used_paths(files), (Names{"other.dbf"}));
    EXPECT_EQ(files.inputs()[0]->status(), FileStatus::other_database);
    query.dbid = 8;
    EXPECT_THROW(FileSet{query}, UsageError);
}

TEST_F(FileSetTest, TwoFilesThatClaimOnePlaceAreRefused) {
    db().finish();
    copy(USERS_FILE, "other.dbf");
    patch("other.dbf", FILE_HEADER, KCCFHFNO, {9, 0}); // another file of another container
    EXPECT_THROW(FileSet(of_files({path_of(USERS_FILE), path_of("other.dbf")})), UsageError);
}

TEST_F(FileSetTest, BlocksAreFoundByTablespaceAndAddress) {
    db().finish();
    const FileSet files(of_files({directory()}));
    const BlockPlace place = files.find(users(), make_rdba(2, 17));
    ASSERT_NE(place.file, nullptr);
    EXPECT_EQ(place.file->path(), path_of(USERS_FILE));
    EXPECT_EQ(place.block, 17u);
    EXPECT_EQ(files.find(users(), make_rdba(3, 17)).file, nullptr);
    EXPECT_EQ(files.find(9, make_rdba(2, 17)).file, nullptr);
    EXPECT_EQ(files.missing(), (std::vector<MissingFile>{{users(), 3}, {9, 2}}));
}

TEST_F(FileSetTest, AFileWithoutAHeaderServesEveryTablespaceUntilItIsPlaced) {
    insert_rows(add_table("T"), 1, 100);
    db().finish();
    destroy(USERS_FILE, FILE_HEADER);
    FileSet files(of_files({directory()}));
    EXPECT_NE(files.find(users(), make_rdba(2, 17)).file, nullptr);
    EXPECT_NE(files.find(11, make_rdba(2, 17)).file, nullptr);
    EXPECT_TRUE(files.tablespace(users()).empty());
    files.place_files({{2, users(), 2, 100}});
    EXPECT_EQ(files.tablespace(users()).size(), 1u);
    EXPECT_NE(files.find(users(), make_rdba(2, 17)).file, nullptr);
    EXPECT_EQ(files.find(11, make_rdba(2, 17)).file, nullptr);
}

TEST_F(FileSetTest, ACopyWhoseHeaderIsDamagedGivesWayToTheSoundFile) {
    db().finish();
    copy(USERS_FILE, "a copy.dbf"); // in front of the other
    patch("a copy.dbf", FILE_HEADER, 100, {0x55}, false);
    const FileSet files(of_files({path_of("a copy.dbf"), path_of(USERS_FILE)}));
    EXPECT_EQ(used_paths(files), (Names{USERS_FILE}));
    EXPECT_EQ(files.inputs()[0]->remark(), "copy of \"" + path_of(USERS_FILE) + "\", whose header is sound");
}

TEST_F(FileSetTest, ACopyWithoutAHeaderGivesWayWhenFilesArePlaced) {
    db().finish();
    copy(USERS_FILE, "a copy.dbf");
    destroy("a copy.dbf", FILE_HEADER);
    FileSet files(of_files({path_of("a copy.dbf"), path_of(USERS_FILE)}));
    files.place_files({{2, users(), 2, 100}});
    EXPECT_EQ(used_paths(files), (Names{USERS_FILE}));
    EXPECT_EQ(files.scanned(users()).size(), 1u);
}

TEST_F(FileSetTest, OfTwoCopiesWithoutHeadersOneIsUsed) {
    db().finish();
    copy(USERS_FILE, "a copy.dbf");
    for (const char *file : {"a copy.dbf", USERS_FILE})
        destroy(file, FILE_HEADER);
    FileSet files(of_files({path_of("a copy.dbf"), path_of(USERS_FILE)}));
    files.place_files({{2, users(), 2, 100}});
    EXPECT_EQ(used_paths(files).size(), 1u);
    EXPECT_EQ(files.scanned(users()).size(), 1u);
}

// The check value tells that a bit of the header is wrong, and not which.
TEST_F(FileSetTest, DatabaseAndRootOfADamagedHeaderAreNotBelieved) {
    insert_rows(add_table("T"), 1, 100);
    db().finish();
    patch(USERS_FILE, FILE_HEADER, KCCFHDBI, {7, 0, 0, 0}, false);
    patch(USERS_FILE, FILE_HEADER, ROOTDBA, {9, 0, 0x80, 0}, false);
    FileQuery query = of_files({path_of(USERS_FILE), path_of(SYSTEM_FILE)});
    const FileSet files(query);
    EXPECT_EQ(used_paths(files), (Names{USERS_FILE, SYSTEM_FILE}));
    EXPECT_EQ(files.dbid(), 0x56E71A0Cu);
    ASSERT_NE(files.root(), nullptr);
    EXPECT_EQ(files.root()->path(), path_of(SYSTEM_FILE));
    query.dbid = 0x56E71A0C;
    EXPECT_EQ(used_paths(FileSet(query)), (Names{USERS_FILE, SYSTEM_FILE}));
}

TEST_F(FileSetTest, WithoutSoundHeadersTheDatabaseThatMostNameIsTheOne) {
    insert_rows(add_table("T"), 1, 100);
    db().finish();
    copy(USERS_FILE, "other.dbf");
    for (const char *file : {USERS_FILE, SYSTEM_FILE, "other.dbf"})
        patch(file, FILE_HEADER, 600, {0x55}, false);
    patch("other.dbf", FILE_HEADER, KCCFHDBI, {7, 0, 0, 0}, false);
    const FileSet files(of_files({path_of(USERS_FILE), path_of(SYSTEM_FILE), path_of("other.dbf")}));
    EXPECT_EQ(files.dbid(), 0x56E71A0Cu);
}

TEST_F(FileSetTest, TheDictionaryTellsTheTablespaceOfADamagedHeader) {
    constexpr uint32_t WRONG = 9;
    insert_rows(add_table("T"), 1, 100);
    db().finish();
    patch(USERS_FILE, FILE_HEADER, KCVFHTSN, {WRONG, 0, 0, 0}, false);
    FileSet files(of_files({directory()}));
    EXPECT_NE(files.find(users(), make_rdba(2, 17)).file, nullptr);
    files.place_files({{1, 0, 1, 100}, {2, users(), 2, 100}});
    EXPECT_EQ(files.tablespace(users()).size(), 1u);
    EXPECT_TRUE(files.tablespace(WRONG).empty());
}

TEST_F(FileSetTest, WhereTheDictionaryDoesNotTheHeaderDoes) {
    insert_rows(add_table("T"), 1, 100);
    db().finish();
    patch(USERS_FILE, FILE_HEADER, 600, {0x55}, false);
    FileSet files(of_files({directory()}));
    EXPECT_TRUE(files.tablespace(users()).empty());
    files.place_files({});
    EXPECT_EQ(files.tablespace(users()).size(), 1u);
}

TEST_F(FileSetTest, OfFilesOfOneNumberTheOneThatTheDictionaryNamesIsUsed) {
    constexpr uint8_t DROPPED = 9; // tablespace
    db().finish();
    copy(USERS_FILE, "a stale.dbf");
    patch("a stale.dbf", FILE_HEADER, KCVFHTSN, {DROPPED, 0, 0, 0});
    FileSet files(of_files({path_of("a stale.dbf"), path_of(USERS_FILE)}));
    files.place_files({{2, users(), 2, 100}});
    EXPECT_EQ(used_paths(files), (Names{USERS_FILE}));
    EXPECT_EQ(files.inputs()[0]->remark(), "file 2 is \"" + path_of(USERS_FILE) + "\"");
}

TEST_F(FileSetTest, WhereItNamesNoneOfThemEachServesItsOwnTablespace) {
    constexpr uint8_t OTHER = 9; // tablespace
    db().finish();
    copy(USERS_FILE, "a stale.dbf");
    patch("a stale.dbf", FILE_HEADER, KCVFHTSN, {OTHER, 0, 0, 0});
    FileSet files(of_files({path_of("a stale.dbf"), path_of(USERS_FILE)}));
    files.place_files({});
    EXPECT_EQ(used_paths(files), (Names{"a stale.dbf", USERS_FILE}));
    EXPECT_EQ(files.find(users(), make_rdba(2, 17)).file->path(), path_of(USERS_FILE));
    EXPECT_EQ(files.find(OTHER, make_rdba(2, 17)).file->path(), path_of("a stale.dbf"));
}

// All bigfiles have one relative number, and their addresses name no file.
TEST_F(FileSetTest, BigfilesWithoutHeadersAreOfTheTablespaceWhoseSegmentsTheyHold) {
    std::vector<uint32_t> tablespaces;
    std::vector<size_t> tables;
    for (const char *name : {"BIGA", "BIGB"}) {
        sample::TablespaceDef def;
        def.name = name;
        def.bigfile = true;
        tablespaces.push_back(db().add_tablespace(def));
        tables.push_back(db().add_table(table_def(scott(), name, tablespaces.back())));
        insert_rows(tables.back(), 1, 100);
    }
    db().finish();
    for (const char *file : {"biga01.dbf", "bigb01.dbf"})
        destroy(file, FILE_HEADER);
    FileSet files(of_files({path_of("bigb01.dbf"), path_of("biga01.dbf")}));
    const auto expected = [&](size_t i) {
        return ExpectedFile{static_cast<uint32_t>(3 + i),
                            tablespaces[i],
                            BIGFILE_RFN,
                            100,
                            {{header_block(tables[i]), object_of(tables[i])}}};
    };
    files.place_files({expected(0), expected(1)});
    ASSERT_EQ(files.tablespace(tablespaces[0]).size(), 1u);
    EXPECT_EQ(files.tablespace(tablespaces[0])[0]->path(), path_of("biga01.dbf"));
    ASSERT_EQ(files.tablespace(tablespaces[1]).size(), 1u);
    EXPECT_EQ(files.tablespace(tablespaces[1])[0]->path(), path_of("bigb01.dbf"));
}

TEST_F(FileSetTest, ABigfileForWhichNothingSpeaksHasNoTablespace) {
    for (const char *name : {"BIGA", "BIGB"}) {
        sample::TablespaceDef def;
        def.name = name;
        def.bigfile = true;
        insert_rows(db().add_table(table_def(scott(), name, db().add_tablespace(def))), 1, 100);
    }
    db().finish();
    for (const char *file : {"biga01.dbf", "bigb01.dbf"})
        destroy(file, FILE_HEADER);
    FileSet files(of_files({path_of("bigb01.dbf"), path_of("biga01.dbf")}));
    files.place_files({{3, 5, BIGFILE_RFN, 100}, {4, 6, BIGFILE_RFN, 100}});
    EXPECT_TRUE(files.tablespace(5).empty());
    EXPECT_EQ(files.find(5, 17).file, nullptr);
    EXPECT_EQ(files.scanned(5).size(), 2u);
}

TEST_F(FileSetTest, FilesThatTheDictionaryNamesAndThatAreNotThereAreKnown) {
    db().finish();
    FileSet files(of_files({path_of(USERS_FILE)}));
    files.place_files({{2, users(), 2, 100}, {7, users(), 7, 500}});
    const std::vector<ExpectedFile> missing = files.missing_of(users());
    ASSERT_EQ(missing.size(), 1u);
    EXPECT_EQ(missing[0].file, 7u);
    EXPECT_EQ(missing[0].blocks, 500u);
    EXPECT_TRUE(files.missing_of(users() + 1).empty());
}
