#include "codecs/decoders/ffmpeg/stderr_lines.h"

#include <string_view>
#include <utility>

#include "transport/exceptions.h"

namespace {

constexpr std::size_t kLongestLine = 0x1000000;

struct Line {
    std::string text;
    // What a terminal would show in the end begins here: a carriage return within the line goes back over the
    // text before it, as the worker's reports of its progress do.
    std::size_t shownFrom = 0;
};

Line ReadWholeLine(Qel::streamIn& stream) {
    Line line;
    std::size_t returned = 0;  // where the last carriage return stood
    for (;;) {
        char byte = 0;
        stream.readExact(&byte, 1);
        if (byte == '\n') return line;
        if (byte == '\r') {
            returned = line.text.size();
            continue;
        }
        line.shownFrom = returned;
        line.text += byte;
        if (line.text.size() > kLongestLine) throw Qel::invalid_input();
    }
}

// Sets the event on whatever way the thread ends.
class EndNotice {
  public:
    explicit EndNotice(Qel::waitable& event) noexcept : event_(event) {}
    ~EndNotice() { event_.Set(); }
    EndNotice(const EndNotice&) = delete;
    EndNotice& operator=(const EndNotice&) = delete;

  private:
    Qel::waitable& event_;
};

}  // namespace

std::string ReadLine(Qel::streamIn& stream) {
    return ReadWholeLine(stream).text;
}

StdErrLineQueue::StdErrLineQueue(Qel::streamInOverlapped& errorStream) : stream(errorStream) {
    thread.start([this] { Run(); }, platform::CurrentThreadPriority());
}

StdErrLineQueue::~StdErrLineQueue() = default;

void StdErrLineQueue::Run() {
    const EndNotice notice(endEvent);
    for (;;) {
        Line line = ReadWholeLine(stream);
        Keep(std::move(line.text), line.shownFrom);
    }
}

void StdErrLineQueue::Keep(std::string line, std::size_t shownFrom) {
    const std::lock_guard guard(lock);
    const StdErrBounds before = bounds;
    bounds.Pass(line);
    if (!bounds.inInput || bounds.done) {
        tail.Add(std::string_view(line).substr(shownFrom));
    } else if (!before.inInput) {
        tail.Clear();
    }
    if (!bounds.inInput || before.done) {
        // Once there are some, more of them don't even tell a parse that the worker is alive.
        if (spareBytes > kSpareBytes) return;
        spareBytes += sizeof(std::string) + line.size();
    }
    if (lines.empty()) dataEvent.Set();
    lines.push_back(std::move(line));
}

std::vector<std::string> StdErrLineQueue::TakeLines(double timeoutSeconds) {
    Qel::waitable* const events[] = {&dataEvent};
    if (Qel::WaitAny(events, timeoutSeconds) < 0) return {};
    const std::lock_guard guard(lock);
    dataEvent.Reset();
    spareBytes = 0;
    return std::exchange(lines, {});
}

void StdErrLineQueue::AwaitEnd(double timeoutSeconds) {
    Qel::waitable* const events[] = {&endEvent};
    Qel::WaitAny(events, timeoutSeconds);
}

std::string StdErrLineQueue::Tail(double timeoutSeconds) {
    AwaitEnd(timeoutSeconds);
    const std::lock_guard guard(lock);
    return tail.Text();
}
