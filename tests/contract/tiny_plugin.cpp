// A plug-in that keeps the contract and has nothing in common with ours: it decodes AU files of 16 bits by
// itself. TINY_PLUGIN_FAULT in the environment names a promise that it then breaks.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "decoder_plugin.hpp"
#include "tiny_system.h"

#ifdef _WIN32
#define EXPORT extern "C" __declspec(dllexport)
#else
#define EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBlockFrames = 4096;
constexpr std::size_t kSampleBytes = 2;

bool Breaks(const char* promise) {
    const char* const fault = std::getenv("TINY_PLUGIN_FAULT");
    return fault != nullptr && std::strcmp(fault, promise) == 0;
}

// The fault that a host only sees while it exits.
bool gone = false;
struct Guard {
    ~Guard() {
        gone = true;
        if (Breaks("exit")) tiny::SpoilExit();
    }
} guard;

std::size_t sharedPosition;  // of all decoders, which is another fault

struct Row {
    const DecoderChar* extension;
    const DecoderChar* description;
};
constexpr Row kRows[] = {{u".au", u"AU/SND"}, {u".snd", u"AU/SND"}};
constexpr const DecoderChar* kDescription = u"Tiny Decoder";

[[noreturn]] void SleepForEver() {
    for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
}

[[noreturn]] void LoopForEver() {
    for (;;) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

std::uint32_t Big(const std::string& bytes, std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t index = offset; index < offset + 4; ++index)
        value = value << 8 | static_cast<unsigned char>(bytes[index]);
    return value;
}

}  // namespace

struct Decoder {
    explicit Decoder(const DecoderCreateInfo& given) : logs(given) {}

    DecoderCreateInfo logs;
    std::unique_ptr<tiny::QuitSignal> quit;
    const DecoderChar* borrowed = nullptr;  // the path of the host's, which one fault holds on to
    std::u16string description = kDescription;

    bool running = false;
    bool ended = false;
    DecoderFormat format{};
    std::vector<char> sound;  // little-endian
    std::string title;
    std::size_t at = 0;
    std::size_t started = 0;
    std::int64_t start = 0;
    std::vector<char> block;
    std::vector<std::byte> tags;
    std::vector<std::byte> info;

    bool IsQuit() const { return quit != nullptr && quit->IsSet(); }

    int Fail(const std::u16string& why) {
        const std::u16string line = (Breaks("logs") ? u"\uFEFF" : u"") + why + u"\r\n";
        tiny::WriteLog(logs.errorLog, line);
        tiny::WriteLog(logs.traceLog, line);
        return 0;
    }

    bool Load(const fs::path& path) {
        constexpr std::size_t kHeaderSize = 24;
        constexpr std::uint32_t kLinear16 = 3;
        std::error_code code;
        if (!fs::is_regular_file(path, code)) return false;
        std::ifstream file(path, std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(file)), {});
        if (bytes.size() < kHeaderSize || bytes.compare(0, 4, ".snd") != 0 || Big(bytes, 12) != kLinear16)
            return false;
        const std::size_t offset = Big(bytes, 4);
        const std::uint32_t channels = Big(bytes, 20);
        if (offset < kHeaderSize || offset > bytes.size() || channels < 1 || channels > 8) return false;
        title = bytes.substr(kHeaderSize, offset - kHeaderSize);
        title = title.substr(0, title.find('\n'));
        title.erase(0, title.find('=') + 1);
        const std::size_t size = std::min<std::size_t>(Big(bytes, 8), bytes.size() - offset);
        sound.assign(bytes.begin() + static_cast<std::ptrdiff_t>(offset),
                     bytes.begin() + static_cast<std::ptrdiff_t>(offset + size));
        for (std::size_t index = 0; index + 1 < sound.size(); index += kSampleBytes)
            std::swap(sound[index], sound[index + 1]);
        format = {};
        DecoderWaveFormat& wave = format.wave;
        wave.formatTag = 1;
        wave.channels = static_cast<std::uint16_t>(channels);
        wave.samplesPerSecond = Big(bytes, 16);
        wave.blockAlign = static_cast<std::uint16_t>(channels * kSampleBytes);
        wave.bitsPerSample = 8 * kSampleBytes;
        wave.averageBytesPerSecond = wave.samplesPerSecond * wave.blockAlign;
        format.durationMs =
            static_cast<std::int64_t>(sound.size() * 1000 / std::max(+wave.averageBytesPerSecond, 1u));
        return wave.averageBytesPerSecond != 0;
    }

    void MakeBlobs() {
        decoder_plugin::BlobBuilder builder;
        builder.Add("Title", title);
        tags.assign(builder.bytes().begin(), builder.bytes().end());
        decoder_plugin::BlobBuilder stream;
        stream.Add("Encoder", "pcm_s16be");
        info.assign(stream.bytes().begin(), stream.bytes().end());
    }

    void Start(std::int64_t frame) {
        if (Breaks("seeks")) frame &= ~std::int64_t{1};
        start = frame;
        const auto most = static_cast<std::int64_t>(sound.size() / format.wave.blockAlign);
        started = static_cast<std::size_t>(std::clamp<std::int64_t>(frame, 0, most)) * format.wave.blockAlign;
        at = started;
        if (Breaks("threads")) sharedPosition = at;
        running = true;
        ended = false;
    }
};

EXPORT Decoder* Create(const DecoderCreateInfo* given) {
    if (!Breaks("unloading")) tiny::StayLoaded();
    return given == nullptr ? nullptr : new Decoder(*given);
}

EXPORT std::int64_t Destroy(Decoder* decoder) {
    if (Breaks("null-arguments") && decoder == nullptr) return 0;
    delete decoder;
    return 1;
}

EXPORT std::int64_t Get(Decoder* decoder, const DecoderChar* name, DecoderParam* param) {
    if (decoder == nullptr || name == nullptr || param == nullptr) return 0;
    std::u16string key = name;
    if (Breaks("tables")) key = key.substr(0, key.find(u' ') == 7 ? 7 : key.npos);
    if (key == DECODER_GET_DECODES) {
        if (param->index >= std::size(kRows)) return 0;
        param->text = kRows[param->index].extension;
        param->text2 = kRows[param->index].description;
        return 1;
    }
    if (key == DECODER_GET_DESCRIPTION) {
        param->text = Breaks("text-lifetime") ? decoder->description.c_str() : kDescription;
        if (Breaks("param-fields")) param->value = 1;
        return 1;
    }
    if (key == DECODER_GET_CAN_WRITE_TAGS) {
        if (param->text == nullptr) return 0;
        param->value = 0;
        return 1;
    }
    if (key == DECODER_GET_VERSION && Breaks("extensions")) {
        param->text = u"1";
        param->value = 1;
        return 1;
    }
    return 0;
}

EXPORT std::int64_t Set(Decoder* decoder, const DecoderChar* name, DecoderParam* param) {
    if (decoder == nullptr || name == nullptr || param == nullptr) return 0;
    if (std::u16string(name) != DECODER_SET_EVENT_QUIT) return 0;
    if (param->text == nullptr) return 1;
    if (Breaks("rounds-memory")) std::memset(new char[20000], 1, 20000);
    if (Breaks("rounds-threads")) std::thread(SleepForEver).detach();
    decoder->quit = std::make_unique<tiny::QuitSignal>(param->text);
    if (Breaks("rounds-handles")) new tiny::QuitSignal(param->text);
    return decoder->quit->IsThere() ? 1 : 0;
}

EXPORT std::int64_t Open(Decoder* decoder, DecoderOpenInfo* open) {
    if (decoder == nullptr || open == nullptr) return 0;
    if (Breaks("unloading")) {
        [[maybe_unused]] static const bool once = (std::thread(LoopForEver).detach(), true);
    }
    decoder->running = false;
    const DecoderOpenInfo before = *open;
    open->tags = open->info = nullptr;
    open->tagsSize = open->infoSize = 0;
    if ((open->flags & DECODER_OPEN_EXTERNAL_PACKETS) != 0) return decoder->Fail(u"No external packets");
    if (open->path == nullptr) return decoder->Fail(u"No path");
    if (decoder->IsQuit()) return 0;
    decoder->borrowed = open->path;
    if (!decoder->Load(fs::path(std::u16string(open->path)))) {
        if (Breaks("failed-open")) *open = before;
        return decoder->Fail(u"No AU file");
    }
    decoder->MakeBlobs();
    decoder->Start(0);
    open->format = decoder->format;
    open->reserved = 0;
    if ((open->flags & DECODER_OPEN_TAGS) != 0 || Breaks("open-record")) {
        open->tags = decoder->tags.data();
        open->tagsSize = static_cast<std::uint32_t>(decoder->tags.size());
    }
    if ((open->flags & DECODER_OPEN_INFO) != 0) {
        open->info = decoder->info.data();
        open->infoSize = static_cast<std::uint32_t>(decoder->info.size());
    }
    return 1;
}

EXPORT std::int64_t Close(Decoder* decoder) {
    if (decoder == nullptr) return 0;
    if (Breaks("order") && !decoder->running) return 0;
    decoder->running = false;
    return 1;
}

EXPORT std::int64_t DecodeBlock(Decoder* decoder, DecoderBlockInfo* block) {
    if (decoder == nullptr || block == nullptr || !decoder->running) return 0;
    if (decoder->IsQuit() && !Breaks("quit-event")) return 0;
    if (Breaks("exit") && gone) return 0;
    if (decoder->ended && Breaks("endings")) return 0;
    if (decoder->ended && Breaks("hang")) LoopForEver();
    const DecoderWaveFormat& wave = decoder->format.wave;
    if (Breaks("threads")) decoder->at = sharedPosition;
    const std::size_t wanted = kBlockFrames * wave.blockAlign;
    const std::size_t count =
        std::min(wanted, decoder->sound.size() - std::min(decoder->at, decoder->sound.size()));
    decoder->block.assign(decoder->sound.data() + decoder->at, decoder->sound.data() + decoder->at + count);
    const std::size_t done = decoder->at - decoder->started;
    decoder->at += count;
    if (Breaks("threads")) sharedPosition = decoder->at;
    decoder->ended = count < wanted;
    block->samples = decoder->block.data();
    block->bytes = static_cast<std::uint32_t>(count);
    block->format = decoder->format;
    block->reserved = 0;
    block->position = (Breaks("blocks") ? done / wave.blockAlign : done * 1000 / wave.averageBytesPerSecond) +
                      static_cast<std::uint64_t>(decoder->start);
    block->endOfStream = decoder->ended ? 1 : 0;
    if (Breaks("record-bounds")) std::memset(static_cast<void*>(block + 1), 0, 4);
    if (Breaks("blob-lifetime")) std::fill(decoder->tags.begin(), decoder->tags.end(), std::byte{0});
    return 1;
}

EXPORT std::int64_t SetPosition(Decoder* decoder, std::int64_t position) {
    if (decoder == nullptr || decoder->format.wave.blockAlign == 0 || decoder->IsQuit()) return 0;
    if (Breaks("borrowed-memory") && *decoder->borrowed == 0) return 0;
    if (Breaks("sample-lifetime")) std::fill(decoder->block.begin(), decoder->block.end(), '\0');
    if (Breaks("crash") && position == std::numeric_limits<std::int64_t>::min()) std::abort();
    decoder->Start(position);
    return 1;
}

EXPORT std::int64_t DeleteATag(Decoder* decoder, const DecoderChar* path, const DecoderChar*) {
    if (decoder == nullptr || path == nullptr) return 0;
    if (Breaks("tag-jobs"))
        std::ofstream(fs::path(std::u16string(path)), std::ios::app | std::ios::in) << "x";
    return 0;
}

#ifdef TINY_PLUGIN_EXPORTS_MORE
EXPORT std::int64_t Tenth() {
    return 1;
}
#endif
