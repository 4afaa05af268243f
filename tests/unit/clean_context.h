// The global context as main leaves it before the datafiles are read, for tests that call operations
// directly.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "datafile.h"
#include "dict_array.h"
#include "scratch_dir.h"

namespace vexlo_test {

// Runs `operation` and returns what it wrote to standard error.
template <class OPERATION>
std::string messages_of(OPERATION &&operation) {
    testing::internal::CaptureStderr();
    operation();
    return testing::internal::GetCapturedStderr();
}

// Starts each test with an empty context, a work buffer and a scratch directory. Releases everything as main
// does at the end.
class clean_context : public testing::Test {
protected:
    // The work buffer is of `room` bytes: more than WORK_SIZE for tests that look behind its end.
    explicit clean_context(std::size_t room = WORK_SIZE) {
        g_ctx = ZUKCTX{};
        g_ctx.fd = -1;
        g_cfgname[0] = '\0';
        g_dbfile_list[0] = '\0';
        g_ctx.wrk = static_cast<std::uint8_t *>(std::malloc(room));
    }

    ~clean_context() override {
        if (g_ctx.fd != -1)
            close(g_ctx.fd);
        close_datafile();
        free_dict_memory();
        std::free(g_ctx.wrk);
        g_ctx = ZUKCTX{};
    }

    std::string path(std::string_view name) const { return dir_.file(name); }

    // Writes `text` to a list file and names it as the configuration would.
    void set_list(std::string_view text) const {
        write_text(path("files.txt"), text);
        std::snprintf(g_dbfile_list, DIR_SIZE, "%s", path("files.txt").c_str());
    }

    scratch_dir dir_;
};

} // namespace vexlo_test
