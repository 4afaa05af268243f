#include "output/console.h"

#include <cstdint>
#include <cstdio>

#include "values/hex.h"

namespace vexlo {

void Console::line(std::string_view text) {
    const std::lock_guard lock(mutex_);
    remove_status();
    std::fprintf(stream_, "%s: %.*s\n", program_, static_cast<int>(text.size()), text.data());
}

void Console::status(std::string_view text) {
    const std::lock_guard lock(mutex_);
    std::fprintf(stream_, "\r\033[K%.*s", static_cast<int>(text.size()), text.data());
    std::fflush(stream_);
    status_shown_ = true;
}

void Console::clear_status() {
    const std::lock_guard lock(mutex_);
    remove_status();
}

void Console::remove_status() {
    if (!status_shown_)
        return;
    std::fputs("\r\033[K", stream_);
    std::fflush(stream_);
    status_shown_ = false;
}

std::string parser_fault(std::string_view what) {
    return printable(what.substr(0, what.find('\n')));
}

std::string printable(std::string_view name) {
    std::string text;
    for (const char c : name) {
        const auto byte = static_cast<uint8_t>(c);
        if (byte >= 0x20 && byte != 0x7F) {
            text += c;
        } else {
            char escape[4] = {'\\', 'x'};
            put_hex(&byte, 1, escape + 2);
            text.append(escape, sizeof escape);
        }
    }
    return text;
}

} // namespace vexlo
