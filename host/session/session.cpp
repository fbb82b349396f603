#include "host/session/session.h"

#include <algorithm>
#include <optional>
#include <system_error>

#include "host/files/file_list.h"
#include "host/session/log_messages.h"
#include "host/session/places.h"
#include "host/session/reasons.h"
#include "host/system/files.h"
#include "host/system/standard_input.h"
#include "host/terminal/output.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace {

using decoder_plugin::Source;

constexpr const char* kSourceDepth = "source";
constexpr const char* kDefaultDepth = "default";
constexpr const char* kStandardInput = "standard input";  // in messages

// The path of a file that is written to: the plug-in opens it itself.
Source PathOf(const std::string& file) {
    return ToPath(file);
}

}  // namespace

template <typename Call>
auto Session::Run(const std::string& subject, Call call) {
    const std::uint64_t errorsBefore = errors_.Size();
    const std::uint64_t traceBefore = trace_ ? trace_->Size() : 0;
    auto result = call();
    const std::u16string errors = errors_.TextFrom(errorsBefore);
    const std::u16string trace = trace_ ? trace_->TextFrom(traceBefore) : std::u16string();
    if (context_.errorLog() != nullptr) context_.errorLog()->Append(errors);
    if (context_.verbose()) ShowLines(errors, trace);
    // Ctrl-C reaches the worker as well, whose end then looks like the end of the stream.
    if (const int code = system::InterruptionCode()) throw Interruption{code};
    if (!result) throw Failure(Reason(subject, errors));
    return result;
}

Session::Session(const Context& context)
    : context_(context),
      trace_(context.verbose() && context.traceLog() == nullptr ? std::make_unique<system::LogFile>()
                                                                : nullptr),
      decoder_(context.plugin(), Logs()) {
    Run("quit event", [&] { return decoder_.TryUse(context_.quit()); });
}

decoder_plugin::Decoder::Logs Session::Logs() const {
    if (context_.traceLog() != nullptr) return {errors_.word(), context_.traceLog()->word()};
    return {errors_.word(), trace_ ? trace_->word() : 0};
}

Source Session::SourceOf(const std::string& file) const {
    if (file == "-") {
        const std::optional<system::InputName> input = system::NameOfStandardInput();
        if (!input) throw Failure("standard input is neither a file nor a pipe; give a file");
        return input->path;
    }
    if (IsUrl(file)) return Source::Url(file);
    if (const std::optional<std::string> reason = ReasonAgainstReading(file)) throw Failure(*reason);
    std::optional<std::filesystem::path> path = system::NameForWorker(ToPath(file));
    if (!path) {
        throw Failure(
            file +
            ": the worker can't be told a name with characters above U+FFFF (an emoji, say), and this "
            "volume has no short name for it; rename the file");
    }
    // The worker takes what stands in front of a colon for a protocol; a local file's name may have one too.
    // "Z:song" is relative as well, to the present folder of that drive.
    const bool hasColon = file.find(':') != std::string::npos;
    if (hasColon && path->is_relative() && !path->has_root_name()) path = "." / *path;
    return *path;
}

bool Session::CanWriteTags(const std::string& file) {
    return decoder_.CanWriteTags(PathOf(file));
}

OpenedFile Session::Open(const std::string& file, std::uint32_t flags) {
    file_ = file == "-" ? kStandardInput : file;
    const Source source = SourceOf(file);
    const auto stream = Run(file_, [&] { return decoder_.TryOpen(source, flags); });
    return {stream->format, CopyOf(stream->tags), CopyOf(stream->info)};
}

void Session::SetPosition(std::int64_t frame) {
    Run(file_, [&] { return decoder_.TrySetPosition(frame); });
}

decoder_plugin::Block Session::DecodeBlock() {
    return *Run(file_, [&] { return decoder_.TryDecodeBlock(); });
}

void Session::WriteTags(const std::string& file, const Entries& tags) {
    const decoder_plugin::BlobBuilder blob = BlobOf(tags);
    Run(file, [&] { return decoder_.TryWriteTags(PathOf(file), blob.bytes()); });
}

void Session::DeleteTags(const std::string& file, const std::vector<std::string>& names) {
    if (names.empty()) {
        Run(file, [&] { return decoder_.TryDeleteAllTags(PathOf(file)); });
        return;
    }
    // How the plug-in is told of a tag without a name: an empty string ends its list.
    constexpr const char* kEmptyName = "[Empty]";
    std::vector<std::string> list = names;
    for (std::string& name : list) {
        if (name.empty()) name = kEmptyName;
    }
    Run(file, [&] { return decoder_.TryDeleteTags(PathOf(file), list); });
}

std::string Session::Reason(const std::string& subject, std::u16string_view logged) const {
    std::error_code ignored;
    if (!std::filesystem::exists(context_.workerPath(), ignored)) return MissingWorker(context_.workerPath());
    const DecoderFailure number = decoder_.FailureNumber();
    // The plug-in can't look at a pipe, which has been read by then.
    if (number == DECODER_FAILURE_NOT_DECODABLE || subject == kStandardInput) {
        const std::string words = LastComplaint(decoder_.WorkerMessages());
        return subject +
               (IsUrl(subject) ? ": no answer, or no audio in it" : ": the worker finds no audio in it") +
               (words.empty() ? "" : " (" + words + ")");
    }
    if (const char* const words = WordsFor(number)) return subject + ": " + words;
    // The log of a tag job tells of every kind of tag that failed, the plug-in's memory of the last one
    // alone.
    std::string reason = SentenceOf(LogMessages(logged));
    if (reason.empty()) reason = SentenceOf({decoder_.LastFailure().value_or("")});
    if (reason.empty()) return subject + ": the plug-in refused and gave no reason";
    return reason.find(subject) != std::string::npos ? reason : subject + ": " + reason;
}

Session::WorkerEnd Session::EndOfWorker() {
    return {decoder_.WorkerExit(), LastComplaint(decoder_.WorkerMessages())};
}

void Session::ChooseSamples(const std::string& depth, int stream) {
    // Where the plug-in can't choose, its own choice is the default.
    const bool isOwnChoice = depth == kDefaultDepth || depth == kSourceDepth;
    if (!decoder_.TrySetSampleFormat(depth) && !isOwnChoice) {
        throw Failure("this plug-in can't choose the depth " + depth);
    }
    if (!decoder_.TrySetAudioStream(stream) && stream >= 0)
        throw Failure("this plug-in can't choose a stream");
}

void Session::ShowLines(std::u16string_view errors, std::u16string_view trace) const {
    // The trace has the errors too.
    for (const std::string& message : LogMessages(trace.empty() ? errors : trace)) PrintNote(message);
}

}  // namespace host
