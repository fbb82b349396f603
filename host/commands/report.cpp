#include "host/commands/report.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string_view>
#include <system_error>

#include "host/system/files.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace fs = std::filesystem;

namespace {

// A FIFO or a terminal can't be read back.
bool EndsWithinALine(const fs::path& path) {
    std::error_code code;
    if (!fs::is_regular_file(path, code)) return false;
    std::ifstream stream(path, std::ios::binary);
    stream.seekg(-1, std::ios::end);
    const int last = stream.get();
    return stream.good() && last != '\n';
}

// A name whose bytes are no UTF-8 stands with this character in a report, as that of another file may.
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

}  // namespace

Report::Report(std::string name) : name_(std::move(name)) {
    const fs::path path = ToPath(name_);
    const bool isHalf = EndsWithinALine(path);
    stream_.reset(system::OpenForAppending(path));
    if (stream_ == nullptr) Fail(errno);
    // Without a buffer of the library's a line is one write.
    std::setvbuf(stream_.get(), nullptr, _IONBF, 0);
    if (isHalf) Add("\n");
}

void Report::Add(const std::string& line) {
    if (std::fwrite(line.data(), 1, line.size(), stream_.get()) != line.size()) Fail(errno);
}

void Report::Fail(int code) const {
    throw Failure("can't write " + name_ + ": " + ErrnoText(code));
}

std::set<std::string, std::less<>> DoneIn(const std::string& report) {
    std::set<std::string, std::less<>> done;
    const fs::path path = ToPath(report);
    std::error_code code;
    if (!fs::exists(path, code)) return done;
    std::ifstream stream(path, std::ios::binary);
    std::string line;
    while (std::getline(stream, line)) {
        const nlohmann::json json = nlohmann::json::parse(line, nullptr, false);
        if (!json.is_object()) continue;
        const auto file = json.find("file");
        const auto status = json.find("status");
        if (file == json.end() || !file->is_string() || status == json.end()) continue;
        const auto& name = file->get_ref<const std::string&>();
        if (*status == "done" && name.find(kReplacement) == std::string::npos) {
            done.insert(name);
        } else if (*status != "skipped") {
            done.erase(name);
        }
    }
    if (!stream.eof()) throw Failure("can't read " + report);
    return done;
}

}  // namespace host
