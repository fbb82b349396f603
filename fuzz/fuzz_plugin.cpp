// The whole plug-in through its functions: any bytes as what its workers print, as the file that is decoded
// and tagged, and as a tag blob, in any order of calls.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include "decoder_plugin.h"
#include "fed_process.h"
#include "fuzzing.h"
#include "memory_file.h"
#include "tags/idtags.h"

extern "C" {
Decoder* Create(const DecoderCreateInfo* info);
std::int64_t Destroy(Decoder* decoder);
std::int64_t Get(Decoder* decoder, const DecoderChar* key, DecoderParam* param);
std::int64_t Set(Decoder* decoder, const DecoderChar* key, DecoderParam* param);
std::int64_t Open(Decoder* decoder, DecoderOpenInfo* info);
std::int64_t Close(Decoder* decoder);
std::int64_t DecodeBlock(Decoder* decoder, DecoderBlockInfo* block);
std::int64_t SetPosition(Decoder* decoder, std::int64_t position);
std::int64_t DeleteATag(Decoder* decoder, const DecoderChar* path, const DecoderChar* names);
}

namespace {

constexpr std::uint64_t kBlockFrames = 4096;
constexpr std::size_t kMostCalls = 24;
constexpr std::array kGetKeys{
    DECODER_GET_DECODES, DECODER_GET_STREAMING_DECODES, DECODER_GET_DESCRIPTION, DECODER_GET_CAN_WRITE_TAGS,
    DECODER_GET_VERSION, DECODER_GET_LAST_FAILURE,      DECODER_GET_WORKER_EXIT, DECODER_GET_WORKER_MESSAGES};
constexpr std::array kSampleFormats{DECODER_SAMPLES_DEFAULT, DECODER_SAMPLES_S16, DECODER_SAMPLES_S24,
                                    DECODER_SAMPLES_S32,     DECODER_SAMPLES_F32, DECODER_SAMPLES_F64,
                                    DECODER_SAMPLES_SOURCE};
constexpr std::array kExtensions{u".wav", u".tta", u".mka"};

// Ends every dump, and what may be looked for behind it: a parse that misses its end waits for five seconds.
constexpr const char* kTextEnd = "\nInput #0,\nend\nOutput #0,\n";

// The one file, under a name of each extension. The names are links in a folder that the fuzzer leaves.
class NamedFile {
  public:
    NamedFile() {
        std::string folder = (std::filesystem::temp_directory_path() / "fuzz_plugin_XXXXXX").string();
        Require(mkdtemp(folder.data()) != nullptr);
        folder_ = folder;
        for (const char16_t* extension : kExtensions) {
            std::filesystem::path link = folder_ / "file";
            link += std::u16string(extension);
            std::filesystem::create_symlink(std::filesystem::path(memory.Path().View()), link);
            names_.push_back(link.u16string());
        }
    }
    ~NamedFile() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    const std::u16string& Name(std::size_t which) const { return names_[which % names_.size()]; }

    MemoryFile memory;

  private:
    std::filesystem::path folder_;
    std::vector<std::u16string> names_;
};

// Takes the input apart: single bytes, and parts with their length in front.
class Parts {
  public:
    explicit Parts(std::span<const std::byte> bytes) : rest_(bytes) {}

    std::uint8_t Number() {
        const auto part = Take(1);
        return part.empty() ? std::uint8_t{0} : std::to_integer<std::uint8_t>(part[0]);
    }
    std::span<const std::byte> Sized() {
        const std::size_t low = Number();
        return Take(low | static_cast<std::size_t>(Number()) << 8);
    }
    std::string Text() {
        const auto part = Sized();
        return {reinterpret_cast<const char*>(part.data()), part.size()};
    }
    std::span<const std::byte> Rest() { return Take(rest_.size()); }

  private:
    std::span<const std::byte> Take(std::size_t count) {
        const auto part = rest_.first(std::min(count, rest_.size()));
        rest_ = rest_.subspan(part.size());
        return part;
    }

    std::span<const std::byte> rest_;
};

// AddressSanitizer sees to it that every byte is there.
void RequireReadable(const void* bytes, std::size_t count) {
    const auto* const first = static_cast<const std::byte*>(bytes);
    std::byte sum{};
    for (std::size_t i = 0; i < count; ++i) sum ^= first[i];
    static volatile std::byte sink;
    sink = sum;
    static_cast<void>(sink);
}

void RequireBlob(const void* blob, std::uint32_t size, bool wanted) {
    Require(wanted || blob == nullptr);
    Require((blob == nullptr) == (size == 0));
    if (blob == nullptr) return;
    RequireReadable(blob, size);
    IDTags tags;
    tags.Parse(blob, static_cast<std::int32_t>(size));
    clBuffer again;
    Require(tags.Serialise(again) && again.size() == size);
}

// One decoder and what has to hold of every call to it.
class Host {
  public:
    Host(const NamedFile& file, std::size_t name, std::span<const std::byte> blob, std::size_t audioBytes)
        : name_(file.Name(name)), blob_(blob), audioBytes_(audioBytes) {
        static const int log = open("/dev/null", O_WRONLY | O_CLOEXEC);
        const DecoderCreateInfo info{static_cast<std::uint64_t>(log), 0, static_cast<std::uint64_t>(log)};
        decoder_ = Create(&info);
        Require(decoder_ != nullptr);
    }
    ~Host() { Require(Destroy(decoder_) == 1); }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    void Call(std::uint8_t which, std::uint8_t argument) {
        switch (which % 9) {
            case 0:
            case 1:
                return OpenFile(argument);
            case 2:
            case 3:
                return Decode(argument);
            case 4:
                read_ = 0;
                started_ =
                    SetPosition(decoder_, (static_cast<std::int64_t>(argument) - 8) * 1001) == 1 && started_;
                return;
            case 5:
                Require(Close(decoder_) == 1);
                return;
            case 6:
                return Tag(argument);
            case 7:
                return Ask(argument);
            default:
                return Choose(argument);
        }
    }

  private:
    void OpenFile(std::uint8_t argument) {
        read_ = 0;
        DecoderOpenInfo info{};
        info.path = name_.c_str();
        info.flags = argument & (DECODER_OPEN_TAGS | DECODER_OPEN_INFO);
        const bool opened = Open(decoder_, &info) == 1;
        started_ = opened;
        RequireBlob(info.tags, info.tagsSize, opened && (info.flags & DECODER_OPEN_TAGS) != 0);
        RequireBlob(info.info, info.infoSize, opened && (info.flags & DECODER_OPEN_INFO) != 0);
        if (opened) Require(info.format.wave.blockAlign != 0 && info.format.wave.averageBytesPerSecond != 0);
    }

    void Decode(std::uint8_t times) {
        for (int i = 0; i <= times % 4; ++i) {
            DecoderBlockInfo info{};
            if (DecodeBlock(decoder_, &info) != 1) return;
            // After a start that failed there may be a worker, but no format.
            Require(!started_ || info.bytes <= kBlockFrames * info.format.wave.blockAlign);
            RequireReadable(info.samples, info.bytes);
            read_ += info.bytes;
            Require(read_ <= audioBytes_);
        }
    }

    void Tag(std::uint8_t how) {
        if (how % 3 == 0) {
            DecoderParam param{};
            param.text = name_.c_str();
            param.data = blob_.data();
            param.value = static_cast<std::int32_t>(blob_.size());
            Set(decoder_, DECODER_SET_TAGS, &param);
            return;
        }
        IDTags tags;
        tags.Parse(blob_.data(), static_cast<std::int32_t>(blob_.size()));
        std::u16string names;
        for (const IDTag* tag : tags) {
            names += tag->Name.View();
            names += u'\0';
        }
        names += u'\0';
        DeleteATag(decoder_, name_.c_str(), how % 3 == 1 ? nullptr : names.c_str());
    }

    void Ask(std::uint8_t which) {
        DecoderParam param{};
        param.index = which / kGetKeys.size();
        param.text = name_.c_str();
        if (Get(decoder_, kGetKeys[which % kGetKeys.size()], &param) != 1) return;
        for (const DecoderChar* text : {param.text, param.text2}) {
            if (text != nullptr) RequireReadable(text, 2 * std::char_traits<char16_t>::length(text));
        }
    }

    void Choose(std::uint8_t which) {
        DecoderParam param{};
        param.value = which % 5 - 1;
        Require(Set(decoder_, DECODER_SET_AUDIO_STREAM, &param) == 1);
        param.text = kSampleFormats[which % kSampleFormats.size()];
        Require(Set(decoder_, DECODER_SET_SAMPLE_FORMAT, &param) == 1);
    }

    const std::u16string name_;
    const std::span<const std::byte> blob_;
    const std::size_t audioBytes_;
    Decoder* decoder_;
    bool started_ = false;    // the last Open succeeded, and every SetPosition since
    std::uint64_t read_ = 0;  // bytes of samples since the last start
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static NamedFile file;
    Parts parts(Bytes(data, size));
    const std::uint8_t name = parts.Number();
    const auto calls = parts.Sized();
    FedWorker worker;
    const std::uint8_t end = parts.Number();
    worker.starts = end != 0xFF;
    worker.exitCode = static_cast<std::int8_t>(end);
    worker.error = parts.Text() + kTextEnd;
    worker.output = parts.Text();
    const auto blob = parts.Sized();
    file.memory.Set(parts.Rest());
    Host host(file, name, blob, worker.output.size());
    FeedWorkers(std::move(worker));
    for (std::size_t i = 0; i + 2 <= std::min(calls.size(), 2 * kMostCalls); i += 2) {
        host.Call(std::to_integer<std::uint8_t>(calls[i]), std::to_integer<std::uint8_t>(calls[i + 1]));
    }
    return 0;
}
