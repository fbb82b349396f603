// The header of the Wave64 stream on the worker's standard output.
#pragma once

#include <cstdint>

#include "codecs/decoders/ffmpeg/wave_format.h"
#include "decoder_plugin.h"
#include "transport/streams.h"

struct StreamHeader {
    clWaveFormat& wave;            // the last format chunk, normalised
    DecoderWaveFormat& handedOut;  // the same as the host gets it
    std::uint64_t& dataSize;       // bytes that the data chunk declares, whatever they are
};

// Reads up to the first byte of audio and not beyond. Raises invalid_input when the stream ends before or
// isn't Wave64. Of each GUID only the first four bytes count.
void ReadStreamHeader(Qel::streamIn& stream, const StreamHeader& header);
