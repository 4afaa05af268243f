// What the program was started with: streams that are closed, a terminal, a limit on the size of files.
#include "live_console.h"
#include "programs.h"
#include "unload_fixture.h"

using namespace vexlo_test;

namespace {

class ShellStreams : public unload_console {
protected:
    // Runs the program, with redirections or limits of the shell, from a console script.
    run_result run_by_shell(const std::string &before, const std::string &redirections,
                            const std::string &input) {
        run_options options;
        options.input = input;
        options.output_limit = 1 << 16;
        return run_process({"/bin/sh", "-c", before + "exec \"$0\" \"$1\" " + redirections,
                            program_path("vexlo"), "config=" + db_->config_path().string()},
                           options);
    }
};

// Files get the lowest numbers that are free: behind one datafile the dump would be standard error.
TEST_F(ShellStreams, MessagesOfClosedStreamsLandInNoFile) {
    sample::TableDef def = table("T", {sample::number_column("ID")});
    def.tablespace = 0;
    db_->insert(db_->add_table(def), {sample::number(7)});
    finish();
    write_text((db_->dir() / "datafiles.txt").string(), db_->datafiles().at(0).string() + "\n");
    run({"unload table scott.t"});
    const bytes expected = dump("SCOTT_T");
    for (const char *closed : {"1>&-", "2>&-", "1>&- 2>&-"}) {
        SCOPED_TRACE(closed);
        write_file(dump_path("SCOTT_T"), {});
        const run_result got =
            run_by_shell("", closed, "load dict\nunload table scott.t\nlist files\nexit\n");
        EXPECT_EQ(got.status, 0) << got.describe();
        EXPECT_EQ(dump("SCOTT_T"), expected);
    }
}

TEST_F(ShellStreams, ClosedInputIsOneThatHasEnded) {
    finish();
    const run_result got = run_by_shell("", "0<&-", "");
    EXPECT_EQ(got.end, ending::output_limit) << got.describe();
    EXPECT_EQ(strip_prompts(strip_banner(got.err)).find_first_not_of("VEXLO> "), std::string::npos);
}

TEST_F(ShellStreams, ExitTypedBehindTheEndOfInputOnATerminalEndsTheProgram) {
    finish();
    live_console console(db_->config_path().string(), live_console::input::terminal);
    console.wait_for_prompt();
    for (int i = 0; i < 3; i++) {
        console.type("\x04");
        EXPECT_EQ(console.wait_for_prompt(), "");
    }
    console.type("show user\n");
    EXPECT_EQ(console.wait_for_prompt(), "Current user not set.\n");
    console.type("\x04");
    console.wait_for_prompt();
    console.type("exit\n");
    EXPECT_EQ(console.wait_for_end(), 0);
}

TEST_F(ShellStreams, FileSizeLimitIsAWriteErrorWithItsLine) {
    const size_t t = db_->add_table(table("WIDE", {sample::varchar2_column("C", 4000)}));
    for (int i = 0; i < 2000; i++)
        db_->insert(t, {sample::text(std::string(3000, 'x'))});
    finish();
    const run_result got =
        run_by_shell("ulimit -f 1000; ", "", "load dict\nunload table scott.wide\nshow user\nexit\n");
    EXPECT_EQ(got.end, ending::exited) << got.describe();
    EXPECT_EQ(got.status, 0) << got.describe();
    const std::string said = split_console(got.err).commands.at(1);
    EXPECT_NE(said.find("write cache data error: File too large\n"), std::string::npos) << said;
    EXPECT_EQ(got.out, "Current user not set.\n");
}

} // namespace
