#include "codecs/decoders/ffmpeg/sample_format.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "decoder_plugin.h"

namespace {

struct FormatRow {
    SampleFormat format;
    const char16_t* word;
    const char* encoder;  // null: the worker's own choice
    std::uint16_t formatTag;
    std::uint16_t bits;  // of one sample in the stream
};

constexpr std::array kFormats{
    FormatRow{SampleFormat::Default, DECODER_SAMPLES_DEFAULT, nullptr, 0, 0},
    FormatRow{SampleFormat::S16, DECODER_SAMPLES_S16, "pcm_s16le", clWaveFormat::kTagPcm, 16},
    FormatRow{SampleFormat::S24, DECODER_SAMPLES_S24, "pcm_s24le", clWaveFormat::kTagPcm, 24},
    FormatRow{SampleFormat::S32, DECODER_SAMPLES_S32, "pcm_s32le", clWaveFormat::kTagPcm, 32},
    FormatRow{SampleFormat::F32, DECODER_SAMPLES_F32, "pcm_f32le", clWaveFormat::kTagFloat, 32},
    FormatRow{SampleFormat::F64, DECODER_SAMPLES_F64, "pcm_f64le", clWaveFormat::kTagFloat, 64},
    FormatRow{SampleFormat::Source, DECODER_SAMPLES_SOURCE, nullptr, 0, 0},
};

// FFmpeg's names of what a decoder gives. A trailing "p" stands for one plane per channel.
struct DecodedRow {
    std::string_view name;
    SampleFormat format;
};

constexpr std::array kDecoded{
    DecodedRow{"u8", SampleFormat::S16},  DecodedRow{"s16", SampleFormat::S16},
    DecodedRow{"s32", SampleFormat::S32}, DecodedRow{"s64", SampleFormat::F64},
    DecodedRow{"flt", SampleFormat::F32}, DecodedRow{"dbl", SampleFormat::F64},
};

const FormatRow& RowOf(SampleFormat format) noexcept {
    return *std::find_if(kFormats.begin(), kFormats.end(),
                         [format](const FormatRow& row) { return row.format == format; });
}

// The number in "(24 bit)", which stands where fewer bits are used than the samples have; 0 without one.
unsigned UsedBits(std::string_view detail) noexcept {
    const std::size_t end = detail.find(" bit)");
    const std::size_t begin = detail.rfind('(', end);
    if (end == detail.npos || begin == detail.npos) return 0;
    unsigned bits = 0;
    for (const char digit : detail.substr(begin + 1, end - begin - 1)) {
        if (digit < '0' || digit > '9' || bits > 64) return 0;
        bits = bits * 10 + static_cast<unsigned>(digit - '0');
    }
    return bits;
}

// Default for a detail that isn't the format of the samples: the rate, the layout, ...
SampleFormat DepthOfDetail(std::string_view detail) noexcept {
    const std::string_view word = detail.substr(0, detail.find(' '));
    for (const DecodedRow& row : kDecoded) {
        if (!word.starts_with(row.name)) continue;
        const std::string_view rest = word.substr(row.name.size());
        if (!rest.empty() && rest != "p") continue;
        const unsigned bits = UsedBits(detail);
        if (row.format != SampleFormat::S32 || bits == 0 || bits > 24) return row.format;
        return bits > 16 ? SampleFormat::S24 : SampleFormat::S16;
    }
    return SampleFormat::Default;
}

}  // namespace

std::optional<SampleFormat> SampleFormatOf(std::u16string_view word) noexcept {
    for (const FormatRow& row : kFormats) {
        if (word == row.word) return row.format;
    }
    return std::nullopt;
}

const char* EncoderOf(SampleFormat format) noexcept {
    return RowOf(format).encoder;
}

bool Has(const clWaveFormat& wave, SampleFormat format) noexcept {
    const FormatRow& row = RowOf(format);
    return wave.EffectiveTag() == row.formatTag && wave.BitsPerSample() == row.bits;
}

SampleFormat DepthOf(const StdErrStream& stream) noexcept {
    for (const std::string& detail : stream.details) {
        const SampleFormat depth = DepthOfDetail(detail);
        if (depth != SampleFormat::Default) return depth;
    }
    return SampleFormat::Default;
}
