// What the worker's dump of its input says: duration, bitrate, metadata and codec names.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "codecs/decoders/ffmpeg/stderr_bounds.h"
#include "codecs/decoders/ffmpeg/stderr_lines.h"
#include "decoder_plugin.h"
#include "tags/idtags.h"

struct StdErrStream {
    std::uint32_t number = 0;  // among all streams of the input
    std::string type;          // "Audio", ...
    std::string codec;
    std::vector<std::string> details;
};

struct StdErrParse : StdErrBounds {
    bool inMetadata = false;
    bool inStreams = false;
    std::vector<std::pair<std::string, std::string>> metadata;
    double durationSeconds = 0.0;
    bool durationEstimated = false;  // from the bitrate
    std::uint32_t bitrate = 0;       // bits per second
    std::vector<StdErrStream> streams;
    std::optional<std::uint32_t> mapped;  // behind the dump: the number of the stream that is decoded
    bool mappingDone = false;             // no more will be said of that
};

inline constexpr double kDumpPatienceSeconds = 5.0;  // without a line, the dump has ended

// Takes lines until the first input's dump has ended or the time brought none. Raises user_abort only.
void ParseStdErr(StdErrLineQueue& queue, StdErrParse& parse, double patienceSeconds = kDumpPatienceSeconds);

// The audio stream that is decoded: the one that the worker was told, counted among the audio streams from 0,
// or for -1 the worker's choice, for which more lines may be taken from the queue. Null when there is none,
// or no word of it.
const StdErrStream* DecodedStream(StdErrLineQueue& queue, StdErrParse& parse, std::int32_t audioStream);

// The audio streams of the dump, in its order.
std::vector<const StdErrStream*> AudioStreams(const StdErrParse& parse);

// One line of the worker's text.
void ParseStdErrLine(StdErrParse& parse, std::string_view line);

// One line of the dump, without the two blanks that it is indented by.
void ParseDumpLine(StdErrParse& parse, std::string_view text);
bool ParseStreamLine(StdErrParse& parse, std::string_view text);
void ParseMetadataLine(StdErrParse& parse, std::string_view text);

// Bitrate and duration go into the format, the metadata and an "Encoder" for each audio stream into the tags.
void DeliverStdErr(const StdErrParse& parse, DecoderFormat& format, IDTags& metadataTags, IDTags& infoTags);
