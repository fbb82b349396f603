#include "codecs/decoders/ffmpeg/stderr_lines.h"

#include <utility>

#include "transport/exceptions.h"

namespace {
constexpr std::size_t kLongestLine = 0x1000000;
}

std::string ReadLine(Qel::streamIn& stream) {
    std::string line;
    for (;;) {
        char byte = 0;
        stream.readExact(&byte, 1);
        if (byte == '\n') return line;
        if (byte == '\r') continue;
        line += byte;
        if (line.size() > kLongestLine) throw Qel::invalid_input();
    }
}

StdErrLineQueue::StdErrLineQueue(Qel::streamInOverlapped& errorStream) : stream(errorStream) {
    thread.start([this] { Run(); }, platform::CurrentThreadPriority());
}

StdErrLineQueue::~StdErrLineQueue() = default;

void StdErrLineQueue::Run() {
    for (;;) {
        std::string line = ReadLine(stream);
        const std::lock_guard guard(lock);
        if (lines.empty()) dataEvent.Set();
        lines.push_back(std::move(line));
    }
}

std::vector<std::string> StdErrLineQueue::TakeLines(double timeoutSeconds) {
    Qel::waitable* const events[] = {&dataEvent};
    if (Qel::WaitAny(events, timeoutSeconds) < 0) return {};
    const std::lock_guard guard(lock);
    dataEvent.Reset();
    return std::exchange(lines, {});
}
