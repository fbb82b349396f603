// What the worker's dump of its input says: duration, bitrate, metadata and codec names.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "codecs/decoders/ffmpeg/stderr_bounds.h"
#include "codecs/decoders/ffmpeg/stderr_lines.h"
#include "decoder_plugin.h"
#include "tags/idtags.h"

struct StdErrStream {
    std::string type;  // "Audio", ...
    std::string codec;
    std::vector<std::string> details;
};

struct StdErrParse : StdErrBounds {
    bool inMetadata = false;
    bool inStreams = false;
    std::vector<std::pair<std::string, std::string>> metadata;
    double durationSeconds = 0.0;
    std::uint32_t bitrate = 0;  // bits per second
    std::vector<StdErrStream> streams;
};

// Takes lines until the first input's dump has ended or five seconds brought none. Raises user_abort only.
void ParseStdErr(StdErrLineQueue& queue, StdErrParse& parse);

// One line of the worker's text.
void ParseStdErrLine(StdErrParse& parse, std::string_view line);

// One line of the dump, without the two blanks that it is indented by.
void ParseDumpLine(StdErrParse& parse, std::string_view text);
bool ParseStreamLine(StdErrParse& parse, std::string_view text);
void ParseMetadataLine(StdErrParse& parse, std::string_view text);

// Bitrate and duration go into the format, the metadata and an "Encoder" for each audio stream into the tags.
void DeliverStdErr(const StdErrParse& parse, DecoderFormat& format, IDTags& metadataTags, IDTags& infoTags);
