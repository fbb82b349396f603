// Retagging a large Matroska file against mkvpropedit, and reading its tags against mkvinfo: whole processes,
// on one file, in turn. Ours is a small program with the engine that hosts reach through the plug-in; the
// reference host reads the tags back as well, through a worker that it starts. Beside the times stand the
// system calls on the file and the bytes they moved.
//
//   matroska_bench [MEGABYTES [ROUNDS]]      1024 megabytes, 11 rounds
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "kit/files.h"
#include "kit/plugin.h"
#include "report.h"
#include "system.h"

namespace {

constexpr const char* kReadMode = "--read";
constexpr const char* kWriteMode = "--write";
constexpr double kRetagAim = 0.1;  // of mkvpropedit's time

using Command = std::vector<std::string>;

void Demand(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

// Silence in the widest format that FFmpeg writes: large at once.
std::string MakeInput(const kit::TempFolder& folder, int megabytes) {
    constexpr int kBytesPerSecond = 192000 * 8 * 4;
    const std::string file = (folder / "large.mka").string();
    const std::string seconds = std::to_string(static_cast<double>(megabytes) * 1e6 / kBytesPerSecond);
    const std::filesystem::path worker = kit::BuiltPlugin().parent_path().parent_path() / "ffmpeg-lgpl.exe";
    Demand(RunToEnd({worker.string(), "-v", "error", "-f", "lavfi", "-i", "anullsrc=r=192000:cl=7.1", "-t",
                     seconds, "-c:a", "pcm_s32le", "-metadata", "title=Silence", file}) == 0,
           "the worker can't make the input file");
    return file;
}

// A value of another length each time, so that there is always something to write.
std::string Comment(int round) {
    return std::string(static_cast<std::size_t>(20 + 7 * round % 60), static_cast<char>('a' + round % 26));
}

Command OwnTags(const std::string& file, int round) {
    return {OwnPath(), kWriteMode, file, Comment(round)};
}

std::u16string Wide(const char* text) {
    return std::filesystem::path(text).u16string();
}

int ReadMode(const char* file) {
    IDTags tags;
    Demand(MatroskaTags::Read(Wide(file).c_str(), tags, {}), "can't read the tags");
    return tags.count() > 0 ? 0 : 1;
}

int WriteMode(const char* file, const char* comment) {
    IDTags tags;
    tags.AddText(u"Title", u"Silence");
    tags.AddText(u"Comment", Wide(comment));
    Demand(MatroskaTags::Write(Wide(file).c_str(), tags, {}), "can't write the tags");
    return 0;
}

Command ToolTags(const kit::TempFolder& folder, const std::string& file, int round) {
    const std::filesystem::path tags = folder / "tags.xml";
    kit::WriteFile(
        tags,
        "<Tags><Tag><Targets><TargetTypeValue>30</TargetTypeValue></Targets><Simple><Name>TITLE</Name>"
        "<String>Silence</String></Simple><Simple><Name>COMMENT</Name><String>" +
            Comment(round) + "</String></Simple></Tag></Tags>");
    return {"mkvpropedit", file, "--tags", "global:" + tags.string()};
}

double Time(const Command& command) {
    const double start = WallSeconds();
    Demand(RunToEnd(command) == 0, "a program failed");
    return (WallSeconds() - start) * 1e3;
}

struct Calls {
    long count = 0;
    long long read = 0;
    long long written = 0;
};

// What the program does with the file, seen by strace. All zero when there is no usable trace.
Calls CallsOn(const kit::TempFolder& folder, const std::string& file, Command command) {
    const std::string trace = (folder / "trace").string();
    command.insert(command.begin(), {"strace", "-f", "-P", file, "-o", trace});
    Calls calls;
    if (RunToEnd(command) != 0) return calls;
    std::ifstream lines(trace);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t result = line.rfind(" = ");
        const std::size_t name = line.find(' ');
        if (result == std::string::npos || name == std::string::npos) continue;
        ++calls.count;
        const long long bytes = std::max(0LL, std::atoll(line.c_str() + result + 3));
        const std::string call = line.substr(line.find_first_not_of(' ', name));
        if (call.starts_with("read") || call.starts_with("pread")) calls.read += bytes;
        if (call.starts_with("write") || call.starts_with("pwrite")) calls.written += bytes;
    }
    return calls;
}

void Compare(const char* what, const char* aim, int rounds, const std::string& file,
             const kit::TempFolder& folder, const std::function<Command(int)>& ours,
             const std::function<Command(int)>& theirs, Table& table) {
    std::vector<double> own;
    std::vector<double> rival;
    for (int round = 0; round < rounds; ++round) {
        own.push_back(Time(ours(2 * round)));
        rival.push_back(Time(theirs(2 * round + 1)));
    }
    table.Add({std::string(what) + ", ms", Fixed(Median(own), 2), Fixed(Median(rival), 2),
               Fixed(Median(own) / Median(rival), 3), aim});
    const Calls ownCalls = CallsOn(folder, file, ours(2 * rounds));
    const Calls rivalCalls = CallsOn(folder, file, theirs(2 * rounds + 1));
    if (ownCalls.count == 0 || rivalCalls.count == 0) return;
    const auto add = [&](const char* unit, auto own_, auto rival_) {
        table.Add({std::string(what) + ", " + unit, std::to_string(own_), std::to_string(rival_), "", ""});
    };
    add("system calls on the file", ownCalls.count, rivalCalls.count);
    add("bytes read", ownCalls.read, rivalCalls.read);
    add("bytes written", ownCalls.written, rivalCalls.written);
}

int Number(const char* text, int least) {
    const int number = std::atoi(text);
    Demand(number >= least, "usage: matroska_bench [MEGABYTES [ROUNDS]]");
    return number;
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc == 3 && std::strcmp(argv[1], kReadMode) == 0) return ReadMode(argv[2]);
    if (argc == 4 && std::strcmp(argv[1], kWriteMode) == 0) return WriteMode(argv[2], argv[3]);
    const int megabytes = argc > 1 ? Number(argv[1], 1) : 1024;
    const int rounds = argc > 2 ? Number(argv[2], 1) : 11;
    const kit::TempFolder folder;
    const std::string file = MakeInput(folder, megabytes);
    Table table({"Matroska, " + std::to_string(megabytes) + " MB", "ours", "rival", "compared", "aim"});
    Compare(
        "Tags against mkvpropedit", Fixed(kRetagAim, 1).c_str(), rounds, file, folder,
        [&](int round) { return OwnTags(file, round); },
        [&](int round) { return ToolTags(folder, file, round); }, table);
    Compare(
        "Reading against mkvinfo", "", rounds, file, folder,
        [&](int) {
            return Command{OwnPath(), kReadMode, file};
        },
        [&](int) {
            return Command{"mkvinfo", file};
        },
        table);
    table.Print();
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "matroska_bench: %s\n", failure.what());
    return 1;
}
