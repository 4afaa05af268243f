// What the program was started with: streams that are closed, a terminal, a limit on the size of files.
#include "live_console.h"
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
        return run_process({"/bin/sh", "-c", before + "exec \"$0\" \"$1\" " + redirections, vexlo_binary(),
                            "config=" + db_->config_path().string()},
                           options);
    }

    std::vector<bytes> dictionary() const {
        std::vector<bytes> files;
        for (const char *name : {"user", "ts", "obj", "tab", "cluster", "col", "ind", "lob", "tabpart",
                                 "tabsubpart", "tabcompart", "props"})
            files.push_back(read_file(dict_path(name)));
        return files;
    }
};

// A file opened later would get the number of the closed stream. With one datafile the first one written
// does.
TEST_F(ShellStreams, MessagesOfClosedStreamsLandInNoFile) {
    finish();
    const std::vector<bytes> expected = dictionary();
    write_text((db_->dir() / "datafiles.txt").string(), db_->datafiles().at(0).string() + "\n");
    for (const char *closed : {"1>&-", "2>&-", "1>&- 2>&-"}) {
        SCOPED_TRACE(closed);
        for (const char *name : {"user", "props"})
            write_file(dict_path(name), {});
        const run_result got = run_by_shell("", closed, "export dict\nlist files\nexit\n");
        EXPECT_EQ(got.status, 0) << got.describe();
        EXPECT_EQ(dictionary(), expected);
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
