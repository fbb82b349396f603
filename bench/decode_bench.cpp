// Decoding through the plug-in against the same worker on a bare pipe, whose reader throws the bytes away.
// Both run in turn, so that what else the machine does meets both.
//
//   decode_bench [MINUTES [ROUNDS]]      30 minutes of audio, 5 rounds
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "decoding.h"
#include "kit/files.h"
#include "kit/plugin.h"
#include "report.h"
#include "system.h"

namespace {

constexpr int kSampleRate = 44100;
constexpr int kFramesPerBlock = 4096;
constexpr int kStartRounds = 41;  // of the time to the first block
constexpr int kTracedBlocks = 2000;
constexpr std::size_t kLargestHeader = 1024;
constexpr std::string_view kTraceBegin = "blocks begin";
constexpr std::string_view kTraceEnd = "blocks end";
constexpr const char* kTracedMode = "--traced";

constexpr double kWallAim = 1.05;    // times the bare pipe
constexpr double kStartAimMs = 3.0;  // more than the bare pipe

// FLAC in Matroska: cheap to decode, so that what the plug-in adds weighs as much as it ever will.
std::string MakeInput(const kit::TempFolder& folder, int minutes) {
    const std::string file = (folder / "noise.mka").string();
    const std::string source =
        "anoisesrc=color=pink:amplitude=0.4:seed=1:sample_rate=" + std::to_string(kSampleRate) +
        ":duration=" + std::to_string(minutes * 60);
    const int status = RunToEnd(
        {WorkerOf(kit::BuiltPlugin()), "-f", "lavfi", "-i", source, "-ac", "2", "-c:a", "flac", file});
    Demand(status == 0, "the worker can't make the input file");
    return file;
}

struct Run {
    double wall = 0;       // seconds
    double processor = 0;  // seconds, of this process
    double reads = 0;      // read calls of the host's thread per block
    std::size_t bytes = 0;
};

Run RunBare(const std::string& input, std::span<std::byte> buffer) {
    Run run;
    const double wall = WallSeconds();
    const double processor = ProcessorSeconds();
    PipedProgram worker(BareCommand(WorkerOf(kit::BuiltPlugin()), input));
    while (const std::size_t count = worker.Read(buffer)) run.bytes += count;
    Demand(worker.Wait() == 0, "the worker failed");
    run.processor = ProcessorSeconds() - processor;
    run.wall = WallSeconds() - wall;
    return run;
}

Run RunPlugin(const kit::Plugin& plugin, const kit::TempFolder& folder, const std::string& input) {
    Run run;
    const double wall = WallSeconds();
    const double processor = ProcessorSeconds();
    {
        Decode decode(plugin, folder);
        decode.Open(input);
        const long reads = ReadCalls();
        int blocks = 0;
        for (bool end = false; !end; ++blocks) {
            const DecoderBlockInfo block = decode.Block();
            run.bytes += block.bytes;
            end = block.endOfStream != 0;
        }
        run.reads = static_cast<double>(ReadCalls() - reads) / blocks;
        decode.Close();
    }
    run.processor = ProcessorSeconds() - processor;
    run.wall = WallSeconds() - wall;
    return run;
}

// From the start of the worker to the first byte of audio.
double StartBarePipe(const std::string& input, std::span<std::byte> buffer) {
    const double start = WallSeconds();
    const auto worker = StartBare(BareCommand(WorkerOf(kit::BuiltPlugin()), input), buffer);
    return WallSeconds() - start;
}

double StartPlugin(const kit::Plugin& plugin, const kit::TempFolder& folder, const std::string& input) {
    Decode decode(plugin, folder);
    const double start = WallSeconds();
    decode.Open(input);
    Demand(decode.Block().bytes > 0, "no audio in the first block");
    return WallSeconds() - start;
}

// What the tracer watches: only the marks and what lies between them count. The tracer slows the host down,
// so that the pipe is full at every block; how often an eager host reads in vain or in part, RunPlugin
// counts.
void DecodeTraced(const std::string& input) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    Decode decode(plugin, folder);
    decode.Open(input);
    MarkTrace(std::string(kTraceBegin));
    for (int i = 0; i < kTracedBlocks; ++i) Demand(decode.Block().endOfStream == 0, "the input is too short");
    MarkTrace(std::string(kTraceEnd));
}

// Calls by name, a line each, of the one thread that was traced. Empty when there is no usable trace.
std::map<std::string, double> CallsPerBlock(const kit::TempFolder& folder, const std::string& input) {
    const std::string file = (folder / "trace").string();
    // Without -f it follows the first thread alone, which is the host's.
    if (RunToEnd({"strace", "-o", file, OwnPath(), kTracedMode, input}) != 0) return {};
    std::map<std::string, double> calls;
    std::ifstream trace(file);
    bool counting = false;
    for (std::string line; std::getline(trace, line);) {
        if (line.find(kTraceBegin) != line.npos) {
            counting = true;
        } else if (line.find(kTraceEnd) != line.npos) {
            return calls;
        } else if (counting && std::isalpha(static_cast<unsigned char>(line[0])) != 0) {
            calls[line.substr(0, line.find('('))] += 1.0 / kTracedBlocks;
        }
    }
    return {};
}

std::string Verdict(bool met) {
    return met ? ", met" : ", missed";
}

std::vector<double> Column(const std::vector<Run>& runs, double Run::*field) {
    std::vector<double> values;
    for (const Run& run : runs) values.push_back(run.*field);
    return values;
}

// The middle of what `compare` says to each pair of neighbours.
template <typename Compare>
double MedianOfPairs(const std::vector<double>& ours, const std::vector<double>& bare, Compare compare) {
    std::vector<double> compared(ours.size());
    std::transform(ours.begin(), ours.end(), bare.begin(), compared.begin(), compare);
    return Median(compared);
}

// Both of them once, the one that begins changing from round to round.
template <typename Bare, typename Ours>
void RunPair(int round, Bare bare, Ours ours) {
    if (round % 2 == 0) bare();
    ours();
    if (round % 2 != 0) bare();
}

void MeasureWhole(const kit::Plugin& plugin, const kit::TempFolder& folder, const std::string& input,
                  int minutes, int rounds, Table& table) {
    std::vector<std::byte> buffer(kPipeBytes);
    std::vector<Run> bare{RunBare(input, buffer)};
    std::vector<Run> ours{RunPlugin(plugin, folder, input)};
    const std::size_t header = bare.front().bytes - ours.front().bytes;
    Demand(header > 2 * kChunkHeaderBytes && header < kLargestHeader,
           "the plug-in gave more or less than the audio");
    bare.clear();  // these filled the caches of the machine
    ours.clear();
    for (int round = 0; round < rounds; ++round) {
        RunPair(
            round, [&] { bare.push_back(RunBare(input, buffer)); },
            [&] { ours.push_back(RunPlugin(plugin, folder, input)); });
    }
    const auto add = [&](const std::string& what, double Run::*field, double scale, double aim) {
        const double ratio = MedianOfPairs(Column(ours, field), Column(bare, field), std::divides<>());
        table.Add({what, Fixed(Median(Column(ours, field)) * scale, 3),
                   Fixed(Median(Column(bare, field)) * scale, 3), "x " + Fixed(ratio, 3),
                   aim > 0 ? "at most x " + Fixed(aim, 2) + Verdict(ratio <= aim) : ""});
    };
    add("wall time of " + std::to_string(minutes) + " minutes of audio, s", &Run::wall, 1, kWallAim);
    add("processor time of the host per hour of audio, s", &Run::processor, 60.0 / minutes, 0);
    table.Add(
        {"reads of the host's thread per block", Fixed(Median(Column(ours, &Run::reads)), 2), "", "", ""});
}

void MeasureStart(const kit::Plugin& plugin, const kit::TempFolder& folder, const std::string& input,
                  Table& table) {
    std::vector<std::byte> buffer(kPipeBytes);
    std::vector<double> bare;
    std::vector<double> ours;
    for (int round = 0; round < kStartRounds; ++round) {
        RunPair(
            round, [&] { bare.push_back(StartBarePipe(input, buffer) * 1000); },
            [&] { ours.push_back(StartPlugin(plugin, folder, input) * 1000); });
    }
    const double more = MedianOfPairs(ours, bare, std::minus<>());
    table.Add({"time to the first block, ms", Fixed(Median(ours), 2), Fixed(Median(bare), 2),
               (more < 0 ? "- " : "+ ") + Fixed(std::abs(more), 2),
               "at most + " + Fixed(kStartAimMs, 0) + Verdict(more <= kStartAimMs)});
}

void MeasureCalls(const kit::TempFolder& folder, const std::string& input, Table& table) {
    const std::map<std::string, double> calls = CallsPerBlock(folder, input);
    double sum = 0;
    std::string names;
    for (const auto& [name, count] : calls) {
        sum += count;
        names += (names.empty() ? "" : ", ") + name + " " + Fixed(count, 2);
    }
    table.Add({"system calls of the host's thread per block, seen by strace",
               calls.empty() ? "not measured" : Fixed(sum, 2), "", "", names});
}

int Number(const char* text, int least) {
    const int value = std::atoi(text);
    Demand(value >= least, "a number is too small");
    return value;
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc == 3 && std::strcmp(argv[1], kTracedMode) == 0) {
        DecodeTraced(argv[2]);
        return 0;
    }
    constexpr int kLeastMinutes = kTracedBlocks * kFramesPerBlock / kSampleRate / 60 + 1;
    const int minutes = argc > 1 ? Number(argv[1], kLeastMinutes) : 30;
    const int rounds = argc > 2 ? Number(argv[2], 1) : 9;

    const kit::Plugin plugin;
    const kit::TempFolder folder;
    const std::string input = MakeInput(folder, minutes);
    Table table({"Decoding", "plug-in", "bare pipe", "compared", "aim"});
    MeasureWhole(plugin, folder, input, minutes, rounds, table);
    MeasureStart(plugin, folder, input, table);
    MeasureCalls(folder, input, table);
    table.Print();
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "decode_bench: %s\n", failure.what());
    return 1;
}
