#include "host/commands/format_text.h"

namespace host {

namespace {

constexpr std::uint16_t kPcmTag = 1;
constexpr std::uint16_t kFloatTag = 3;
constexpr std::uint16_t kExtensibleTag = 0xFFFE;

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

}  // namespace

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

}  // namespace host
