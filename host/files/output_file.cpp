#include "host/files/output_file.h"

#include <cerrno>
#include <random>
#include <system_error>

#include "host/system/files.h"
#include "host/system/interruption.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace fs = std::filesystem;

namespace {

// What a link points to is written, not the link, even when it isn't there yet.
fs::path BehindLinks(fs::path path) {
    constexpr int kMostLinks = 40;
    std::error_code code;
    for (int links = 0; links < kMostLinks && fs::is_symlink(fs::symlink_status(path, code)); ++links) {
        const fs::path next = fs::read_symlink(path, code);
        if (code) break;
        path = path.parent_path() / next;
    }
    return path;
}

}  // namespace

OutputFile::OutputFile(const std::string& target, Existing existing) : shown_(target) {
    if (target == "-") {
        shown_ = "standard output";
        stream_ = stdout;
        return;
    }
    std::error_code code;
    target_ = BehindLinks(ToPath(target));
    const fs::file_status status = fs::status(target_, code);
    if (fs::is_directory(status)) throw Failure(target + " is a folder");
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        stream_ = system::OpenForWriting(target_);
        if (stream_ == nullptr) Fail(errno);
        return;
    }
    replaces_ = fs::exists(status);
    if (replaces_ && existing == Existing::Refuse)
        throw Failure(target + " is there already (--force replaces it)");
    OpenPassing();
}

OutputFile::~OutputFile() {
    if (stream_ != nullptr && stream_ != stdout) std::fclose(stream_);
    std::error_code ignored;
    if (isFile()) fs::remove(passing_, ignored);
}

// The passing name is short and of our own making, so that any name that the system takes can be the
// target's.
void OutputFile::OpenPassing() {
    constexpr int kAttempts = 100;
    std::random_device random;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const fs::path path = target_.parent_path() / (".decoder-host-" + std::to_string(random()) + ".part");
        stream_ = system::OpenNew(path);
        if (stream_ != nullptr) {
            passing_ = path;
            return;
        }
        if (errno != EEXIST) break;
    }
    Fail(errno);
}

void OutputFile::Write(std::span<const std::byte> bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), stream_) != bytes.size()) Fail(errno);
}

void OutputFile::Rewrite(std::span<const std::byte> bytes) {
    if (std::fseek(stream_, 0, SEEK_SET) != 0) Fail(errno);
    Write(bytes);
}

void OutputFile::Finish() {
    if (std::fflush(stream_) != 0) Fail(errno);
    if (stream_ == stdout) return;
    std::FILE* const stream = stream_;
    stream_ = nullptr;
    if (std::fclose(stream) != 0) Fail(errno);
    if (!isFile()) return;
    if (replaces_) system::CopyAttributes(target_, passing_);
    try {
        system::Replace(passing_, target_);
    } catch (const std::system_error& error) {
        throw Failure("can't write " + shown_ + ": " + error.code().message());
    }
    passing_.clear();
}

void OutputFile::Fail(int code) const {
    // A write that a signal broke off.
    if (const int exitCode = system::InterruptionCode()) throw Interruption{exitCode};
    throw Failure("can't write " + shown_ + ": " + ErrnoText(code));
}

}  // namespace host
