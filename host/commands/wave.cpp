// Files as pictures, and as waveforms of characters.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>

#include "host/commands/commands.h"
#include "host/commands/decoding.h"
#include "host/commands/format_text.h"
#include "host/commands/listing.h"
#include "host/commands/output_plan.h"
#include "host/files/output_file.h"
#include "host/pictures/block_waveform.h"
#include "host/pictures/overview_picture.h"
#include "host/pictures/png_canvas.h"
#include "host/pictures/svg_canvas.h"
#include "host/sound/overview.h"
#include "host/system/console.h"
#include "host/terminal/output.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace {

constexpr Size kUsualSize{1600, 900};

class OverviewSink : public SampleSink {
  public:
    explicit OverviewSink(Overview::Frequencies frequencies) : frequencies_(frequencies) {}

    void Begin(const DecoderWaveFormat& wave) override {
        wave_ = wave;
        overview_.emplace(wave, frequencies_);
    }
    void Write(std::span<const std::byte> samples) override { overview_->Add(samples); }

    const Overview& Finish() {
        overview_->Finish();
        return *overview_;
    }
    const Overview& overview() const { return *overview_; }
    const DecoderWaveFormat& wave() const { return wave_; }

  private:
    const Overview::Frequencies frequencies_;
    std::optional<Overview> overview_;
    DecoderWaveFormat wave_{};
};

// Whether the picture is an SVG. Throws UsageFailure where the name speaks of neither kind.
bool IsSvg(const WaveOptions& options) {
    if (options.output.empty() || options.output == "-") return options.svg;
    const std::string extension = PathText(ToPath(options.output).extension());
    if (EqualIgnoringCase(extension, ".svg")) return true;
    if (EqualIgnoringCase(extension, ".png") && !options.svg) return false;
    throw UsageFailure(options.output + ": the name of a picture ends in .png, or in .svg for an SVG");
}

Size SizeOption(const std::string& text) {
    if (text.empty()) return kUsualSize;
    Size size{};
    const char* const end = text.data() + text.size();
    const auto [cross, badWidth] = std::from_chars(text.data(), end, size.width);
    const bool isCross = badWidth == std::errc() && cross != end && (*cross == 'x' || *cross == 'X');
    const char* stop = cross;
    if (isCross) stop = std::from_chars(cross + 1, end, size.height).ptr;
    const auto isWithin = [](int length, int least, int most) { return length >= least && length <= most; };
    if (stop != end || !isWithin(size.width, kSmallestPicture.width, kLargestPicture.width) ||
        !isWithin(size.height, kSmallestPicture.height, kLargestPicture.height)) {
        const auto shown = [](Size one) {
            return std::to_string(one.width) + "x" + std::to_string(one.height);
        };
        throw UsageFailure("--size takes WIDTHxHEIGHT from " + shown(kSmallestPicture) + " to " +
                           shown(kLargestPicture) + ", not " + text);
    }
    return size;
}

void CheckOptions(const WaveOptions& options) {
    const Piece checked(options.samples);
    SizeOption(options.size);
    IsSvg(options);
    if (!options.output.empty() && !options.folder.empty()) throw UsageFailure("give -o or --to, not both");
    if (options.output == "-" && !options.svg && system::IsTerminal(stdout))
        throw UsageFailure("a picture doesn't go to a terminal; redirect the output");
    if (options.output == "-" && options.batch.json)
        throw UsageFailure("a picture and JSON don't go to one output");
}

std::string DecibelText(double amplitude) {
    const std::optional<double> level = Decibels(amplitude);
    if (!level) return "-inf dBFS";
    char text[32];
    std::snprintf(text, sizeof text, "%.1f dBFS", *level);
    return text;
}

Json DecibelJson(double amplitude) {
    const std::optional<double> level = Decibels(amplitude);
    return level ? Json(std::round(*level * 100) / 100) : Json();
}

void WritePicture(const Overview& overview, const Caption& caption, const WaveOptions& options,
                  const std::string& output) {
    const Size size = SizeOption(options.size);
    std::unique_ptr<Canvas> canvas;
    if (IsSvg(options)) {
        canvas = std::make_unique<SvgCanvas>(size);
    } else {
        canvas = std::make_unique<PngCanvas>(size);
    }
    DrawOverview(overview, caption, size, *canvas);
    if (!options.folder.empty()) MakeFolderOf(output);
    OutputFile file(output, options.force ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse);
    file.Write(canvas->Finish());
    file.Finish();
}

// As wide as the terminal, but for the last column: a character there moves some on to the next line.
std::string TextPicture(const Overview& overview, double start) {
    constexpr int kWidest = 200;
    const int width = std::clamp(system::TerminalWidth(stdout) - 1, 1, kWidest);
    const Letters letters = system::ShowsUnicode(stdout) ? Letters::Blocks : Letters::Ascii;
    return BlockWaveform(overview, start, static_cast<std::size_t>(width), letters);
}

// A file that was decoded, and what there is to say of it.
struct Seen {
    explicit Seen(Overview::Frequencies frequencies) : sink(frequencies) {}
    OverviewSink sink;
    std::string details;
    FileResult result;
};

std::unique_ptr<Seen> See(const Job& job, const WaveOptions& options, Overview::Frequencies frequencies) {
    auto seen = std::make_unique<Seen>(frequencies);
    const bool showProgress = job.alone && !options.batch.quiet;
    const Decoded decoded = DecodeThrough(job, options.samples, showProgress, seen->sink);
    const Overview& overview = seen->sink.Finish();
    if (overview.frames() == 0) throw Failure(job.file.name + ": no samples to show");
    if (!decoded.damage.empty()) {
        seen->result.outcome = Outcome::Damaged;
        seen->result.messages = {job.file.name + ": " + decoded.damage};
    }
    const Extent whole = overview.envelope().Whole();
    seen->result.fields = {{"format", FormatJson(seen->sink.wave())},
                           {"durationMs", decoded.milliseconds},
                           {"peakDbfs", DecibelJson(whole.Peak())},
                           {"rmsDbfs", DecibelJson(whole.Rms())}};
    seen->details = FormatTime(decoded.milliseconds, true) + ", " + FormatText(seen->sink.wave()) +
                    ", peak " + DecibelText(whole.Peak()) + ", RMS " + DecibelText(whole.Rms());
    return seen;
}

FileResult DrawOne(const Job& job, const WaveOptions& options, const PlannedOutput& planned) {
    if (!planned.refusal.empty()) throw Failure(planned.refusal);
    const std::string& output = planned.path;
    if (!options.force) RefuseExisting(output);
    const std::unique_ptr<Seen> seen = See(job, options, Overview::Frequencies::With);
    const std::string title = job.file.name == "-" ? "standard input" : PathText(job.file.tree.filename());
    WritePicture(seen->sink.overview(), {title, seen->details, Piece(options.samples).start}, options,
                 output);
    FileResult result = std::move(seen->result);
    result.fields["output"] = output;
    if (output != "-" && !options.batch.quiet) result.text = "Wrote " + output + ": " + seen->details + "\n";
    return result;
}

FileResult DescribeOne(const Job& job, const WaveOptions& options) {
    const std::unique_ptr<Seen> seen = See(job, options, Overview::Frequencies::Without);
    FileResult result = std::move(seen->result);
    if (options.batch.quiet) return result;
    const std::string name = system::IsTerminal(stdout) ? EscapeControls(job.file.name) : job.file.name;
    result.text = Emphasized(name) + ": " + seen->details + "\n" +
                  TextPicture(seen->sink.overview(), Piece(options.samples).start) + (job.alone ? "" : "\n");
    return result;
}

}  // namespace

int DrawWaves(const ContextOptions& plugin, const WaveOptions& options) {
    CheckOptions(options);
    const Context context(plugin);
    const std::vector<InputFile> inputs = FilesOf(context, options.batch, Wanted::Audio);
    if (options.output.empty() && options.folder.empty()) {
        return RunBatch(context, options.batch, ShardOf(options.batch, inputs),
                        [&](const Job& job) { return DescribeOne(job, options); });
    }
    const PlannedPart part = PlanPart(options.batch.shard, inputs,
                                      {options.output, options.folder, IsSvg(options) ? ".svg" : ".png"});
    return RunBatch(context, options.batch, part.files,
                    [&](const Job& job) { return DrawOne(job, options, part.outputs[job.index]); });
}

}  // namespace host
