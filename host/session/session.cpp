#include "host/session/session.h"

#include <filesystem>
#include <system_error>

#include "host/session/log_messages.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace {

using decoder_plugin::Source;

// The worker takes what stands in front of a colon for a protocol; a local file's name may have one too.
Source SourceOf(const std::string& file) {
    std::error_code ignored;
    const std::filesystem::path path = ToPath(file);
    if (!std::filesystem::exists(path, ignored) && decoder_plugin::TryToUtf16(file)) return Source::Url(file);
    const bool hasColon = file.find(':') != std::string::npos;
    // "Z:song.flac" is relative as well, to the present folder of that drive.
    if (hasColon && path.is_relative() && !path.has_root_name()) return ToPath("./" + file);
    return path;
}

}  // namespace

template <typename Call>
auto Session::Run(const std::string& subject, Call call) {
    const std::uint64_t logged = log_.Size();
    auto result = call();
    if (context_.errorLog() != nullptr) context_.errorLog()->Append(log_.TextFrom(logged));
    // Ctrl-C reaches the worker as well, whose end then looks like the end of the stream.
    if (const int code = system::InterruptionCode()) throw Interruption{code};
    if (!result) {
        const std::string reason = LoggedReason(logged);
        throw Failure(reason.find(subject) != std::string::npos ? reason : subject + ": " + reason);
    }
    return result;
}

Session::Session(const Context& context) : context_(context), decoder_(context.plugin(), Logs()) {
    Run("quit event", [&] { return decoder_.TryUse(context_.quit()); });
}

decoder_plugin::Decoder::Logs Session::Logs() const {
    return {log_.word(), context_.traceLog() == nullptr ? 0 : context_.traceLog()->word()};
}

bool Session::CanWriteTags(const std::string& file) {
    return decoder_.CanWriteTags(SourceOf(file));
}

OpenedFile Session::Open(const std::string& file, std::uint32_t flags) {
    file_ = file;
    const auto stream = Run(file, [&] { return decoder_.TryOpen(SourceOf(file), flags); });
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
    Run(file, [&] { return decoder_.TryWriteTags(SourceOf(file), blob.bytes()); });
}

void Session::DeleteTags(const std::string& file, const std::vector<std::string>& names) {
    if (names.empty()) {
        Run(file, [&] { return decoder_.TryDeleteAllTags(SourceOf(file)); });
        return;
    }
    // How the plug-in is told of a tag without a name: an empty string ends its list.
    constexpr const char* kEmptyName = "[Empty]";
    std::vector<std::string> list = names;
    for (std::string& name : list) {
        if (name.empty()) name = kEmptyName;
    }
    Run(file, [&] { return decoder_.TryDeleteTags(SourceOf(file), list); });
}

std::string Session::LoggedReason(std::uint64_t from) const {
    std::string reason;
    for (const std::string& message : LogMessages(log_.TextFrom(from))) {
        if (!reason.empty()) reason += "; ";
        reason += message;
    }
    // The plug-in says no more when its worker isn't there.
    if (reason == "FFmpeg error: file not found") {
        reason += " (the worker is looked for as " + PathText(context_.workerPath()) + ")";
    }
    return reason.empty() ? "the plug-in refused and gave no reason" : reason;
}

}  // namespace host
