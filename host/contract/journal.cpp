#include "host/contract/journal.h"

#include <cerrno>
#include <cstring>
#include <vector>

#include "host/files/whole_file.h"
#include "host/system/files.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host::contract {

namespace {

// The step, padded with NULs; behind it the verdict as a digit and the reason.
constexpr std::size_t kStepSize = 64;
constexpr std::size_t kLargestJournal = 0x100000;

}  // namespace

Journal::Journal(const std::filesystem::path& file) : stream_(system::OpenForWriting(file)) {
    if (stream_ == nullptr) throw Failure("can't write " + PathText(file) + ": " + ErrnoText(errno));
}

void Journal::Step(const char* words) {
    std::string text = words;
    text.resize(kStepSize);
    WriteAt(0, text);
}

void Journal::Finish(Verdict verdict, const std::string& reason) {
    WriteAt(kStepSize, std::to_string(static_cast<int>(verdict)) + reason);
}

void Journal::WriteAt(long offset, const std::string& text) {
    const std::lock_guard lock(mutex_);
    if (finished_) return;
    finished_ = offset != 0;
    std::fseek(stream_, offset, SEEK_SET);
    std::fwrite(text.data(), 1, text.size(), stream_);
    std::fflush(stream_);
}

Journal::Entry Journal::Read(const std::filesystem::path& file) {
    const std::vector<std::byte> bytes = ReadStartOfFile(PathText(file), kLargestJournal);
    const std::string text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    Entry entry;
    entry.step = std::string(text.c_str()).substr(0, kStepSize);
    if (text.size() <= kStepSize) return entry;
    entry.finished = true;
    entry.verdict = static_cast<Verdict>(text[kStepSize] - '0');
    entry.reason = text.substr(kStepSize + 1);
    return entry;
}

}  // namespace host::contract
