#include "host/files/file_list.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string_view>
#include <system_error>

#include "host/system/files.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace fs = std::filesystem;

namespace {

std::string ReadAll(std::FILE* stream, const std::string& name) {
    std::string text;
    char piece[65536];
    while (const std::size_t count = std::fread(piece, 1, sizeof piece, stream)) text.append(piece, count);
    if (std::ferror(stream) != 0) throw Failure("can't read " + name + ": " + ErrnoText(errno));
    return text;
}

std::string ReadList(const std::string& name) {
    if (name == "-") return ReadAll(stdin, "standard input");
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(system::OpenForReading(ToPath(name)),
                                                                 std::fclose);
    if (stream == nullptr) throw Failure("can't read the list " + name + ": " + ErrnoText(errno));
    return ReadAll(stream.get(), name);
}

std::vector<std::string> NamesIn(std::string text) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0) text.erase(0, kByteOrderMark.size());
    const bool lines = text.find('\0') == std::string::npos;
    std::vector<std::string> names;
    for (std::string& name : Split(text, lines ? '\n' : '\0')) {
        if (lines && !name.empty() && name.back() == '\r') name.pop_back();
        if (!name.empty()) names.push_back(std::move(name));
    }
    return names;
}

// A path below a folder, whatever the path is: without its root and the steps that lead out.
fs::path Below(const fs::path& path) {
    fs::path tree;
    for (const fs::path& part : path.lexically_normal().relative_path()) {
        if (part != ".." && part != ".") tree /= part;
    }
    return tree;
}

// The last part of a URL's path.
fs::path NameOfUrl(const std::string& url) {
    const std::string path = url.substr(0, url.find_first_of("?#"));
    return ToPath(path.substr(path.find_last_of('/') + 1));
}

void AddFolder(std::vector<InputFile>& files, const fs::path& folder,
               const std::function<bool(const fs::path&)>& isWanted) {
    const auto first = static_cast<std::ptrdiff_t>(files.size());
    std::error_code code;
    fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied, code);
    if (code) throw Failure("can't look into " + PathText(folder) + ": " + code.message());
    while (entry != fs::recursive_directory_iterator()) {
        std::error_code ignored;
        if (entry->is_regular_file(ignored) && isWanted(entry->path())) {
            files.push_back({PathText(entry->path()), entry->path().lexically_relative(folder)});
        }
        entry.increment(code);
        if (code) throw Failure("can't look into " + PathText(folder) + ": " + code.message());
    }
    std::sort(files.begin() + first, files.end(),
              [](const InputFile& left, const InputFile& right) { return left.tree < right.tree; });
}

}  // namespace

bool IsUrl(const std::string& name) {
    // One letter is a drive.
    constexpr std::size_t kShortestProtocol = 2;
    const std::size_t colon = name.find(':');
    if (colon == std::string::npos || colon < kShortestProtocol) return false;
    const auto isProtocol = [](unsigned char letter) {
        return (letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9') || letter == '+' ||
               letter == '-' || letter == '.';
    };
    const auto end = name.begin() + static_cast<std::ptrdiff_t>(colon);
    std::error_code ignored;
    return std::all_of(name.begin(), end, isProtocol) && !fs::exists(ToPath(name), ignored);
}

std::vector<InputFile> ListFiles(const Selection& selection,
                                 const std::function<bool(const fs::path&)>& isWanted) {
    std::vector<InputFile> files;
    const auto add = [&](const std::string& name, bool keepsTree) {
        std::error_code ignored;
        const fs::path path = ToPath(name);
        if (IsUrl(name)) {
            files.push_back({name, NameOfUrl(name)});
        } else if (selection.recursive && fs::is_directory(path, ignored)) {
            AddFolder(files, path, isWanted);
        } else {
            files.push_back({name, keepsTree ? Below(path) : path.filename()});
        }
    };
    for (const std::string& name : selection.files) add(name, false);
    if (!selection.list.empty()) {
        for (const std::string& name : NamesIn(ReadList(selection.list))) add(name, true);
    }
    if (selection.files.empty() && selection.list.empty())
        throw UsageFailure("name a file (--help tells more)");
    return files;
}

Shard::Shard(const std::string& text) {
    if (text.empty()) return;
    const char* const end = text.data() + text.size();
    const auto number = std::from_chars(text.data(), end, number_);
    const bool slash = number.ec == std::errc() && number.ptr != end && *number.ptr == '/';
    const auto count = std::from_chars(slash ? number.ptr + 1 : end, end, count_);
    if (!slash || count.ec != std::errc() || count.ptr != end || number_ < 1 || number_ > count_) {
        throw UsageFailure("--shard takes I/N, as in 2/8, not " + text);
    }
}

bool Shard::Holds(const InputFile& file) const {
    // FNV-1a: short, spread well enough, and the same everywhere.
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char8_t letter : file.tree.generic_u8string()) {
        hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001B3;
    }
    // The low bits depend on the low bits of the letters alone.
    return (hash >> 32) % count_ == number_ - 1;
}

}  // namespace host
