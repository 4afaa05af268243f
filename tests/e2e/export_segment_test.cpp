// The walk over a dictionary table's segment.
#include "export_fixture.h"

using namespace vexlo_test;

namespace {

bytes le32(uint32_t v) {
    return {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v >> 16),
            static_cast<uint8_t>(v >> 24)};
}

constexpr size_t MAP = 92; // of a freelist-managed segment header: nexts, next, two words, entries

class ExportSegment : public ExportTest {
protected:
    static uint32_t rdba(uint32_t block) { return 1U << 22 | block; }

    std::string read_error(uint32_t block) const {
        return "read extent rdba=" + hex(rdba(block)) + " error.\n";
    }

    std::string check_error(uint32_t block) const {
        return "block rdba=0x" + hex(rdba(block)) + " check value not matched.\n";
    }

    std::vector<std::string> fails(const std::string &label, const std::string &lines) const {
        return {failed_step(step(label), lines)};
    }
};

TEST_F(ExportSegment, UnknownHeaderTypeStopsTheTable) {
    build();
    for (uint8_t type : std::vector<uint8_t>{0x06, 0x20, 0xFF}) {
        patch(cluster_header("C_TS#"), 0, {type});
        EXPECT_EQ(transcript({"export dict"}),
                  fails(". . export ts$", "error block type: " + hex(type) + "\n"));
    }
}

TEST_F(ExportSegment, UnknownHeaderTypeStopsATableThatBootstrapDoesNotDescribe) {
    build();
    patch(table_header("PROPS$"), 0, {0x06});
    EXPECT_EQ(transcript({"export dict"}), fails(". . export props$", "error block type: 6\n"));
    EXPECT_FALSE(file_exists(dict("props")));
}

TEST_F(ExportSegment, AnyOfTheFourHeaderTypesIsAccepted) {
    build();
    // The map of each type stands at a place of its own: all of them are written, one is looked at.
    const uint32_t header = table_header("OBJ$");
    const bytes block = read_file(system_file());
    const size_t at = size_t{header} * options_.block_size + MAP;
    const bytes map(block.begin() + static_cast<ptrdiff_t>(at),
                    block.begin() + static_cast<ptrdiff_t>(at) + 32);
    for (const auto &[type, offset] : std::map<uint8_t, size_t>{{0x12, 20}, {0x24, 20}, {0x23, 264}}) {
        patch(header, MAP, bytes(32));
        patch(header, offset, map);
        patch(header, 0, {type});
        EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()}) << int{type};
        patch(header, offset, bytes(32));
    }
}

TEST_F(ExportSegment, HeaderWithAWrongCheckValueIsAReadFailure) {
    build();
    const uint32_t header = cluster_header("C_TS#");
    patch(header, 500, {0x55}, false);
    EXPECT_EQ(transcript({"export dict"}), fails(". . export ts$", check_error(header) + read_error(header)));
}

TEST_F(ExportSegment, CheckValuesAreLookedAtOnlyWhenConfigured) {
    options_.checksum = false;
    build();
    patch(cluster_header("C_TS#"), 500, {0x55}, false);
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
}

TEST_F(ExportSegment, ChainedMapThatCannotBeReadIsNamedByItsOwnAddress) {
    build();
    const uint32_t broken = table_header("PROPS$");
    patch(broken, 500, {0x55}, false);
    patch(cluster_header("C_TS#"), MAP + 4, le32(rdba(broken)));
    EXPECT_EQ(transcript({"export dict"}), fails(". . export ts$", check_error(broken) + read_error(broken)));
}

TEST_F(ExportSegment, ExtentsAreReadInRunsThatTheBufferAllows) {
    // 101,580 records of 40 bytes and two blocks of 32 KiB leave room for 122 blocks of TS$; 131,072 records
    // of 32 bytes leave 126 of the larger buffer of TABPART$. The address in the message tells the run.
    options_.block_size = 32768;
    options_.dictionary_extent_blocks = 130;
    struct {
        const char *label;
        uint32_t blocks;
    } cases[] = {{". . export ts$", 122}, {". . export tabpart$", 126}};
    for (const auto &c : cases) {
        build();
        EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
        const bool is_ts = c.blocks == 122;
        const uint32_t first = is_ts ? cluster_header("C_TS#") : table_header("TABPART$");
        patch(first + c.blocks, 500, {0x55}, false);
        EXPECT_EQ(transcript({"export dict"}),
                  fails(c.label, check_error(first + c.blocks) + read_error(first + c.blocks)));
        patch(first + c.blocks - 1, 500, {0x55}, false);
        EXPECT_EQ(transcript({"export dict"}),
                  fails(c.label, check_error(first + c.blocks - 1) + read_error(first)));
    }
}

TEST_F(ExportSegment, ExtentThatRunsPastTheEndOfTheFileIsDecodedAsFarAsItGoes) {
    options_.checksum = false;
    build();
    patch(cluster_header("C_TS#"), MAP + 16 + 4, le32(100000));
    const std::string said = transcript({"export dict"}).at(0);
    // The file holds blocks of other clusters behind the extent: their rows are read as well, and no more.
    EXPECT_TRUE(said.starts_with(first_steps(1) + ". . export ts$")) << said;
    EXPECT_EQ(said.find("error"), std::string::npos) << said;
}

TEST_F(ExportSegment, ExtentPastTheEndOfTheFileFailsWhenCheckValuesAreVerified) {
    build();
    patch(cluster_header("C_TS#"), MAP + 16, le32(rdba(100000)));
    EXPECT_EQ(transcript({"export dict"}), fails(". . export ts$", check_error(100000) + read_error(100000)));
}

TEST_F(ExportSegment, ExtentPastTheEndOfTheFileIsEmptyOtherwise) {
    options_.checksum = false;
    build();
    patch(cluster_header("C_TS#"), MAP + 16, le32(rdba(100000)));
    kept_["TS$"] = 0;
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
    EXPECT_EQ(read_file(dict("ts")).size(), 0U);
}

TEST_F(ExportSegment, SegmentWithoutExtentsGivesAnEmptyFile) {
    build();
    write_text(dict("tabpart"), "left by an earlier run");
    patch(table_header("TABPART$"), MAP, le32(0));
    kept_["TABPART$"] = 0;
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
    EXPECT_EQ(read_file(dict("tabpart")).size(), 0U);
}

TEST_F(ExportSegment, ExtentsOfLengthZeroAreEmpty) {
    build();
    patch(table_header("TABPART$"), MAP + 16 + 4, le32(0));
    kept_["TABPART$"] = 0;
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
}

TEST_F(ExportSegment, AllBlocksAreReadFromTheSystemFileWhateverTheirFileNumber) {
    build();
    patch(cluster_header("C_TS#"), MAP + 16, le32(9U << 22 | cluster_header("C_TS#")));
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
}

TEST_F(ExportSegment, MapsThatLoopAreAFailureAndEnd) {
    build();
    const uint32_t header = cluster_header("C_TS#");
    patch(header, MAP + 4, le32(rdba(header)));
    const std::string said = transcript({"export dict"}).at(0);
    EXPECT_TRUE(said.starts_with(first_steps(1) + ". . export ts$")) << said;
    EXPECT_TRUE(said.ends_with(std::string("export ts$ error.\n") + COMMAND_ERROR)) << said;
    EXPECT_FALSE(file_exists(dict("ts")));
}

TEST_F(ExportSegment, MapThatClaimsMoreExtentsThanItsBlockHoldsEnds) {
    options_.checksum = false;
    build();
    patch(cluster_header("C_TS#"), MAP, le32(0xFFFFFFFF));
    const run_result result = run({"export dict"});
    EXPECT_EQ(result.end, ending::exited) << result.describe();
    EXPECT_EQ(result.status, 0) << result.describe();
}

TEST_F(ExportSegment, InterruptedAndShortReadsAreContinued) {
    build();
    transcript({"export dict"});
    const auto reference = dictionary();
    for (const char *how : {"nth=1+2,errno=EINTR", "count=1001"}) {
        run_options options;
        options.io_rules = "call=pread,path=system01," + std::string(how);
        EXPECT_EQ(transcript({"export dict"}, options), std::vector<std::string>{whole_export()}) << how;
        EXPECT_EQ(dictionary(), reference) << how;
    }
}

TEST_F(ExportSegment, EveryReadErrorOfTheDatafileEndsTheExportAndTheNextOneWorks) {
    build();
    run_options count;
    count.io_rules = "call=pread,path=system01";
    count.io_log = scratch_.file("log");
    transcript({"export dict"}, count);
    const std::string log = read_text(count.io_log);
    const int reads = std::stoi(log.substr(log.find("calls=") + 6));
    ASSERT_GT(reads, 20);
    const std::string error = "read \"" + system_file() + "\": Input/output error\n";
    for (int n = 1; n <= reads; n += 3) {
        run_options options;
        options.io_rules = "call=pread,path=system01,errno=EIO,nth=" + std::to_string(n);
        const std::vector<std::string> said = transcript({"export dict", "export dict"}, options);
        EXPECT_NE(said.at(0).find(error), std::string::npos) << n << said.at(0);
        EXPECT_TRUE(said.at(0).ends_with(COMMAND_ERROR)) << n << said.at(0);
        EXPECT_EQ(said.at(1), whole_export()) << n;
    }
}

TEST_F(ExportSegment, DeletedRowsAreNotCounted) {
    options_.dictionary_hook = [](std::string_view table, sample::Row &row, sample::RowPlacement &placement) {
        placement.deleted = table == "PROPS$" && row.at(0) == sample::text("DBTIMEZONE");
        return true;
    };
    build();
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
}

TEST_F(ExportSegment, MigratedRowsGiveTheSameDictionary) {
    build();
    transcript({"export dict"});
    const auto reference = dictionary();
    options_.dictionary_hook = [n = 0](std::string_view table, sample::Row &,
                                       sample::RowPlacement &placement) mutable {
        placement.migrated = table != "BOOTSTRAP$" && table != "TAB$" && ++n % 3 == 0;
        return true;
    };
    build();
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
    const auto migrated = dictionary();
    for (const char *file : {"user", "ts", "col", "props"})
        EXPECT_EQ(migrated.at(file), reference.at(file)) << file;
}

} // namespace
