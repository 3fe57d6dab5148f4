// SPDX-License-Identifier: Apache-2.0
#include "console.hpp"

#include <cstdio>
#include <unistd.h>

namespace tekoimg {

Console::Console(std::size_t itsTotal, bool itsQuiet)
    : total(itsTotal), isQuiet(itsQuiet), hasBar(total > 1 && !itsQuiet && isatty(STDERR_FILENO) != 0) {
    draw();
}

void Console::complain(const std::string& name, const std::string& text) {
    say("tekoimg: " + name + (name.empty() ? "" : ": ") + text);
}

void Console::remark(const std::string& name, const std::string& text) {
    if (!isQuiet) {
        complain(name, text);
    }
}

void Console::count(bool isFailed) {
    const std::lock_guard lock(mutex);
    ++done;
    failed += isFailed ? 1 : 0;
    draw();
}

void Console::close(const std::string& last) {
    clear();
    hasBar = false;
    if (!last.empty()) {
        say("tekoimg: " + last);
    }
}

// One write a line: those of several processes stay apart.
void Console::say(const std::string& text) {
    const std::lock_guard lock(mutex);
    clear();
    std::fputs((text + "\n").c_str(), stderr);
    draw();
}

void Console::draw() const {
    if (!hasBar) {
        return;
    }
    constexpr std::size_t width = 40;
    const std::size_t filled = width * done / total;
    const std::string bar = std::string(filled, '#') + std::string(width - filled, '.');
    std::fprintf(stderr, "\r[%s] %zu of %zu, %zu failed", bar.c_str(), done, total, failed);
    std::fflush(stderr);
}

void Console::clear() const {
    if (hasBar) {
        std::fputs("\r\033[K", stderr);
    }
}

} // namespace tekoimg
