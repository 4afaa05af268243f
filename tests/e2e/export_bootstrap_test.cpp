// Reading the bootstrap segment, and finding the core dictionary tables through its statements.
#include "export_fixture.h"

using namespace vexlo_test;

namespace {

class ExportBootstrap : public ExportTest {
protected:
    uint32_t root() const { return 1U << 22 | table_header("BOOTSTRAP$"); }

    std::string header_error() const { return "read extent rdba=" + hex(root()) + " error.\n"; }

    static std::string text_of(const sample::Value &value) { return {value->begin(), value->end()}; }

    static void replace(sample::Value &value, const std::string &what, const std::string &by) {
        std::string text = text_of(value);
        const size_t at = text.find(what);
        ASSERT_NE(at, std::string::npos);
        value = sample::text(text.replace(at, what.size(), by));
    }

    // Offset of the extent map in a freelist-managed segment header: nexts, next, two words, entries.
    static constexpr size_t MAP = 92;
};

class ExportOfKind : public ExportBootstrap, public ::testing::WithParamInterface<sample::SegmentKind> {};

INSTANTIATE_TEST_SUITE_P(Kinds, ExportOfKind,
                         ::testing::Values(sample::SegmentKind::freelist, sample::SegmentKind::bitmap),
                         [](const auto &p) {
                             return p.param == sample::SegmentKind::bitmap ? "Bitmap" : "Freelist";
                         });

TEST_P(ExportOfKind, OneMapIsReadCompletely) {
    options_.dictionary_kind = GetParam();
    build();
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
}

TEST_P(ExportOfKind, ChainedMapsAreReadCompletely) {
    options_.dictionary_kind = GetParam();
    options_.block_size = 2048;
    options_.dictionary_extent_blocks = 4;
    options_.dictionary_map_entries = 1;
    build();
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
}

TEST_F(ExportBootstrap, UnknownHeaderTypeIsNamedInHexadecimal) {
    build();
    for (uint8_t type : std::vector<uint8_t>{0x06, 0x20, 0xAB}) {
        patch(table_header("BOOTSTRAP$"), 0, {type});
        EXPECT_EQ(transcript({"export dict"}),
                  std::vector<std::string>{"error block type: " + hex(type) + "\n" + COMMAND_ERROR});
    }
}

TEST_F(ExportBootstrap, UnreadableHeaderIsNamedByItsAddress) {
    build();
    run_options options;
    options.io_rules = "call=pread,path=system01,nth=1,errno=EIO";
    EXPECT_EQ(transcript({"export dict", "export dict"}, options),
              (std::vector<std::string>{"read \"" + system_file() + "\": Input/output error\n" +
                                            header_error() + COMMAND_ERROR,
                                        whole_export()}));
}

TEST_F(ExportBootstrap, UnreadableExtentIsNamedByTheAddressOfTheSegmentNotItsOwn) {
    build();
    // The entry leads to another block of the file; that block's check value is broken.
    const uint32_t extent = table_header("PROPS$");
    patch(table_header("BOOTSTRAP$"), MAP + 16, {static_cast<uint8_t>(extent), 0, 0x40, 0});
    patch(extent, 100, {0x55}, false);
    EXPECT_EQ(transcript({"export dict"}),
              std::vector<std::string>{"block rdba=0x" + hex(1U << 22 | extent) +
                                       " check value not matched.\n" + header_error() + COMMAND_ERROR});
}

TEST_F(ExportBootstrap, HeaderThatTheFileDoesNotHoldIsAReadFailure) {
    options_.checksum = false;
    build();
    resize_file(system_file(), 4096 * (size_t{table_header("BOOTSTRAP$")}) + 100);
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{header_error() + COMMAND_ERROR});
}

TEST_F(ExportBootstrap, MapThatLoopsIsAFailureAndEnds) {
    build();
    const uint32_t header = table_header("BOOTSTRAP$");
    patch(header, MAP + 4, {static_cast<uint8_t>(header), static_cast<uint8_t>(header >> 8), 0x40, 0});
    const std::string said = transcript({"export dict"}).at(0);
    EXPECT_TRUE(said.ends_with(std::string(".\n") + COMMAND_ERROR)) << said;
    EXPECT_EQ(said.find(". . export"), std::string::npos) << said;
}

TEST_F(ExportBootstrap, DeletedStatementIsNotFound) {
    options_.dictionary_hook = [](std::string_view table, sample::Row &row, sample::RowPlacement &placement) {
        placement.deleted = table == "BOOTSTRAP$" && row.at(1) == sample::number(22); // USER$
        return true;
    };
    build();
    EXPECT_EQ(transcript({"export dict"}),
              std::vector<std::string>{failed_step(0, "USER$ table sql_text not found.\n"
                                                      "get USER$ table segment header rdba error.\n")});
}

TEST_F(ExportBootstrap, EachMissingStatementFailsItsStepWithBothMessages) {
    const char *tables[] = {"USER$", "TS$", "OBJ$", "TAB$", "CLU$", "COL$", "IND$"};
    for (size_t i = 0; i < std::size(tables); i++) {
        const std::string table = tables[i];
        options_.dictionary_hook = drop_statement("CREATE TABLE " + table);
        build();
        EXPECT_EQ(transcript({"export dict"}),
                  std::vector<std::string>{failed_step(i, table + " table sql_text not found.\nget " + table +
                                                              " table segment header rdba error.\n")});
    }
}

TEST_F(ExportBootstrap, StatementWithoutStorageIsPrintedWhole) {
    std::string text;
    options_.dictionary_hook = change_statement("CREATE TABLE OBJ$", [&](sample::Value &value) {
        replace(value, " STORAGE", " storage");
        text = text_of(value);
    });
    build();
    EXPECT_EQ(transcript({"export dict"}),
              std::vector<std::string>{failed_step(2, "sql_text error:\n" + text +
                                                          "\nget OBJ$ table segment header rdba error.\n")});
}

TEST_F(ExportBootstrap, ErrorInTheClustersStatementPrintsTheClustersText) {
    std::string text;
    options_.dictionary_hook = change_statement("CREATE CLUSTER C_TS#", [&](sample::Value &value) {
        replace(value, "FILE ", "FILES ");
        text = text_of(value);
    });
    build();
    EXPECT_EQ(transcript({"export dict"}),
              std::vector<std::string>{failed_step(1, "sql_text error:\n" + text +
                                                          "\nget TS$ table segment header rdba error.\n")});
}

TEST_F(ExportBootstrap, ClusterWithoutAStatementIsNamed) {
    options_.dictionary_hook = drop_statement("CREATE CLUSTER C_USER#");
    build();
    EXPECT_EQ(transcript({"export dict"}),
              std::vector<std::string>{failed_step(0, "C_USER# cluster sql_text not found.\n"
                                                      "get USER$ table segment header rdba error.\n")});
}

TEST_F(ExportBootstrap, SegmentHeaderFarOutsideTheFileIsAReadFailure) {
    options_.checksum = false;
    options_.dictionary_hook = change_statement("CREATE TABLE OBJ$", [&](sample::Value &value) {
        std::string text = text_of(value);
        value = sample::text(text.substr(0, text.find(" BLOCK ")) + " BLOCK 1000000))");
    });
    build();
    EXPECT_EQ(transcript({"export dict"}),
              std::vector<std::string>{
                  failed_step(2, "read extent rdba=" + hex(1U << 22 | 1000000) + " error.\n")});
}

} // namespace
