#include "session.h"

#include <filesystem>
#include <system_error>

#include "text.h"

namespace host {

namespace {

std::filesystem::path PluginPath(const std::string& given) {
    if (!given.empty()) return ToPath(given);
    return system::OwnFolder() / "decoders" / (std::string("decoder_ffmpeg") + system::LibrarySuffix());
}

// The worker takes what stands in front of a colon for a protocol; a local file's name may have one too.
std::u16string PluginPathText(const std::string& file) {
    std::error_code ignored;
    if (file.find(':') != std::string::npos) {
        const std::filesystem::path path = ToPath(file);
        if (path.is_relative() && std::filesystem::exists(path, ignored)) return ToUtf16("./" + file);
    }
    return ToUtf16(file);
}

}  // namespace

Session::Session(const SessionOptions& options)
    : plugin_(PluginPath(options.plugin)),
      errorLog_(options.errorLog.empty() ? std::make_unique<system::LogFile>() : OpenLog(options.errorLog)),
      traceLog_(options.traceLog.empty() ? nullptr : OpenLog(options.traceLog)),
      decoder_(plugin_, Logs()) {
    DecoderParam param{};
    param.text = quit_.name().c_str();
    Run("quit event", [&] { return decoder_.Set(DECODER_SET_EVENT_QUIT, param); });
    quit_.Opened();
}

std::unique_ptr<system::LogFile> Session::OpenLog(const std::string& path) {
    try {
        return std::make_unique<system::LogFile>(ToPath(path));
    } catch (const std::system_error& error) {
        throw Failure("can't open the log " + path + ": " + error.code().message());
    }
}

DecoderCreateInfo Session::Logs() const {
    DecoderCreateInfo info{};
    info.errorLog = errorLog_->word();
    if (traceLog_) info.traceLog = traceLog_->word();
    return info;
}

std::optional<Session::Row> Session::TableRow(const DecoderChar* key, std::uint32_t index) {
    DecoderParam param{};
    param.index = index;
    if (!decoder_.Get(key, param)) return {};
    Row row;
    if (param.text != nullptr) row.text = ToUtf8(param.text);
    if (param.text2 != nullptr) row.text2 = ToUtf8(param.text2);
    return row;
}

std::string Session::Description() {
    DecoderParam param{};
    return decoder_.Get(DECODER_GET_DESCRIPTION, param) && param.text != nullptr ? ToUtf8(param.text) : "";
}

bool Session::CanWriteTags(const std::string& file) {
    const std::u16string path = ToUtf16(file);
    DecoderParam param{};
    param.text = path.c_str();
    return decoder_.Get(DECODER_GET_CAN_WRITE_TAGS, param) && param.value != 0;
}

OpenedFile Session::Open(const std::string& file, std::uint32_t flags) {
    file_ = file;
    const std::u16string path = PluginPathText(file);
    DecoderOpenInfo info{};
    info.path = path.c_str();
    info.flags = flags;
    Run(file, [&] { return decoder_.Open(info); });
    return {info.format, ParseBlob(info.tags, info.tagsSize), ParseBlob(info.info, info.infoSize)};
}

void Session::SetPosition(std::int64_t frame) {
    Run(file_, [&] { return decoder_.SetPosition(frame); });
}

DecoderBlockInfo Session::DecodeBlock() {
    DecoderBlockInfo block{};
    Run(file_, [&] { return decoder_.DecodeBlock(block); });
    return block;
}

void Session::WriteTags(const std::string& file, const Entries& tags) {
    const std::u16string path = PluginPathText(file);
    const std::vector<std::byte> blob = BuildBlob(tags);
    DecoderParam param{};
    param.text = path.c_str();
    param.data = blob.data();
    param.value = static_cast<std::int32_t>(blob.size());
    Run(file, [&] { return decoder_.Set(DECODER_SET_TAGS, param); });
}

void Session::DeleteTags(const std::string& file, const std::vector<std::string>& names) {
    // How the plug-in is told of a tag without a name: an empty string ends the list.
    constexpr std::u16string_view kEmptyName = u"[Empty]";

    const std::u16string path = PluginPathText(file);
    std::u16string list;
    for (const std::string& name : names) {
        list += name.empty() ? std::u16string(kEmptyName) : ToUtf16(name);
        list += u'\0';
    }
    Run(file, [&] { return decoder_.DeleteATag(path.c_str(), names.empty() ? nullptr : list.c_str()); });
}

template <typename Call>
void Session::Run(const std::string& subject, Call call) {
    const std::uint64_t logged = errorLog_->Size();
    const bool success = call();
    // Ctrl-C reaches the worker as well, whose end then looks like the end of the stream.
    if (const int code = system::InterruptionCode()) throw Interruption{code};
    if (success) return;
    const std::string reason = LoggedReason(logged);
    if (reason.find(subject) != std::string::npos) throw Failure(reason);
    throw Failure(subject + ": " + reason);
}

std::string Session::LoggedReason(std::uint64_t from) const {
    std::string reason;
    for (const std::string& message : LogMessages(errorLog_->TextFrom(from))) {
        if (!reason.empty()) reason += "; ";
        reason += message;
    }
    return reason.empty() ? "the plug-in refused and gave no reason" : reason;
}

std::vector<std::string> LogMessages(std::u16string_view log) {
    constexpr std::u16string_view kLabelStart = u"  [";
    constexpr std::u16string_view kLineEnd = u"]\r\n";
    std::vector<std::string> messages;
    // A message may hold line ends of its own; only the label's bracket makes one the end of a message.
    for (;;) {
        const std::size_t end = log.find(kLineEnd);
        if (end == std::u16string_view::npos) return messages;
        const std::u16string_view line = log.substr(0, end);
        messages.push_back(ToUtf8(line.substr(0, line.rfind(kLabelStart))));
        log.remove_prefix(end + kLineEnd.size());
    }
}

}  // namespace host
