// Many files by one call of decoder-host: reading tags against programs that are started for each file, as a
// script would, and several files at once against one after the other.
//
//   throughput_bench [FAST_WORKER [FILES [ROUNDS]]]      a second worker to try; 1000 files, 3 rounds of
//   decoding
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
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

void RunHost(const fs::path& plugin, const char* command, const fs::path& folder, const char* jobs) {
    Run({DECODER_HOST_FILE, command, "-q", "--json", "--plugin", plugin.string(), "--jobs", jobs,
         "--recursive", folder.string()});
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

// What every file pays for is the start of the worker, so the worker is named in each row.
void MeasureTags(Table& table, const fs::path& plugin, const std::string& worker, const fs::path& folder) {
    const std::vector<std::string> files = FilesIn(folder);
    const std::string what = "Tags of " + std::to_string(files.size()) + " files, " + worker + " worker, ";
    const auto tags = [&](const char* jobs) { return [&, jobs] { RunHost(plugin, "tags", folder, jobs); }; };
    const auto each = [&](const Command& command) { return [&, command] { RunForEach(files, command); }; };
    const auto compare = [&](const std::string& rival, const char* jobs,
                             const std::function<void()>& theirs) {
        Add(table, what + "--jobs " + jobs + " against " + rival,
            RunInTurn(1, tags(jobs), theirs, WallSeconds));
    };
    compare("ffprobe, file by file", "1", each({"ffprobe", "-v", "error", "-show_format", "-of", "json"}));
    compare("mediainfo, file by file", "1", each({"mediainfo", "--Output=JSON"}));
    compare("--jobs 1", "2", tags("1"));
}

int Number(const char* text) {
    const int number = std::atoi(text);
    if (number < 1) throw std::runtime_error("usage: throughput_bench [FAST_WORKER [FILES [ROUNDS]]]");
    return number;
}

}  // namespace

int main(int argc, char** argv) try {
    const std::string fast = argc > 1 ? argv[1] : "";
    const int count = argc > 2 ? Number(argv[2]) : 1000;
    const int rounds = argc > 3 ? Number(argv[3]) : 3;
    const kit::TempFolder folder;
    MakeFiles(folder / "tagged", count, "1");
    MakeFiles(folder / "long", kDecodedFiles, "60");

    Table table({"Many files", "ours", "rival", "compared"});
    MeasureTags(table, kit::BuiltPlugin(), "system's", folder / "tagged");
    if (!fast.empty()) {
        const kit::PluginWithWorker other(fast);
        MeasureTags(table, other.path(), "static", folder / "tagged");
    }
    const auto verify = [&](const char* jobs) {
        return [&, jobs] { RunHost(kit::BuiltPlugin(), "verify", folder / "long", jobs); };
    };
    Add(table, "Decoding " + std::to_string(kDecodedFiles) + " minutes of TTA, --jobs 2 against --jobs 1",
        RunInTurn(rounds, verify("2"), verify("1"), WallSeconds));
    table.Print();
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "throughput_bench: %s\n", failure.what());
    return 1;
}
