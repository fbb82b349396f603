// The formats of samples that a host can ask for.
#pragma once

#include <optional>
#include <string_view>

#include "codecs/decoders/ffmpeg/stderr_dump.h"
#include "codecs/decoders/ffmpeg/wave_format.h"

enum class SampleFormat { Default, S16, S24, S32, F32, F64, Source };

// By the word of the host, exactly.
std::optional<SampleFormat> SampleFormatOf(std::u16string_view word) noexcept;

// The worker's encoder for the format; null for Default and Source, which name none.
const char* EncoderOf(SampleFormat format) noexcept;

// Whether the stream has this format. None has Default or Source.
bool Has(const clWaveFormat& wave, SampleFormat format) noexcept;

// The format that loses nothing of what this stream decodes to; Default when its line doesn't tell.
SampleFormat DepthOf(const StdErrStream& stream) noexcept;
