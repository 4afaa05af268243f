// What a walk may take from the datafiles.
#include <fcntl.h>

#include "../clean_context.h"
#include "read_budget.h"

namespace vexlo_test {
namespace {

class ReadBudget : public clean_context {
protected:
    // Opens files of these sizes as the datafiles.
    void open_files(const std::vector<std::size_t> &sizes) {
        g_ctx.df = static_cast<DATAFILE *>(std::calloc(sizes.size(), sizeof(DATAFILE)));
        for (const std::size_t size : sizes) {
            const std::string file = path(std::to_string(g_ctx.sys.nf));
            write_file(file, bytes(size));
            g_ctx.df[g_ctx.sys.nf++].fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
        }
    }
};

TEST_F(ReadBudget, IsWhatAllFilesHoldTogether) {
    open_files({1000, 200, 30});
    for (std::uint32_t first = 0; first < 3; first++) {
        READ_BUDGET budget = begin_budget(&g_ctx.df[first]);
        EXPECT_TRUE(spend(&budget, 1000));
        EXPECT_TRUE(spend(&budget, 230));
        EXPECT_FALSE(spend(&budget, 1));
    }
}

TEST_F(ReadBudget, SizesAreThoseOfTheWalksOwnTime) {
    open_files({1000, 200});
    resize_file(path("0"), 5000);
    resize_file(path("1"), 100);
    READ_BUDGET budget = begin_budget(&g_ctx.df[0]);
    EXPECT_TRUE(spend(&budget, 5100));
    EXPECT_FALSE(spend(&budget, 1));
}

TEST_F(ReadBudget, DeviceWithoutASizeSetsNoLimit) {
    open_files({1000, 200});
    close(g_ctx.df[1].fd);
    g_ctx.df[1].fd = open("/dev/zero", O_RDONLY | O_CLOEXEC);
    for (std::uint32_t first = 0; first < 2; first++) {
        READ_BUDGET budget = begin_budget(&g_ctx.df[first]);
        EXPECT_TRUE(spend(&budget, std::uint64_t{1} << 60));
    }
}

TEST_F(ReadBudget, OfAWalkThatBeginsNowhereIsThatOfAllFiles) {
    open_files({1000});
    READ_BUDGET budget = begin_budget(nullptr);
    EXPECT_TRUE(spend(&budget, 1000));
    EXPECT_FALSE(spend(&budget, 1));
}

} // namespace
} // namespace vexlo_test
