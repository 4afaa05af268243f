// Which row pieces of a dictionary block become records.
#include <algorithm>
#include <utility>

#include "decoder_fixture.h"

using namespace vexlo_test;

namespace {

using sample::number;
using sample::Row;
using sample::ROW_C;
using sample::ROW_D;
using sample::ROW_F;
using sample::ROW_H;
using sample::ROW_K;
using sample::ROW_L;
using sample::ROW_N;
using sample::ROW_P;

constexpr uint8_t WHOLE = ROW_H | ROW_F | ROW_L;
constexpr uint32_t OTHER_BLOCK = 9;
constexpr uint32_t OTHER_RDBA = 0x00400009;
constexpr uint32_t OTHER_KEY = 78;

class DictionaryWalk : public EveryDecoder {
protected:
    int table() const { return static_cast<int>(c().tabn); }
    std::string record() const { return to_hex(c().record); }

    // The record under another cluster key.
    std::string record_of_other_key() const {
        if (!c().clustered)
            return record();
        bytes other = c().record;
        for (size_t at = 0; at < other.size(); at += 4)
            if (load_le32(&other[at]) == KEY) {
                other[at] = OTHER_KEY;
                break;
            }
        return to_hex(other);
    }

    // A stub that names a row by block and slot.
    sample::Bytes stub(uint32_t rdba, uint16_t slot) const {
        sample::PieceHead head;
        head.flags = ROW_H;
        head.next = sample::RowAddress{rdba, slot};
        return sample::encode_piece(head, {});
    }

    // The piece that a stub names.
    sample::Bytes migrated(const Row &row, uint8_t key_index = 0, uint8_t flags = ROW_F | ROW_L) const {
        sample::PieceHead head;
        head.flags = flags;
        if (c().clustered)
            head.key_index = key_index;
        head.head_rowid = sample::RowAddress{HOME_RDBA, 0};
        return sample::encode_piece(head, row);
    }

    // A block elsewhere with two keys, whose row of the table stands in the given slot under the second key.
    sample::Bytes other_block(uint16_t slot, const sample::Bytes &piece) const {
        sample::TableBlock block = make_block(c(), OTHER_RDBA);
        if (c().clustered)
            block.add(sample::encode_key_piece({}, Row{number(OTHER_KEY)}));
        while (block.slots(table()) < slot)
            block.add_free(table());
        block.add(piece, table());
        return block.finish();
    }
};

INSTANTIATE_TEST_SUITE_P(Tables, DictionaryWalk, ::testing::ValuesIn(decoder_names()),
                         [](const auto &p) { return p.param; });

// Rules that only tables in a cluster have.
class ClusterWalk : public DictionaryWalk {};

INSTANTIATE_TEST_SUITE_P(Tables, ClusterWalk,
                         ::testing::Values("USER", "TS", "TAB", "CLU", "COL", "IND", "LOB"),
                         [](const auto &p) { return p.param; });

TEST_P(DictionaryWalk, BlockOfAnotherTypeAddsNothing) {
    sample::TableBlock block = make_block(c());
    block.add(make_piece(c(), c().row), table());
    for (uint8_t type : std::vector<uint8_t>{0x00, 0x10, 0x12, 0x1E, 0x20, 0x23, 0x24, 0x05, 0x07}) {
        sample::Bytes bytes = block.finish();
        bytes[0] = type;
        const decoded d = decode(c(), bytes);
        EXPECT_EQ(d.result, 0);
        EXPECT_EQ(d.nrow, 0) << int{type};
        EXPECT_EQ(d.err, "");
    }
}

TEST_P(DictionaryWalk, BlockWithoutTheTableAddsNothing) {
    sample::TableBlock block = make_block(c());
    block.add(make_piece(c(), c().row), table());
    sample::Bytes bytes = block.finish();
    bytes[100 + 1] = static_cast<uint8_t>(c().tabn); // kdbhntab: one table too few
    const decoded d = decode(c(), bytes);
    EXPECT_EQ(d.result, 0);
    EXPECT_EQ(d.nrow, 0);
    EXPECT_EQ(d.err, "");
}

TEST_P(DictionaryWalk, RowsAreAppendedBehindThoseThatAreThere) {
    sample::TableBlock block = make_block(c());
    block.add(make_piece(c(), c().row), table());
    const decoded d = decode(c(), block.finish(), 16, 3);
    EXPECT_EQ(d.nrow, 4);
    EXPECT_EQ(d.records.at(2), to_hex(bytes(c().record_size, 0xEE)));
    EXPECT_EQ(d.records.at(3), record());
}

TEST_P(DictionaryWalk, FlagsDecideWhetherAPieceIsARow) {
    const bool reads_continued = c().name == "PROPS";
    struct {
        uint8_t flags;
        bool row;
    } cases[] = {{WHOLE, true},
                 {WHOLE | ROW_C, true},
                 {WHOLE | ROW_K, true},
                 {WHOLE | ROW_N, true},
                 {ROW_H | ROW_F, true}, // columns still begin behind the header
                 {WHOLE | ROW_D, false},
                 {ROW_F | ROW_L, false},
                 {ROW_L, false},
                 {0, false},
                 {WHOLE | ROW_P, reads_continued},
                 {WHOLE | ROW_P | ROW_D, false}};
    for (const auto &flag : cases) {
        sample::TableBlock block = make_block(c());
        block.add(make_piece(c(), c().row, flag.flags), table());
        const decoded d = decode(c(), block.finish());
        const std::vector<std::string> expected(flag.row ? 1 : 0, record());
        EXPECT_EQ(d.records, expected) << std::hex << int{flag.flags};
        EXPECT_EQ(d.err, "");
    }
}

TEST_P(DictionaryWalk, FreeEntriesAreSkipped) {
    sample::TableBlock block = make_block(c());
    block.add_free(table());
    block.add(make_piece(c(), c().row), table());
    block.add_free(table());
    block.add_free(table());
    block.add(make_piece(c(), c().row), table());
    const decoded d = decode(c(), block.finish());
    // In a table of its own the chain may begin at entry 0; in a cluster the key row has that entry.
    EXPECT_EQ(d.records, (std::vector<std::string>(2, record())));
    EXPECT_EQ(d.err, "");
}

// The link of entry 2 of the table points behind its own entry, at the offsets of rows.
TEST_P(DictionaryWalk, FreeEntriesAreSkippedInWhateverOrderTheirChainRuns) {
    const std::vector<int> chain{60, 2, 65, 30, 4, 68};
    const int first = c().clustered ? 1 : 0; // behind the key row
    sample::TableBlock block = make_block(c());
    size_t rows = 0;
    for (int entry = 0; entry < 70; entry++) {
        const auto link = std::find(chain.begin(), chain.end(), entry);
        if (link != chain.end()) {
            block.add_raw_offset(static_cast<int16_t>(link + 1 != chain.end() ? first + link[1] : -1),
                                 table());
        } else if (entry % 5 == 0) {
            block.add(make_piece(c(), c().row), table());
            rows++;
        } else {
            block.add(make_piece(c(), {}, WHOLE | ROW_D), table());
        }
    }
    sample::Bytes bytes = block.finish();
    sample::store_le16(&bytes[100 + 4], static_cast<uint16_t>(first + chain.front()));
    const decoded d = decode(c(), bytes, 64);
    EXPECT_EQ(d.records, (std::vector<std::string>(rows, record())));
    EXPECT_EQ(d.err, "");
}

// Only the directory has to reach that far, here with the entries of a table behind.
TEST_P(ClusterWalk, MigratedRowMayStandBehindTheEntriesOfItsTable) {
    sample::TableBlockOptions options;
    options.block_size = BLOCK_SIZE;
    options.tables = table() + 2;
    options.cache.rdba = OTHER_RDBA;
    sample::TableBlock other(options);
    other.add(sample::encode_key_piece({}, Row{number(OTHER_KEY)}));
    other.add(make_piece(c(), {}), table());
    other.add(migrated(c().row), table() + 1);
    store(OTHER_BLOCK, other.finish());
    sample::TableBlock block = make_block(c());
    block.add(stub(OTHER_RDBA, 1), table());
    EXPECT_EQ(decode(c(), block.finish()).records, std::vector<std::string>{record_of_other_key()});
}

TEST_P(ClusterWalk, FreeEntriesOfEarlierTablesAreStepped) {
    sample::TableBlock block = make_block(c());
    block.add_free(0);
    block.add_free(static_cast<int>(c().tabn) - 1);
    block.add_free(table());
    block.add(make_piece(c(), c().row), table());
    const decoded d = decode(c(), block.finish());
    EXPECT_EQ(d.records, std::vector<std::string>{record()});
    EXPECT_EQ(d.err, "");
}

TEST_P(ClusterWalk, RowsOfOtherTablesOfTheClusterAreNotRead) {
    sample::TableBlockOptions options;
    options.block_size = BLOCK_SIZE;
    options.tables = table() + 2;
    sample::TableBlock block(options);
    block.add(sample::encode_key_piece({}, Row{number(KEY)}));
    for (int t = 1; t < options.tables; t++) {
        Row row = c().row;
        if (t != table())
            row[0] = number(9999);
        block.add(make_piece(c(), row), t);
    }
    EXPECT_EQ(decode(c(), block.finish()).records, std::vector<std::string>{record()});
}

TEST_P(ClusterWalk, KeyComesFromTheKeyRowThatTheRowNames) {
    sample::TableBlock block = make_block(c());
    block.add(sample::encode_key_piece({}, Row{number(OTHER_KEY)}));
    sample::Bytes piece = make_piece(c(), c().row);
    block.add(piece, table());
    piece[3] = 1;
    block.add(piece, table());
    EXPECT_EQ(decode(c(), block.finish()).records,
              (std::vector<std::string>{record(), record_of_other_key()}));
}

// ---- Migrated rows

TEST_P(DictionaryWalk, MigratedRowIsReadFromItsBlockAndSlot) {
    store(OTHER_BLOCK, other_block(2, migrated(c().row, 1)));
    sample::TableBlock block = make_block(c());
    block.add(stub(OTHER_RDBA, 2), table());
    const decoded d = decode(c(), block.finish());
    EXPECT_EQ(d.result, 0);
    EXPECT_EQ(d.err, "");
    EXPECT_EQ(d.records, std::vector<std::string>{record_of_other_key()});
}

TEST_P(DictionaryWalk, MigratedRowIsReadWhateverTypeAndFlagsItsBlockAndPieceHave) {
    sample::Bytes other = other_block(0, migrated(c().row, 1, ROW_D));
    other[0] = 0x20;
    store(OTHER_BLOCK, other);
    sample::TableBlock block = make_block(c());
    block.add(stub(OTHER_RDBA, 0), table());
    EXPECT_EQ(decode(c(), block.finish()).records, std::vector<std::string>{record_of_other_key()});
}

TEST_P(DictionaryWalk, RowsBehindAMigratedOneAreReadFromTheirOwnBlock) {
    store(OTHER_BLOCK, other_block(0, migrated(c().row, 1)));
    sample::TableBlock block = make_block(c());
    block.add(stub(OTHER_RDBA, 0), table());
    block.add(make_piece(c(), c().row), table());
    EXPECT_EQ(decode(c(), block.finish()).records,
              (std::vector<std::string>{record_of_other_key(), record()}));
}

TEST_P(DictionaryWalk, FileNumberOfAMigratedRowIsNotLookedAt) {
    // Dictionary rows are looked for in the SYSTEM datafile whatever their address says.
    store(OTHER_BLOCK, other_block(0, migrated(c().row, 1)));
    sample::TableBlock block = make_block(c());
    block.add(stub(0x02C00000 | OTHER_BLOCK, 0), table());
    EXPECT_EQ(decode(c(), block.finish()).records, std::vector<std::string>{record_of_other_key()});
}

TEST_P(DictionaryWalk, UnreadableBlockOfAMigratedRowFailsWithNoMessageOfItsOwn) {
    sample::TableBlock block = make_block(c());
    block.add(make_piece(c(), c().row), table());
    block.add(stub(OTHER_RDBA, 0), table());
    const int fd = std::exchange(system_.fd, -1);
    const decoded d = decode(c(), block.finish());
    system_.fd = fd;
    EXPECT_EQ(d.result, -1);
    EXPECT_EQ(d.err, "read \"system.dbf\": Bad file descriptor\n");
}

TEST_P(DictionaryWalk, MigratedRowWhoseBlockTheFileDoesNotHoldIsLeftOut) {
    sample::TableBlock block = make_block(c());
    block.add(stub(OTHER_RDBA, 0), table());
    block.add(make_piece(c(), c().row), table());
    const decoded d = decode(c(), block.finish());
    EXPECT_EQ(d.result, 0);
    EXPECT_EQ(d.err, "block rdba=0x00400020 row 0 damaged, skip this row data.\n");
    EXPECT_EQ(d.records, std::vector<std::string>{record()});
}

TEST_P(DictionaryWalk, MigratedRowWhoseSlotDoesNotExistIsLeftOut) {
    store(OTHER_BLOCK, other_block(1, migrated(c().row, 1)));
    for (uint16_t slot : std::vector<uint16_t>{2, 3000, 0xFFFF}) {
        sample::TableBlock block = make_block(c());
        block.add(make_piece(c(), c().row), table());
        block.add(stub(OTHER_RDBA, slot), table());
        const decoded d = decode(c(), block.finish());
        EXPECT_EQ(d.result, 0);
        EXPECT_EQ(d.err, "block rdba=0x00400020 row 1 damaged, skip this row data.\n") << slot;
        EXPECT_EQ(d.records, std::vector<std::string>{record()});
    }
}

} // namespace
