// The text that a worker prints on its standard error, from bytes to tags.
#include <string>

#include "codecs/decoders/ffmpeg/sample_format.h"
#include "codecs/decoders/ffmpeg/stderr_dump.h"
#include "codecs/decoders/ffmpeg/stderr_lines.h"
#include "fuzzing.h"
#include "memory_stream.h"
#include "transport/exceptions.h"

namespace {

StdErrParse ParseText(std::span<const std::byte> bytes) {
    StdErrParse parse;
    MemoryStream stream(bytes);
    try {
        while (!parse.mappingDone) {
            const std::string line = ReadLine(stream);
            Require(line.find_first_of("\r\n") == std::string::npos);
            ParseStdErrLine(parse, line);
        }
    } catch (const Qel::invalid_input&) {
        // The text has ended.
    }
    return parse;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const StdErrParse parse = ParseText(Bytes(data, size));
    Require(parse.done || !parse.mapped);
    for (const StdErrStream* stream : AudioStreams(parse)) {
        Require(EncoderOf(DepthOf(*stream)) != nullptr || DepthOf(*stream) == SampleFormat::Default);
    }
    Require(parse.inInput || (parse.metadata.empty() && parse.streams.empty() && !parse.done));
    for (const auto& [key, value] : parse.metadata) Require(!key.empty() && key.back() != ' ');

    DecoderFormat format{};
    IDTags metadata;
    IDTags information;
    DeliverStdErr(parse, format, metadata, information);
    Require(format.bitrate == parse.bitrate);
    Require(static_cast<std::size_t>(metadata.count()) <= parse.metadata.size());
    Require(static_cast<std::size_t>(information.count()) <= parse.streams.size());
    clBuffer blob;
    Require(metadata.Serialise(blob));
    Require(information.Serialise(blob));
    return 0;
}
