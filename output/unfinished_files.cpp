#include "output/unfinished_files.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <mutex>
#include <set>
#include <thread>

namespace vexlo {

namespace {

struct Registry {
    std::mutex mutex; // held by whoever makes, renames or removes such a file, and to the end by a signal
    std::set<std::string> paths;
};

// Never destroyed: the thread that waits for signals outlives main().
Registry &registry() {
    static Registry &all = *new Registry;
    return all;
}

bool is_ignored(int number) {
    struct sigaction action {};
    return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

// Ends the process as the signal does by default; a process that no signal can end exits as a shell tells it.
[[noreturn]] void end_by(int number) {
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, number);
    signal(number, SIG_DFL);
    pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
    raise(number);
    _exit(128 + number);
}

void wait_for_signal(sigset_t signals) {
    int number = 0;
    while (sigwait(&signals, &number) != 0) {
    }
    const std::lock_guard lock(registry().mutex);
    for (const std::string &path : registry().paths)
        unlink(path.c_str());
    end_by(number);
}

} // namespace

FileHandle create_unfinished(const std::string &path) {
    const std::lock_guard lock(registry().mutex);
    if (!registry().paths.contains(path))
        unlink(path.c_str()); // the name has our number: whoever left it there has ended
    FileHandle file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (file.get() >= 0)
        registry().paths.insert(path);
    return file;
}

int rename_unfinished(const std::string &path, const std::string &final_path) {
    const std::lock_guard lock(registry().mutex);
    const int result = std::rename(path.c_str(), final_path.c_str());
    if (result == 0)
        registry().paths.erase(path);
    return result;
}

void remove_unfinished(const std::string &path) {
    const std::lock_guard lock(registry().mutex);
    unlink(path.c_str());
    registry().paths.erase(path);
}

// A thread of its own may lock and wait, which a signal's handler may not.
void remove_unfinished_on_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        if (!is_ignored(number))
            sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::thread(wait_for_signal, signals).detach();
}

} // namespace vexlo
