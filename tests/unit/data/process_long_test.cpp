// LONG values: gathering, the temporary file, and the block behind the row.
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "segment_fixture.h"

using namespace unload_unit;

namespace {

size_t open_descriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

class UnloadLong : public SegmentTest {
protected:
    static constexpr uint32_t AWAY = 20;

    UnloadLong() { columns({column(), column(TYPE_LONG), column()}); }

    std::string long_file() const { return dir_.file("long_tmp.dat"); }

    // A row of three columns whose LONG value is cut into parts of these lengths; each part stands in a block
    // of its own from AWAY on, the first in block 2 and the last with the third column. Returns the value.
    Bytes store_cut_value(const std::vector<size_t> &lengths) {
        Bytes value;
        for (size_t i = 0; i < lengths.size(); i++) {
            const Bytes part = pattern(lengths[i], static_cast<unsigned>(i));
            value.insert(value.end(), part.begin(), part.end());
            const uint32_t number = AWAY + static_cast<uint32_t>(i);
            if (i == 0)
                store_pieces(
                    2, {piece(H | F | N, {text("id"), part}, at(number)), piece(H | F | L, {text("next")})});
            else if (i + 1 == lengths.size())
                store_pieces(number - 1, {piece(P | L, {part, text("tail")})});
            else
                store_pieces(number - 1, {piece(P | N, {part}, at(number))});
        }
        return value;
    }
};

TEST_F(UnloadLong, WholeValueIsAMarkInTheRowAndABlockBehindIt) {
    for (uint32_t type : {TYPE_LONG, TYPE_LONG_RAW}) {
        columns({column(), column(type), column()});
        EXPECT_EQ(
            rows_of({piece(H | F | L, {text("a"), text("hello"), text("c")})}),
            (Bytes{0, 1, 'a', 0xFF, 0xFB, 0, 1, 'c', 0, 0, 0xFF, 0xFD, 0, 5, 'h', 'e', 'l', 'l', 'o', 0, 0}));
        EXPECT_EQ(nrow_, 1U);
    }
}

TEST_F(UnloadLong, NullIsFFFEWithoutABlock) {
    const Row row{text("a"), {}, text("c")};
    EXPECT_EQ(rows_of({piece(H | F | L, row)}), dump_builder().row(row).raw);
}

TEST_F(UnloadLong, MissingValueHasNeitherEntryNorBlock) {
    EXPECT_EQ(rows_of({piece(H | F | L, {text("a")})}), dump_builder().row({text("a")}).raw);
}

TEST_F(UnloadLong, ValueOfLengthZeroIsAMarkWithoutABlock) {
    EXPECT_EQ(rows_of({piece(H | F | L, {text("a"), Bytes{}, text("c")})}),
              dump_builder().value("a").long_mark().value("c").row_end().raw);
}

TEST_F(UnloadLong, ValueOfARowDoesNotReachTheNextOne) {
    EXPECT_EQ(rows_of({piece(H | F | L, {text("a"), text("long")}), piece(H | F | L, {text("b"), {}}),
                       piece(H | F | L, {text("c"), text("x")})}),
              dump_builder()
                  .value("a")
                  .long_mark()
                  .row_end()
                  .long_block(text("long"))
                  .row({text("b"), {}})
                  .value("c")
                  .long_mark()
                  .row_end()
                  .long_block(text("x"))
                  .raw);
}

// A LONG column that is cut advances the position once: the column behind it is the next one.
TEST_F(UnloadLong, CutValueIsGatheredAndMarkedOnce) {
    const Bytes value = store_cut_value({300, 400, 500});
    EXPECT_EQ(rows_of_segment(), dump_builder()
                                     .value("id")
                                     .long_mark()
                                     .value("tail")
                                     .row_end()
                                     .long_block(value)
                                     .row({text("next")})
                                     .raw);
    EXPECT_EQ(nrow_, 2U);
    EXPECT_FALSE(vexlo_test::file_exists(long_file()));
}

TEST_F(UnloadLong, WholeValueInALaterPiece) {
    store_pieces(AWAY, {piece(L, {text("hello"), text("c")})});
    EXPECT_EQ(rows_of({piece(H | F, {text("a")}, at(AWAY))}),
              dump_builder().value("a").long_mark().value("c").row_end().long_block(text("hello")).raw);
}

TEST_F(UnloadLong, NullInALaterPiece) {
    store_pieces(AWAY, {piece(L, {{}, text("c")})});
    EXPECT_EQ(rows_of({piece(H | F, {text("a")}, at(AWAY))}),
              dump_builder().row({text("a"), {}, text("c")}).raw);
}

TEST_F(UnloadLong, LengthFFOfAContinuedValueIs255Bytes) {
    Bytes raw{P | L, 0, 1, 0xFF};
    const Bytes tail = pattern(255, 9);
    raw.insert(raw.end(), tail.begin(), tail.end());
    store_pieces(AWAY, {raw});
    Bytes value = text("x");
    value.insert(value.end(), tail.begin(), tail.end());
    EXPECT_EQ(rows_of({piece(H | F | N, {text("a"), text("x")}, at(AWAY))}),
              dump_builder().value("a").long_mark().row_end().long_block(value).raw);
}

TEST_F(UnloadLong, ValueOf32768BytesIsOneChunk) {
    use_block_size(32768);
    const Bytes value = store_cut_value({20000, 12768});
    ASSERT_EQ(value.size(), 32768U);
    EXPECT_EQ(rows_of_segment(), dump_builder()
                                     .value("id")
                                     .long_mark()
                                     .value("tail")
                                     .row_end()
                                     .long_block(value)
                                     .row({text("next")})
                                     .raw);
    EXPECT_FALSE(vexlo_test::file_exists(long_file()));
}

TEST_F(UnloadLong, LongerValueInOnePieceOfALargeBlockIsOneChunk) {
    for (const size_t size : {32768U, 32769U, 65000U}) {
        use_block_size(65536);
        const Bytes value = pattern(size);
        store_large_piece(2, 65536, piece(H | F | L, {text("id"), value, text("tail")}));
        EXPECT_EQ(rows_of_segment(),
                  dump_builder().value("id").long_mark().value("tail").row_end().long_block(value).raw);
    }
}

TEST_F(UnloadLong, LongerPartInALargeBlockGoesThroughTheTemporaryFile) {
    use_block_size(65536);
    const Bytes value = pattern(65000);
    store_large_piece(AWAY, 65536, piece(P | L, {value}));
    store_large_piece(2, 65536, piece(H | F | N, {text("id"), text("x")}, at(AWAY)));
    const Outcome got = unload();
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.err, std::string("read long data error: Bad file descriptor\n") + SEGMENT_FAILED);
    Bytes spilled = text("x");
    spilled.insert(spilled.end(), value.begin(), value.end());
    EXPECT_EQ(vexlo_test::read_file(long_file()), spilled);
}

// The temporary file is write-only, so a value that needs it cannot be read back.
TEST_F(UnloadLong, ValueOf32769BytesEndsTheTableWithAReadError) {
    use_block_size(32768);
    vexlo_test::write_file(long_file(), pattern(100000)); // of an earlier row
    const Bytes value = store_cut_value({20000, 12769});
    const size_t descriptors = open_descriptors();
    const Outcome got = unload();
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.err, std::string("read long data error: Bad file descriptor\n") + SEGMENT_FAILED);
    EXPECT_EQ(got.file, Bytes{});
    EXPECT_EQ(nrow_, 0U);
    EXPECT_EQ(vexlo_test::read_file(long_file()), value);
    EXPECT_EQ(open_descriptors(), descriptors);
}

TEST_F(UnloadLong, TemporaryFileHasMode644) {
    use_block_size(32768);
    store_cut_value({20000, 12769});
    unload();
    EXPECT_EQ(vexlo_test::file_mode(long_file()) & 0777, 0644U & ~0022U);
}

TEST_F(UnloadLong, TemporaryFileThatCannotBeCreatedEndsTheTable) {
    use_block_size(32768);
    std::filesystem::create_directory(long_file());
    store_cut_value({20000, 12769});
    const Outcome got = unload();
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.err, "open " + long_file() + ": Is a directory\n" + SEGMENT_FAILED);
    EXPECT_EQ(nrow_, 0U);
}

TEST_F(UnloadLong, WriteErrorOnTheTemporaryFileEndsTheTable) {
    use_block_size(32768);
    std::filesystem::create_symlink("/dev/full", long_file());
    store_cut_value({20000, 12769});
    const size_t descriptors = open_descriptors();
    const Outcome got = unload();
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.err, std::string("write long data error: No space left on device\n") + SEGMENT_FAILED);
    EXPECT_EQ(nrow_, 0U);
    EXPECT_EQ(open_descriptors(), descriptors);
}

TEST_F(UnloadLong, DescriptorOfARowThatFailsIsClosed) {
    use_block_size(32768);
    store_pieces(AWAY, {piece(P | N, {pattern(20000)}, RowAddress{sample::make_rdba(77, 1), 0})});
    store_pieces(2, {piece(H | F | N, {text("id"), pattern(20000)}, at(AWAY))});
    const size_t descriptors = open_descriptors();
    const Outcome got = unload();
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.err, std::string("datafile (ts#=4, rfile#=77) not found.\n") + SEGMENT_FAILED);
    EXPECT_EQ(open_descriptors(), descriptors);
}

// The operations behind LONG columns, on a record of their own.
class SaveLong : public UnloadLong {
protected:
    SaveLong() : buffer_(CACHE_SIZE), long_(LONG_SIZE) {
        ul_.lfd = -1;
        ul_.csz = CACHE_SIZE;
        ul_.cache = buffer_.data();
        ul_.lbuf = long_.data();
    }
    ~SaveLong() override { close_long(&ul_); }

    int save(const Bytes &data) {
        return save_long(&ul_, data.data(), static_cast<uint32_t>(data.size()), false);
    }

    // Opens the temporary file so that it can be read back, filled with `value`.
    void open_readable(const Bytes &value) {
        vexlo_test::write_file(long_file(), value);
        ul_.lfd = open(long_file().c_str(), O_RDONLY);
    }

    Bytes cached() const { return Bytes(ul_.cache, ul_.cache + ul_.clen); }

    ULDR ul_{};
    Bytes buffer_, long_;
};

TEST_F(SaveLong, BytesAreAppendedToTheBuffer) {
    EXPECT_EQ(save(text("abc")), 0);
    EXPECT_EQ(save(text("de")), 0);
    EXPECT_EQ(ul_.lsz, 5);
    EXPECT_EQ(ul_.lfd, -1);
    EXPECT_EQ(Bytes(ul_.lbuf, ul_.lbuf + 5), text("abcde"));
}

TEST_F(SaveLong, BufferIsSpilledBeforeItOverflows) {
    EXPECT_EQ(save(pattern(32768)), 0);
    EXPECT_EQ(ul_.lfd, -1);
    EXPECT_EQ(save(text("x")), 0);
    EXPECT_NE(ul_.lfd, -1);
    EXPECT_EQ(ul_.lsz, 1);
    EXPECT_EQ(vexlo_test::read_file(long_file()), pattern(32768));
}

TEST_F(SaveLong, FlushWritesWhatIsHeldAndTakesNothing) {
    save(text("abc"));
    EXPECT_EQ(save_long(&ul_, nullptr, 0, true), 0);
    EXPECT_EQ(ul_.lsz, 0);
    EXPECT_EQ(vexlo_test::read_file(long_file()), text("abc"));
}

// Each chunk is read to the place where its length is stored then: the length replaces the first two bytes
// read, and two bytes that were not read end the chunk's entry.
TEST_F(SaveLong, ChunksOfTheTemporaryFileLoseTheirFirstTwoBytesToTheLength) {
    const Bytes value = pattern(32768 + 100);
    open_readable(value);
    EXPECT_EQ(process_long(&ul_), 0);
    const Bytes got = cached();
    ASSERT_EQ(got.size(), 2 + (2 + 32768) + (2 + 100) + 2U);
    const auto part = [&](size_t from, size_t n) {
        return Bytes(got.begin() + static_cast<ptrdiff_t>(from),
                     got.begin() + static_cast<ptrdiff_t>(from + n));
    };
    const auto of_value = [&](size_t from, size_t n) {
        return Bytes(value.begin() + static_cast<ptrdiff_t>(from),
                     value.begin() + static_cast<ptrdiff_t>(from + n));
    };
    EXPECT_EQ(part(0, 4), (Bytes{0xFF, 0xFD, 0x80, 0x00}));
    EXPECT_EQ(part(4, 32766), of_value(2, 32766));
    EXPECT_EQ(part(2 + 2 + 32768, 2), (Bytes{0, 100}));
    EXPECT_EQ(part(2 + 2 + 32768 + 2, 98), of_value(32768 + 2, 98));
    EXPECT_EQ(part(got.size() - 2, 2), (Bytes{0, 0}));
}

TEST_F(SaveLong, EmptyTemporaryFileIsABlockWithoutChunks) {
    open_readable({});
    EXPECT_EQ(process_long(&ul_), 0);
    EXPECT_EQ(cached(), (Bytes{0xFF, 0xFD, 0, 0}));
}

// A chunk is given 32772 bytes of room, and so is the read that finds the end of the file.
TEST_F(SaveLong, CacheIsFlushedBeforeAChunkThatMightNotFit) {
    constexpr int32_t first_chunk = 2 + 2 + 32768, second_chunk = 2 + 40;
    constexpr int32_t full = CACHE_SIZE - 32772;
    const struct {
        int32_t before_second, flushed, left;
    } cases[] = {{full, full + second_chunk, 2}, {full + 1, full + 1, second_chunk + 2}};
    ul_.fd = open(dir_.file("out").c_str(), O_WRONLY | O_CREAT, 0600);
    for (const auto &c : cases) {
        open_readable(Bytes(32768 + 40));
        ul_.data_ofs = 0;
        ul_.clen = c.before_second - first_chunk;
        EXPECT_EQ(process_long(&ul_), 0);
        EXPECT_EQ(ul_.data_ofs, static_cast<uint64_t>(c.flushed));
        EXPECT_EQ(ul_.clen, c.left);
        close_long(&ul_);
    }
    close(ul_.fd);
}

} // namespace
