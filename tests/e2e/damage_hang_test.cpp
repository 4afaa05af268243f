// Structures that lead back to themselves, or claim more than there is: each command ends, and reads no more
// than the data that is there some few times over.
#include "damage_fixture.h"
#include "sample/system_tables.h"

using namespace vexlo_test;

namespace {

class DamageHang : public damage_console {
protected:
    struct reads {
        unload_output output;
        uint64_t bytes; // from the datafile of the table
    };

    // Unloads T and measures what was read.
    reads unload() {
        const std::string log = dir_.file("reads");
        run_options options;
        options.io_rules = "call=pread,path=users01.dbf";
        options.io_log = log;
        reads r{run({"unload table scott.t"}, options), 0};
        const std::string text = read_text(log);
        r.bytes = std::stoull(text.substr(text.find("bytes=") + strlen("bytes=")));
        return r;
    }

    uint64_t file_bytes() const { return read_file(users_file()).size(); }

    // The segment header of T.
    uint32_t header() const {
        const sample::SegmentPlace &place = db_->model().tables.back().place;
        return sample::make_rdba(place.file, place.block);
    }

    // Makes the block at `rdba` a map block.
    void store_map(uint32_t rdba, uint8_t type, const std::vector<sample::Extent> &extents, uint32_t next) {
        sample::CacheHeader head;
        head.type = type;
        head.rdba = rdba;
        write_block(rdba, sample::encode_extent_map(BLOCK, head, 1, extents, next));
    }

    // A further address of a block, behind all blocks of T.
    uint32_t spare(uint32_t n) const { return places_.at("SPARE").at(0).rdba + n; }

    void finish_with_rows(int rows) {
        add_rows("SPARE", 400);
        add_rows("T", rows);
        finish();
    }

    // The rows of T's first extent once, then the message.
    void expect_loop(uint32_t comes_again) {
        const reads r = unload();
        char line[96];
        snprintf(line, sizeof line, "extent map at rdba=0x%08x comes again, the chain of maps loops.\n",
                 comes_again);
        EXPECT_NE(r.output.err.find(line), std::string::npos) << r.output.err;
        EXPECT_NE(r.output.err.find("unload table \"T\" error.\n"), std::string::npos) << r.output.err;
        EXPECT_LE(r.bytes, 4 * file_bytes());
    }
};

TEST_F(DamageHang, MapThatIsItsOwnNext) {
    finish_with_rows(20);
    const uint32_t rows = places_["T"].at(0).rdba;
    store_map(header(), sample::BLOCK_ASSM_SEGMENT_HEADER, {{rows, 1}}, header());
    expect_loop(header());
}

TEST_F(DamageHang, MapsThatLeadToEachOther) {
    finish_with_rows(20);
    const uint32_t rows = places_["T"].at(0).rdba;
    store_map(header(), sample::BLOCK_ASSM_SEGMENT_HEADER, {{rows, 1}}, spare(0));
    store_map(spare(0), sample::BLOCK_ASSM_EXTENT_MAP, {{rows, 1}}, header());
    expect_loop(header());
}

// The round does not come back to the header.
TEST_F(DamageHang, LongRoundOfMapsBehindTheHeader) {
    finish_with_rows(20);
    constexpr uint32_t MAPS = 10;
    store_map(header(), sample::BLOCK_ASSM_SEGMENT_HEADER, {}, spare(0));
    for (uint32_t i = 0; i < MAPS; i++)
        store_map(spare(i), sample::BLOCK_ASSM_EXTENT_MAP, {}, spare(i + 1 < MAPS ? i + 1 : 3));
    expect_loop(spare(3));
}

TEST_F(DamageHang, ExtentThatClaimsFourBillionBlocks) {
    finish_with_rows(20);
    store_map(header(), sample::BLOCK_ASSM_SEGMENT_HEADER, {{places_["T"].at(0).rdba, 0xFFFFFFFF}}, 0);
    const reads r = unload();
    const std::vector<int> all = rows_that("T", [](auto) { return true; });
    EXPECT_EQ(dumped("SCOTT_T"), all); // T is last in its file
    EXPECT_LE(r.bytes, 4 * file_bytes());
}

// As many as fit into a map: each is read as far as the file goes, until more was read than the datafiles
// hold.
TEST_F(DamageHang, MapFullOfExtentsThatClaimFourBillionBlocks) {
    finish_with_rows(20);
    const size_t most = sample::extent_map_capacity(BLOCK, sample::BLOCK_ASSM_SEGMENT_HEADER);
    const std::vector<sample::Extent> extents(most, {spare(0), 0xFFFFFFFF});
    store_map(header(), sample::BLOCK_ASSM_SEGMENT_HEADER, extents, 0);
    const reads r = unload();
    EXPECT_NE(r.output.err.find("names more blocks than the datafiles hold.\n"), std::string::npos)
        << r.output.err;
    const uint64_t everything = file_bytes() + read_file(db_->datafiles().at(0).string()).size();
    EXPECT_LE(r.bytes, 2 * everything);
}

// ---- The dictionary

class DamageHangOfExport : public damage_console {
protected:
    // Makes a segment header of the SYSTEM datafile its own next map, then exports.
    run_result export_with_loop(const sample::SegmentPlace &place) {
        constexpr size_t NEXT = 92 + 4;
        header_ = sample::make_rdba(place.file, place.block);
        sample::Bytes next(4);
        sample::store_le32(next.data(), header_);
        sample::patch_file(system_file(), BLOCK, place.block, NEXT, next);
        return run_vexlo(db_->config_path().string(), {"export dict"});
    }

    std::string comes_again() const {
        char line[96];
        snprintf(line, sizeof line, "extent map at rdba=0x%08x comes again, the chain of maps loops.\n",
                 header_);
        return line;
    }

    uint32_t header_ = 0;
};

TEST_F(DamageHangOfExport, MapOfADictionaryTableThatIsItsOwnNext) {
    const size_t cluster = sample::find_system_cluster(db_->model(), "C_OBJ#");
    finish();
    const run_result got = export_with_loop(db_->model().clusters[cluster].place);
    const std::string wanted = comes_again() + "export tab$ error.\nCommand \"export\" execute error.\n";
    EXPECT_NE(got.err.find(wanted), std::string::npos) << got.describe();
}

TEST_F(DamageHangOfExport, MapOfTheBootstrapSegmentThatIsItsOwnNext) {
    const size_t table = sample::find_system_table(db_->model(), "BOOTSTRAP$");
    finish();
    const run_result got = export_with_loop(db_->model().tables[table].place);
    const std::string wanted = comes_again() + "Command \"export\" execute error.\n";
    EXPECT_NE(got.err.find(wanted), std::string::npos) << got.describe();
}

// ---- Row chains

class DamageHangOfRows : public DamageHang {
protected:
    // Stores a chain of `pieces` pieces with the values 1 and on, the last of which leads to the piece number
    // `to` (counted from 0 at the head), or to another address.
    void finish_with_chain(int pieces, int to, std::optional<sample::RowAddress> elsewhere = {}) {
        const size_t t =
            db_->add_table(table("T", std::vector<sample::ColumnDef>(900, sample::varchar2_column("C", 10))));
        sample::RowWriter &rows = db_->rows(t);
        std::vector<sample::RowAddress> places(static_cast<size_t>(pieces));
        sample::RowAddress next{};
        for (size_t i = places.size(); i-- > 0;) {
            sample::PieceHead head;
            head.flags = i == 0 ? ROW_H | ROW_F : 0;
            head.next = next;
            next = places[i] = rows.insert_piece(
                sample::encode_piece(head, sample::Row{sample::number(static_cast<int>(i) + 1)}));
        }
        finish();
        const sample::RowAddress target = elsewhere.value_or(places[static_cast<size_t>(to)]);
        sample::Bytes address;
        sample::append_be32(address, target.rdba);
        sample::append_be16(address, target.slot);
        constexpr size_t NEXT = 3;
        patch(places.back().rdba, piece_offset(places.back()) + NEXT, address);
        head_ = places.front();
    }

    // Expects one row, which begins with the values 1 to `pieces`, and one line about it.
    void expect_one_row(int pieces) {
        const reads r = unload();
        EXPECT_EQ(r.output.err, progress("T", 1, "SCOTT", damaged_row(head_)));
        const bytes raw = dump("SCOTT_T");
        const std::vector<dump_row> rows = read_dump_section(raw, read_dump_tables(raw).at(0)).rows;
        ASSERT_EQ(rows.size(), 1U);
        ASSERT_GE(rows[0].entries.size(), static_cast<size_t>(pieces));
        for (int i = 0; i < pieces; i++)
            EXPECT_EQ(rows[0].entries[static_cast<size_t>(i)].value, number_value(i + 1));
        EXPECT_LE(r.bytes, 8 * file_bytes());
    }

    sample::RowAddress head_;
};

TEST_F(DamageHangOfRows, PieceThatIsItsOwnNext) {
    finish_with_chain(2, 1);
    expect_one_row(2);
}

TEST_F(DamageHangOfRows, ChainThatComesBackToItsHead) {
    finish_with_chain(5, 0);
    expect_one_row(5);
}

TEST_F(DamageHangOfRows, RoundOf200Pieces) {
    finish_with_chain(200, 3);
    expect_one_row(200);
}

TEST_F(DamageHangOfRows, RoundOfMoreThan256Pieces) {
    finish_with_chain(400, 3);
    expect_one_row(400);
}

// More pieces than the table has columns: those behind the last column add nothing.
TEST_F(DamageHangOfRows, RoundOfMoreThan4096Pieces) {
    finish_with_chain(5000, 3);
    expect_one_row(900);
}

TEST_F(DamageHangOfRows, PieceBehindTheEndOfTheFile) {
    finish_with_chain(3, 0, sample::RowAddress{sample::make_rdba(2, 0x3FFFFF), 0});
    expect_one_row(3);
}

TEST_F(DamageHangOfRows, ChainIntoAFileThatIsMissingEndsTheTable) {
    finish_with_chain(3, 0, sample::RowAddress{sample::make_rdba(77, 20), 0});
    const reads r = unload();
    EXPECT_NE(r.output.err.find("datafile (ts#=" + std::to_string(users_) + ", rfile#=77) not found.\n"),
              std::string::npos)
        << r.output.err;
    EXPECT_LE(r.bytes, 8 * file_bytes());
}

} // namespace
