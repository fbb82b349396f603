// AU: "Audio File Format" of SunOS. WAV: "Multimedia Programming Interface and Data Specifications 1.0".
// AIFF: "Audio Interchange File Format" 1.3.
#include "host/contract/sound.h"

#include <string>

namespace host::contract {

namespace {

constexpr unsigned kBits = 16;

class Bytes {
  public:
    Bytes& Text(std::string_view text) {
        for (const char letter : text) bytes_.push_back(static_cast<std::byte>(letter));
        return *this;
    }
    Bytes& Little(std::uint64_t value, unsigned size) {
        for (unsigned index = 0; index < size; ++index)
            bytes_.push_back(static_cast<std::byte>(value >> (8 * index)));
        return *this;
    }
    Bytes& Big(std::uint64_t value, unsigned size) {
        for (unsigned index = size; index > 0; --index)
            bytes_.push_back(static_cast<std::byte>(value >> (8 * (index - 1))));
        return *this;
    }
    Bytes& Samples(std::size_t frames, bool big) {
        for (const std::int16_t sample : SamplesFrom(0, frames)) {
            const auto value = static_cast<std::uint16_t>(sample);
            big ? Big(value, 2) : Little(value, 2);
        }
        return *this;
    }
    std::vector<std::byte> Take() { return std::move(bytes_); }

  private:
    std::vector<std::byte> bytes_;
};

// The annotation holds lines NAME=VALUE, as FFmpeg writes and reads them.
std::vector<std::byte> AuFile(std::size_t frames) {
    constexpr unsigned kLinear16 = 3;
    constexpr std::size_t kFixedSize = 24;
    std::string note = "title=A sound to check with\n";
    note.resize((note.size() + 8) / 8 * 8);
    return Bytes()
        .Text(".snd")
        .Big(kFixedSize + note.size(), 4)
        .Big(frames * kFrameBytes, 4)
        .Big(kLinear16, 4)
        .Big(kSampleRate, 4)
        .Big(kChannels, 4)
        .Text(note)
        .Samples(frames, true)
        .Take();
}

std::vector<std::byte> WavFile(std::size_t frames) {
    constexpr unsigned kPcm = 1;
    constexpr std::size_t kInFrontOfSamples = 36;  // of what the file's size counts
    const std::size_t size = frames * kFrameBytes;
    return Bytes()
        .Text("RIFF")
        .Little(kInFrontOfSamples + size, 4)
        .Text("WAVEfmt ")
        .Little(16, 4)
        .Little(kPcm, 2)
        .Little(kChannels, 2)
        .Little(kSampleRate, 4)
        .Little(kSampleRate * kFrameBytes, 4)
        .Little(kFrameBytes, 2)
        .Little(kBits, 2)
        .Text("data")
        .Little(size, 4)
        .Samples(frames, false)
        .Take();
}

std::vector<std::byte> AiffFile(std::size_t frames) {
    constexpr std::size_t kInFrontOfSamples = 4 + 8 + 18 + 8 + 8;
    const std::size_t size = frames * kFrameBytes;
    // The rate in extended precision: 8000 is 1.953125 * 2^12.
    constexpr std::uint64_t kExponent = 16383 + 12;
    constexpr std::uint64_t kMantissa = static_cast<std::uint64_t>(kSampleRate) << (63 - 12);
    return Bytes()
        .Text("FORM")
        .Big(kInFrontOfSamples + size, 4)
        .Text("AIFFCOMM")
        .Big(18, 4)
        .Big(kChannels, 2)
        .Big(frames, 4)
        .Big(kBits, 2)
        .Big(kExponent, 2)
        .Big(kMantissa, 8)
        .Text("SSND")
        .Big(8 + size, 4)
        .Big(0, 8)
        .Samples(frames, true)
        .Take();
}

constexpr SoundForm kForms[] = {
    {".au", AuFile}, {".snd", AuFile}, {".wav", WavFile}, {".aif", AiffFile}, {".aiff", AiffFile}};

}  // namespace

std::int16_t SampleAt(std::size_t frame, std::size_t channel) {
    // Noise that begins at no zero and repeats at no block.
    const auto place = static_cast<std::uint32_t>(frame * kChannels + channel + 1);
    return static_cast<std::int16_t>(place * 2654435761u >> 16);
}

std::vector<std::int16_t> SamplesFrom(std::size_t frame, std::size_t count) {
    std::vector<std::int16_t> samples;
    samples.reserve(count * kChannels);
    for (std::size_t index = 0; index < count * kChannels; ++index)
        samples.push_back(SampleAt(frame + index / kChannels, index % kChannels));
    return samples;
}

std::span<const SoundForm> SoundForms() {
    return kForms;
}

}  // namespace host::contract
