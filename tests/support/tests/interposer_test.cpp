#include <csignal>

#include <gtest/gtest.h>

#include "process.h"
#include "scratch_dir.h"

namespace vexlo_test {
namespace {

// clang's address sanitizer allocates by itself, inside the program.
#if defined(__clang__) && defined(__has_feature)
#if __has_feature(address_sanitizer)
#define OWN_ALLOCATOR 1
#endif
#endif
#ifndef OWN_ALLOCATOR
#define OWN_ALLOCATOR 0
#endif

class Interposer : public testing::Test {
protected:
    Interposer() { write_text(target, std::string(100, 'x')); }

    // What the probe prints when it does `work` on `path` under `rules`.
    std::string probe(const std::string &work, const std::string &path, const std::string &rules,
                      const std::string &size = "10") {
        run_options options;
        options.io_rules = rules;
        options.io_log = log;
        const run_result r = run_process({TEST_PROBE, work, path, size}, options);
        EXPECT_EQ(r.end, ending::exited) << r.describe();
        EXPECT_EQ(r.status, 0) << r.describe();
        EXPECT_EQ(r.err, "");
        return r.out;
    }

    const scratch_dir dir;
    const std::string target = dir.file("target.dat");
    const std::string log = dir.file("log");
};

TEST_F(Interposer, WithoutAMatchNothingChanges) {
    EXPECT_EQ(probe("read", target, "call=read,path=other,errno=EIO"), "10\n10\n10\n10\nok\n");
    EXPECT_EQ(probe("read", target, "call=pread,path=target,errno=EIO"), "10\n10\n10\n10\nok\n");
    EXPECT_EQ(probe("read", target, "call=read,fd=77,errno=EIO"), "10\n10\n10\n10\nok\n");
}

TEST_F(Interposer, NthSelectsOneCallOrTheLaterOnesOrEverySo) {
    EXPECT_EQ(probe("read", target, "call=read,path=target,nth=2,errno=EIO"), "10\nEIO\n10\n10\nok\n");
    EXPECT_EQ(probe("read", target, "call=read,path=target,nth=2+,errno=EIO"), "10\nEIO\nEIO\nEIO\nok\n");
    EXPECT_EQ(probe("read", target, "call=read,path=target,nth=1+2,errno=EINTR"),
              "EINTR\n10\nEINTR\n10\nok\n");
    EXPECT_EQ(probe("read", target, "call=read,path=target,errno=EIO"), "EIO\nEIO\nEIO\nEIO\nok\n");
}

TEST_F(Interposer, TheFirstActingRuleDecides) {
    EXPECT_EQ(
        probe(
            "read", target,
            "call=read,path=target;call=read,path=target,nth=2+,errno=EIO;call=read,path=target,errno=EINTR"),
        "EINTR\nEIO\nEIO\nEIO\nok\n");
}

TEST_F(Interposer, CountShortensATransferForReal) {
    EXPECT_EQ(probe("read", target, "call=read,path=target,nth=1,count=3"), "3\n10\n10\n10\nok\n");
    EXPECT_EQ(probe("write", dir.file("new"), "call=write,path=new,nth=2,count=4"), "10\n4\n10\n10\nok\n");
    EXPECT_EQ(read_file(dir.file("new")).size(), 34U);
}

TEST_F(Interposer, CountZeroTransfersNothing) {
    EXPECT_EQ(probe("read", target, "call=read,path=target,nth=3+,count=0"), "10\n10\n0\n0\nok\n");
    EXPECT_EQ(probe("pwrite", dir.file("new"), "call=pwrite,path=new,count=0"), "0\n0\n0\n0\nok\n");
    EXPECT_EQ(read_file(dir.file("new")).size(), 0U);
}

TEST_F(Interposer, PositionedCalls) {
    EXPECT_EQ(probe("pread", target, "call=pread,path=target,nth=2,errno=EIO"), "10\nEIO\n10\n10\nok\n");
    EXPECT_EQ(probe("pread", target, "call=pread,path=target,count=7"), "7\n7\n7\n7\nok\n");
    EXPECT_EQ(probe("pwrite", dir.file("new"),
                    "call=pwrite,path=new,nth=1,errno=ENOSPC;"
                    "call=pwrite,path=new,nth=4,count=1"),
              "ENOSPC\n10\n10\n1\nok\n");
}

TEST_F(Interposer, AByteOfTheFileSelectsTheCallsThatReachOverIt) {
    EXPECT_EQ(probe("pread", target, "call=pread,path=target,at=9,errno=EIO"), "EIO\nEIO\nEIO\nEIO\nok\n");
    EXPECT_EQ(probe("pread", target, "call=pread,path=target,at=10,errno=EIO"), "10\n10\n10\n10\nok\n");
    EXPECT_EQ(probe("read", target, "call=read,path=target,at=0,errno=EIO"), "10\n10\n10\n10\nok\n");
}

TEST_F(Interposer, SignalReachesTheProgramBeforeTheCall) {
    run_options options;
    options.io_rules = "call=open,path=target,signal=TERM";
    const run_result r = run_process({TEST_PROBE, "read", target, "10"}, options);
    EXPECT_EQ(r.end, ending::signalled);
    EXPECT_EQ(r.signal, SIGTERM);
    EXPECT_EQ(r.out, "");
}

TEST_F(Interposer, OpenFailsBeforeAFileIsCreated) {
    EXPECT_EQ(probe("open", dir.file("new"), "call=open,path=new,errno=EACCES"), "EACCES\n");
    EXPECT_FALSE(file_exists(dir.file("new")));
    EXPECT_EQ(probe("open", dir.file("new"), "call=open,path=other,errno=EACCES"), "ok\n");
    EXPECT_EQ(file_mode(dir.file("new")) & 0700U, 0600U);
}

TEST_F(Interposer, FstatFailsOrForgesTheSize) {
    EXPECT_EQ(probe("fstat", target, "call=fstat,path=target,errno=EIO"), "EIO\nok\n");
    EXPECT_EQ(probe("fstat", target, "call=fstat,path=target,size=4294967296"), "4294967296\nok\n");
    EXPECT_EQ(probe("fstat", target, "call=fstat,path=target"), "100\nok\n");
}

TEST_F(Interposer, CloseReportsTheError) {
    EXPECT_EQ(probe("open", target, "call=close,path=target,errno=EIO"), "EIO\n");
}

TEST_F(Interposer, AllocationsFromASizeOn) {
    if (OWN_ALLOCATOR)
        GTEST_SKIP() << "malloc is out of reach in this build";
    EXPECT_EQ(probe("malloc", target, "call=malloc,min=1000000,errno=ENOMEM", "1000000"),
              "ENOMEM\nENOMEM\nENOMEM\n");
    EXPECT_EQ(probe("malloc", target, "call=malloc,min=1000000,nth=3,errno=ENOMEM", "1000000"),
              "ok\nok\nENOMEM\n");
    EXPECT_EQ(probe("malloc", target, "call=malloc,min=1000000,errno=ENOMEM", "999999"), "ok\nok\nok\n");
}

TEST_F(Interposer, StreamsReadThroughTheRules) {
    write_text(target, "a\nb\n");
    EXPECT_EQ(probe("lines", target, "call=read,path=target"), "line a\nline b\nend\nok\n");
    EXPECT_EQ(probe("lines", target, "call=read,path=target,nth=1,errno=EIO"), "EIO\nok\n");
    EXPECT_EQ(probe("lines", target,
                    "call=read,path=target,nth=1,count=2;"
                    "call=read,path=target,nth=2,errno=EIO"),
              "line a\nEIO\nok\n");
    EXPECT_EQ(probe("lines", target, "call=open,path=target,errno=EMFILE"), "EMFILE\n");
    EXPECT_EQ(probe("lines", target, "call=close,path=target,errno=EIO"), "line a\nline b\nend\nEIO\n");
}

TEST_F(Interposer, StreamsWriteThroughTheRules) {
    EXPECT_EQ(probe("fputs", dir.file("new"), "call=write,path=new,errno=ENOSPC"), "ENOSPC\n");
    EXPECT_EQ(probe("fputs", dir.file("new"), "call=write,path=new"), "ok\n");
    EXPECT_EQ(read_text(dir.file("new")), "text");
}

TEST_F(Interposer, LogHoldsTheTotalsOfEachRule) {
    probe("read", target,
          "call=read|pread,path=target;call=read,path=target,nth=2,errno=EIO;call=open,path=target");
    EXPECT_EQ(read_text(log), "call=read|pread,path=target calls=4 bytes=30\n"
                              "call=read,path=target,nth=2,errno=EIO calls=4 bytes=30\n"
                              "call=open,path=target calls=1 bytes=0\n");
}

TEST_F(Interposer, DescriptorNumberSelectsTheStream) {
    EXPECT_EQ(probe("read", target, "call=read,fd=3,nth=1,errno=EIO"), "EIO\n10\n10\n10\nok\n");
}

TEST_F(Interposer, AMisspeltRuleEndsTheProgram) {
    for (const std::string rules : {"call=raed,errno=EIO", "call=read,errno=EWHAT", "call=read,nth=0",
                                    "errno=EIO", "call=read,colour=red", "call=read;"}) {
        run_options options;
        options.io_rules = rules;
        const run_result r = run_process({TEST_PROBE, "read", target}, options);
        EXPECT_EQ(r.status, 99) << rules << ": " << r.describe();
        EXPECT_NE(r.err.find("interposer: cannot understand"), std::string::npos);
    }
}

} // namespace
} // namespace vexlo_test
