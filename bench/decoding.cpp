#include "decoding.h"

#include <stdexcept>
#include <string_view>

#include "report.h"

void Demand(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

std::string WorkerOf(const std::filesystem::path& plugin) {
    return (plugin.parent_path().parent_path() / "ffmpeg-lgpl.exe").string();
}

Decode::Decode(const kit::Plugin& plugin, const kit::TempFolder& folder) : plugin_(plugin) {
    const DecoderCreateInfo logs{};
    decoder_ = plugin.Create(&logs);
    Demand(decoder_ != nullptr, "Create failed");
    const std::u16string quit = (folder / "quit").u16string();
    DecoderParam param{};
    param.text = quit.c_str();
    Demand(plugin.Set(decoder_, DECODER_SET_EVENT_QUIT, &param) == 1, "Set failed");
}

void Decode::ChooseFormat(const DecoderChar* word) {
    DecoderParam param{};
    param.text = word;
    Demand(plugin_.Set(decoder_, DECODER_SET_SAMPLE_FORMAT, &param) == 1, "no such sample format");
}

DecoderFormat Decode::Open(const std::string& input) {
    const std::u16string path = std::filesystem::path(input).u16string();
    DecoderOpenInfo info{};
    info.path = path.c_str();
    info.flags = DECODER_OPEN_TAGS | DECODER_OPEN_INFO;
    Demand(plugin_.Open(decoder_, &info) == 1, "Open failed");
    return info.format;
}

DecoderBlockInfo Decode::Block() {
    DecoderBlockInfo block{};
    Demand(plugin_.DecodeBlock(decoder_, &block) == 1, "DecodeBlock failed");
    return block;
}

std::vector<std::string> BareCommand(const std::string& worker, const std::string& input, double seconds) {
    std::vector<std::string> command{worker};
    if (seconds > 0) command.insert(command.end(), {"-ss", Fixed(seconds, 6)});
    command.insert(command.end(), {"-i", input, "-f", "w64", "-"});
    return command;
}

std::unique_ptr<PipedProgram> StartBare(const std::vector<std::string>& command,
                                        std::span<std::byte> buffer) {
    auto worker = std::make_unique<PipedProgram>(command);
    std::size_t filled = 0;
    for (;;) {
        const std::size_t count = worker->Read(buffer.subspan(filled));
        Demand(count > 0, "the worker gave no audio");
        filled += count;
        const std::string_view text(reinterpret_cast<const char*>(buffer.data()), filled);
        const std::size_t data = text.find("data");
        if (data != text.npos && data + kChunkHeaderBytes < filled) return worker;
    }
}
