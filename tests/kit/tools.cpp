#include "kit/tools.h"

#include <array>
#include <stdexcept>

#include "kit/plugin.h"
#include "support/endian.h"
#include "transport/worker_process.h"

namespace kit {

std::string Utf8(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

std::string Run(const std::filesystem::path& program, std::vector<std::string> arguments) {
    WorkerCommand command;
    command.exe = Utf8(program);
    arguments.insert(arguments.begin(), Utf8(program.filename()));
    SetArguments(command, arguments);
    command.stdoutMode = platform::ChannelMode::Pipe;
    WorkerProcess process;
    process.Start(command);
    std::string output;
    std::array<char, 65536> piece;
    while (const std::size_t count = process.stdoutStream.readSome(piece.data(), piece.size())) {
        output.append(piece.data(), count);
    }
    process.Stop();
    return output;
}

std::filesystem::path FfmpegPath() {
    return BuiltPlugin().parent_path().parent_path() / "ffmpeg-lgpl.exe";
}

std::string Ffmpeg(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"-v", "error", "-nostdin", "-y"});
    return Run(FfmpegPath(), std::move(arguments));
}

void MakeAudio(const std::filesystem::path& file, double seconds, const std::vector<std::string>& options) {
    std::vector<std::string> arguments{
        "-f", "lavfi", "-i", "aevalsrc=sin(440*2*PI*t)*0.5+sin(t*t*800)*0.2:d=" + std::to_string(seconds)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.push_back(Utf8(file));
    Ffmpeg(std::move(arguments));
    std::error_code missing;
    if (std::filesystem::file_size(file, missing) == 0 || missing) {
        throw std::runtime_error("FFmpeg didn't make " + Utf8(file));
    }
}

std::string ReferenceSamples(const std::string& input, const std::string& start) {
    std::vector<std::string> arguments;
    if (!start.empty()) arguments = {"-ss", start};
    arguments.insert(arguments.end(), {"-i", input, "-f", "w64", "-"});
    const std::string stream = Ffmpeg(std::move(arguments));
    // Chunks of Wave64 behind the 40 bytes of "riff" and "wave", each with its size at byte 16.
    for (std::size_t chunk = 40; chunk + 24 <= stream.size();) {
        if (stream.compare(chunk, 4, "data") == 0) return stream.substr(chunk + 24);
        const auto size = GetLittle64(reinterpret_cast<const std::byte*>(stream.data()) + chunk + 16);
        chunk += static_cast<std::size_t>((size + 7) / 8 * 8);
    }
    return {};
}

}  // namespace kit
