#include "kit/plugin.h"

#include "kit/tools.h"
#include "support/clbuffer.h"
#include "tags/idtags.h"

namespace kit {

namespace {

std::u16string Wide(const std::string& utf8) {
    clString text;
    text.SetFromUtf8(utf8);
    return std::u16string(text.View());
}

std::string ReadLog(const std::filesystem::path& path) {
    const std::string bytes = ReadFile(path);
    std::u16string text;
    for (std::size_t i = 0; i + 2 <= bytes.size(); i += 2) {
        text += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                      static_cast<unsigned char>(bytes[i + 1]) << 8);
    }
    return clString(text).Utf8();
}

Format Aligned(const DecoderFormat& format) {
    const DecoderWaveFormat& wave = format.wave;
    return {{wave.formatTag, wave.channels, wave.samplesPerSecond, wave.averageBytesPerSecond,
             wave.blockAlign, wave.bitsPerSample, wave.extraSize},
            format.bitrate,
            format.durationMs};
}

template <typename Function>
Function Export(const Library& library, const char* name) {
    return reinterpret_cast<Function>(library.Find(name));
}

std::filesystem::path InstallWith(const TempFolder& folder, const std::filesystem::path& worker,
                                  const std::filesystem::path& plugin) {
    // Where a library stays loaded as long as its process, only a later one can remove its file.
    RemoveFoldersWithNothingBut(plugin.filename());
    const std::filesystem::path decoders = folder / "decoders";
    std::filesystem::create_directory(decoders);
    std::filesystem::copy_file(worker, folder / "ffmpeg-lgpl.exe");
    std::filesystem::copy_file(plugin, decoders / plugin.filename());
    return decoders / plugin.filename();
}

}  // namespace

std::filesystem::path BuiltPlugin() {
    return DECODER_PLUGIN_FILE;
}

Plugin::Plugin(const std::filesystem::path& path)
    : library_(path),
      Create(Export<DecoderCreateFunction>(library_, DECODER_EXPORT_CREATE)),
      Destroy(Export<DecoderDestroyFunction>(library_, DECODER_EXPORT_DESTROY)),
      Get(Export<DecoderGetFunction>(library_, DECODER_EXPORT_GET)),
      Set(Export<DecoderSetFunction>(library_, DECODER_EXPORT_SET)),
      Open(Export<DecoderOpenFunction>(library_, DECODER_EXPORT_OPEN)),
      Close(Export<DecoderCloseFunction>(library_, DECODER_EXPORT_CLOSE)),
      DecodeBlock(Export<DecoderDecodeBlockFunction>(library_, DECODER_EXPORT_DECODE_BLOCK)),
      SetPosition(Export<DecoderSetPositionFunction>(library_, DECODER_EXPORT_SET_POSITION)),
      DeleteATag(Export<DecoderDeleteATagFunction>(library_, DECODER_EXPORT_DELETE_A_TAG)) {}

PluginWithWorker::PluginWithWorker(const std::filesystem::path& worker, const std::filesystem::path& plugin)
    : path_(InstallWith(folder_, worker, plugin)), plugin_(path_) {}

std::vector<Tag> ParseBlob(const void* blob, std::uint32_t size) {
    IDTags tags;
    tags.Parse(blob, static_cast<std::int32_t>(size));
    std::vector<Tag> parsed;
    for (const IDTag* tag : tags) {
        parsed.push_back({tag->Name.Utf8(), tag->Value.Utf8(),
                          std::string(reinterpret_cast<const char*>(tag->Data.data()), tag->Data.size())});
    }
    return parsed;
}

std::string MakeBlob(const std::vector<Tag>& tags) {
    IDTags collection;
    for (const Tag& tag : tags) {
        IDTag& entry = collection.AddText(Wide(tag.name), Wide(tag.value));
        entry.Data.Assign(std::as_bytes(std::span(tag.data)));
    }
    clBuffer blob;
    collection.Serialise(blob);
    return {reinterpret_cast<const char*>(blob.data()), blob.size()};
}

std::string ValueOf(const std::vector<Tag>& tags, const std::string& name) {
    for (const Tag& tag : tags) {
        if (tag.name == name) return tag.value;
    }
    return {};
}

TestDecoder::TestDecoder(const Plugin& plugin)
    : plugin_(plugin), errorLog_(OpenLog(folder_ / "error.log")), traceLog_(OpenLog(folder_ / "trace.log")) {
    const DecoderCreateInfo create{errorLog_, 0, traceLog_};
    decoder_ = plugin_.Create(&create);
}

TestDecoder::~TestDecoder() {
    Destroy();
    CloseLog(errorLog_);
    CloseLog(traceLog_);
}

void TestDecoder::Destroy() {
    plugin_.Destroy(decoder_);
    decoder_ = nullptr;
}

bool TestDecoder::Open(const std::filesystem::path& path, std::uint32_t flags) {
    const std::u16string wide = path.u16string();
    DecoderOpenInfo record{};
    record.path = wide.c_str();
    record.flags = flags;
    const bool opened = plugin_.Open(decoder_, &record) == 1;
    info = {Aligned(record.format), record.reserved, record.tags,
            record.tagsSize,        record.info,     record.infoSize};
    return opened;
}

bool TestDecoder::DecodeBlock() {
    DecoderBlockInfo record{};
    const bool decoded = plugin_.DecodeBlock(decoder_, &record) == 1;
    block = {record.samples,  record.bytes,    Aligned(record.format),
             record.reserved, record.position, record.endOfStream};
    return decoded;
}

bool TestDecoder::SetEventQuit(const std::u16string& name) {
    DecoderParam param{};
    param.text = name.c_str();
    return plugin_.Set(decoder_, DECODER_SET_EVENT_QUIT, &param) == 1;
}

bool TestDecoder::WriteTags(const std::filesystem::path& path, const std::vector<Tag>& tags) {
    const std::string blob = MakeBlob(tags);
    const std::u16string wide = path.u16string();
    DecoderParam param{};
    param.text = wide.c_str();
    param.data = blob.data();
    param.value = static_cast<std::int32_t>(blob.size());
    return plugin_.Set(decoder_, DECODER_SET_TAGS, &param) == 1;
}

bool TestDecoder::DeleteTags(const std::filesystem::path& path, const std::vector<std::string>& names) {
    std::u16string block16;
    for (const std::string& name : names) block16 += Wide(name) + u'\0';
    return plugin_.DeleteATag(decoder_, path.u16string().c_str(),
                              names.empty() ? nullptr : block16.c_str()) == 1;
}

std::string TestDecoder::ReadAll() {
    std::string samples;
    while (DecodeBlock()) {
        samples.append(static_cast<const char*>(block.samples), block.bytes);
        // A stream with a declared size gives empty blocks behind it and no mark of the end.
        if (block.endOfStream != 0 || block.bytes == 0) break;
    }
    return samples;
}

std::string TestDecoder::ErrorLog() const {
    return ReadLog(folder_ / "error.log");
}

std::string TestDecoder::TraceLog() const {
    return ReadLog(folder_ / "trace.log");
}

}  // namespace kit
