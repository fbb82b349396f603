// The plug-in as a host sees it: a loaded library and its nine functions.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "decoder_plugin.h"
#include "kit/files.h"
#include "kit/system.h"

namespace kit {

std::filesystem::path BuiltPlugin();

class Plugin {
  public:
    explicit Plugin(const std::filesystem::path& path = BuiltPlugin());

  private:
    Library library_;

  public:
    const DecoderCreateFunction Create;
    const DecoderDestroyFunction Destroy;
    const DecoderGetFunction Get;
    const DecoderSetFunction Set;
    const DecoderOpenFunction Open;
    const DecoderCloseFunction Close;
    const DecoderDecodeBlockFunction DecodeBlock;
    const DecoderSetPositionFunction SetPosition;
    const DecoderDeleteATagFunction DeleteATag;
};

// A copy of a plug-in with another program as its worker.
class PluginWithWorker {
  public:
    explicit PluginWithWorker(const std::filesystem::path& worker,
                              const std::filesystem::path& plugin = BuiltPlugin());
    const Plugin& plugin() const { return plugin_; }
    const std::filesystem::path& path() const { return path_; }

  private:
    TempFolder folder_;
    std::filesystem::path path_;
    Plugin plugin_;
};

// One entry of a blob. Text in UTF-8.
struct Tag {
    std::string name;
    std::string value;
    std::string data;
    friend bool operator==(const Tag&, const Tag&) = default;
};

std::vector<Tag> ParseBlob(const void* blob, std::uint32_t size);
std::string MakeBlob(const std::vector<Tag>& tags);
// The value of the first tag of that name (exactly), or "".
std::string ValueOf(const std::vector<Tag>& tags, const std::string& name);

// The records of the plug-in with their fields aligned, so that assertions may refer to them.
struct Format {
    struct {
        std::uint16_t formatTag, channels;
        std::uint32_t samplesPerSecond, averageBytesPerSecond;
        std::uint16_t blockAlign, bitsPerSample, extraSize;
    } wave;
    std::uint32_t bitrate;
    std::int64_t durationMs;
};

struct Opened {
    Format format;
    std::uint32_t reserved;
    const void* tags;
    std::uint32_t tagsSize;
    const void* info;
    std::uint32_t infoSize;
};

struct Block {
    const void* samples;
    std::uint32_t bytes;
    Format format;
    std::uint32_t reserved;
    std::uint64_t position;
    std::int32_t endOfStream;
};

// A decoder with logs of its own.
class TestDecoder {
  public:
    explicit TestDecoder(const Plugin& plugin);
    ~TestDecoder();  // destroys the decoder
    TestDecoder(const TestDecoder&) = delete;
    TestDecoder& operator=(const TestDecoder&) = delete;

    Decoder* get() const { return decoder_; }
    // A path or URL.
    bool Open(const std::filesystem::path& path, std::uint32_t flags = DECODER_OPEN_TAGS | DECODER_OPEN_INFO);
    bool DecodeBlock();
    bool SetPosition(std::int64_t position) { return plugin_.SetPosition(decoder_, position) == 1; }
    bool Close() { return plugin_.Close(decoder_) == 1; }
    bool SetEventQuit(const std::u16string& name);
    bool WriteTags(const std::filesystem::path& path, const std::vector<Tag>& tags);
    // All tags without names.
    bool DeleteTags(const std::filesystem::path& path, const std::vector<std::string>& names = {});
    void Destroy();

    // All samples from here to the end of the stream.
    std::string ReadAll();

    std::vector<Tag> Tags() const { return ParseBlob(info.tags, info.tagsSize); }
    std::vector<Tag> Info() const { return ParseBlob(info.info, info.infoSize); }
    std::string ErrorLog() const;  // UTF-8, whole
    std::string TraceLog() const;

    Opened info{};  // of the last Open
    Block block{};  // of the last DecodeBlock

  private:
    const Plugin& plugin_;
    TempFolder folder_;
    std::uint64_t errorLog_;
    std::uint64_t traceLog_;
    Decoder* decoder_;
};

}  // namespace kit
