#include "codecs/decoders/ffmpeg/stderr_tail.h"

namespace {

// Written twice a second while the worker goes on well.
bool IsProgress(std::string_view line) noexcept {
    return line.starts_with("size=") || line.starts_with("frame=");
}

// Where the last lines begin that have room together; no line is longer than that room.
std::size_t StartOfLastLines(std::string_view text) noexcept {
    if (text.size() <= StdErrTail::kBytes) return 0;
    return text.find('\n', text.size() - StdErrTail::kBytes - 1) + 1;
}

}  // namespace

void StdErrTail::Add(std::string_view line) {
    if (IsProgress(line)) return;
    if (line.size() >= kBytes) line.remove_prefix(line.size() - (kBytes - 1));
    text.append(line).push_back('\n');
    if (text.size() > 2 * kBytes) text.erase(0, StartOfLastLines(text));
}

std::string StdErrTail::Text() const {
    return text.substr(StartOfLastLines(text));
}
