// SPDX-License-Identifier: Apache-2.0
// What becomes of unfinished files when the program is told to end.
#pragma once

#include <mutex>
#include <string>

namespace tekoimg {

/**
 * From here on SIGINT, SIGTERM and SIGHUP, unless they are ignored, remove the unfinished files and end the program as
 * they would have done. A broken pipe and a file that gets too large become failed writes. Called once, before there
 * are threads.
 */
void watchSignals();

/**
 * Who creates, renames or removes an unfinished file holds this: a signal waits until it is known, and while the
 * program ends nobody gets it any more.
 */
class UnfinishedFiles {
public:
    UnfinishedFiles();

    void add(const std::string& path);
    void remove(const std::string& path);

private:
    std::unique_lock<std::mutex> lock;
};

} // namespace tekoimg
