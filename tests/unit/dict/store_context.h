// The global context over a dictionary directory of its own.
#pragma once

#include <sys/resource.h>

#include <csignal>
#include <cstdint>
#include <cstring>
#include <vector>

#include "../clean_context.h"

namespace vexlo_test {

// The bytes of an array of records, as a dictionary file holds them.
template <class REC>
bytes raw_records(const std::vector<REC> &records) {
    bytes raw(records.size() * sizeof(REC));
    if (!raw.empty())
        std::memcpy(raw.data(), records.data(), raw.size());
    return raw;
}

// The whole records in `raw`.
template <class REC>
std::vector<REC> records_of(const bytes &raw) {
    std::vector<REC> records(raw.size() / sizeof(REC));
    if (!records.empty())
        std::memcpy(records.data(), raw.data(), records.size() * sizeof(REC));
    return records;
}

// A record whose every byte depends on `seed`, so that no two of one test are alike.
template <class REC>
REC numbered_record(std::uint32_t seed) {
    std::uint32_t words[sizeof(REC) / sizeof(std::uint32_t)];
    for (std::uint32_t &word : words)
        word = seed;
    REC record;
    std::memcpy(&record, words, sizeof record);
    return record;
}

// While it lives, a write beyond `limit` bytes of a file fails with EFBIG after the bytes before it.
class file_size_limit {
public:
    explicit file_size_limit(rlim_t limit) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit now{limit, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &now);
    }
    ~file_size_limit() {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }
    file_size_limit(const file_size_limit &) = delete;
    file_size_limit &operator=(const file_size_limit &) = delete;

private:
    void (*handler_)(int);
    rlimit before_{};
};

// A clean context with an empty dictionary directory.
class store_context : public clean_context {
protected:
    store_context() { std::snprintf(g_ctx.par.dict_dir, DIR_SIZE, "%s", dir_.path().c_str()); }

    std::string path(const std::string &name) const { return dir_.file(name + ".dat"); }

    template <class REC>
    void store(const std::string &name, const std::vector<REC> &records) const {
        write_file(path(name), raw_records(records));
    }

    template <class REC>
    std::vector<REC> stored(const std::string &name) const {
        return records_of<REC>(read_file(path(name)));
    }

    // Points the context at a dictionary directory that does not exist.
    void lose_directory() const {
        std::snprintf(g_ctx.par.dict_dir, DIR_SIZE, "%s", dir_.file("missing").c_str());
    }

    std::string missing_path(const std::string &name) const { return dir_.file("missing/" + name + ".dat"); }
};

} // namespace vexlo_test
