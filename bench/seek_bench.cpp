// What a listener waits for: Open, SetPosition, the first block and Close, beside the same worker on a bare
// pipe and beside a host that decodes in its own process with FFmpeg's libraries. All of them in turn, in one
// run.
//
//   seek_bench [FAST_WORKER [ROUNDS]]      a second worker to try; 41 rounds
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "decoding.h"
#include "libav_decode.h"
#include "report.h"
#include "system.h"

namespace {

constexpr int kSampleRate = 44100;
constexpr int kSeconds = 1800;
constexpr double kShareAimMs = 0.5;  // of Open and SetPosition, beyond the bare pipe
constexpr double kSeekAimMs = 5.0;   // with the fast worker, Matroska and FLAC

struct Input {
    const char* name;
    const char* file;
    std::vector<std::string> encoder;
};

const std::vector<Input> kInputs = {
    {"TTA", "noise.tta", {"-c:a", "tta"}},
    {"FLAC", "noise.flac", {"-c:a", "flac"}},
    {"FLAC in Matroska", "noise.mka", {"-c:a", "flac"}},
    {"MP3", "noise.mp3", {"-c:a", "libmp3lame"}},
    {"AAC in MP4", "noise.m4a", {"-c:a", "aac"}},
};

std::string MakeInput(const kit::TempFolder& folder, const Input& input) {
    const std::string file = (folder / input.file).string();
    std::vector<std::string> command = {
        WorkerOf(kit::BuiltPlugin()),
        "-f",
        "lavfi",
        "-i",
        "anoisesrc=color=pink:amplitude=0.4:seed=1:sample_rate=" + std::to_string(kSampleRate) +
            ":duration=" + std::to_string(kSeconds),
        "-ac",
        "2"};
    command.insert(command.end(), input.encoder.begin(), input.encoder.end());
    command.push_back(file);
    Demand(RunToEnd(command) == 0, "the worker can't make an input file");
    return file;
}

using Samples = std::map<std::string, std::vector<double>>;  // milliseconds, by what was measured

void Time(Samples& samples, const char* what, const std::function<void()>& job) {
    const double start = WallSeconds();
    job();
    samples[what].push_back((WallSeconds() - start) * 1000);
}

// A place of its own for each round, never near the beginning.
double PlaceOf(int round) {
    return kSeconds * (0.1 + 0.8 * ((round * 37) % 101) / 101.0);
}

void MeasurePlugin(Samples& samples, const kit::Plugin& plugin, const std::string& file, int round) {
    const kit::TempFolder folder;
    Decode decode(plugin, folder);
    Time(samples, "Open", [&] { decode.Open(file); });
    Time(samples, "first block", [&] { Demand(decode.Block().bytes > 0, "no audio"); });
    const auto position = static_cast<std::int64_t>(PlaceOf(round) * kSampleRate);
    Time(samples, "SetPosition", [&] { decode.Seek(position); });
    Time(samples, "block behind it", [&] { Demand(decode.Block().bytes > 0, "no audio"); });
    Time(samples, "Close", [&] { decode.Close(); });
}

void MeasureBare(Samples& samples, const std::string& worker, const std::string& file, int round) {
    std::vector<std::byte> buffer(kPipeBytes);
    std::unique_ptr<PipedProgram> first;
    Time(samples, "bare open", [&] { first = StartBare(BareCommand(worker, file), buffer); });
    // Ended as the plug-in ends it: a kill would be another job.
    Time(samples, "bare seek", [&] {
        Time(samples, "bare end", [&] { first->End(); });
        first = StartBare(BareCommand(worker, file, PlaceOf(round)), buffer);
    });
}

void MeasureLibav(Samples& samples, const std::string& file, int round) {
    std::unique_ptr<LibavDecode> libav;
    Time(samples, "libav open", [&] {
        libav = std::make_unique<LibavDecode>(file);
        Demand(libav->NextFrames() > 0, "no audio in process");
    });
    Time(samples, "libav seek", [&] {
        libav->Seek(PlaceOf(round));
        Demand(libav->NextFrames() > 0, "no audio in process");
    });
}

std::string Shown(const std::vector<double>& values) {
    return Fixed(Median(values), 2) + " / " + Fixed(Percentile(values, 95), 2);
}

// The middle of what ours took beyond the rival of the same round, how sure that is, and the aim where it is
// missed for sure.
std::string Share(const std::vector<double>& ours, const std::vector<double>& bare) {
    std::vector<double> more;
    for (std::size_t i = 0; i < ours.size(); ++i) more.push_back(ours[i] - bare[i]);
    const Interval sure = MedianInterval(more);
    return Fixed(Median(more), 2) + " (" + Fixed(sure.low, 2) + " to " + Fixed(sure.high, 2) + ")" +
           (sure.low <= kShareAimMs ? "" : ", aim " + Fixed(kShareAimMs, 1));
}

void Measure(const kit::Plugin& plugin, const std::string& worker, const char* workerName, const Input& input,
             const std::string& file, int rounds, Table& table) {
    Samples samples;
    for (int round = -1; round < rounds; ++round) {
        if (round == 0) samples.clear();  // the round before filled the caches
        // Who comes second finds the machine as the first has left it.
        const bool bareFirst = round % 2 == 0;
        if (bareFirst) MeasureBare(samples, worker, file, round + 1);
        MeasurePlugin(samples, plugin, file, round + 1);
        if (!bareFirst) MeasureBare(samples, worker, file, round + 1);
        MeasureLibav(samples, file, round + 1);
    }
    table.Add({input.name, workerName, Shown(samples["Open"]), Share(samples["Open"], samples["bare open"]),
               Shown(samples["SetPosition"]), Share(samples["SetPosition"], samples["bare seek"]),
               Shown(samples["bare end"]), Shown(samples["block behind it"]), Shown(samples["Close"]),
               Shown(samples["libav open"]), Shown(samples["libav seek"])});
}

}  // namespace

int main(int argc, char** argv) try {
    const std::string fast = argc > 1 ? argv[1] : "";
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 41;
    Demand(rounds > 0, "ROUNDS has to be a number above 0");

    const kit::TempFolder folder;
    const kit::Plugin plugin;
    Table table({"Input of 30 minutes; ms, median / 95th", "worker", "Open", "our share (95 % sure)",
                 "SetPosition", "our share (95 % sure)", "of it: the old worker ends", "block", "Close",
                 "libav open", "libav seek"});
    for (const Input& input : kInputs) {
        const std::string file = MakeInput(folder, input);
        Measure(plugin, WorkerOf(kit::BuiltPlugin()), "system", input, file, rounds, table);
        if (fast.empty()) continue;
        const kit::PluginWithWorker other(fast);
        Measure(other.plugin(), fast, "static", input, file, rounds, table);
    }
    table.Print();
    std::printf(
        "\nAims: a share of ours of at most %.1f ms; a seek within %.0f ms for FLAC and Matroska with a "
        "static "
        "worker.\n",
        kShareAimMs, kSeekAimMs);
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "seek_bench: %s\n", failure.what());
    return 1;
}
