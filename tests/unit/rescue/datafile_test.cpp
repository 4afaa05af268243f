#include <fstream>

#include "format/block_address.h"
#include "format/file_header.h"
#include "rescue/datafile.h"
#include "rescue_fixture.h"

using namespace rescue_test;
using namespace vexlo;

namespace {

// The file header's fields, patched where a test wants others.
class DatafileTest : public RescueTest {
protected:
    std::unique_ptr<Datafile> open_users() {
        db().finish();
        return Datafile::open(path_of(USERS_FILE));
    }
    void finish_with_rows() {
        insert_rows(add_table("T"), 1, 2000);
        db().finish();
    }
    std::unique_ptr<Datafile> open_text(const std::string &content) {
        std::ofstream(path_of("other.dbf"), std::ios::binary) << content;
        return Datafile::open(path_of("other.dbf"));
    }
};

} // namespace

TEST_F(DatafileTest, IdentityIsWhatTheHeaderSays) {
    db().finish();
    patch(USERS_FILE, FILE_HEADER, KCVCPSCN, {0x78, 0x56, 0x34, 0x12, 0x02, 0x00});
    patch(USERS_FILE, FILE_HEADER, KCCFHCVN, {0x00, 0x04, 0x20, 0x0B});
    const auto file = Datafile::open(path_of(USERS_FILE));
    EXPECT_EQ(file->status(), FileStatus::used);
    EXPECT_EQ(file->remark(), "");
    const FileIdentity &identity = file->identity();
    EXPECT_EQ(identity.file, 2u);
    EXPECT_EQ(identity.relative_file, 2u);
    EXPECT_EQ(identity.tablespace, users());
    EXPECT_EQ(identity.tablespace_name, "USERS");
    EXPECT_EQ(identity.block_size, DB_BLOCK_SIZE);
    EXPECT_EQ(identity.header_blocks + 1, file->blocks());
    EXPECT_EQ(identity.dbid, 0x56E71A0Cu);
    EXPECT_EQ(identity.database, "SAMPLE");
    EXPECT_EQ(identity.compatibility, 0x0B200400u);
    EXPECT_EQ(identity.checkpoint, (Checkpoint{2, 0x12345678}));
    EXPECT_EQ(identity.checkpoint.scn(), 0x212345678u);
    EXPECT_EQ(identity.root_rdba, 0u);
    EXPECT_FALSE(identity.bigfile);
}

TEST_F(DatafileTest, TheFirstFileOfSystemLeadsToBootstrap) {
    db().finish();
    EXPECT_NE(Datafile::open(path_of(SYSTEM_FILE))->identity().root_rdba, 0u);
}

TEST_F(DatafileTest, AddressesGoBothWays) {
    const auto file = open_users();
    EXPECT_EQ(file->rdba(77), make_rdba(2, 77));
    EXPECT_EQ(file->block_number(make_rdba(2, 77)), 77u);
    EXPECT_EQ(file->offset(77), 77u * DB_BLOCK_SIZE);
}

TEST_F(DatafileTest, AllBitsOfABigfileAddressAreTheBlockNumber) {
    sample::TablespaceDef def;
    def.name = "BIG";
    def.bigfile = true;
    db().add_tablespace(def);
    db().finish();
    const auto file = Datafile::open(path_of("big01.dbf"));
    EXPECT_TRUE(file->identity().bigfile);
    EXPECT_EQ(file->identity().relative_file, BIGFILE_RFN);
    EXPECT_EQ(file->rdba(0x01000010), 0x01000010u);
    EXPECT_EQ(file->block_number(0x01000010), 0x01000010u);
}

TEST_F(DatafileTest, BlocksAreDeliveredWholeUpToTheEndOfTheFile) {
    finish_with_rows();
    const uint64_t blocks = Datafile::open(path_of(USERS_FILE))->blocks();
    std::filesystem::resize_file(path_of(USERS_FILE), (blocks - 1) * DB_BLOCK_SIZE + 100);
    const auto file = Datafile::open(path_of(USERS_FILE));
    EXPECT_EQ(file->blocks(), blocks - 1);
    EXPECT_EQ(file->remark(), "holds " + std::to_string(blocks - 2) + " of the " +
                                  std::to_string(blocks - 1) + " blocks that its header states");
    std::vector<uint8_t> buffer(4 * DB_BLOCK_SIZE);
    const BlockRead read = file->read(blocks - 3, 4, buffer.data());
    EXPECT_EQ(read.blocks, 2u);
    EXPECT_EQ(read.error, 0);
    EXPECT_EQ(file->read(blocks, 1, buffer.data()).blocks, 0u);
    EXPECT_EQ(file->read(UINT64_MAX / DB_BLOCK_SIZE, 1, buffer.data()).blocks, 0u);
}

TEST_F(DatafileTest, ALostHeaderIsReplacedByTheAddressesOfTheBlocks) {
    finish_with_rows();
    destroy(USERS_FILE, FILE_HEADER);
    const auto file = Datafile::open(path_of(USERS_FILE));
    EXPECT_EQ(file->status(), FileStatus::damaged_header);
    EXPECT_EQ(file->identity().relative_file, 2u);
    EXPECT_EQ(file->identity().block_size, DB_BLOCK_SIZE);
    EXPECT_FALSE(file->identity().tablespace.has_value());
    EXPECT_EQ(file->rdba(20), make_rdba(2, 20));
    EXPECT_EQ(file->blocks(), std::filesystem::file_size(path_of(USERS_FILE)) / DB_BLOCK_SIZE);
}

TEST_F(DatafileTest, OfADamagedHeaderWhatAgreesWithTheBlocksIsKept) {
    finish_with_rows();
    patch(USERS_FILE, FILE_HEADER, 600, {0xFF}, false);
    const auto file = Datafile::open(path_of(USERS_FILE));
    EXPECT_EQ(file->status(), FileStatus::damaged_header);
    EXPECT_EQ(file->identity().tablespace, users());
    EXPECT_EQ(file->identity().tablespace_name, "USERS");
}

TEST_F(DatafileTest, TypeSizeAndCheckpointOfADamagedHeaderAreNotBelieved) {
    finish_with_rows();
    patch(USERS_FILE, FILE_HEADER, KCCFHTYP, {FILE_TYPE_TEMP}, false);
    const auto file = Datafile::open(path_of(USERS_FILE));
    EXPECT_EQ(file->status(), FileStatus::damaged_header);
    EXPECT_EQ(file->identity().checkpoint, Checkpoint());
    EXPECT_EQ(file->identity().header_blocks, 0u);
}

TEST_F(DatafileTest, AFileOfTemporaryBlocksIsATemporaryFile) {
    finish_with_rows();
    destroy(USERS_FILE, FILE_HEADER);
    const uintmax_t count = std::filesystem::file_size(path_of(USERS_FILE)) / DB_BLOCK_SIZE;
    for (uint32_t number = 2; number < count; ++number)
        patch(USERS_FILE, number, 15,
              {static_cast<uint8_t>(block(USERS_FILE, number)[15] | CACHE_FLAG_TEMPORARY)});
    EXPECT_EQ(Datafile::open(path_of(USERS_FILE))->remark(), "temporary file");
}

TEST_F(DatafileTest, ALostHeaderOfABigfileIsKnownByAddressesWithoutAFile) {
    sample::TablespaceDef def;
    def.name = "BIG";
    def.bigfile = true;
    const uint32_t big = db().add_tablespace(def);
    insert_rows(db().add_table(table_def(scott(), "T", big)), 1, 2000);
    db().finish();
    destroy("big01.dbf", FILE_HEADER);
    const auto file = Datafile::open(path_of("big01.dbf"));
    EXPECT_EQ(file->status(), FileStatus::damaged_header);
    EXPECT_TRUE(file->identity().bigfile);
}

TEST_F(DatafileTest, TheHeaderIsFoundWhereBlock0IsDestroyed) {
    finish_with_rows();
    destroy(USERS_FILE, 0);
    const auto file = Datafile::open(path_of(USERS_FILE));
    EXPECT_EQ(file->status(), FileStatus::used);
    EXPECT_EQ(file->identity().relative_file, 2u);
}

TEST_F(DatafileTest, Block0CanHaveASizeOfItsOwn) {
    finish_with_rows();
    std::ifstream in(path_of(USERS_FILE), std::ios::binary);
    std::string content((std::istreambuf_iterator<char>(in)), {});
    const std::string small_size{0x00, 0x02, 0x00, 0x00}; // 512
    content = content.substr(0, 512) + content.substr(DB_BLOCK_SIZE);
    content.replace(20, 4, small_size);
    const auto file = open_text(content);
    ASSERT_EQ(file->status(), FileStatus::used);
    EXPECT_EQ(file->offset(1), 512u);
    std::vector<uint8_t> buffer(DB_BLOCK_SIZE);
    ASSERT_EQ(file->read(2, 1, buffer.data()).blocks, 1u);
    EXPECT_EQ(buffer, block(USERS_FILE, 2));
}

TEST_F(DatafileTest, OtherFilesAreNamedForWhatTheyAre) {
    db().finish();
    EXPECT_EQ(open_text("")->remark(), "empty file");
    EXPECT_EQ(open_text("# files of the database\n/u01/a.dbf\n")->remark(), "text file");
    EXPECT_EQ(open_text(std::string(100000, '\0'))->remark(), "not recognised");
    std::string log(4096, '\0');
    for (size_t at = 0; at < log.size(); at += 512)
        log[at + 1] = 0x22;
    EXPECT_EQ(open_text(log)->remark(), "redo log");
    for (const auto &[type, remark] : {std::pair<uint8_t, std::string>{6, "temporary file"},
                                       {1, "control file"},
                                       {2, "redo log"},
                                       {9, "file of type 9"}}) {
        patch(USERS_FILE, FILE_HEADER, KCCFHTYP, {type});
        const auto file = Datafile::open(path_of(USERS_FILE));
        EXPECT_EQ(file->status(), FileStatus::not_a_datafile);
        EXPECT_EQ(file->remark(), remark);
    }
}

TEST_F(DatafileTest, ABigEndianFileIsRecognisedAndNotRead) {
    std::string content(3 * DB_BLOCK_SIZE, '\0');
    content[22] = 0x20; // size of block 0, most significant byte first
    content[DB_BLOCK_SIZE] = BLOCK_FILE_HEADER;
    content[DB_BLOCK_SIZE + KCCFHBSZ + 2] = 0x20;
    content[DB_BLOCK_SIZE + KCCFHTYP + 1] = FILE_TYPE_DATA;
    const auto file = open_text(content);
    EXPECT_EQ(file->status(), FileStatus::not_a_datafile);
    EXPECT_EQ(file->identity().byte_order, FileByteOrder::big);
    EXPECT_EQ(file->remark(), "file of a platform with the most significant byte first, which is not read");
}
