#include "host/commands/decoding.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "host/system/interruption.h"
#include "host/system/standard_input.h"
#include "host/terminal/progress.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace {

constexpr std::uint64_t kAll = std::numeric_limits<std::uint64_t>::max();

double TimeOption(const char* name, const std::string& text) {
    if (text.empty()) return 0;
    const std::optional<double> seconds = ParseTime(text);
    if (!seconds) throw UsageFailure(std::string(name) + " takes seconds or [HH:]MM:SS[.mmm], not " + text);
    return *seconds;
}

std::uint64_t Frames(double seconds, const DecoderWaveFormat& wave) {
    return static_cast<std::uint64_t>(std::llround(seconds * wave.samplesPerSecond));
}

std::uint64_t Bytes(double seconds, const DecoderWaveFormat& wave) {
    const std::uint64_t frames = Frames(seconds, wave);
    return wave.blockAlign != 0 && frames > kAll / wave.blockAlign ? kAll : frames * wave.blockAlign;
}

// A depth of the command line in the plug-in's words: a number alone is that of integers.
std::string SampleFormat(const std::string& depth) {
    return !depth.empty() && depth.front() <= '9' ? "s" + depth : depth;
}

// How much is to come, in milliseconds; 0 when unknown.
std::uint64_t ExpectedMs(std::int64_t fileMs, const Piece& piece) {
    const double left = fileMs > 0 ? std::max(0.0, static_cast<double>(fileMs) - piece.start * 1000) : 0;
    if (piece.duration == 0) return static_cast<std::uint64_t>(left);
    const double wanted = piece.duration * 1000;
    return static_cast<std::uint64_t>(fileMs > 0 ? std::min(wanted, left) : wanted);
}

// A pipe can't be gone back in: what stands in front of the start is decoded and dropped.
bool IsPipe(const std::string& name) {
    if (name != "-") return false;
    const std::optional<system::InputName> input = system::NameOfStandardInput();
    return input && !input->isFile;
}

// What may be missing without harm. The length of some files counts the samples that an encoder adds at both
// ends and a decoder drops again: up to two frames of MP3, which are long at low rates.
std::uint64_t HarmlessMs(std::uint64_t expected, const DecoderWaveFormat& wave) {
    constexpr std::uint64_t kLeast = 100;
    constexpr std::uint64_t kAddedSamples = 2304;
    const std::uint64_t added = kAddedSamples * 1000 / std::max<std::uint64_t>(wave.samplesPerSecond, 1);
    return std::max({kLeast, added, expected / 100});
}

std::string DamageOf(const Session::WorkerEnd& end, bool isEstimate, std::uint64_t milliseconds,
                     std::uint64_t expected, const DecoderWaveFormat& wave) {
    const bool failed = end.code.value_or(0) != 0;
    // A guess proves nothing against a worker that was content.
    const bool isShort =
        milliseconds + HarmlessMs(expected, wave) < expected && !(isEstimate && end.words.empty());
    if (!isShort && !failed) return {};
    std::string damage = "damaged or cut: " + FormatTime(milliseconds, true);
    damage += expected > 0 ? " of " + FormatTime(expected, true) + " came" : " came";
    if (failed && *end.code < 0) damage += "; the worker was ended by signal " + std::to_string(-*end.code);
    if (!end.words.empty()) damage += "; the worker says: " + end.words;
    return damage;
}

}  // namespace

Piece::Piece(const SampleOptions& options)
    : start(TimeOption("--start", options.start)), duration(TimeOption("--duration", options.duration)) {}

void ChooseSamples(const Job& job, const SampleOptions& options) {
    // To learn how deep a source is takes a second look at it.
    const bool blind = IsPipe(job.file.name) && options.depth == "source";
    job.session.ChooseSamples(blind ? "default" : SampleFormat(options.depth), options.stream);
}

Decoded DecodeThrough(const Job& job, const SampleOptions& options, bool showProgress, SampleSink& sink) {
    const Piece piece(options);
    Session& session = job.session;
    const bool isPipe = IsPipe(job.file.name);
    ChooseSamples(job, options);
    const DecoderFormat format = session.Open(job.file.name, 0).format;
    const bool isEstimate = session.DurationIsEstimated();
    std::uint64_t bytesToDrop = 0;
    if (const std::uint64_t frame = Frames(piece.start, format.wave); frame > 0) {
        if (isPipe) {
            bytesToDrop = Bytes(piece.start, format.wave);
        } else {
            session.SetPosition(static_cast<std::int64_t>(frame));
        }
    }
    std::uint64_t bytesLeft = options.duration.empty() ? kAll : Bytes(piece.duration, format.wave);
    const std::uint64_t expected = ExpectedMs(format.durationMs, piece);
    Progress progress(expected, showProgress);

    decoder_plugin::Block block = session.DecodeBlock();
    const DecoderWaveFormat wave = block.format.wave;
    sink.Begin(wave);
    std::uint64_t bytes = 0;
    const auto milliseconds = [&] {
        return static_cast<std::uint64_t>(static_cast<double>(bytes) * 1000 / wave.averageBytesPerSecond);
    };
    for (;;) {
        std::span<const std::byte> samples(block.samples.data(), block.samples.size());
        const auto dropped = static_cast<std::size_t>(std::min<std::uint64_t>(samples.size(), bytesToDrop));
        bytesToDrop -= dropped;
        samples = samples.subspan(dropped);
        samples = samples.first(static_cast<std::size_t>(std::min<std::uint64_t>(samples.size(), bytesLeft)));
        sink.Write(samples);
        bytes += samples.size();
        bytesLeft -= samples.size();
        progress.Update(milliseconds());
        if (block.last || bytesLeft == 0) break;
        block = session.DecodeBlock();
    }
    progress.Finish();
    // A worker that could go on is not waited for: it ends with the next run.
    std::string damage;
    if (bytesLeft != 0) {
        damage = DamageOf(session.EndOfWorker(), isEstimate, milliseconds(), expected, wave);
        session.Close();
    }
    if (const int code = system::InterruptionCode()) throw Interruption{code};
    return {format, milliseconds(), damage};
}

}  // namespace host
