// What the plug-in decodes, and what it knows of a file.
#include <algorithm>

#include "host/commands/commands.h"
#include "host/commands/decoding.h"
#include "host/commands/format_text.h"
#include "host/commands/listing.h"
#include "host/commands/tag_text.h"
#include "host/session/session.h"
#include "host/system/program.h"
#include "host/terminal/output.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace {

constexpr const char* kEncoderName = "Encoder";
constexpr const char* kTagKindName = "ID Tag";

// The plug-in would look for a local file where a URL ends like a file that it reads the tags of, and fail.
std::uint32_t FlagsFor(const Job& job, std::uint32_t flags) {
    return IsUrl(job.file.name) && job.session.CanWriteTags(job.file.name) ? 0 : flags;
}

Json StreamsJson(const std::vector<Session::SourceStream>& streams) {
    Json json = Json::array();
    for (const Session::SourceStream& stream : streams)
        json.push_back({{"codec", stream.codec}, {"details", stream.details}});
    return json;
}

FileResult InfoOf(const Job& job, const ShowOptions& options) {
    const std::string& file = job.file.name;
    ChooseSamples(job, {});
    const OpenedFile opened = job.session.Open(file, FlagsFor(job, DECODER_OPEN_TAGS | DECODER_OPEN_INFO));
    const DecoderWaveFormat wave = opened.format.wave;
    const std::uint32_t bitrate = opened.format.bitrate;
    const std::int64_t durationMs = opened.format.durationMs;
    const std::vector<std::string> encoders = ValuesOf(opened.info, kEncoderName);
    const std::vector<Session::SourceStream> sources = job.session.SourceStreams();
    const std::vector<std::string> kinds = ValuesOf(opened.info, kTagKindName);
    FileResult result;
    result.fields = {{"format", FormatJson(wave)},
                     {"durationMs", durationMs},
                     {"bitrate", bitrate},
                     {"encoders", encoders},
                     {"streams", StreamsJson(sources)},
                     {"tagKind", kinds.empty() ? Json() : Json(kinds.front())},
                     {"tags", TagsJson(opened.tags)},
                     {"pictures", PicturesJson(opened.tags, options.pictures)}};
    if (options.batch.json) return result;
    Lines lines = {{"File", file}};
    for (std::size_t index = 0; index < encoders.size(); ++index) {
        // A plug-in that can't tell more of its streams tells their codecs.
        const bool isKnown = index < sources.size() && !sources[index].details.empty();
        lines.emplace_back("Stream " + std::to_string(index),
                           encoders[index] + (isKnown ? ", " + sources[index].details : ""));
    }
    lines.emplace_back("Decoded as", FormatText(wave));
    lines.emplace_back("Duration",
                       durationMs > 0 ? FormatTime(static_cast<std::uint64_t>(durationMs), true) : "unknown");
    lines.emplace_back("Bitrate", bitrate > 0 ? std::to_string(bitrate / 1000) + " kb/s" : "unknown");
    for (const std::string& kind : kinds) lines.emplace_back("Tag kind", kind);
    result.text = Columns(lines);
    if (!opened.tags.empty()) result.text += "\nTags:\n" + Columns(TagLines(opened.tags));
    if (!job.alone) result.text += "\n";
    return result;
}

// The values alone, a line each.
std::string ValueLines(const Entries& tags) {
    std::string text;
    for (const Entry& entry : tags) {
        std::string value = entry.value;
        std::replace(value.begin(), value.end(), kValueSeparator, '\n');
        text += value + "\n";
    }
    return text;
}

// Those of the names, in their order. Throws Failure when one isn't there.
Entries Named(const std::string& file, const Entries& tags, const std::vector<std::string>& names) {
    Entries found;
    for (const std::string& name : names) {
        const auto entry = std::find_if(tags.begin(), tags.end(),
                                        [&](const Entry& tag) { return EqualIgnoringCase(tag.name, name); });
        if (entry == tags.end()) throw Failure(file + " has no tag \"" + name + "\"");
        found.push_back(*entry);
    }
    return found;
}

FileResult TagsOf(const Job& job, const ShowOptions& options) {
    const std::string& file = job.file.name;
    Entries tags = job.session.Open(file, FlagsFor(job, DECODER_OPEN_TAGS)).tags;
    if (!options.names.empty()) tags = Named(file, tags, options.names);
    FileResult result;
    result.fields = {{"tags", TagsJson(tags)}, {"pictures", PicturesJson(tags, options.pictures)}};
    if (options.batch.json) return result;
    if (!options.names.empty()) {
        result.text = ValueLines(tags);
    } else {
        result.text =
            (job.alone ? "" : Emphasized(file) + "\n") + Columns(TagLines(tags)) + (job.alone ? "" : "\n");
    }
    return result;
}

int ShowFiles(const ContextOptions& plugin, const BatchOptions& batch, const FileJob& job) {
    const Context context(plugin);
    return RunBatch(context, batch, ShardOf(batch, FilesOf(context, batch, Wanted::Audio)), job);
}

}  // namespace

int ShowFormats(const ContextOptions& plugin, bool json) {
    const Context context(plugin);
    Session session(context);
    Json decodes = Json::array();
    Json streams = Json::array();
    Lines lines;
    for (const decoder_plugin::TableRow& row : session.Decodes()) {
        decodes.push_back({{"extension", row.text}, {"description", row.description}});
        lines.emplace_back(row.text, row.description);
    }
    for (const decoder_plugin::TableRow& row : session.StreamingDecodes()) streams.push_back(row.text);
    if (json) {
        Print(JsonLine(
            {{"description", session.Description()}, {"decodes", decodes}, {"streamingDecodes", streams}}));
        return 0;
    }
    Print(session.Description() + "\n\nFiles:\n" + Columns(lines) + "\nStreams:\n");
    for (const Json& type : streams) Print(type.get<std::string>() + "\n");
    return 0;
}

int ShowVersion(const ContextOptions& plugin) {
    Print(std::string("decoder-host ") + DECODER_HOST_VERSION + "\n");
    const Context context(plugin);
    decoder_plugin::Decoder decoder(context.plugin());
    const auto version = decoder.Version();
    Print("plug-in: " + decoder.Description() + (version ? " " + version->text : "") + "\n");
    const std::string worker = system::OutputOf(context.workerPath(), {"-version"});
    Print("worker: " +
          (worker.empty() ? "none at " + PathText(context.workerPath()) : Split(worker, '\n').front()) +
          "\n");
    return 0;
}

int ShowInfo(const ContextOptions& plugin, const ShowOptions& options) {
    return ShowFiles(plugin, options.batch, [&](const Job& job) { return InfoOf(job, options); });
}

int ShowTags(const ContextOptions& plugin, const ShowOptions& options) {
    return ShowFiles(plugin, options.batch, [&](const Job& job) { return TagsOf(job, options); });
}

}  // namespace host
