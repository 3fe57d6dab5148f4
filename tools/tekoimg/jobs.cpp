// SPDX-License-Identifier: Apache-2.0
#include "commands.hpp"
#include "console.hpp"
#include "failure.hpp"
#include "source.hpp"
#include "tekoReader.hpp"

#include <algorithm>
#include <atomic>
#include <exception>
#include <new>
#include <thread>

namespace tekoimg {

namespace {

std::string shownName(const std::string& input) {
    return input == pipeName ? "standard input" : input;
}

// The sentence of its failure; empty when it went well.
std::string endOf(const Job& job, Remarks& remarks, const Work& work) {
    try {
        if (!job.failure.empty()) {
            return job.failure;
        }
        try {
            work(job, remarks);
        } catch (const teko::Error& error) {
            failWith(error);
        }
        return "";
    } catch (const std::bad_alloc&) {
        return "needs more memory than there is; run it with fewer --jobs, or where there is more";
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

void runOne(const Job& job, Console& console, const Work& work) {
    Remarks remarks;
    const std::string failure = endOf(job, remarks, work);
    for (const std::string& remark : remarks) {
        console.remark(shownName(job.input), remark);
    }
    if (!failure.empty()) {
        console.complain(shownName(job.input), failure);
    }
    console.count(!failure.empty());
}

std::string lastLine(const Plan& plan, std::size_t failures, const std::string& done) {
    const std::size_t total = plan.jobs.size();
    std::string line = std::to_string(total - failures) + " of " + std::to_string(total) + " images " + done + ", " +
                       std::to_string(failures) + " failed";
    if (plan.leftAlone > 0) {
        line += "; " + std::to_string(plan.leftAlone) + " other files left alone";
    }
    return line;
}

} // namespace

int runJobs(const Plan& plan, const Settings& settings, const std::string& done, const Work& work) {
    if (plan.jobs.empty()) {
        throw Failure("there is no image in what was named; look at the names' endings");
    }
    Console console(plan.jobs.size(), settings.isQuiet);
    std::atomic<std::size_t> next = 0;
    const auto takeJobs = [&] {
        for (std::size_t i = next++; i < plan.jobs.size(); i = next++) {
            runOne(plan.jobs[i], console, work);
        }
    };
    const std::size_t wanted = settings.jobs != 0 ? settings.jobs : std::max(1U, std::thread::hardware_concurrency());
    std::vector<std::thread> others(std::min(wanted, plan.jobs.size()) - 1);
    for (std::thread& other : others) {
        other = std::thread(takeJobs);
    }
    takeJobs();
    for (std::thread& other : others) {
        other.join();
    }
    const bool isCounted = plan.jobs.size() > 1 && (!settings.isQuiet || console.failures() > 0);
    console.close(isCounted ? lastLine(plan, console.failures(), done) : "");
    return console.failures() > 0 ? 1 : 0;
}

void heedLosses(const std::vector<std::string>& losses, const std::string& holder, const Settings& settings,
                Remarks& remarks) {
    if (losses.empty()) {
        return;
    }
    std::string all;
    for (const std::string& loss : losses) {
        all += (all.empty() ? "" : ", ") + loss;
    }
    if (settings.isStrict) {
        throw Failure("has what " + holder + " does not hold: " + all + "; without --strict this is left out");
    }
    remarks.push_back("left out, since " + holder + " does not hold it: " + all);
}

} // namespace tekoimg
