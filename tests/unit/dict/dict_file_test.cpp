// Moving record arrays between memory and the dictionary files.
#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>

#include "dict/dict_file.h"
#include "dict_reader.h"
#include "store_context.h"

namespace vexlo_test {
namespace {

class WriteDictData : public store_context {
protected:
    static int write(const char *name, const bytes &data) {
        return write_dict_data(name, data.data(), static_cast<int>(data.size()));
    }
};

TEST_F(WriteDictData, FileIsNamedDirectorySlashBaseNameDotDat) {
    ASSERT_EQ(write("tabsubpart", to_bytes("x")), 0);
    close_dict_file();
    EXPECT_EQ(read_text(std::string(g_ctx.par.dict_dir) + "/tabsubpart.dat"), "x");
}

TEST_F(WriteDictData, ThreeBatchesUnderOneNameStandInOneFileInOrder) {
    for (const char *batch : {"first ", "second ", "third"})
        ASSERT_EQ(write("user", to_bytes(batch)), 0);
    close_dict_file();
    EXPECT_EQ(read_text(path("user")), "first second third");
}

TEST_F(WriteDictData, DescriptorStaysOpenAfterSuccess) {
    ASSERT_EQ(write("user", to_bytes("x")), 0);
    ASSERT_NE(g_ctx.fd, -1);
    EXPECT_NE(fcntl(g_ctx.fd, F_GETFD), -1);
    close_dict_file();
    EXPECT_EQ(g_ctx.fd, -1);
}

TEST_F(WriteDictData, DescriptorOfMinusOneTruncatesThePreviousFile) {
    write_text(path("ts"), "what an earlier export left");
    ASSERT_EQ(write("ts", to_bytes("new")), 0);
    close_dict_file();
    EXPECT_EQ(read_text(path("ts")), "new");
}

TEST_F(WriteDictData, OpenDescriptorDecidesTheFileAndNotTheName) {
    ASSERT_EQ(write("user", to_bytes("one")), 0);
    ASSERT_EQ(write("ts", to_bytes("two")), 0);
    close_dict_file();
    EXPECT_EQ(read_text(path("user")), "onetwo");
    EXPECT_FALSE(file_exists(path("ts")));
}

TEST_F(WriteDictData, NoBytesStillCreateTheFile) {
    ASSERT_EQ(write_dict_data("lob", "", 0), 0);
    close_dict_file();
    EXPECT_EQ(read_text(path("lob")), "");
}

TEST_F(WriteDictData, FileModeIs0644ReducedByTheCreationMask) {
    const mode_t before = umask(0);
    ASSERT_EQ(write("user", to_bytes("x")), 0);
    close_dict_file();
    umask(027);
    ASSERT_EQ(write("ts", to_bytes("x")), 0);
    close_dict_file();
    umask(before);
    EXPECT_EQ(file_mode(path("user")), 0644U);
    EXPECT_EQ(file_mode(path("ts")), 0640U);
}

TEST_F(WriteDictData, OpenFailureSaysSoAndLeavesNoDescriptor) {
    lose_directory();
    int result = 0;
    const std::string said = messages_of([&] { result = write("user", to_bytes("x")); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(said, "open " + missing_path("user") + ": No such file or directory\n");
    EXPECT_EQ(g_ctx.fd, -1);
}

TEST_F(WriteDictData, WriteFailureClosesTheFileAndLeavesTheBytesWrittenSoFar) {
    int result = 0, fd = -1;
    const std::string said = messages_of([&] {
        const file_size_limit limit(5000);
        ASSERT_EQ(write("user", bytes(4000, 'a')), 0);
        fd = g_ctx.fd;
        result = write("user", bytes(4000, 'b'));
    });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(said, "write " + path("user") + ": File too large\n");
    EXPECT_EQ(g_ctx.fd, -1);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    EXPECT_EQ(read_text(path("user")), std::string(4000, 'a') + std::string(1000, 'b'));
}

TEST_F(WriteDictData, FullDiskIsAWriteFailure) {
    std::filesystem::create_symlink("/dev/full", path("user"));
    int result = 0;
    const std::string said = messages_of([&] { result = write("user", to_bytes("x")); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(said, "write " + path("user") + ": No space left on device\n");
    EXPECT_EQ(g_ctx.fd, -1);
}

class ReadDictData : public store_context {
protected:
    ~ReadDictData() override { free_records(data_); }

    int read(const char *name) { return read_dict_data(name, &data_, &size_); }

    bytes content() const {
        const std::uint8_t *from = static_cast<const std::uint8_t *>(data_);
        return bytes(from, from + size_);
    }

    // A file in which every byte depends on its place.
    bytes pattern(std::size_t size) const {
        bytes data(size);
        for (std::size_t i = 0; i < size; i++)
            data[i] = static_cast<std::uint8_t>(i * 31 + i / 251);
        return data;
    }

    void *data_ = nullptr;
    int size_ = -1;
};

TEST_F(ReadDictData, EmptyFileGivesSizeZeroInTheWorkBuffer) {
    write_file(path("lob"), {});
    ASSERT_EQ(read("lob"), 0);
    EXPECT_EQ(size_, 0);
    EXPECT_EQ(data_, g_ctx.wrk);
    EXPECT_EQ(records_in<LOB>(size_), 0U);
}

TEST_F(ReadDictData, FileOfExactly8MiBIsReadIntoTheWorkBuffer) {
    const bytes file = pattern(8388608);
    write_file(path("col"), file);
    ASSERT_EQ(read("col"), 0);
    EXPECT_EQ(size_, 8388608);
    EXPECT_EQ(data_, g_ctx.wrk);
    EXPECT_TRUE(content() == file);
}

TEST_F(ReadDictData, FileOfOneByteMoreIsReadIntoAHeapBuffer) {
    const bytes file = pattern(8388609);
    write_file(path("col"), file);
    ASSERT_EQ(read("col"), 0);
    EXPECT_EQ(size_, 8388609);
    EXPECT_NE(data_, nullptr);
    EXPECT_NE(data_, g_ctx.wrk);
    EXPECT_TRUE(content() == file);
}

TEST_F(ReadDictData, TrailingBytesCountInTheSizeButMakeNoRecord) {
    write_file(path("user"), pattern(2 * sizeof(USER) + 47));
    ASSERT_EQ(read("user"), 0);
    EXPECT_EQ(size_, 143);
    EXPECT_EQ(records_in<USER>(size_), 2U);
}

TEST_F(ReadDictData, MissingFileSaysSo) {
    int result = 0;
    const std::string said = messages_of([&] { result = read("obj"); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(said, "open " + path("obj") + ": No such file or directory\n");
    EXPECT_EQ(data_, nullptr);
}

TEST_F(ReadDictData, DirectoryInPlaceOfTheFileIsAReadError) {
    std::filesystem::create_directory(path("obj"));
    write_text(path("obj") + "/entry", "x");
    int result = 0;
    const std::string said = messages_of([&] { result = read("obj"); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(said, "read " + path("obj") + ": Is a directory\n");
}

// The layout on disk: numbers little-endian in the order of the fields, then the texts.
class DictRecordLayout : public store_context {
protected:
    // Reads with the tests' own reader a file that holds the one record `record`.
    template <class DICT, class REC>
    DICT as_stored(const char *name, const REC &record) const {
        EXPECT_EQ(write_dict_data(name, &record, static_cast<int>(sizeof record)), 0);
        close_dict_file();
        return read_dict<DICT>(std::filesystem::path(path(name)).parent_path()).at(0);
    }
};

TEST_F(DictRecordLayout, User) {
    EXPECT_EQ(as_stored<dict_user>("user", USER{1, 2, 3, 4, "SCOTT"}), (dict_user{1, 2, 3, 4, "SCOTT"}));
}

TEST_F(DictRecordLayout, Tablespace) {
    EXPECT_EQ(as_stored<dict_ts>("ts", TS{1, 2, "USERS"}), (dict_ts{1, 2, "USERS"}));
}

TEST_F(DictRecordLayout, Object) {
    const OBJ record{.flag = 1, .objn = 2, .owner = 3, .type = 4, .name = "EMP"};
    EXPECT_EQ(as_stored<dict_obj>("obj", record), (dict_obj{1, 2, 3, 4, "EMP"}));
}

TEST_F(DictRecordLayout, Table) {
    const TAB record{.flag = 1,
                     .objn = 2,
                     .objd = 3,
                     .objb = 4,
                     .tabn = 5,
                     .ncol = 6,
                     .ui = 7,
                     .oi = 8,
                     .coff = 9,
                     .fno = 10,
                     .blk = 11,
                     .tsn = 12,
                     .tcol = 13,
                     .rsv = 14};
    EXPECT_EQ(as_stored<dict_tab>("tab", record), (dict_tab{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}));
}

TEST_F(DictRecordLayout, Cluster) {
    const CLU record{.flag = 1, .objn = 2, .objd = 3, .ncol = 4};
    EXPECT_EQ(as_stored<dict_cluster>("cluster", record), (dict_cluster{1, 2, 3, 4}));
}

TEST_F(DictRecordLayout, Column) {
    const COL record{.flag = 1, .objn = 2, .cid = 3, .scid = 4, .ctyp = 5, .clen = 6, .name = "ENAME"};
    EXPECT_EQ(as_stored<dict_col>("col", record), (dict_col{1, 2, 3, 4, 5, 6, "ENAME"}));
}

TEST_F(DictRecordLayout, LobIndex) {
    const LOBIDX record{.flag = 1, .objn = 2, .objd = 3, .objp = 4, .tsn = 5, .fno = 6, .blk = 7, .rsv = 8};
    EXPECT_EQ(as_stored<dict_ind>("ind", record), (dict_ind{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(DictRecordLayout, Lob) {
    const LOB record{.flag = 1,
                     .objp = 2,
                     .cid = 3,
                     .objn = 4,
                     .indn = 5,
                     .chunk = 6,
                     .fno = 7,
                     .blk = 8,
                     .tsn = 9,
                     .rsv = 10};
    EXPECT_EQ(as_stored<dict_lob>("lob", record), (dict_lob{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
}

TEST_F(DictRecordLayout, PartitionsOfAllThreeKinds) {
    const TABPART part{.flag = 1, .objn = 2, .objd = 3, .objp = 4, .oi = 5, .fno = 6, .blk = 7, .tsn = 8};
    const TABSUBPART sub{.flag = 1, .objn = 2, .objd = 3, .objp = 4, .oi = 5, .fno = 6, .blk = 7, .tsn = 8};
    const dict_tabpart expected{1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(as_stored<dict_tabpart>("tabpart", part), expected);
    EXPECT_EQ(as_stored<dict_tabcompart>("tabcompart", part), dict_tabcompart{expected});
    EXPECT_EQ(as_stored<dict_tabsubpart>("tabsubpart", sub), dict_tabsubpart{expected});
}

TEST_F(DictRecordLayout, Property) {
    EXPECT_EQ(as_stored<dict_props>("props", PROPS{"NLS_LANGUAGE", "AMERICAN"}),
              (dict_props{"NLS_LANGUAGE", "AMERICAN"}));
}

} // namespace
} // namespace vexlo_test
