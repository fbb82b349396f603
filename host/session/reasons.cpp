#include "host/session/reasons.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <system_error>

#include "host/system/files.h"
#include "host/text/text.h"

namespace host {

namespace fs = std::filesystem;

namespace {

// Takes out every "(win:NUMBER)" with the blank in front of it.
std::string WithoutNumbers(std::string text) {
    constexpr std::string_view kMark = " (win:";
    for (std::size_t at = text.find(kMark); at != std::string::npos; at = text.find(kMark, at)) {
        const std::size_t end = text.find(')', at);
        if (end == std::string::npos) break;
        text.erase(at, end + 1 - at);
    }
    return text;
}

}  // namespace

std::optional<std::string> ReasonAgainstReading(const std::string& file) {
    const fs::path path = ToPath(file);
    std::error_code code;
    const fs::file_status status = fs::status(path, code);
    if (status.type() == fs::file_type::not_found) return file + ": no such file";
    if (status.type() == fs::file_type::none) return file + ": " + code.message();
    if (fs::is_directory(status)) return file + " is a folder (--recursive takes the files in it)";
    if (!fs::is_regular_file(status)) return std::nullopt;
    if (!system::MayRead(path)) return file + ": no permission to read it";
    if (fs::file_size(path, code) == 0 && !code) return file + ": the file is empty";
    return std::nullopt;
}

std::string SentenceOf(const std::vector<std::string>& messages) {
    std::vector<std::string> parts;
    for (const std::string& message : messages) {
        std::string part = WithoutNumbers(message);
        while (!part.empty() &&
               (part.back() == '.' || std::isspace(static_cast<unsigned char>(part.back())))) {
            part.pop_back();
        }
        if (!part.empty() && std::find(parts.begin(), parts.end(), part) == parts.end())
            parts.push_back(part);
    }
    std::string sentence;
    for (const std::string& part : parts) sentence += (sentence.empty() ? "" : "; ") + part;
    return sentence;
}

const char* WordsFor(DecoderFailure number) {
    switch (number) {
        case DECODER_FAILURE_FILE_NOT_FOUND:
            return "no such file";
        case DECODER_FAILURE_NO_ACCESS:
            return "no permission, or another program has it";
        case DECODER_FAILURE_DISK_FULL:
            return "no room left for the tags";
        case DECODER_FAILURE_OUT_OF_MEMORY:
            return "out of memory";
        default:
            return nullptr;
    }
}

std::string LastComplaint(const std::string& messages) {
    // Indented lines are details of what stands above them; FFmpeg 7 has a mark in front of the sums.
    constexpr std::string_view kUsual[] = {" ",        "Stream mapping:", "Press [q]",
                                           "Output #", "video:",          "[out#"};
    std::string last;
    for (const std::string& line : Split(messages, '\n')) {
        const auto isUsual = [&](std::string_view start) { return line.starts_with(start); };
        if (!line.empty() && std::none_of(std::begin(kUsual), std::end(kUsual), isUsual)) last = line;
    }
    // "[demuxer @ address]" and the name of the input are no news.
    if (last.starts_with('[')) last.erase(0, last.find(']') + 1);
    const std::size_t start = last.rfind(": ");
    if (start != std::string::npos) last.erase(0, start + 2);
    return WithoutBlanks(last);
}

}  // namespace host
