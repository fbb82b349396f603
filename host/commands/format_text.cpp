#include "host/commands/format_text.h"

#include "host/sound/samples.h"

namespace host {

namespace {

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
