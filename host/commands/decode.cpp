// Files, or pieces of them, as samples.
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "host/commands/commands.h"
#include "host/commands/decoding.h"
#include "host/commands/format_text.h"
#include "host/commands/listing.h"
#include "host/commands/output_plan.h"
#include "host/files/output_file.h"
#include "host/files/wav_header.h"
#include "host/files/whole_file.h"
#include "host/system/checksum.h"
#include "host/system/console.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace fs = std::filesystem;

namespace {

// The samples on their way into an output, with the header that they need. The output is opened when the
// first samples are there.
class OutputSink : public SampleSink {
  public:
    OutputSink(std::string target, OutputFile::Existing existing, bool raw)
        : target_(std::move(target)), existing_(existing), raw_(raw) {}

    void Begin(const DecoderWaveFormat& wave) override {
        wave_ = wave;
        output_.emplace(target_, existing_);
        if (!raw_) output_->Write(output_->isFile() ? WavFileHeader(wave_, 0) : WavStreamHeader(wave_));
    }

    void Write(std::span<const std::byte> samples) override {
        output_->Write(samples);
        bytes_ += samples.size();
    }

    void Finish(Samples samples) {
        if (!raw_ && output_->isFile()) {
            constexpr std::byte kPad{0};
            if (bytes_ % 2 != 0) output_->Write({&kPad, 1});
            output_->Rewrite(WavFileHeader(wave_, bytes_, samples));
        }
        output_->Finish();
    }

    const DecoderWaveFormat& wave() const { return wave_; }

  private:
    const std::string target_;
    const OutputFile::Existing existing_;
    const bool raw_;
    std::optional<OutputFile> output_;
    DecoderWaveFormat wave_{};
    std::uint64_t bytes_ = 0;
};

class HashSink : public SampleSink {
  public:
    void Begin(const DecoderWaveFormat& wave) override { wave_ = wave; }
    void Write(std::span<const std::byte> samples) override { hash_.Add(samples); }
    std::string Text() { return hash_.Text(); }
    const DecoderWaveFormat& wave() const { return wave_; }

  private:
    system::Md5 hash_;
    DecoderWaveFormat wave_{};
};

void CheckOptions(const DecodeOptions& options) {
    const Piece checked(options.samples);
    if (!options.output.empty() && !options.folder.empty()) throw UsageFailure("give -o or --to, not both");
    if (options.output == "-" && system::IsTerminal(stdout)) {
        throw UsageFailure("samples don't go to a terminal; redirect the output");
    }
    if (options.output == "-" && options.batch.json)
        throw UsageFailure("samples and JSON don't go to one output");
}

// Whether an output of an earlier run is whole and not older than its source.
bool IsWholeOutput(const std::string& output, const std::string& input, bool raw) {
    std::error_code code;
    const fs::path path = ToPath(output);
    if (!fs::is_regular_file(path, code)) return false;
    const auto written = fs::last_write_time(path, code);
    const auto changed = fs::last_write_time(ToPath(input), code);
    if (!code && written < changed) return false;
    if (raw) return true;
    const std::uintmax_t size = fs::file_size(path, code);
    return !code && IsWholeWavFile(ReadStartOfFile(output, kWavStartSize), size);
}

FileResult DecodeOne(const Job& job, const DecodeOptions& options, const PlannedOutput& planned) {
    if (!planned.refusal.empty()) throw Failure(planned.refusal);
    const std::string& output = planned.path;
    FileResult result;
    result.fields["output"] = output;
    if (options.resume && output != "-" && IsWholeOutput(output, job.file.name, options.raw)) {
        result.outcome = Outcome::Skipped;
        return result;
    }
    const bool replaces =
        options.force || (options.resume && IsIncompleteWavFile(ReadStartOfFile(output, kWavStartSize)));
    if (!replaces) RefuseExisting(output);
    if (!options.folder.empty()) MakeFolderOf(output);

    OutputSink sink(
        output,
        options.force || options.resume ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse,
        options.raw);
    const bool showProgress = job.alone && !options.batch.quiet;
    const Decoded decoded = DecodeThrough(job, options.samples, showProgress, sink);
    const bool damaged = !decoded.damage.empty();
    if (damaged) {
        result.outcome = Outcome::Damaged;
        result.messages = {job.file.name + ": " + decoded.damage};
    }
    result.fields["format"] = FormatJson(sink.wave());
    result.fields["durationMs"] = decoded.milliseconds;
    if (damaged && options.strict) {
        result.fields.erase("output");
        return result;
    }
    sink.Finish(damaged ? Samples::Incomplete : Samples::Whole);
    if (output != "-" && !options.batch.quiet) {
        result.text = "Wrote " + output + ": " + FormatTime(decoded.milliseconds, true) + ", " +
                      FormatText(sink.wave()) + "\n";
    }
    return result;
}

FileResult VerifyOne(const Job& job, const SampleOptions& samples, bool quiet) {
    HashSink sink;
    const Decoded decoded = DecodeThrough(job, samples, job.alone && !quiet, sink);
    FileResult result;
    const std::string hash = sink.Text();
    result.fields["md5"] = hash;
    result.fields["format"] = FormatJson(sink.wave());
    result.fields["durationMs"] = decoded.milliseconds;
    if (!decoded.damage.empty()) {
        result.outcome = Outcome::Damaged;
        result.messages = {job.file.name + ": " + decoded.damage};
    } else if (!quiet) {
        result.text = job.file.name + ": whole, " + FormatTime(decoded.milliseconds, true) + ", " +
                      FormatText(sink.wave()) + ", MD5 " + hash + "\n";
    }
    return result;
}

}  // namespace

int DecodeFiles(const ContextOptions& plugin, const DecodeOptions& options) {
    CheckOptions(options);
    const Context context(plugin);
    const PlannedPart part = PlanPart(options.batch.shard, FilesOf(context, options.batch, Wanted::Audio),
                                      {options.output, options.folder, options.raw ? ".raw" : ".wav"});
    return RunBatch(context, options.batch, part.files,
                    [&](const Job& job) { return DecodeOne(job, options, part.outputs[job.index]); });
}

int VerifyFiles(const ContextOptions& plugin, const BatchOptions& batch, const SampleOptions& samples) {
    const Piece checked(samples);
    const Context context(plugin);
    const std::vector<InputFile> files = ShardOf(batch, FilesOf(context, batch, Wanted::Audio));
    return RunBatch(context, batch, files,
                    [&](const Job& job) { return VerifyOne(job, samples, batch.quiet); });
}

}  // namespace host
