// Many files by one call of decoder-host: reading tags against programs that are started for each file, as a
// script would, and several files at once against one after the other.
//
//   throughput_bench [FILES [ROUNDS]]      1000 files, 3 rounds of what is run with one job and with two
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "kit/files.h"
#include "kit/plugin.h"
#include "report.h"
#include "system.h"

namespace {

namespace fs = std::filesystem;

using Command = std::vector<std::string>;

constexpr int kDecodedFiles = 16;

void Run(const Command& command) {
    if (RunToEnd(command) != 0) throw std::runtime_error("a program failed: " + command.front());
}

// Copies of one file, which has tags.
void MakeFiles(const fs::path& folder, int count, const char* seconds) {
    const fs::path worker = kit::BuiltPlugin().parent_path().parent_path() / "ffmpeg-lgpl.exe";
    const fs::path first = folder / "0.tta";
    fs::create_directory(folder);
    Run({worker.string(), "-v", "error", "-f", "lavfi", "-i", "anoisesrc=r=44100:d=" + std::string(seconds),
         "-ac", "2", "-sample_fmt", "s16", first.string()});
    Run({DECODER_HOST_FILE, "tag", "-q", first.string(), "Title=A Song", "Artist=Some Band", "Album=An Album",
         "Year=1999", "Genre=Polka"});
    for (int number = 1; number < count; ++number)
        fs::copy_file(first, folder / (std::to_string(number) + ".tta"));
}

std::vector<std::string> FilesIn(const fs::path& folder) {
    std::vector<std::string> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder))
        files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

Command Host(const char* command, const fs::path& folder, const char* jobs) {
    Command words{DECODER_HOST_FILE, command, "-q", "--json", "--recursive", folder.string()};
    if (*jobs != '\0') words.insert(words.end(), {"--jobs", jobs});
    return words;
}

void RunForEach(const std::vector<std::string>& files, Command command) {
    command.emplace_back();
    for (const std::string& file : files) {
        command.back() = file;
        Run(command);
    }
}

void Add(Table& table, const std::string& what, const Race& race) {
    table.Add({what + ", s", Fixed(race.Ours(), 2), Fixed(race.Theirs(), 2), race.RatioWithSpread()});
}

int Number(const char* text) {
    const int number = std::atoi(text);
    if (number < 1) throw std::runtime_error("usage: throughput_bench [FILES [ROUNDS]]");
    return number;
}

}  // namespace

int main(int argc, char** argv) try {
    const int count = argc > 1 ? Number(argv[1]) : 1000;
    const int rounds = argc > 2 ? Number(argv[2]) : 3;
    const kit::TempFolder folder;
    MakeFiles(folder / "tagged", count, "1");
    MakeFiles(folder / "long", kDecodedFiles, "60");
    const std::vector<std::string> files = FilesIn(folder / "tagged");

    Table table({"Many files", "ours", "rival", "compared"});
    const auto tags = [&](const char* jobs) {
        return [&, jobs] { Run(Host("tags", folder / "tagged", jobs)); };
    };
    const auto against = [&](const char* program, const Command& command) {
        Add(table, "Tags of " + std::to_string(count) + " files against " + program + ", file by file",
            RunInTurn(
                1, tags(""), [&] { RunForEach(files, command); }, WallSeconds));
    };
    against("ffprobe", {"ffprobe", "-v", "error", "-show_format", "-of", "json"});
    against("mediainfo", {"mediainfo", "--Output=JSON"});
    Add(table, "Tags of " + std::to_string(count) + " files, --jobs 2 against 1",
        RunInTurn(rounds, tags("2"), tags("1"), WallSeconds));
    const auto verify = [&](const char* jobs) {
        return [&, jobs] { Run(Host("verify", folder / "long", jobs)); };
    };
    Add(table, "Decoding " + std::to_string(kDecodedFiles) + " minutes of TTA, --jobs 2 against 1",
        RunInTurn(rounds, verify("2"), verify("1"), WallSeconds));
    table.Print();
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "throughput_bench: %s\n", failure.what());
    return 1;
}
