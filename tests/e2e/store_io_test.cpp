// Loading dictionary files while system calls fail, are interrupted, or give less than they were asked for.
#include <gtest/gtest.h>

#include "console_texts.h"
#include "store_fixture.h"

namespace vexlo_test {
namespace {

// The address sanitizer of clang allocates by itself, out of reach of allocation rules.
#if defined(__clang__)
#if __has_feature(address_sanitizer)
constexpr bool ALLOCATION_RULES = false;
#else
constexpr bool ALLOCATION_RULES = true;
#endif
#else
constexpr bool ALLOCATION_RULES = true;
#endif

class LoadInput : public testing::Test {
protected:
    LoadInput() { home_.store(content_); }

    static run_options rules(const std::string &text) {
        run_options options;
        options.io_rules = text;
        return options;
    }

    // Expects the load to stop at its `files`-th file with `message`.
    void expect_stop(std::size_t files, const std::string &message, const run_options &options) const {
        expect_console(
            home_.run({"load dict"}, options), "",
            {load_lines(content_, files) + step_label("load", loaded_names[files]) + message + LOAD_FAILED});
    }

    void expect_same_listings(const run_options &options) const {
        const std::vector<std::string> commands{"load dict", "list tables", "list objects", "desc scott.emp"};
        expect_console(home_.run(commands, options), home_.run(commands).out,
                       {load_lines(content_), "", "", ""});
    }

    console_home home_;
    dictionary content_ = small_dictionary();
};

TEST_F(LoadInput, InterruptedReadsAreRepeated) {
    expect_same_listings(rules("call=read,path=/dict/,nth=1+2,errno=EINTR"));
}

TEST_F(LoadInput, ShortReadsAreContinued) {
    expect_same_listings(rules("call=read,path=/dict/,count=13"));
}

TEST_F(LoadInput, ReadErrorInTheMiddleOfAFileEndsTheLoad) {
    expect_stop(3, "read " + home_.dict_file("tab") + ": Input/output error\n",
                rules("call=read,path=/tab.dat,nth=3,errno=EIO;call=read,path=/tab.dat,count=100"));
}

TEST_F(LoadInput, StatErrorEndsTheLoad) {
    expect_stop(3, "get " + home_.dict_file("tab") + " stat error: Input/output error\n",
                rules("call=fstat,path=/tab.dat,errno=EIO"));
}

TEST_F(LoadInput, FileThatShrinksBelowItsSizeIsAReadError) {
    for (const char *size : {"1000", "9000000"}) // into the work buffer and into a heap block
        expect_stop(0, "read " + home_.dict_file("user") + ": Input/output error\n",
                    rules(std::string("call=fstat,path=/user.dat,size=") + size));
}

TEST_F(LoadInput, SizeBeyondA32BitCountIsRefused) {
    for (const char *size : {"2147483648", "4294967296", "4294967344"})
        expect_stop(0, "read " + home_.dict_file("user") + ": File too large\n",
                    rules(std::string("call=fstat,path=/user.dat,size=") + size));
}

TEST_F(LoadInput, ReadErrorIntoAHeapBufferEndsTheLoad) {
    resize_file(home_.dict_file("ts"), 8388648);
    expect_stop(1, "read " + home_.dict_file("ts") + ": Input/output error\n",
                rules("call=read,path=/ts.dat,nth=2+,errno=EIO;call=read,path=/ts.dat,count=4000000"));
}

TEST_F(LoadInput, NoMemoryForAFileBeyondTheWorkBuffer) {
    if (!ALLOCATION_RULES)
        GTEST_SKIP();
    resize_file(home_.dict_file("ts"), 8388609);
    expect_stop(1, "allocate memory 8388609 bytes error: Cannot allocate memory\n",
                rules("call=malloc,min=8388609,errno=ENOMEM"));
}

TEST_F(LoadInput, NoMemoryForTheCopyOfASmallFileClearsItsSlot) {
    if (!ALLOCATION_RULES)
        GTEST_SKIP();
    resize_file(home_.dict_file("ts"), 4000000);
    // The first block of that size is the work buffer.
    const run_options options = rules("call=malloc,min=4000000,nth=2,errno=ENOMEM");
    expect_stop(1, "allocate memory 4000000 bytes error: Cannot allocate memory\n", options);

    resize_file(home_.dict_file("ts"), 80);
    resize_file(home_.dict_file("user"), 4000032);
    expect_console(home_.run({"load dict", "list users"}, options), "User information not loaded.\n",
                   {step_label("load", "user") +
                        "allocate memory 4000032 bytes error: Cannot allocate memory\n" + LOAD_FAILED,
                    ""});
}

TEST_F(LoadInput, ClusterFileFailuresEndTheLoadBehindAllOthers) {
    const std::string path = home_.dict_file("cluster");
    const std::pair<const char *, std::string> failures[] = {
        {"call=open,path=/cluster.dat,errno=EACCES", "open " + path + ": Permission denied\n"},
        {"call=read,path=/cluster.dat,errno=EIO", "read " + path + ": Input/output error\n"},
        {"call=fstat,path=/cluster.dat,errno=EIO", "get " + path + " stat error: Input/output error\n"},
    };
    for (const auto &[rule, message] : failures)
        expect_console(home_.run({"load dict"}, rules(rule)), "",
                       {load_lines(content_) + message + LOAD_FAILED});
}

TEST_F(LoadInput, FailedLoadsKeepNoDescriptor) {
    run_options options = rules("call=read,path=/ts.dat,errno=EIO");
    options.open_files = 12;
    const std::string stopped = load_lines(content_, 1) + step_label("load", "ts") + "read " +
                                home_.dict_file("ts") + ": Input/output error\n" + LOAD_FAILED;
    expect_console(home_.run(std::vector<std::string>(20, "load dict"), options), "",
                   std::vector<std::string>(20, stopped));
}

} // namespace
} // namespace vexlo_test
