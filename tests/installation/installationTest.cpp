// SPDX-License-Identifier: Apache-2.0
// cmake --install puts the program, its manual page and the documents of the format into their places, and the library
// with what programs are built with, and no more.
#include "support/temporaryDirectory.hpp"

#include <cstdlib>
#include <gtest/gtest.h>
#include <map>
#include <string>

namespace teko {

namespace {

using Files = std::map<std::string, Bytes>;

std::string quoted(const std::string& word) {
    return "'" + word + "'";
}

// Every file below a directory, by its path from there; of links, where they lead.
Files filesBelow(const std::filesystem::path& directory) {
    Files files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        if (entry.is_symlink()) {
            const std::string target = std::filesystem::read_symlink(entry.path());
            files[entry.path().lexically_relative(directory)] = Bytes(target.begin(), target.end());
        } else if (entry.is_regular_file()) {
            files[entry.path().lexically_relative(directory)] = TemporaryDirectory::readFile(entry.path());
        }
    }
    return files;
}

std::vector<std::string> namesOf(const Files& files) {
    std::vector<std::string> names;
    for (const auto& [name, content] : files) {
        names.push_back(name);
    }
    return names;
}

class Installation : public testing::Test {
protected:
    // Of one component, or of all where it is empty.
    void install(const std::string& component) {
        unsetenv("DESTDIR"); // would stand in front of the prefix
        std::string command = quoted(TEKO_CMAKE) + " --install " + quoted(TEKO_BUILD) + " --prefix " +
                              quoted(prefix.path()) + (component.empty() ? "" : " --component " + component) + " >" +
                              quoted(log.path("log")) + " 2>&1";
        if (const std::string configuration = TEKO_CONFIGURATION; !configuration.empty()) {
            command.insert(command.find(" --prefix"), " --config " + quoted(configuration));
        }
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }

    TemporaryDirectory prefix;
    TemporaryDirectory log;
};

TEST_F(Installation, HasTheProgramItsManualPageAndTheFormat) {
    install("Program");
    const std::filesystem::path documents = TEKO_DOCUMENTS;
    const Files expected = {
        {TEKO_BINDIR "/teko", TemporaryDirectory::readFile(prefix.path() / TEKO_BINDIR "/teko")},
        {TEKO_MANDIR "/man1/teko.1", TemporaryDirectory::readFile(TEKO_MAN_PAGE)},
#ifdef TEKO_TEKOIMG_MAN_PAGE
        {TEKO_BINDIR "/tekoimg", TemporaryDirectory::readFile(prefix.path() / TEKO_BINDIR "/tekoimg")},
        {TEKO_MANDIR "/man1/tekoimg.1", TemporaryDirectory::readFile(TEKO_TEKOIMG_MAN_PAGE)},
        {TEKO_DATADIR "/bash-completion/completions/tekoimg", TemporaryDirectory::readFile(TEKO_TEKOIMG_COMPLETION)},
#endif
        {TEKO_DOCDIR "/format.md", TemporaryDirectory::readFile(documents / "format.md")},
        {TEKO_DOCDIR "/workedExample.md", TemporaryDirectory::readFile(documents / "workedExample.md")}};
    const Files installed = filesBelow(prefix.path());
    EXPECT_EQ(namesOf(installed), namesOf(expected));
    EXPECT_TRUE(installed == expected);
}

TEST_F(Installation, HasTheSharedLibraryByTheNameThatProgramsLoad) {
    install("Library");
    const Files installed = filesBelow(prefix.path());
    const std::string library = TEKO_LIBDIR "/libteko.so.";
    const std::vector<std::string> shared = {library + TEKO_SOVERSION, library + TEKO_PROJECT_VERSION};
    EXPECT_EQ(namesOf(installed), TEKO_HAS_SHARED ? shared : std::vector<std::string>());
}

TEST_F(Installation, HasWhatProgramsAreBuiltWith) {
    install("Development");
    Files installed = filesBelow(prefix.path());
    const std::string library = TEKO_LIBDIR;
    const std::string package = library + "/cmake/teko/teko";
    EXPECT_EQ(installed.erase(library + "/libteko.so"), TEKO_HAS_SHARED ? 1U : 0U);
    EXPECT_EQ(installed.erase(library + "/libteko.a"), TEKO_HAS_STATIC ? 1U : 0U);
    for (const char* name : {"Config", "ConfigVersion", "Targets"}) {
        EXPECT_EQ(installed.erase(package + name + ".cmake"), 1U) << name;
    }
    std::erase_if(installed, [&](const auto& file) { return file.first.starts_with(package + "Targets-"); });
    EXPECT_EQ(installed.erase(library + "/pkgconfig/teko.pc"), 1U);
    for (const char* name : {"teko.h", "teko.hpp", "version.h"}) {
        EXPECT_EQ(installed.erase(TEKO_INCLUDEDIR "/teko/" + std::string(name)), 1U) << name;
    }
    EXPECT_EQ(namesOf(installed), std::vector<std::string>());
}

TEST_F(Installation, HasAProgramThatRuns) {
    install("");
    const std::filesystem::path program = prefix.path() / TEKO_BINDIR "/teko";
    const int status = std::system((quoted(program) + " >" + quoted(log.path("log"))).c_str());
    EXPECT_EQ(WEXITSTATUS(status), 1); // that of the usage text
    const Bytes usage = log.read("log");
    EXPECT_EQ(std::string(usage.begin(), usage.end()).rfind("Usage:\nteko c|C", 0), 0U);
}

} // namespace

} // namespace teko
