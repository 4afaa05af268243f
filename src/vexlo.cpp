// Start-up, the prompt loop and shutdown.
#include "vexlo.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "command_map.h"
#include "console.h"
#include "copyright.h"
#include "datafile.h"
#include "dict_array.h"
#include "load_config.h"
#include "standard_streams.h"
#include "text.h"

namespace {

constexpr int COMMAND_SIZE = 512;
constexpr size_t CFGNAME_MAX = 511; // characters kept of a configuration path given as argument

int parse_arguments(int argc, char **argv) {
    if (argc <= 1) {
        strcpy(g_cfgname, "./config.ini");
        return 0;
    }
    const char *equals = strchr(argv[1], '=');
    if (equals == nullptr) {
        report("usage: %s config=filename\n\n", argv[0]);
        return -1;
    }
    snprintf(g_cfgname, CFGNAME_MAX + 1, "%s", equals + 1);
    return 0;
}

// Every datafile stays open, and a large database has thousands of them.
void raise_descriptor_limit() {
    struct rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// Large pages where the system gives them: every byte of a table goes through the buffer twice.
void advise_work_buffer() {
    const uintptr_t page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const uintptr_t start = (reinterpret_cast<uintptr_t>(g_ctx.wrk) + page - 1) / page * page;
    madvise(reinterpret_cast<void *>(start), WORK_SIZE - page, MADV_HUGEPAGE);
}

int start(int argc, char **argv) {
    show_copyright();
    if (parse_arguments(argc, argv) < 0 || load_config() < 0)
        return -1;
    g_ctx.wrk = static_cast<uint8_t *>(malloc(WORK_SIZE));
    if (g_ctx.wrk == nullptr) {
        report("allocate work memory error: %s\n", strerror(errno));
        return -1;
    }
    advise_work_buffer();
    raise_descriptor_limit();
    if (load_datafile() < 0)
        return -1;
    if (open_datafile() < 0) {
        report("open data files error.\n");
        return -1;
    }
    return 0;
}

void stop() {
    close_datafile();
    free_dict_memory();
    free(g_ctx.wrk);
    g_ctx.wrk = nullptr;
}

// Reads one line into cmdbuf, cut to its size; the rest of a longer line is dropped. At the end of input
// every line is empty, so that the prompt comes again and again until something ends the program. The end is
// not remembered: a terminal delivers more lines behind it.
void read_line(char (&cmdbuf)[COMMAND_SIZE]) {
    memset(cmdbuf, 0, sizeof cmdbuf);
    int have = 0;
    for (int c = getchar(); c != EOF && c != '\n'; c = getchar())
        if (have < COMMAND_SIZE - 1)
            cmdbuf[have++] = static_cast<char>(c);
    clearerr(stdin);
    cmdbuf[strcspn(cmdbuf, "\r\n")] = '\0';
}

void run_command(const char *cmd, char *args) {
    for (const COMMAND_MAP *entry = command_map; entry->cmd_name[0] != '\0'; entry++) {
        if (strcmp(entry->cmd_name, cmd) == 0) {
            if (entry->cmd_function(args) < 0)
                report("Command \"%s\" execute error.\n", cmd);
            return;
        }
    }
    report("Invalid command \"%s\".\n", cmd);
}

void command_loop() {
    char cmdbuf[COMMAND_SIZE];
    for (;;) {
        report("VEXLO> ");
        read_line(cmdbuf);
        char *cmd = str_rtrim(str_ltrim(cmdbuf));
        char *args = end_first_word(cmd);
        if (strcmp(cmd, "exit") == 0)
            return;
        if (*cmd != '\0')
            run_command(cmd, args);
    }
}

} // namespace

int main(int argc, char **argv) {
    if (open_standard_streams() < 0)
        return -1;
    signal(SIGXFSZ, SIG_IGN); // a write beyond the file size limit fails and is told like any other
    const int result = start(argc, argv);
    if (result == 0)
        command_loop();
    stop();
    return result;
}
