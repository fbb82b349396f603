// A file, or a piece of it, as samples.
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>
#include <span>
#include <system_error>

#include "host/commands/commands.h"
#include "host/files/output_file.h"
#include "host/files/wav_header.h"
#include "host/session/session.h"
#include "host/system/console.h"
#include "host/system/interruption.h"
#include "host/terminal/progress.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace fs = std::filesystem;

namespace {

std::optional<double> TimeOption(const char* name, const std::string& text) {
    if (text.empty()) return {};
    const std::optional<double> seconds = ParseTime(text);
    if (!seconds) throw UsageFailure(std::string(name) + " takes seconds or [HH:]MM:SS[.mmm], not " + text);
    return seconds;
}

std::uint64_t Frames(double seconds, const DecoderWaveFormat& wave) {
    return static_cast<std::uint64_t>(std::llround(seconds * wave.samplesPerSecond));
}

std::uint64_t Bytes(double seconds, const DecoderWaveFormat& wave) {
    const std::uint64_t frames = Frames(seconds, wave);
    constexpr std::uint64_t kAll = std::numeric_limits<std::uint64_t>::max();
    return wave.blockAlign != 0 && frames > kAll / wave.blockAlign ? kAll : frames * wave.blockAlign;
}

// Beside a local input; in the present folder for anything else, under the last part of its name.
std::string OutputName(const DecodeOptions& options) {
    const char* const extension = options.raw ? ".raw" : ".wav";
    std::error_code ignored;
    fs::path path = ToPath(options.file);
    if (!fs::exists(path, ignored)) {
        const std::string name = options.file.substr(0, options.file.find_first_of("?#"));
        path = ToPath(name.substr(name.find_last_of('/') + 1));
    }
    path.replace_extension(extension);
    if (path.stem().empty() || fs::exists(path, ignored)) {
        throw Failure(
            (path.stem().empty() ? "no name for the output" : PathText(path) + " is there already") +
            std::string("; name the output"));
    }
    return PathText(path);
}

void RefuseBadOutput(const DecodeOptions& options, const std::string& output) {
    if (output == "-") {
        if (system::IsTerminal(stdout))
            throw UsageFailure("samples don't go to a terminal; redirect the output");
        return;
    }
    std::error_code ignored;
    if (fs::equivalent(ToPath(options.file), ToPath(output), ignored)) {
        throw UsageFailure("the output would replace the input");
    }
}

// How much of the file is to come, in milliseconds; 0 when unknown.
std::uint64_t TotalMs(std::int64_t fileMs, double startSeconds, std::optional<double> duration) {
    const double left = fileMs > 0 ? std::max(0.0, static_cast<double>(fileMs) - startSeconds * 1000) : 0;
    if (!duration) return static_cast<std::uint64_t>(left);
    const double wanted = *duration * 1000;
    return static_cast<std::uint64_t>(fileMs > 0 ? std::min(wanted, left) : wanted);
}

// The samples on their way out, with the header that they need.
class SampleWriter {
  public:
    SampleWriter(OutputFile& output, bool raw) : output_(output), raw_(raw) {}

    void Begin(const DecoderWaveFormat& wave) {
        wave_ = wave;
        if (!raw_) output_.Write(output_.isFile() ? WavFileHeader(wave_, 0) : WavStreamHeader(wave_));
    }

    void Write(std::span<const std::byte> samples) {
        output_.Write(samples);
        bytes_ += samples.size();
    }

    void Finish() {
        if (!raw_ && output_.isFile()) {
            constexpr std::byte kPad{0};
            if (bytes_ % 2 != 0) output_.Write({&kPad, 1});
            output_.Rewrite(WavFileHeader(wave_, bytes_));
        }
        output_.Finish();
    }

    std::uint64_t bytes() const { return bytes_; }
    std::uint64_t positionMs() const {
        return static_cast<std::uint64_t>(static_cast<double>(bytes_) * 1000 / wave_.averageBytesPerSecond);
    }

  private:
    OutputFile& output_;
    const bool raw_;
    DecoderWaveFormat wave_{};
    std::uint64_t bytes_ = 0;
};

}  // namespace

void DecodeFile(const ContextOptions& plugin, const DecodeOptions& options) {
    const double start = TimeOption("--start", options.start).value_or(0);
    const std::optional<double> duration = TimeOption("--duration", options.duration);
    const std::string target = options.output.empty() ? OutputName(options) : options.output;
    RefuseBadOutput(options, target);

    const Context context(plugin);
    Session session(context);
    const DecoderFormat format = session.Open(options.file, 0).format;
    if (const std::uint64_t frame = Frames(start, format.wave); frame > 0) {
        session.SetPosition(static_cast<std::int64_t>(frame));
    }
    std::uint64_t bytesLeft =
        duration ? Bytes(*duration, format.wave) : std::numeric_limits<std::uint64_t>::max();

    OutputFile output(target);
    SampleWriter samples(output, options.raw);
    Progress progress(TotalMs(format.durationMs, start, duration));
    decoder_plugin::Block block = session.DecodeBlock();
    samples.Begin(block.format.wave);
    for (;;) {
        const auto wanted =
            static_cast<std::size_t>(std::min<std::uint64_t>(block.samples.size(), bytesLeft));
        samples.Write({block.samples.data(), wanted});
        bytesLeft -= wanted;
        progress.Update(samples.positionMs());
        if (block.last || bytesLeft == 0) break;
        block = session.DecodeBlock();
    }
    // A worker that could go on is not waited for: it ends with the session.
    if (bytesLeft != 0) session.Close();
    if (const int code = system::InterruptionCode()) throw Interruption{code};
    samples.Finish();
    progress.Finish();
}

}  // namespace host
