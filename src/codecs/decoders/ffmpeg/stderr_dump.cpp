#include "codecs/decoders/ffmpeg/stderr_dump.h"

#include <algorithm>
#include <limits>

namespace {

constexpr std::string_view kIndent = StdErrBounds::kIndent;
constexpr std::string_view kMetadataStart = "Metadata:";
constexpr std::string_view kDurationStart = "Duration: ";
constexpr std::string_view kStreamStart = "Stream #0:";
constexpr std::string_view kAudioType = "Audio";
constexpr std::string_view kEstimate = "Estimating duration from bitrate";
constexpr std::string_view kMappedToOutput = " -> #0:0";
constexpr std::string_view kOutputStart = "Output #0,";
constexpr const char16_t* kEncoderName = u"Encoder";

std::string_view Trimmed(std::string_view text) noexcept {
    const auto blank = [](char c) { return static_cast<unsigned char>(c) <= 32; };
    while (!text.empty() && blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && blank(text.back())) text.remove_suffix(1);
    return text;
}

std::vector<std::string_view> SplitAtCommas(std::string_view text) {
    std::vector<std::string_view> pieces;
    for (std::size_t comma = text.find(','); comma != text.npos; comma = text.find(',')) {
        pieces.push_back(text.substr(0, comma));
        text.remove_prefix(comma + 1);
    }
    pieces.push_back(text);
    return pieces;
}

// Around the first colon, both sides trimmed; all is the left side when there is none.
std::pair<std::string_view, std::string_view> SplitAtColon(std::string_view text) noexcept {
    const std::size_t colon = text.find(':');
    const std::string_view right = colon == text.npos ? std::string_view() : text.substr(colon + 1);
    return {Trimmed(text.substr(0, colon)), Trimmed(right)};
}

bool IsDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

// Digits and one point; every other character is passed over. A second point gives -1.
double Number(std::string_view text) noexcept {
    std::uint64_t digits = 0;
    double divisor = 1.0;
    bool fraction = false;
    for (const char c : text) {
        if (c == '.') {
            if (fraction) return -1.0;
            fraction = true;
        } else if (IsDigit(c)) {
            digits = digits * 10 + static_cast<std::uint64_t>(c - '0');
            if (fraction) divisor *= 10;
        }
    }
    return static_cast<double>(digits) / divisor;
}

// HH:MM:SS.cc
double Seconds(std::string_view value) noexcept {
    double total = 0.0;
    for (std::size_t colon = value.find(':'); colon != value.npos; colon = value.find(':')) {
        total = (total + Number(value.substr(0, colon))) * 60.0;
        value.remove_prefix(colon + 1);
    }
    return total + Number(value);
}

std::uint32_t LeadingInteger(std::string_view text) noexcept {
    std::uint32_t value = 0;
    for (const char c : text) {
        if (!IsDigit(c)) break;
        value = value * 10 + static_cast<std::uint32_t>(c - '0');
    }
    return value;
}

bool EndsInNoCase(std::string_view text, std::string_view lowerEnd) noexcept {
    if (text.size() < lowerEnd.size()) return false;
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::equal(lowerEnd.begin(), lowerEnd.end(),
                      text.end() - static_cast<std::ptrdiff_t>(lowerEnd.size()),
                      [lower](char end, char c) { return end == lower(c); });
}

void ParseDurationLine(StdErrParse& parse, std::string_view text) {
    for (const std::string_view piece : SplitAtCommas(text)) {
        const auto [name, value] = SplitAtColon(piece);
        if (name == "Duration") {
            parse.durationSeconds = Seconds(value);
        } else if (name == "bitrate" && EndsInNoCase(value, " kb/s")) {
            parse.bitrate = LeadingInteger(value) * 1000;
        } else if (name == "bitrate" && EndsInNoCase(value, " b/s")) {
            parse.bitrate = LeadingInteger(value);
        }
    }
}

// "  Stream #0:1 -> #0:0 (flac (native) -> pcm_s16le (native))", behind the dump and before that of the
// output.
void ParseMappingLine(StdErrParse& parse, std::string_view line) {
    const std::string_view text = Trimmed(line);
    if (text.starts_with(kStreamStart) && text.find(kMappedToOutput) != text.npos) {
        parse.mapped = LeadingInteger(text.substr(kStreamStart.size()));
    }
    parse.mappingDone = parse.mapped || line.starts_with(kOutputStart);
}

std::int64_t Milliseconds(double seconds) noexcept {
    constexpr double kLargest = 9.2e18;
    return static_cast<std::int64_t>(std::clamp(seconds * 1000.0, -kLargest, kLargest));
}

clString FromUtf8(std::string_view bytes) {
    clString text;
    text.SetFromUtf8(bytes);
    return text;
}

}  // namespace

void ParseStdErr(StdErrLineQueue& queue, StdErrParse& parse, double patienceSeconds) {
    while (!parse.done) {
        const std::vector<std::string> batch = queue.TakeLines(patienceSeconds);
        if (batch.empty()) return;
        for (const std::string& line : batch) ParseStdErrLine(parse, line);
    }
}

const StdErrStream* DecodedStream(StdErrLineQueue& queue, StdErrParse& parse, std::int32_t audioStream) {
    const std::vector<const StdErrStream*> streams = AudioStreams(parse);
    if (audioStream >= 0) {
        const auto index = static_cast<std::size_t>(audioStream);
        return index < streams.size() ? streams[index] : nullptr;
    }
    if (streams.size() == 1) return streams.front();
    while (parse.done && !parse.mappingDone) {
        const std::vector<std::string> batch = queue.TakeLines(kDumpPatienceSeconds);
        if (batch.empty()) break;
        for (const std::string& line : batch) ParseStdErrLine(parse, line);
    }
    const auto found = std::find_if(streams.begin(), streams.end(), [&parse](const StdErrStream* stream) {
        return stream->number == parse.mapped;
    });
    return found == streams.end() ? nullptr : *found;
}

std::vector<const StdErrStream*> AudioStreams(const StdErrParse& parse) {
    std::vector<const StdErrStream*> streams;
    for (const StdErrStream& stream : parse.streams) {
        if (stream.type == kAudioType) streams.push_back(&stream);
    }
    return streams;
}

void ParseStdErrLine(StdErrParse& parse, std::string_view line) {
    if (parse.done) {
        if (!parse.mappingDone) ParseMappingLine(parse, line);
    } else if (parse.Pass(line)) {
        ParseDumpLine(parse, line.substr(kIndent.size()));
    } else if (!parse.inInput && line.find(kEstimate) != line.npos) {
        parse.durationEstimated = true;
    }
}

void ParseDumpLine(StdErrParse& parse, std::string_view text) {
    if (parse.inMetadata && text.starts_with(kIndent)) {
        ParseMetadataLine(parse, text.substr(kIndent.size()));
    } else if (parse.inStreams && ParseStreamLine(parse, Trimmed(text))) {
        return;
    } else if (text == kMetadataStart) {
        parse.inMetadata = true;
        parse.inStreams = false;
    } else if (text.starts_with(kDurationStart)) {
        parse.inMetadata = false;
        parse.inStreams = true;
        ParseDurationLine(parse, text);
    }
}

bool ParseStreamLine(StdErrParse& parse, std::string_view text) {
    if (!text.starts_with(kStreamStart)) return false;
    // Behind the stream's number, and a language or id that may follow it.
    const std::size_t colon = text.find(':', kStreamStart.size());
    if (colon == text.npos) return false;
    const std::vector<std::string_view> pieces = SplitAtCommas(text.substr(colon + 1));
    const auto [type, codec] = SplitAtColon(pieces.front());
    StdErrStream stream{
        LeadingInteger(text.substr(kStreamStart.size())), std::string(type), std::string(codec), {}};
    for (std::size_t i = 1; i < pieces.size(); ++i) stream.details.emplace_back(Trimmed(pieces[i]));
    parse.streams.push_back(std::move(stream));
    return true;
}

void ParseMetadataLine(StdErrParse& parse, std::string_view text) {
    const std::size_t colon = text.find(':');
    if (colon == text.npos) return;
    std::string_view value = text.substr(colon + 1);
    if (value.starts_with(' ')) value.remove_prefix(1);
    std::string_view key = text.substr(0, colon);
    key = key.substr(0, key.find_last_not_of(' ') + 1);
    if (!key.empty()) {
        parse.metadata.emplace_back(key, value);
    } else if (!parse.metadata.empty()) {
        // A further line of the value before.
        parse.metadata.back().second.append("\n").append(value);
    }
}

void DeliverStdErr(const StdErrParse& parse, DecoderFormat& format, IDTags& metadataTags, IDTags& infoTags) {
    format.durationMs = Milliseconds(parse.durationSeconds);
    format.bitrate = parse.bitrate;
    for (const StdErrStream* stream : AudioStreams(parse)) {
        infoTags.AddText(kEncoderName, FromUtf8(stream->codec));
    }
    for (const auto& [key, value] : parse.metadata) {
        if (!value.empty()) metadataTags.AddText(FromUtf8(key), FromUtf8(value));
    }
}
