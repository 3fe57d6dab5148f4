// SPDX-License-Identifier: Apache-2.0
#include "arguments.hpp"

#include "commands.hpp"

#include <CLI/CLI.hpp>
#include <iostream>

namespace tekoimg {

namespace {

constexpr int failed = 1;
constexpr int trouble = 2; // the command line is refused, or images cannot be compared

const char* const about = "Images with headers to .tk files and back: PNM, PAM, PNG, TIFF, .npy.\n"
                          "A folder stands for the images in it, - for standard input and output.";
const char* const statuses = "Status: 0 all is well, 1 an image failed, 2 the command line was refused.";
const char* const examples = "tekoimg encode photo.png                     makes photo.tk\n"
                             "tekoimg info photo.tk\n"
                             "tekoimg cut photo.tk --percent 5 -o small.tk\n"
                             "tekoimg decode small.tk -o small.png\n"
                             "tekoimg compare photo.png small.png\n"
                             "tekoimg thumbnail photo.tk                   makes photo.thumbnail.png\n\n"
                             "tekoimg SUBCOMMAND --help tells the options, man tekoimg the rest.\n";

void addInputs(CLI::App& command, Settings& settings, const char* what) {
    command.add_option("inputs", settings.inputs, what)->required()->option_text("FILE|FOLDER ...");
}

void addOutput(CLI::App& command, Settings& settings,
               const char* what = "a file, or a folder for more than one image; - for a pipe; else beside the inputs") {
    command.add_option("-o,--output", settings.output, what)->option_text("NAME");
    command.add_flag("-f,--force", settings.isForced, "replace existing files");
    command.add_option("-j,--jobs", settings.jobs, "images at a time; 0: as many as there are processors")
        ->check(CLI::Range(0U, 256U))
        ->option_text("N");
}

void addQuiet(CLI::App& command, Settings& settings) {
    command.add_flag("-q,--quiet", settings.isQuiet, "say nothing but what failed");
}

void addStrict(CLI::App& command, Settings& settings, const char* what) {
    command.add_flag("--strict", settings.isStrict, what);
}

void addMemory(CLI::App& command, Settings& settings) {
    command
        .add_option("--memory", settings.memory,
                    "most bytes of memory to decode an image; else 1 GiB, or 64 times the file")
        ->transform(CLI::AsSizeValue(false))
        ->option_text("BYTES");
}

CLI::Option* addBytes(CLI::App& command, Settings& settings, const char* what) {
    return command.add_option("-b,--bytes", settings.bytes, what)
        ->transform(CLI::AsSizeValue(true))
        ->option_text("BYTES");
}

CLI::App& addEncode(CLI::App& app, Settings& settings) {
    CLI::App& command = *app.add_subcommand("encode", "make .tk files of images, without loss or to a budget");
    addInputs(command, settings, "PNM, PAM, PNG, TIFF, .npy");
    addOutput(command, settings);
    CLI::Option* const bytes = addBytes(command, settings, "at most so many bytes each");
    command.add_option("-r,--rate", settings.rate, "at most this share of the raw size, 0 to 1")
        ->check(CLI::Range(0.0, 1.0))
        ->option_text("SHARE")
        ->excludes(bytes);
    command.add_option("--bits", settings.bits, "significant bits a sample, in place of what the image says")
        ->check(CLI::Range(1U, 16U))
        ->option_text("N");
    addStrict(command, settings, "refuse images that have what a .tk does not hold");
    command.add_flag("--no-verify", settings.isUnverified, "do not decode and compare what is made without loss");
    addQuiet(command, settings);
    return command;
}

CLI::App& addDecode(CLI::App& app, Settings& settings) {
    CLI::App& command = *app.add_subcommand("decode", "make images of .tk files");
    addInputs(command, settings, ".tk");
    addOutput(command, settings);
    command.add_option("--format", settings.format, "png, pnm, pam, tiff or npy; else by the output's name, else png")
        ->check(CLI::IsMember({"png", "pnm", "pam", "tiff", "npy"}))
        ->option_text("FORMAT");
    command
        .add_option("--maxval", settings.maxval, "the largest sample, where it is no 2^n - 1 or not as the file says")
        ->check(CLI::Range(1U, 65535U))
        ->option_text("N");
    command.add_flag("--signed", settings.isSigned, "samples of 16 bits are signed");
    addStrict(command, settings, "refuse cut files, and formats that do not hold all that the file says");
    command.add_flag("--salvage", settings.isSalvaged, "take damaged files too");
    addMemory(command, settings);
    addQuiet(command, settings);
    return command;
}

CLI::App& addInfo(CLI::App& app, Settings& settings) {
    CLI::App& command = *app.add_subcommand("info", "describe images, a line each");
    addInputs(command, settings, ".tk, PNM, PAM, PNG, TIFF, .npy");
    addMemory(command, settings);
    addQuiet(command, settings);
    return command;
}

CLI::App& addCut(CLI::App& app, Settings& settings) {
    CLI::App& command = *app.add_subcommand("cut", "cut .tk files to --bytes or --percent, as --output");
    addInputs(command, settings, ".tk");
    addOutput(command, settings, "a file, or a folder for more than one image; - for a pipe");
    command.get_option("--output")->required();
    CLI::Option* const bytes = addBytes(command, settings, "keep at most so many bytes");
    command.add_option("-p,--percent", settings.percent, "keep at most this part of the file")
        ->check(CLI::Range(0.0, 100.0))
        ->option_text("PERCENT")
        ->excludes(bytes);
    addQuiet(command, settings);
    return command;
}

CLI::App& addCompare(CLI::App& app, Settings& settings) {
    CLI::App& command = *app.add_subcommand("compare", "say how far two images lie apart");
    command.add_option("inputs", settings.inputs, ".tk, PNM, PAM, PNG, TIFF, .npy")
        ->required()
        ->expected(2)
        ->option_text("FILE FILE");
    command.add_flag("--signed", settings.isSigned, "samples of 16 bits of .tk files are signed");
    addMemory(command, settings);
    command.add_flag("-q,--quiet", settings.isQuiet, "print nothing: the status says it");
    command.footer("Status: 0 the images are equal, 1 they differ, 2 they could not be compared.");
    return command;
}

CLI::App& addThumbnail(CLI::App& app, Settings& settings) {
    CLI::App& command = *app.add_subcommand("thumbnail", "make small PNGs of .tk files");
    addInputs(command, settings, ".tk");
    addOutput(command, settings);
    command.add_option("-s,--size", settings.size, "the longer side at most, 256 when not given")
        ->check(CLI::Range(1U, 65535U))
        ->option_text("N");
    addMemory(command, settings);
    addQuiet(command, settings);
    return command;
}

// Help and version go to standard output, refusals to standard error.
int say(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
        const auto chosen = app.get_subcommands();
        std::cerr << "tekoimg: " << error.what() << "; see tekoimg "
                  << (chosen.empty() ? "" : chosen.front()->get_name() + " ") << "--help\n";
        return trouble;
    }
    app.exit(error);
    std::cout.flush();
    if (!std::cout) {
        std::cerr << "tekoimg: standard output cannot be written; check the device and run it again\n";
        return failed;
    }
    return 0;
}

} // namespace

Request parse(int argc, char** argv) {
    Request request;
    CLI::App app(about, "tekoimg");
    app.set_version_flag("--version", std::string("tekoimg " TEKO_PROJECT_VERSION));
    app.require_subcommand(1);
    app.footer(statuses); // of the subcommands, too
    const struct {
        CLI::App& (*add)(CLI::App&, Settings&);
        int (*run)(const Settings&);
    } commands[] = {{addEncode, encode}, {addDecode, decode},   {addInfo, info},
                    {addCut, cut},       {addCompare, compare}, {addThumbnail, thumbnail}};
    for (const auto& command : commands) {
        command.add(app, request.settings).final_callback([&request, &command] {
            request.command = command.run;
            request.status = command.run == compare ? trouble : failed;
        });
    }
    app.footer(std::string(examples) + statuses);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        request.command = nullptr;
        request.status = say(app, error);
    }
    return request;
}

} // namespace tekoimg
