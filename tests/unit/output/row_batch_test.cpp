#include <algorithm>
#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include "output/row_batch.h"

namespace {

class RowLossesTest : public testing::Test {
protected:
    ~RowLossesTest() override {
        if (stream_ != nullptr)
            std::fclose(stream_);
        free(text_);
    }

    std::string told() {
        std::fflush(stream_);
        return {text_, size_};
    }

    char *text_ = nullptr;
    size_t size_ = 0;
    std::FILE *stream_ = open_memstream(&text_, &size_);
    vexlo::Console console_{"x", stream_};
    vexlo::Report report_{console_};
    vexlo::TableReport table_report_{report_, "a.dat", "T"};
};

TEST_F(RowLossesTest, AreToldInTheirOrderAndOnce) {
    vexlo::RowLosses losses;
    losses.add(3, 30, "first");
    losses.add(4, 40, "second");
    losses.tell(table_report_);
    losses.tell(table_report_);
    EXPECT_EQ(told(), "x: a.dat: table \"T\", row 3, offset 30: first\n"
                      "x: a.dat: table \"T\", row 4, offset 40: second\n");
}

TEST_F(RowLossesTest, RowsCountFromBehindThoseInFrontOfTheBatch) {
    vexlo::RowLosses losses;
    losses.add(3, 30, "text");
    EXPECT_EQ(losses.count(), 1U);
    losses.shift(1000);
    losses.tell(table_report_);
    EXPECT_EQ(told(), "x: a.dat: table \"T\", row 1003, offset 30: text\n");
}

TEST_F(RowLossesTest, AHundredLinesOfAllBatchesThenANumber) {
    for (int batch = 0; batch < 3; ++batch) {
        vexlo::RowLosses losses;
        for (uint64_t row = 0; row < 150; ++row)
            losses.add(row, 0, "x");
        losses.tell(table_report_);
    }
    table_report_.finish();
    const std::string text = told();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 101);
    EXPECT_NE(text.find("350 more losses"), std::string::npos);
}

TEST(RowBatch, ClearedIsAsGoodAsNew) {
    vexlo::RowBatch batch;
    batch.bytes.append("abc");
    batch.rejected.append("x");
    batch.rows = 2;
    batch.begin_reject(3);
    batch.end_reject();
    batch.longest = {1, 2};
    batch.losses.add(1, 0, "x");
    batch.clear();
    EXPECT_TRUE(batch.bytes.empty());
    EXPECT_TRUE(batch.rejected.empty());
    EXPECT_TRUE(batch.losses.empty());
    EXPECT_EQ(batch.taken(), 0U);
    EXPECT_TRUE(batch.longest.empty());
}

TEST(RowBatch, RowsAreNumberedBehindThoseOfTheBatchesBefore) {
    vexlo::RowBatch batch;
    batch.rows = 4;
    for (const uint64_t row : {2U, 5U}) {
        batch.begin_reject(row);
        batch.end_reject();
    }
    EXPECT_EQ(batch.taken(), 6U);
    batch.number_from(100);
    EXPECT_EQ(batch.rejects[0].row, 102U);
    EXPECT_EQ(batch.rejects[1].row, 105U);
}

// What is given away of a row that is rejected counts there; its rest begins the next batch.
TEST(RowBatch, ARejectedRowGoesOnInTheNextBatch) {
    vexlo::RowBatch batch;
    std::string taken;
    uint64_t rows = 0;
    const auto take = [&](vexlo::RowBatch &part) {
        rows += part.rejected_rows();
        for (size_t i = 0; i < part.rejects.size(); ++i)
            taken += (part.rejects[i].is_rest ? "+" : "|") + std::string(part.rejected_row(i).substr(0, 2));
        part.clear();
    };
    batch.spill = take;
    batch.begin_reject(1);
    batch.rejected.append("ab");
    batch.end_reject();
    batch.begin_reject(2);
    batch.rejected.append(std::string(vexlo::RowBatch::FULL_SIZE, 'c'));
    batch.relieve();
    batch.rejected.append("d");
    batch.end_reject();
    batch.begin_reject(3);
    batch.rejected.append("e");
    batch.end_reject();
    take(batch);
    EXPECT_EQ(taken, "|ab|cc+d|e");
    EXPECT_EQ(rows, 3U);
}

TEST(ByteBuffer, GrowsAndKeepsWhatItHolds) {
    vexlo::ByteBuffer bytes;
    std::string expected;
    for (int i = 0; i < 5000; ++i) {
        bytes.append(std::to_string(i));
        bytes.put(',');
        expected += std::to_string(i) + ',';
    }
    bytes.append_hex("\x01\xAB");
    EXPECT_EQ(bytes.view(), expected + "01AB");
    bytes.truncate(3);
    EXPECT_EQ(bytes.view(), "0,1");
}

} // namespace
