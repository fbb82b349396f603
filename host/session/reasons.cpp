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

}  // namespace host
