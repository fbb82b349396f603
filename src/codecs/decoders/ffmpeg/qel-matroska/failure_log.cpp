#include "codecs/decoders/ffmpeg/qel-matroska/failure_log.h"

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_error.h"
#include "support/clfile.h"

namespace Matroska {

void LogOpenFailure(const char16_t* format, const char16_t* path, const clLogHandles& log,
                    const char* label) {
    const clString reason = clFile::OpenErrorText(path);
    clLog::Error(clString::Format(format, reason.text()).text(), log, label);
}

void LogFailure(const char16_t* prefix, const char* what, const clLogHandles& log, const char* label) {
    clString message(prefix);
    clString reason;
    reason.SetFromAnsi(what);
    message.Append(reason);
    clLog::Error(message.text(), log, label);
}

void LogNotedAssertion(const clLogHandles& log, const char* label) {
    const char* text = EBML::TakeNotedAssertion();
    if (text == nullptr) return;
    clString message(u"Assertion failed: ");
    clString condition;
    condition.SetFromAnsi(text);
    message.Append(condition);
    clLog::Trace(message.text(), log, label);
}

}  // namespace Matroska
