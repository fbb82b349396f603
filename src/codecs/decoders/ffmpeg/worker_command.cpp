#include "codecs/decoders/ffmpeg/worker_command.h"

#include <cmath>
#include <cstdint>
#include <limits>

#include "platform/module.h"

namespace {

constexpr const char* kWorkerName = "ffmpeg-lgpl.exe";
constexpr double kMicroseconds = 1000000.0;
constexpr std::uint64_t kMicrosecondsPerSecond = 1000000;
constexpr std::size_t kFractionDigits = 6;

std::string WithoutQuotes(std::string path) {
    if (!path.starts_with('"')) return path;
    path.erase(0, 1);
    return path.substr(0, path.find('"'));
}

std::string UpToLastSeparator(const std::string& path) {
    return path.substr(0, path.rfind(platform::kPathSeparator) + 1);
}

std::string WithoutTrailingSeparators(const std::string& path) {
    return path.substr(0, path.find_last_not_of(platform::kPathSeparator) + 1);
}

}  // namespace

std::string WorkerPath() {
    const std::string folder = UpToLastSeparator(WithoutQuotes(std::string(platform::ModulePath())));
    const std::string parent = UpToLastSeparator(WithoutTrailingSeparators(folder));
    return WithoutTrailingSeparators(parent) + platform::kPathSeparator + kWorkerName;
}

WorkerCommand BuildWorkerCommand(const std::string& path, double seconds, const WorkerOutput& output) {
    WorkerCommand command;
    command.args.emplace_back(kWorkerName);
    if (seconds > 0.0) {
        // In front of the input, the start time is a seek of the input.
        command.args.emplace_back("-ss");
        command.args.push_back(SecondsText(seconds));
    }
    command.args.insert(command.args.end(), {"-i", path});
    if (output.audioStream >= 0) {
        command.args.insert(command.args.end(), {"-map", "0:a:" + std::to_string(output.audioStream)});
    }
    if (output.encoder != nullptr) command.args.insert(command.args.end(), {"-c:a", output.encoder});
    command.args.insert(command.args.end(), {"-f", "w64", "-"});
    command.exe = WorkerPath();
    command.stdinMode = platform::ChannelMode::None;
    command.stdoutMode = platform::ChannelMode::Pipe;
    command.stderrMode = platform::ChannelMode::Pipe;
    return command;
}

std::string SecondsText(double seconds) {
    const double rounded = std::floor(kMicroseconds * std::fabs(seconds) + 0.5);
    const bool fits = rounded < static_cast<double>(std::numeric_limits<std::uint64_t>::max());
    const std::uint64_t value =
        fits ? static_cast<std::uint64_t>(rounded) : std::numeric_limits<std::uint64_t>::max();
    std::string text = seconds < 0 ? "-" : "";
    text += std::to_string(value / kMicrosecondsPerSecond);
    std::string fraction = std::to_string(value % kMicrosecondsPerSecond);
    fraction.insert(0, kFractionDigits - fraction.size(), '0');
    fraction.erase(fraction.find_last_not_of('0') + 1);
    return fraction.empty() ? text : text + "." + fraction;
}
