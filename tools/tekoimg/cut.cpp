// SPDX-License-Identifier: Apache-2.0
// .tk files become shorter.
#include "commands.hpp"
#include "failure.hpp"
#include "output.hpp"
#include "tekoReader.hpp"

namespace tekoimg {

namespace {

std::size_t mostOf(std::size_t size, const Settings& settings) {
    return settings.bytes ? static_cast<std::size_t>(*settings.bytes)
                          : static_cast<std::size_t>(static_cast<double>(size) * *settings.percent / 100);
}

void cutOne(const Job& job, const Settings& settings) {
    Source source(job.input);
    const std::vector<std::byte> file = source.readAll();
    const std::span<const std::byte> kept = teko::cut(file, mostOf(file.size(), settings));
    Output output(job.output, settings.isForced);
    output.write(kept.data(), kept.size());
    output.commit();
}

} // namespace

int cut(const Settings& settings) {
    if (!settings.bytes && !settings.percent) {
        throw Failure("to how much? give --bytes or --percent");
    }
    const Plan plan = planOutputs(settings, {[](const std::string& extension) { return extension == ".tk"; }, ""});
    return runJobs(plan, settings, "cut", [&](const Job& job, Remarks&) { cutOne(job, settings); });
}

} // namespace tekoimg
