#include "host/doctor/specimens.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <string_view>

#include "decoder_plugin.h"
#include "host/files/wav_header.h"

namespace host::doctor {

namespace {

constexpr std::uint16_t kChannels = 2;
constexpr std::uint16_t kBits = 16;

FileBytes BytesOf(std::string_view text) {
    const auto* const first = reinterpret_cast<const std::byte*>(text.data());
    return {first, first + text.size()};
}

// Appends and gives the whole.
FileBytes Joined(std::initializer_list<FileBytes> parts) {
    FileBytes whole;
    for (const FileBytes& part : parts) whole.insert(whole.end(), part.begin(), part.end());
    return whole;
}

FileBytes BigEndian(std::uint64_t value, int size) {
    FileBytes bytes;
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8)
        bytes.push_back(static_cast<std::byte>(value >> shift));
    return bytes;
}

// ---- Matroska (RFC 9559), with IDs as they stand in a file ----

constexpr std::uint32_t kEbml = 0x1A45DFA3, kDocType = 0x4282, kDocTypeVersion = 0x4287,
                        kDocTypeReadVersion = 0x4285, kSegment = 0x18538067, kInfo = 0x1549A966,
                        kTimestampScale = 0x2AD7B1, kDuration = 0x4489, kMuxingApp = 0x4D80,
                        kWritingApp = 0x5741, kTracks = 0x1654AE6B, kTrackEntry = 0xAE, kTrackNumber = 0xD7,
                        kTrackUid = 0x73C5, kTrackType = 0x83, kFlagLacing = 0x9C, kCodecId = 0x86,
                        kAudio = 0xE1, kSamplingFrequency = 0xB5, kChannelCount = 0x9F, kBitDepth = 0x6264,
                        kCluster = 0x1F43B675, kTimestamp = 0xE7, kSimpleBlock = 0xA3;
constexpr std::uint64_t kTrack = 1, kAudioTrack = 2;

FileBytes Element(std::uint32_t id, const FileBytes& body) {
    constexpr int kSizeWidth = 4;
    constexpr std::uint64_t kSizeMarker = 0x10000000;
    const int idWidth = (std::bit_width(id) + 7) / 8;
    return Joined({BigEndian(id, idWidth), BigEndian(kSizeMarker | body.size(), kSizeWidth), body});
}

FileBytes Number(std::uint32_t id, std::uint64_t value) {
    return Element(id, BigEndian(value, 4));
}

FileBytes Float(std::uint32_t id, double value) {
    return Element(id, BigEndian(std::bit_cast<std::uint64_t>(value), 8));
}

FileBytes Text(std::uint32_t id, std::string_view text) {
    return Element(id, BytesOf(text));
}

// A tenth of a second in each block.
FileBytes Cluster() {
    constexpr std::size_t kBlocks = 10;
    constexpr std::uint64_t kBlockMs = 1000 / kBlocks;
    constexpr std::size_t kBlockSize = kToneRate / kBlocks * kToneFrameSize;
    const FileBytes samples = ToneSamples();
    FileBytes cluster = Number(kTimestamp, 0);
    for (std::size_t block = 0; block < kBlocks; ++block) {
        const auto first = samples.begin() + static_cast<std::ptrdiff_t>(block * kBlockSize);
        const FileBytes head =
            Joined({BigEndian(0x80 | kTrack, 1), BigEndian(block * kBlockMs, 2), BigEndian(0x80, 1)});
        cluster = Joined({cluster, Element(kSimpleBlock, Joined({head, {first, first + kBlockSize}}))});
    }
    return Element(kCluster, cluster);
}

}  // namespace

FileBytes ToneSamples() {
    constexpr double kLeftHertz = 440, kRightHertz = 660, kLoudness = 12000;
    FileBytes samples;
    for (std::uint32_t frame = 0; frame < kToneRate; ++frame) {
        for (const double hertz : {kLeftHertz, kRightHertz}) {
            const double turns = hertz * frame / kToneRate;
            const auto sample =
                static_cast<std::int16_t>(std::lround(kLoudness * std::sin(2 * std::numbers::pi * turns)));
            samples.push_back(static_cast<std::byte>(sample));
            samples.push_back(static_cast<std::byte>(sample >> 8));
        }
    }
    return samples;
}

FileBytes ToneAsWav() {
    DecoderWaveFormat wave{};
    wave.formatTag = 1;
    wave.channels = kChannels;
    wave.samplesPerSecond = kToneRate;
    wave.blockAlign = kToneFrameSize;
    wave.averageBytesPerSecond = kToneRate * kToneFrameSize;
    wave.bitsPerSample = kBits;
    const FileBytes samples = ToneSamples();
    return Joined({WavFileHeader(wave, samples.size()), samples});
}

FileBytes ToneAsMatroska() {
    constexpr std::uint64_t kMillisecond = 1000000;  // nanoseconds
    constexpr std::string_view kApplication = "decoder-host";
    const FileBytes header = Element(kEbml, Joined({Text(kDocType, "matroska"), Number(kDocTypeVersion, 4),
                                                    Number(kDocTypeReadVersion, 2)}));
    const FileBytes info =
        Element(kInfo, Joined({Number(kTimestampScale, kMillisecond), Float(kDuration, 1000),
                               Text(kMuxingApp, kApplication), Text(kWritingApp, kApplication)}));
    const FileBytes audio =
        Element(kAudio, Joined({Float(kSamplingFrequency, kToneRate), Number(kChannelCount, kChannels),
                                Number(kBitDepth, kBits)}));
    const FileBytes track = Element(
        kTrackEntry,
        Joined({Number(kTrackNumber, kTrack), Number(kTrackUid, kTrack), Number(kTrackType, kAudioTrack),
                Number(kFlagLacing, 0), Text(kCodecId, "A_PCM/INT/LIT"), audio}));
    return Joined({header, Element(kSegment, Joined({info, Element(kTracks, track), Cluster()}))});
}

FileBytes Id3v1Tag(const std::string& title) {
    constexpr std::size_t kTitleSize = 30;
    constexpr std::byte kNoGenre{0xFF};
    std::string text = "TAG" + title.substr(0, kTitleSize);
    text.resize(kId3v1Size - 1);
    FileBytes tag = BytesOf(text);
    tag.push_back(kNoGenre);
    return tag;
}

FileBytes Id3v2Tag(const std::string& title) {
    constexpr std::byte kSingleByteText{0};
    const FileBytes body = Joined({{kSingleByteText}, BytesOf(title)});
    const FileBytes frame = Joined({BytesOf("TIT2"), BigEndian(body.size(), 4), BigEndian(0, 2), body});
    // Seven bits in each byte of the size; one is enough here.
    return Joined(
        {BytesOf("ID3"), BigEndian(0x0300, 2), BigEndian(0, 1), BigEndian(frame.size() & 0x7F, 4), frame});
}

FileBytes SmallPicture() {
    using namespace std::string_view_literals;
    return BytesOf(
        "\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR\0\0\0\x01\0\0\0\x01\x08\0\0\0\0\x3A\x7E\x9B\x55"
        "\0\0\0\x0AIDAT\x78\x9C\x63\x60\0\0\0\x02\0\x01\x48\xAF\xA4\x71\0\0\0\0IEND\xAE\x42\x60\x82"sv);
}

}  // namespace host::doctor
