// SPDX-License-Identifier: Apache-2.0
#include "faultyRun.hpp"

#include <array>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace teko {

namespace {

const char* nameOf(How how) {
    static constexpr std::array names{"succeed", "fail", "short", "terminate", "shrink"};
    return names.at(static_cast<std::size_t>(how));
}

// Variables that every program started in the meantime finds.
class Environment {
public:
    void set(const char* name, const std::string& value) {
        setenv(name, value.c_str(), 1);
        names.push_back(name);
    }
    Environment() = default;
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;
    ~Environment() {
        for (const char* name : names) {
            unsetenv(name);
        }
    }

private:
    std::vector<const char*> names;
};

void readLog(const std::filesystem::path& path, FaultyRun& run) {
    std::ifstream log(path);
    for (std::string line; std::getline(log, line);) {
        std::istringstream words(line);
        if (line.starts_with("end ")) {
            std::string word;
            words >> word >> run.heldAllocations >> word >> run.heldFiles;
            continue;
        }
        std::size_t number = 0;
        Operation operation;
        words >> number >> operation.name >> operation.file >> operation.asked >> operation.given >> operation.lines;
        if (run.operations.size() <= number) {
            run.operations.resize(number + 1);
        }
        run.operations[number] = operation;
    }
}

} // namespace

std::ostream& operator<<(std::ostream& stream, const Fault& fault) {
    return stream << nameOf(fault.how) << " at operation " << fault.at << (fault.lasts ? ", lasting" : "");
}

FaultyRun runWithFault(const Stage& stage, const Fault& fault) {
    const TemporaryDirectory logs;
    FaultyRun run;
    run.fault = fault;
    {
        Environment environment;
        environment.set("LD_PRELOAD", TEKO_FAILING_MACHINE);
        environment.set("TEKO_FAULT_LOG", logs.path("log"));
        environment.set("TEKO_FAULT_AT", std::to_string(fault.at));
        environment.set("TEKO_FAULT_HOW", nameOf(fault.how));
        if (fault.lasts) {
            environment.set("TEKO_FAULT_LASTS", "1");
        }
        if (fault.devices) {
            environment.set("TEKO_FAULT_DEVICES", "1");
        }
        run.outcome = stage.run();
    }
    readLog(logs.path("log"), run);
    run.after = stage.contents();
    return run;
}

} // namespace teko
