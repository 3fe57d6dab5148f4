// SPDX-License-Identifier: Apache-2.0
// What is said while images are worked on, from any thread: a line each, and a bar on a terminal.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>

namespace tekoimg {

class Console {
public:
    // The bar, of more than one image, is drawn on standard error where that is a terminal.
    Console(std::size_t itsTotal, bool isQuiet);

    // "tekoimg: NAME: TEXT" on standard error
    void complain(const std::string& name, const std::string& text);
    // The same of what is no failure; nothing when quiet.
    void remark(const std::string& name, const std::string& text);
    // One more is done.
    void count(bool isFailed);
    std::size_t failures() const { return failed; }
    // Takes the bar away and says the last line.
    void close(const std::string& last);

private:
    void say(const std::string& text);
    void draw() const;
    void clear() const;

    std::mutex mutex;
    std::size_t total;
    std::size_t done = 0;
    std::size_t failed = 0;
    bool isQuiet;
    bool hasBar;
};

} // namespace tekoimg
