// What comes of a sound.
#include <limits>

#include "host/contract/rules.h"

namespace host::contract {

namespace {

constexpr std::uint32_t kBlockBytes = kBlockFrames * kFrameBytes;
constexpr std::size_t kFrames = 2 * kBlockFrames + 1000;

bool IsZero(const std::uint8_t* bytes, std::size_t size) {
    for (std::size_t index = 0; index < size; ++index) {
        if (bytes[index] != 0) return false;
    }
    return true;
}

// As the base contract has it: 16 bit, with the rate and the channels of the file.
void RequireFormat(Bench& bench, const DecoderFormat& format) {
    constexpr std::uint16_t kPcm = 1;
    constexpr std::uint16_t kExtensible = 0xFFFE;
    constexpr std::uint16_t kExtensionSize = 22;
    const DecoderWaveFormat& wave = format.wave;
    const bool extensible = wave.formatTag == kExtensible && wave.extraSize >= kExtensionSize;
    bench.Require(wave.formatTag == kPcm || extensible, "the format of a plain sound isn't PCM");
    bench.Require(wave.samplesPerSecond == kSampleRate, "another sample rate than the file's");
    bench.Require(wave.channels == kChannels, "another number of channels than the file's");
    bench.Require(wave.bitsPerSample == 16, "not 16 bit, which is what the base contract has");
    bench.Require(wave.blockAlign == kFrameBytes, "a block align that isn't the size of a sample frame");
    bench.Require(wave.averageBytesPerSecond == kSampleRate * kFrameBytes,
                  "other bytes per second than there are");
    bench.Require(extensible || (wave.validBitsPerSample == 0 && wave.channelMask == 0 &&
                                 IsZero(wave.subFormat, sizeof wave.subFormat)),
                  "an extension in a format that has none");
    bench.Require(IsZero(format.reserved, sizeof format.reserved), "DecoderFormat.reserved isn't 0");
    bench.Require(format.durationMs >= 0, "a negative duration");
}

void RequireBlob(Bench& bench, const void* data, std::uint32_t size, bool asked, const char* what) {
    if (!asked) {
        if (data != nullptr || size != 0) bench.Break(std::string(what) + " came without being asked for");
        return;
    }
    if (data == nullptr || size == 0) bench.Break(std::string(what) + " was asked for and isn't there");
    const decoder_plugin::Bytes bytes(static_cast<const std::byte*>(data), size);
    if (!decoder_plugin::Blob::TryParse(bytes)) bench.Break(std::string(what) + " is no blob");
}

}  // namespace

void CheckOpenRecord(Bench& bench) {
    const std::filesystem::path sound = bench.MakeSound(kFrames);
    const decoder_plugin::Source source(sound);
    Subject subject(bench);
    for (const std::uint32_t flags :
         {0u, DECODER_OPEN_TAGS, DECODER_OPEN_INFO, DECODER_OPEN_TAGS | DECODER_OPEN_INFO}) {
        subject.MustOpen(source, flags);
        const DecoderOpenInfo& open = subject.open();
        bench.Require(open.path == source.c_str() && open.flags == flags, "Open changed what it was given");
        bench.Require(open.reserved == 0, "DecoderOpenInfo.reserved isn't 0");
        RequireFormat(bench, open.format);
        RequireBlob(bench, open.tags, open.tagsSize, (flags & DECODER_OPEN_TAGS) != 0, "the tag blob");
        RequireBlob(bench, open.info, open.infoSize, (flags & DECODER_OPEN_INFO) != 0,
                    "the information blob");
    }
}

void CheckFailedOpen(Bench& bench) {
    const std::filesystem::path sound = bench.MakeSound(kFrames);
    const std::filesystem::path noSound =
        bench.MakeFile("text" + sound.extension().string(), std::vector<std::byte>(100, std::byte{'x'}));
    struct Case {
        const char* what;
        std::filesystem::path path;
        std::uint32_t flags;
    };
    const std::uint32_t all = DECODER_OPEN_TAGS | DECODER_OPEN_INFO;
    const Case cases[] = {
        {"a file that isn't there", bench.folder() / ("none" + sound.extension().string()), all},
        {"a file that is no sound", noSound, all},
        {"a folder", bench.folder(), all},
        {"external packets", sound, all | DECODER_OPEN_EXTERNAL_PACKETS}};
    Subject subject(bench);
    for (const Case& each : cases) {
        for (const bool ranBefore : {false, true}) {
            if (ranBefore) {
                subject.MustOpen(sound, all);
                subject.MustDecode();
            }
            if (subject.Open(each.path, each.flags)) bench.Break(std::string("Open gave 1 for ") + each.what);
            const DecoderOpenInfo& open = subject.open();
            if (open.tags != nullptr || open.tagsSize != 0 || open.info != nullptr || open.infoSize != 0)
                bench.Break(std::string("pointers or sizes were left after the failed Open of ") + each.what);
        }
    }
    subject.MustOpen(sound);
    subject.RequireSamples(subject.ReadAll(), 0, kFrames, "after failed Opens");
}

void CheckBlocks(Bench& bench) {
    const std::filesystem::path sound = bench.MakeSound(kFrames);
    Subject subject(bench);
    subject.MustOpen(sound);
    const std::string format = BytesOf(subject.open().format);
    std::string all;
    for (std::uint64_t milliseconds = 0; all.size() < kFrames * kFrameBytes;) {
        subject.MustDecode();
        const DecoderBlockInfo& block = subject.block();
        bench.Require(block.bytes <= kBlockBytes, "a block of more than 4096 sample frames");
        bench.Require(block.bytes == kBlockBytes || all.size() + block.bytes == kFrames * kFrameBytes,
                      "a block of fewer than 4096 sample frames within a stream");
        bench.Require(BytesOf(block.format) == format, "the format of a block isn't that of Open");
        bench.Require(block.reserved == 0, "DecoderBlockInfo.reserved isn't 0");
        bench.Require(block.endOfStream == 0 || block.bytes < kBlockBytes, "endOfStream with a full block");
        bench.Require(block.position == milliseconds,
                      "the position of a block isn't that of its first sample");
        all += subject.BlockBytes();
        milliseconds = all.size() * 1000 / (kSampleRate * kFrameBytes);
    }
    subject.RequireSamples(all, 0, kFrames, "from the beginning");
}

void CheckEndings(Bench& bench) {
    // At the border of a block and beside it.
    for (const std::size_t frames : {std::size_t{1}, kBlockFrames - 1, kBlockFrames, kBlockFrames + 1}) {
        Subject subject(bench);
        subject.MustOpen(bench.MakeSound(frames));
        std::string all;
        for (int blocks = 0;; ++blocks) {
            bench.Require(subject.DecodeBlock(), "the end of a stream came as a 0");
            const DecoderBlockInfo& block = subject.block();
            bench.Require(block.endOfStream == 0 || block.endOfStream == 1, "endOfStream is neither 0 nor 1");
            all += subject.BlockBytes();
            if (block.endOfStream != 0 || block.bytes == 0) break;
            bench.Require(blocks < 4, "a stream goes on behind its end");
        }
        subject.RequireSamples(all, 0, frames, "in a stream of about a block");
        for (int again = 0; again < 2; ++again) {
            bench.Require(subject.DecodeBlock(), "DecodeBlock behind the end gave 0");
            bench.Require(subject.block().bytes == 0, "samples came behind the end");
        }
        subject.Close();
    }
}

void CheckSeeks(Bench& bench) {
    const std::filesystem::path sound = bench.MakeSound(kFrames);
    Subject subject(bench);
    subject.MustOpen(sound);
    constexpr std::int64_t kAll = kFrames;
    for (const std::int64_t frame :
         {std::int64_t{5000}, std::int64_t{1}, kAll - 1, std::int64_t{0}, std::int64_t{-5},
          std::numeric_limits<std::int64_t>::min(), kAll + 8000, std::int64_t{4096}}) {
        subject.MustSeek(frame);
        const auto from = static_cast<std::size_t>(frame < 0 ? 0 : frame > kAll ? kAll : frame);
        subject.MustDecode();
        bench.Require(frame < 0 || subject.block().position == static_cast<std::uint64_t>(frame),
                      "the position behind SetPosition isn't the one that was given");
        std::string bytes = subject.BlockBytes();
        if (subject.block().endOfStream == 0 && subject.block().bytes > 0) bytes += subject.ReadAll();
        const std::string where = "behind SetPosition(" + std::to_string(frame) + ")";
        subject.RequireSamples(bytes, from, kFrames - from, where.c_str());
    }
}

}  // namespace host::contract
