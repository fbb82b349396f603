// describe_command_line FOLDER VERSION DATE: writes the manual pages and the completions of the program into
// the folder, each with the name under which it is installed, in the folders "man", "bash", "zsh" and "fish".
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>

#include "descriptions.h"
#include "host/command_line/arguments.h"

namespace {

void Write(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream stream(path, std::ios::binary);
    stream.exceptions(std::ios::failbit | std::ios::badbit);
    stream << text;
    stream.close();
}

void WriteAll(const std::filesystem::path& folder, const descriptions::Edition& edition) {
    host::Arguments arguments;
    const host::CommandLine line = host::MakeCommandLine(arguments);
    const auto writePage = [&](const host::Command* command) {
        Write(folder / "man" / (descriptions::ManualName(line, command) + ".1"),
              descriptions::ManualPage(line, command, edition));
    };
    writePage(nullptr);
    for (const host::Command& command : line.commands) writePage(&command);
    Write(folder / "bash" / line.name, descriptions::BashCompletion(line));
    Write(folder / "zsh" / ("_" + line.name), descriptions::ZshCompletion(line));
    Write(folder / "fish" / (line.name + ".fish"), descriptions::FishCompletion(line));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("usage: describe_command_line FOLDER VERSION DATE\n", stderr);
        return 2;
    }
    try {
        WriteAll(argv[1], {argv[2], argv[3]});
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "describe_command_line: %s\n", error.what());
        return 1;
    }
}
