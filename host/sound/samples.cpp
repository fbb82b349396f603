#include "host/sound/samples.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "host/text/failure.h"

namespace host {

namespace {

constexpr float kMost = 1e6f;

template <typename Number>
Number At(const std::byte* bytes) {
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

float FromS16(const std::byte* bytes) {
    return static_cast<float>(At<std::int16_t>(bytes)) / 0x1p15f;
}

float FromS24(const std::byte* bytes) {
    std::uint32_t high = 0;
    for (std::size_t index = 0; index < 3; ++index)
        high |= static_cast<std::uint32_t>(bytes[index]) << (8 * (index + 1));
    return static_cast<float>(static_cast<std::int32_t>(high)) / 0x1p31f;
}

float FromS32(const std::byte* bytes) {
    return static_cast<float>(At<std::int32_t>(bytes)) / 0x1p31f;
}

template <typename Number>
float FromFloat(const std::byte* bytes) {
    const Number number = At<Number>(bytes);
    if (!std::isfinite(number)) return 0;
    return static_cast<float>(std::clamp<Number>(number, -kMost, kMost));
}

}  // namespace

std::uint16_t SampleTag(const DecoderWaveFormat& wave) {
    if (wave.formatTag != kExtensibleTag) return wave.formatTag;
    return static_cast<std::uint16_t>(wave.subFormat[0] | wave.subFormat[1] << 8);
}

SampleReader::SampleReader(const DecoderWaveFormat& wave)
    : sampleSize_(wave.bitsPerSample / 8u), frameSize_(sampleSize_ * wave.channels) {
    const struct {
        std::uint16_t tag;
        unsigned bits;
        Conversion conversion;
    } rows[] = {{kPcmTag, 16, FromS16},
                {kPcmTag, 24, FromS24},
                {kPcmTag, 32, FromS32},
                {kFloatTag, 32, FromFloat<float>},
                {kFloatTag, 64, FromFloat<double>}};
    for (const auto& row : rows) {
        if (row.tag == SampleTag(wave) && row.bits == wave.bitsPerSample) conversion_ = row.conversion;
    }
    if (conversion_ == nullptr || wave.samplesPerSecond == 0 || frameSize_ == 0 ||
        frameSize_ != wave.blockAlign) {
        throw Failure("there is no picture of samples of the format " + std::to_string(SampleTag(wave)) +
                      " with " + std::to_string(wave.bitsPerSample) + " bits");
    }
}

std::span<const float> SampleReader::Read(std::span<const std::byte> bytes) {
    const std::size_t frames = bytes.size() / frameSize_;
    samples_.resize(frames * (frameSize_ / sampleSize_));
    const std::byte* at = bytes.data();
    for (float& sample : samples_) {
        sample = conversion_(at);
        at += sampleSize_;
    }
    return samples_;
}

}  // namespace host
