#include "rescue/stop.h"

#include <csignal>
#include <initializer_list>

namespace vexlo {

namespace {

volatile std::sig_atomic_t stop_requested = 0;

void request_stop(int) {
    stop_requested = 1;
}

} // namespace

void catch_stop_signals() {
    struct sigaction action {};
    action.sa_handler = request_stop;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
            sigaction(signal, &action, nullptr);
    }
}

void check_stop() {
    if (stop_requested != 0)
        throw Stopped();
}

} // namespace vexlo
