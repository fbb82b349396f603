#include "support/cllog.h"

#include <mutex>
#include <string>
#include <string_view>

#include "platform/file.h"
#include "support/clstring.h"

namespace clLog {

namespace {

constexpr std::u16string_view kErrorPrefix = u"*** Error: ";
constexpr std::size_t kLevelBlanks = 2;
constexpr std::uint64_t kNoLog = ~std::uint64_t{0};

// Process-wide: two decoders share it on purpose. Nothing here may go before the last call of a host that
// exits.
struct State {
    std::mutex logMutex;
    std::size_t levels = 0;  // of the indentation
    bool lineComplete = true;
};

State state;

std::u16string Compose(std::u16string_view prefix, std::u16string_view message, const char* label,
                       bool endLine) {
    std::u16string line(prefix);
    line += message;
    if (!endLine) return line;
    if (label != nullptr) {
        clString wide;
        wide.SetFromAnsi(label);
        line += u"  [";
        line += wide.View();
        line += u"]";
    }
    line += u"\r\n";
    return line;
}

void WriteText(std::uint64_t log, std::u16string_view text) {
    if (log == 0 || log == kNoLog) return;
    std::string bytes;
    bytes.reserve(text.size() * 2);
    for (const char16_t unit : text) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    }
    platform::WriteToLog(log, bytes.data(), bytes.size());
}

void TraceUnguarded(std::u16string_view message, const clLogHandles& decoder, const char* label, bool endLine,
                    const char16_t* prefix) {
    const std::lock_guard guard(state.logMutex);
    if (message.starts_with(kLeave) && state.levels > 0) --state.levels;
    std::u16string start;
    if (prefix != nullptr) {
        start = prefix;
    } else if (state.lineComplete) {
        start.assign(state.levels * kLevelBlanks, u' ');
    }
    WriteText(decoder.traceLog, Compose(start, message, label, endLine));
    if (message.starts_with(kEnter)) ++state.levels;
    state.lineComplete = endLine;
}

}  // namespace

void Trace(const char16_t* message, const clLogHandles& decoder, const char* label, bool endLine,
           const char16_t* prefix) noexcept {
    try {
        TraceUnguarded(message, decoder, label, endLine, prefix);
    } catch (...) {
        // Without memory for a line there is no line.
    }
}

void Error(const char16_t* message, const clLogHandles& decoder, const char* label) noexcept {
    Trace(message, decoder, label, true, kErrorPrefix.data());
    try {
        if (decoder.lastError != nullptr) decoder.lastError->Set(message);
        WriteText(decoder.errorLog, Compose({}, message, label, true));
    } catch (...) {
        // As in Trace.
    }
}

}  // namespace clLog
