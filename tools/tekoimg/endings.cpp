// SPDX-License-Identifier: Apache-2.0
#include "endings.hpp"

#include <csignal>
#include <set>
#include <thread>
#include <unistd.h>

namespace tekoimg {

namespace {

// Never destroyed: the thread that waits for signals may use them until the process is gone.
std::mutex& guard() {
    static auto* const mutex = new std::mutex;
    return *mutex;
}
std::set<std::string>& unfinished() {
    static auto* const paths = new std::set<std::string>;
    return *paths;
}

// Ends with the lock held.
[[noreturn]] void endBy(int signal) {
    guard().lock();
    for (const std::string& path : unfinished()) {
        unlink(path.c_str());
    }
    std::signal(signal, SIG_DFL);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    kill(getpid(), signal);
    pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    _exit(128 + signal);
}

} // namespace

UnfinishedFiles::UnfinishedFiles() : lock(guard()) {}

void UnfinishedFiles::add(const std::string& path) {
    unfinished().insert(path);
}

void UnfinishedFiles::remove(const std::string& path) {
    unfinished().erase(path);
}

void watchSignals() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    guard();
    unfinished();
    sigset_t watched;
    sigemptyset(&watched);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
            sigaddset(&watched, signal);
        }
    }
    pthread_sigmask(SIG_BLOCK, &watched, nullptr);
    std::thread([watched] {
        int signal = 0;
        if (sigwait(&watched, &signal) == 0) {
            endBy(signal);
        }
    }).detach();
}

} // namespace tekoimg
