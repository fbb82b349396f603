// What the plug-in decodes, and what it knows of a file.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/commands/commands.h"
#include "host/session/session.h"
#include "host/system/console.h"
#include "host/tags/pictures.h"
#include "host/terminal/output.h"
#include "host/text/text.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;
using Lines = std::vector<std::pair<std::string, std::string>>;

constexpr std::uint16_t kPcmTag = 1;
constexpr std::uint16_t kFloatTag = 3;
constexpr std::uint16_t kExtensibleTag = 0xFFFE;
constexpr const char* kEncoderName = "Encoder";
constexpr const char* kTagKindName = "ID Tag";

void PrintJson(const Json& json) {
    Print(json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

// The tag that says what the samples are; the extensible record keeps it in front of its identifier.
std::uint16_t SampleTag(const DecoderWaveFormat& wave) {
    if (wave.formatTag != kExtensibleTag) return wave.formatTag;
    return static_cast<std::uint16_t>(wave.subFormat[0] | wave.subFormat[1] << 8);
}

std::string SampleKind(const DecoderWaveFormat& wave) {
    const std::uint16_t tag = SampleTag(wave);
    if (tag == kPcmTag) return "PCM";
    if (tag == kFloatTag) return "float";
    return "format " + std::to_string(tag);
}

std::string FormatText(const DecoderWaveFormat& wave) {
    std::string text = SampleKind(wave) + ", " + std::to_string(wave.bitsPerSample) + " bits, " +
                       std::to_string(wave.samplesPerSecond) + " Hz, " + std::to_string(wave.channels) +
                       (wave.channels == 1 ? " channel" : " channels");
    return text;
}

Json FormatJson(const DecoderWaveFormat& wave) {
    Json json = {{"formatTag", wave.formatTag},         {"sampleType", SampleKind(wave)},
                 {"channels", wave.channels},           {"sampleRate", wave.samplesPerSecond},
                 {"bitsPerSample", wave.bitsPerSample}, {"blockAlign", wave.blockAlign}};
    if (wave.formatTag == kExtensibleTag) {
        json["validBitsPerSample"] = wave.validBitsPerSample;
        json["channelMask"] = wave.channelMask;
    }
    return json;
}

std::string ImageName(const Entry& entry) {
    const ImageKind kind = IdentifyImage(entry.data);
    return kind.name == nullptr ? "unknown format" : kind.name;
}

std::string PictureText(const Entry& entry) {
    const PictureName name = ParsePictureName(entry.name);
    std::string text = (name.type.empty() ? "untyped" : name.type) + ", " + ImageName(entry) + ", " +
                       std::to_string(entry.data.size()) + " bytes";
    if (!name.description.empty()) text += ", \"" + name.description + "\"";
    return text;
}

Lines TagLines(const Entries& tags) {
    Lines lines;
    for (const Entry& entry : tags) {
        if (IsPicture(entry)) {
            lines.emplace_back("Picture " + ParsePictureName(entry.name).number, PictureText(entry));
        } else if (!entry.data.empty()) {
            lines.emplace_back(entry.name, std::to_string(entry.data.size()) + " bytes of data");
        } else {
            lines.emplace_back(entry.name, entry.value);
        }
    }
    return lines;
}

Json TagsJson(const Entries& tags) {
    Json json = Json::array();
    for (const Entry& entry : tags) {
        if (IsPicture(entry)) continue;
        if (entry.data.empty()) {
            json.push_back({{"name", entry.name}, {"values", Split(entry.value, kValueSeparator)}});
        } else {
            json.push_back({{"name", entry.name}, {"bytes", entry.data.size()}});
        }
    }
    return json;
}

Json PicturesJson(const Entries& tags) {
    Json json = Json::array();
    for (const Entry& entry : tags) {
        if (!IsPicture(entry)) continue;
        const PictureName name = ParsePictureName(entry.name);
        const ImageKind kind = IdentifyImage(entry.data);
        Json picture = {{"type", name.type}, {"description", name.description}, {"bytes", entry.data.size()}};
        picture["format"] = kind.name == nullptr ? Json() : Json(kind.name);
        json.push_back(std::move(picture));
    }
    return json;
}

std::vector<std::string> ValuesOf(const Entries& entries, std::string_view name) {
    std::vector<std::string> values;
    for (const Entry& entry : entries) {
        if (entry.name == name) values.push_back(entry.value);
    }
    return values;
}

// Names in one column, values in the next; further values and lines of a value below the first.
void PrintLines(const Lines& lines) {
    constexpr std::size_t kWidestName = 24;
    const bool terminal = system::IsTerminal(stdout);
    std::size_t width = 0;
    for (const auto& [name, value] : lines) width = std::max(width, std::min(name.size(), kWidestName));
    std::string text;
    for (const auto& [name, value] : lines) {
        std::string shownName = terminal ? EscapeControls(name) : name;
        if (shownName.size() < width) shownName.resize(width, ' ');
        std::string start = shownName + "  ";
        std::string whole = value;
        for (std::size_t at = whole.find("\r\n"); at != std::string::npos; at = whole.find("\r\n", at)) {
            whole.erase(at, 1);
        }
        std::replace(whole.begin(), whole.end(), kValueSeparator, '\n');
        for (const std::string& line : Split(whole, '\n')) {
            text += start + (terminal ? EscapeControls(line) : line) + "\n";
            start.assign(width + 2, ' ');
        }
    }
    Print(text);
}

}  // namespace

void ShowFormats(const ContextOptions& plugin, bool json) {
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
        PrintJson(
            {{"description", session.Description()}, {"decodes", decodes}, {"streamingDecodes", streams}});
        return;
    }
    Print(session.Description() + "\n\nFiles:\n");
    PrintLines(lines);
    Print("\nStreams:\n");
    for (const Json& type : streams) Print(type.get<std::string>() + "\n");
}

void ShowInfo(const ContextOptions& plugin, const std::string& file, bool json) {
    const Context context(plugin);
    Session session(context);
    const OpenedFile opened = session.Open(file, DECODER_OPEN_TAGS | DECODER_OPEN_INFO);
    const DecoderFormat& format = opened.format;
    const DecoderWaveFormat wave = format.wave;
    const std::uint32_t bitrate = format.bitrate;
    const std::int64_t durationMs = format.durationMs;
    const std::vector<std::string> encoders = ValuesOf(opened.info, kEncoderName);
    const std::vector<std::string> kinds = ValuesOf(opened.info, kTagKindName);
    if (json) {
        PrintJson({{"file", file},
                   {"format", FormatJson(wave)},
                   {"durationMs", durationMs},
                   {"bitrate", bitrate},
                   {"encoders", encoders},
                   {"tagKind", kinds.empty() ? Json() : Json(kinds.front())},
                   {"tags", TagsJson(opened.tags)},
                   {"pictures", PicturesJson(opened.tags)}});
        return;
    }
    Lines lines = {{"File", file}, {"Format", FormatText(wave)}};
    lines.emplace_back("Duration",
                       durationMs > 0 ? FormatTime(static_cast<std::uint64_t>(durationMs), true) : "unknown");
    lines.emplace_back("Bitrate", bitrate > 0 ? std::to_string(bitrate / 1000) + " kb/s" : "unknown");
    for (const std::string& encoder : encoders) lines.emplace_back("Encoder", encoder);
    for (const std::string& kind : kinds) lines.emplace_back("Tag kind", kind);
    PrintLines(lines);
    if (opened.tags.empty()) return;
    Print("\nTags:\n");
    PrintLines(TagLines(opened.tags));
}

void ShowTags(const ContextOptions& plugin, const std::string& file, bool json) {
    const Context context(plugin);
    Session session(context);
    const OpenedFile opened = session.Open(file, DECODER_OPEN_TAGS);
    if (json) {
        PrintJson({{"file", file}, {"tags", TagsJson(opened.tags)}, {"pictures", PicturesJson(opened.tags)}});
        return;
    }
    PrintLines(TagLines(opened.tags));
}

}  // namespace host
