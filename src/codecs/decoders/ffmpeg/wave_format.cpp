#include "codecs/decoders/ffmpeg/wave_format.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "support/endian.h"

namespace {

// Offsets in the record.
constexpr std::size_t kTag = 0;
constexpr std::size_t kChannels = 2;
constexpr std::size_t kSamplesPerSecond = 4;
constexpr std::size_t kAverageBytes = 8;
constexpr std::size_t kBlockAlign = 12;
constexpr std::size_t kBits = 14;
constexpr std::size_t kExtraSize = 16;
constexpr std::size_t kSubFormat = 24;

// A sub-format is the format tag as a 32-bit number in front of these bytes (KSDATAFORMAT_SUBTYPE_...).
constexpr std::array<unsigned char, 12> kSubFormatTail{0x00, 0x00, 0x10, 0x00, 0x80, 0x00,
                                                       0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
// PCM, IEEE float, A-law, mu-law, ADPCM, MPEG.
constexpr std::array<std::uint16_t, 6> kKnownSubFormats{1, 3, 6, 7, 2, 0x50};

}  // namespace

clWaveFormat::clWaveFormat() {
    Normalise();
}

std::uint16_t clWaveFormat::FormatTag() const noexcept {
    return GetLittle16(current + kTag);
}
std::uint16_t clWaveFormat::Channels() const noexcept {
    return GetLittle16(current + kChannels);
}
std::uint32_t clWaveFormat::SamplesPerSecond() const noexcept {
    return GetLittle32(current + kSamplesPerSecond);
}
std::uint32_t clWaveFormat::AverageBytesPerSecond() const noexcept {
    return GetLittle32(current + kAverageBytes);
}
std::uint16_t clWaveFormat::BlockAlign() const noexcept {
    return GetLittle16(current + kBlockAlign);
}
std::uint16_t clWaveFormat::BitsPerSample() const noexcept {
    return GetLittle16(current + kBits);
}
std::uint16_t clWaveFormat::ExtraSize() const noexcept {
    return GetLittle16(current + kExtraSize);
}

std::span<const std::byte> clWaveFormat::Record() const noexcept {
    return {current, kRecordBytes + ExtraSize()};
}

void clWaveFormat::SetRecord(const std::byte* record) {
    if (record == current) return;
    const std::size_t extra = GetLittle16(record + kExtraSize);
    if (extra == 0) {
        std::memcpy(inlineRecord.data(), record, kExtraSize);
        PutLittle16(inlineRecord.data() + kExtraSize, 0);
        current = inlineRecord.data();
    } else {
        clBuffer fresh;
        if (!fresh.Assign({record, kRecordBytes + extra})) throw std::bad_alloc();
        storage = std::move(fresh);
        current = storage.data();
    }
    Normalise();
}

void clWaveFormat::Normalise() noexcept {
    const std::uint16_t tag = EffectiveTag();
    if (tag == kTagPcm || tag == kTagFloat) {
        const std::uint32_t frameBits = std::uint32_t{BitsPerSample()} * Channels();
        PutLittle16(current + kBlockAlign, static_cast<std::uint16_t>(frameBits / 8));
        PutLittle32(current + kAverageBytes, BlockAlign() * SamplesPerSecond());
    }
    if (AverageBytesPerSecond() == 0) PutLittle32(current + kAverageBytes, 1);
    if (BlockAlign() == 0) PutLittle16(current + kBlockAlign, 1);
}

void clWaveFormat::SetBytes(std::span<std::byte> bytes) {
    const std::size_t length = bytes.size();
    if (length >= kRecordBytes) {
        if (GetLittle16(bytes.data() + kExtraSize) + kRecordBytes > length) {
            PutLittle16(bytes.data() + kExtraSize, 0);
        }
        SetRecord(bytes.data());
        return;
    }
    std::array<std::byte, kRecordBytes> record{};
    if (length >= kBits) std::memcpy(record.data(), bytes.data(), kBits);
    if (length == kExtraSize) std::memcpy(record.data() + kBits, bytes.data() + kBits, 2);
    if (length == kBits) {
        const std::uint32_t channels = GetLittle16(record.data() + kChannels);
        const std::uint32_t frameBits = GetLittle16(record.data() + kBlockAlign) * 8U;
        PutLittle16(record.data() + kBits,
                    channels == 0 ? std::uint16_t{16} : static_cast<std::uint16_t>(frameBits / channels));
    }
    SetRecord(record.data());
}

std::uint16_t clWaveFormat::EffectiveTag() const noexcept {
    if (FormatTag() != kTagExtensible || ExtraSize() < kExtensibleExtra) return FormatTag();
    const std::byte* subFormat = current + kSubFormat;
    const std::uint32_t number = GetLittle32(subFormat);
    const bool usual = std::memcmp(subFormat + 4, kSubFormatTail.data(), kSubFormatTail.size()) == 0;
    const auto* known = std::find(kKnownSubFormats.begin(), kKnownSubFormats.end(), number);
    return usual && known != kKnownSubFormats.end() ? *known : kTagExtensible;
}
