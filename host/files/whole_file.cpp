#include "host/files/whole_file.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "host/system/files.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace {

using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

}  // namespace

std::vector<std::byte> ReadWholeFile(const std::string& file, std::uintmax_t most) {
    const std::filesystem::path path = ToPath(file);
    std::error_code code;
    const std::uintmax_t size = std::filesystem::file_size(path, code);
    if (code) throw Failure("can't read " + file + ": " + code.message());
    if (size > most) throw Failure(file + " is too large");
    const Stream stream(system::OpenForReading(path), std::fclose);
    if (stream == nullptr) throw Failure("can't read " + file + ": " + ErrnoText(errno));
    std::vector<std::byte> bytes(static_cast<std::size_t>(size));
    if (std::fread(bytes.data(), 1, bytes.size(), stream.get()) != bytes.size()) {
        throw Failure("can't read " + file + " to its end");
    }
    return bytes;
}

std::vector<std::byte> ReadStartOfFile(const std::string& file, std::size_t size) {
    std::vector<std::byte> bytes(size);
    const Stream stream(system::OpenForReading(ToPath(file)), std::fclose);
    bytes.resize(stream == nullptr ? 0 : std::fread(bytes.data(), 1, size, stream.get()));
    return bytes;
}

void WriteWholeFile(const std::string& file, std::span<const std::byte> bytes) {
    Stream stream(system::OpenForWriting(ToPath(file)), std::fclose);
    const bool written =
        stream != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), stream.get()) == bytes.size();
    if (!written || std::fclose(stream.release()) != 0)
        throw Failure("can't write " + file + ": " + ErrnoText(errno));
}

}  // namespace host
