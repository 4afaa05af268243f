// Places of the disk that cannot be read: they cost what stood there.
#include "recovered_fixture.h"

namespace {

using namespace sample;
using namespace vexlo_test;

class UnreadableBlocks : public Recovered {
protected:
    size_t fill(int rows) {
        const size_t t = add("T", {number_column("ID"), varchar2_column("NAME", 2000)});
        for (int i = 1; i <= rows; i++)
            places_.push_back(db_->insert(t, {number(i), text(std::string(1700, 'n'))}).rdba);
        return t;
    }

    // Runs the program with a place in this block of the first file of USERS that cannot be read.
    void run_without(uint32_t block, std::vector<std::string> arguments) {
        run_options options;
        options.io_rules = "call=pread,path=" + users_file() +
                           ",at=" + std::to_string(uint64_t{block} * block_size() + 100) + ",errno=EIO";
        result_ = run_rescue(std::move(arguments), options);
    }
    void unload_without(uint32_t block) {
        db_->finish();
        run_without(block, unload_arguments(dir_.file("db"), dir_.file("out"), {"--quiet"}));
        EXPECT_EQ(result_.status, 1) << result_.describe();
    }

    bool is_table_block(uint32_t block) const {
        return read_text(users_file()).at(block * block_size()) == 6;
    }

    csv_row ids_outside(uint32_t rdba) const {
        csv_row ids;
        for (size_t i = 0; i < places_.size(); i++)
            if (places_[i] != rdba)
                ids.push_back(std::to_string(i + 1));
        return ids;
    }

    Json loss(uint32_t block) const {
        const uint32_t file = db_->model().tablespaces[users_].storage->files().front()->info().fno;
        return Json::array({{{"kind", "unreadable"}, {"file", file}, {"block", block}, {"blocks", 1}}});
    }

    std::vector<uint32_t> places_;
};

TEST_F(UnreadableBlocks, RowsOfTheOthersComeOut) {
    open();
    fill(60);
    unload_without(block_number(places_[30]));
    EXPECT_EQ(column("T", "ID"), ids_outside(places_[30]));
    EXPECT_EQ(record("T").at("losses"), loss(block_number(places_[30])));
    EXPECT_FALSE(has_output("SCOTT.T.suspect.csv"));
}

TEST_F(UnreadableBlocks, SegmentWithoutItsHeaderIsFoundBlockByBlock) {
    open();
    const size_t t = fill(60);
    unload_without(segment_header(t));
    EXPECT_EQ(column("T", "ID"), numbers(60));
    EXPECT_EQ(record("T").at("losses"), loss(segment_header(t)));
}

TEST_F(UnreadableBlocks, FileWithoutItsHeaderIsKnownByTheOthers) {
    open();
    fill(60);
    db_->finish();
    run_without(1, unload_arguments(dir_.file("db"), dir_.file("out"), {"--quiet"}));
    EXPECT_EQ(column("T", "ID"), numbers(60));
    EXPECT_EQ(result_.err,
              "vexlo-rescue: \"" + users_file() + "\": header damaged, blocks say relative file 2\n");
}

TEST_F(UnreadableBlocks, RowThatGoesOnInOneIsSuspect) {
    open();
    const size_t t = add("T", {number_column("ID"), varchar2_column("A", 20), varchar2_column("B", 20)});
    RowPlacement cut;
    cut.cuts = {{2, 0}};
    cut.piece_per_block = true;
    const RowAddress head = db_->insert(t, {number(1), text("here"), text("there")}, cut);
    db_->insert(t, {number(2), text("a"), text("b")});
    db_->finish();
    std::vector<uint32_t> others;
    for (uint32_t block = segment_header(t) + 1; block < segment_header(t) + 8; block++)
        if (block != block_number(head.rdba) && is_table_block(block))
            others.push_back(block);
    ASSERT_EQ(others.size(), 1U);
    run_without(others[0], unload_arguments(dir_.file("db"), dir_.file("out"), {"--quiet"}));
    EXPECT_EQ(rows("T"), (std::vector<csv_row>{{"2", "a", "b"}}));
    const std::string place = std::to_string(head.rdba >> 22) + "/" + std::to_string(block_number(head.rdba));
    EXPECT_EQ(rows("T", true), (std::vector<csv_row>{{place, std::to_string(head.slot),
                                                      "block cannot be read", "1", "here", std::nullopt}}));
}

TEST_F(UnreadableBlocks, CheckNamesThemWithTheirOwner) {
    open();
    fill(60);
    db_->finish();
    run_without(block_number(places_[30]), {"check", "--files", dir_.file("db/*.dbf"), "--quiet"});
    EXPECT_EQ(result_.status, 1);
    EXPECT_NE(result_.out.find("\n  block " + std::to_string(block_number(places_[30])) +
                               ": unreadable, SCOTT.T\n"),
              std::string::npos)
        << result_.out;
}

} // namespace
