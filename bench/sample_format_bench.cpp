// What "SampleFormat" costs: nothing for 16-bit sources, one more start of the worker for deeper ones.
//
//   sample_format_bench [MINUTES [ROUNDS]]      10 minutes of audio, 15 rounds
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "decoding.h"
#include "report.h"

namespace {

constexpr int kSampleRate = 44100;

std::string MakeInput(const kit::TempFolder& folder, const std::string& name, int minutes,
                      const std::vector<std::string>& depth) {
    const std::string file = (folder / name).string();
    const std::string source =
        "anoisesrc=color=pink:amplitude=0.4:seed=1:sample_rate=" + std::to_string(kSampleRate) +
        ":duration=" + std::to_string(minutes * 60);
    std::vector<std::string> command{WorkerOf(kit::BuiltPlugin()), "-f", "lavfi", "-i", source, "-ac", "2"};
    command.insert(command.end(), depth.begin(), depth.end());
    command.push_back(file);
    Demand(RunToEnd(command) == 0, "the worker can't make the input file");
    return file;
}

// The seconds of an Open with its first block, and of the whole file.
struct Times {
    double start = 0;
    double whole = 0;
};

Times Run(const kit::Plugin& plugin, const kit::TempFolder& folder, const std::string& input,
          const char16_t* word) {
    Decode decode(plugin, folder);
    if (word != nullptr) decode.ChooseFormat(word);
    Times times;
    const double begin = WallSeconds();
    decode.Open(input);
    decode.Block();
    times.start = WallSeconds() - begin;
    while (decode.Block().endOfStream == 0) {
    }
    times.whole = WallSeconds() - begin;
    return times;
}

// One row each for the start and the whole, with and without the key in turn.
void Measure(const kit::Plugin& plugin, const kit::TempFolder& folder, const std::string& what,
             const std::string& input, const char16_t* word, int rounds, Table& table) {
    std::vector<double> starts[2];
    std::vector<double> wholes[2];
    for (int round = 0; round < 2 * rounds; ++round) {
        const int with = (round + round / 2) % 2;  // the one that begins changes from round to round
        const Times times = Run(plugin, folder, input, with == 1 ? word : nullptr);
        starts[with].push_back(times.start * 1000);
        wholes[with].push_back(times.whole);
    }
    const double start = Median(starts[1]) - Median(starts[0]);
    table.Add({what + ": to the first block, ms", Fixed(Median(starts[1]), 2), Fixed(Median(starts[0]), 2),
               (start < 0 ? "" : "+ ") + Fixed(start, 2)});
    table.Add({what + ": the whole file, s", Fixed(Median(wholes[1]), 3), Fixed(Median(wholes[0]), 3),
               "x " + Fixed(Median(wholes[1]) / Median(wholes[0]), 3)});
}

}  // namespace

int main(int argc, char** argv) try {
    const int minutes = argc > 1 ? std::atoi(argv[1]) : 10;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 15;
    Demand(minutes > 0 && rounds > 0, "a number is too small");
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    const std::string shallow = MakeInput(folder, "16.flac", minutes, {"-sample_fmt", "s16"});
    const std::string deep =
        MakeInput(folder, "24.flac", minutes, {"-sample_fmt", "s32", "-bits_per_raw_sample", "24"});
    Table table({"Sample format", "with the key", "without", "compared"});
    Measure(plugin, folder, "\"s16\" of 16 bit", shallow, DECODER_SAMPLES_S16, rounds, table);
    Measure(plugin, folder, "\"source\" of 16 bit", shallow, DECODER_SAMPLES_SOURCE, rounds, table);
    Measure(plugin, folder, "\"s24\" of 24 bit", deep, DECODER_SAMPLES_S24, rounds, table);
    Measure(plugin, folder, "\"source\" of 24 bit", deep, DECODER_SAMPLES_SOURCE, rounds, table);
    table.Print();
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "sample_format_bench: %s\n", failure.what());
    return 1;
}
