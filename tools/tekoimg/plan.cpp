// SPDX-License-Identifier: Apache-2.0
#include "plan.hpp"

#include "failure.hpp"
#include "formats.hpp"
#include "output.hpp"
#include "source.hpp"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tekoimg {

namespace {

namespace fs = std::filesystem;

struct Found {
    std::string path;
    std::string below; // from the folder that was given; the name alone for a file that was given itself
    std::string failure;
};

struct Search {
    std::vector<Found> found;
    std::size_t leftAlone = 0;
    bool hasFolder = false;
};

bool isFolder(const std::string& path) {
    std::error_code ignored;
    return path != pipeName && fs::is_directory(path, ignored);
}

// Folders that may not be read count as one failure each.
void searchFolder(const std::string& folder, const Naming& naming, Search& search) {
    std::error_code error;
    std::vector<Found> found;
    std::vector<fs::path> folders = {folder};
    while (!folders.empty()) {
        const fs::path here = std::move(folders.back());
        folders.pop_back();
        fs::directory_iterator entries(here, error);
        for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
            std::error_code ignored;
            const fs::directory_entry& entry = *entries;
            if (entry.is_directory(ignored)) {
                if (!entry.is_symlink(ignored)) {
                    folders.push_back(entry.path());
                }
            } else if (naming.isInput(extensionOf(entry.path()))) {
                found.push_back({entry.path(), entry.path().lexically_relative(folder), ""});
            } else {
                ++search.leftAlone;
            }
        }
        if (error) {
            found.push_back({here, "", "cannot be listed: " + systemReason(error.value())});
        }
    }
    std::sort(found.begin(), found.end(), [](const Found& a, const Found& b) { return a.path < b.path; });
    std::move(found.begin(), found.end(), std::back_inserter(search.found));
}

Search searched(const Settings& settings, const Naming& naming) {
    Search search;
    for (const std::string& input : settings.inputs) {
        if (isFolder(input)) {
            search.hasFolder = true;
            searchFolder(input, naming, search);
        } else {
            search.found.push_back({input, fs::path(input).filename(), ""});
        }
    }
    return search;
}

// The name with another ending; a known one goes.
std::string renamed(const std::string& path, const std::string& ending) {
    if (ending.empty()) {
        return path;
    }
    const std::string extension = extensionOf(path);
    fs::path result = path;
    if (isImageExtension(extension) || extension == ".tk") {
        result.replace_extension();
    }
    return result.string() + ending;
}

bool goesIntoFolder(const Settings& settings, const Search& search) {
    const bool isNamedFolder = !settings.output.empty() && (settings.output.back() == '/' || isFolder(settings.output));
    const bool isMany = search.found.size() > 1 || search.hasFolder;
    if (isMany && settings.output == pipeName) {
        throw Failure("-o - takes one image; name a folder for more");
    }
    struct stat status {};
    if (isMany && !isNamedFolder && stat(settings.output.c_str(), &status) == 0) {
        throw Failure(settings.output + " is a file; more than one image needs a folder behind -o");
    }
    return isNamedFolder || isMany;
}

std::string outputOf(const Found& found, const Settings& settings, const Naming& naming, bool intoFolder) {
    const bool isPipe = found.path == pipeName;
    if (settings.output.empty()) {
        return isPipe ? pipeName : renamed(found.path, naming.ending);
    }
    if (!intoFolder) {
        return settings.output;
    }
    if (isPipe) {
        throw Failure("what comes from standard input has no name; give the output a name that is no folder");
    }
    return fs::path(settings.output) / renamed(found.below, naming.ending);
}

// Tells names of one file from names of two, whether the file is there or not.
class Places {
public:
    std::string of(const std::string& path) {
        const fs::path folder = fs::path(path).parent_path();
        auto [known, isNew] = folders.try_emplace(folder);
        if (isNew) {
            std::error_code error;
            known->second = fs::weakly_canonical(folder.empty() ? fs::path(".") : folder, error);
            known->second = error ? folder : known->second;
        }
        return known->second / fs::path(path).filename();
    }

private:
    std::map<fs::path, fs::path> folders;
};

using Identity = std::pair<dev_t, ino_t>;

std::optional<Identity> identityOf(const std::string& path) {
    struct stat status {};
    if (path == pipeName || stat(path.c_str(), &status) != 0) {
        return {};
    }
    return Identity(status.st_dev, status.st_ino);
}

void requireOneOutputEach(const std::vector<Job>& jobs) {
    Places places;
    std::map<std::string, const Job*> taken;
    for (const Job& job : jobs) {
        if (!job.failure.empty()) {
            continue;
        }
        const auto [other, isNew] = taken.try_emplace(job.output == pipeName ? pipeName : places.of(job.output), &job);
        if (!isNew) {
            throw Failure(other->second->input + " and " + job.input + " would both become " + job.output +
                          "; nothing is written: rename one, or give them different folders behind -o");
        }
    }
}

void requireInputsStay(const std::vector<Job>& jobs) {
    std::map<Identity, const Job*> inputs;
    for (const Job& job : jobs) {
        if (const auto identity = identityOf(job.input)) {
            inputs.emplace(*identity, &job);
        }
    }
    for (const Job& job : jobs) {
        for (const std::string& path : {job.output, partOf(job.output)}) {
            const auto identity = job.output == pipeName || job.output.empty() ? std::nullopt : identityOf(path);
            if (const auto input = identity ? inputs.find(*identity) : inputs.end(); input != inputs.end()) {
                throw Failure(path + " would be written and is the input " + input->second->input +
                              "; nothing is written: choose another name behind -o");
            }
        }
    }
}

Plan asPlan(Search&& search) {
    Plan plan;
    plan.leftAlone = search.leftAlone;
    for (Found& found : search.found) {
        plan.jobs.push_back({std::move(found.path), "", std::move(found.failure)});
    }
    if (std::count_if(plan.jobs.begin(), plan.jobs.end(), [](const Job& job) { return job.input == pipeName; }) > 1) {
        throw Failure("standard input, -, can be read once");
    }
    return plan;
}

} // namespace

Plan planInputs(const Settings& settings, const Naming& naming) {
    return asPlan(searched(settings, naming));
}

Plan planOutputs(const Settings& settings, const Naming& naming) {
    Search search = searched(settings, naming);
    const bool intoFolder = !settings.output.empty() && goesIntoFolder(settings, search);
    if (!intoFolder && naming.ending == ".tk" && isImageExtension(extensionOf(settings.output))) {
        throw Failure(settings.output + " would be a .tk under the ending of another format; name it .tk");
    }
    std::vector<std::string> outputs;
    for (const Found& found : search.found) {
        outputs.push_back(found.failure.empty() ? outputOf(found, settings, naming, intoFolder) : "");
    }
    Plan plan = asPlan(std::move(search));
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        plan.jobs[i].output = std::move(outputs[i]);
    }
    requireOneOutputEach(plan.jobs);
    requireInputsStay(plan.jobs);
    if (!plan.jobs.empty() && plan.jobs[0].output == pipeName && isatty(STDOUT_FILENO) != 0) {
        throw Failure("the image would go to the terminal; name a file behind -o");
    }
    return plan;
}

} // namespace tekoimg
