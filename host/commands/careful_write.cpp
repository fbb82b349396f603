#include "host/commands/careful_write.h"

#include <filesystem>
#include <optional>
#include <random>
#include <system_error>

#include "host/session/reasons.h"
#include "host/system/checksum.h"
#include "host/system/files.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace fs = std::filesystem;

namespace {

// What a tag's structure takes beside the values.
constexpr std::uintmax_t kSpareRoom = 65536;

fs::path FolderOf(const fs::path& file) {
    const fs::path folder = file.parent_path();
    return folder.empty() ? "." : folder;
}

// Even the system's own administrator has set such a file aside.
bool IsMarkedReadOnly(const fs::path& file) {
    std::error_code code;
    const fs::perms writable = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    const fs::perms mode = fs::status(file, code).permissions();
    return !code && (mode & writable) == fs::perms::none;
}

// A name beside the file, with its extension, by which the plug-in knows the kind of its tags.
fs::path CopyName(const fs::path& file) {
    std::random_device random;
    fs::path name = FolderOf(file) / (".decoder-host-" + std::to_string(random()));
    return name += file.extension();
}

// Removes a file at the end of its life, unless it has moved on.
class PassingFile {
  public:
    explicit PassingFile(fs::path path) : path_(std::move(path)) {}
    ~PassingFile() {
        std::error_code ignored;
        if (!path_.empty()) fs::remove(path_, ignored);
    }
    PassingFile(const PassingFile&) = delete;
    PassingFile& operator=(const PassingFile&) = delete;
    void Release() { path_.clear(); }

  private:
    fs::path path_;
};

void AddSamples(Session& session, std::uint64_t bytes, system::Md5& hash) {
    for (;;) {
        const decoder_plugin::Block block = session.DecodeBlock();
        hash.Add({block.samples.data(), block.samples.size()});
        if (block.last || block.samples.size() >= bytes) return;
        bytes -= block.samples.size();
    }
}

// Of the first and the last seconds of the decoded sound.
std::string SoundOf(Session& session, const std::string& file) {
    constexpr std::int64_t kSeconds = 3;
    system::Md5 hash;
    const DecoderFormat format = session.Open(file, 0).format;
    AddSamples(session, static_cast<std::uint64_t>(kSeconds) * format.wave.averageBytesPerSecond, hash);
    const std::int64_t frames = format.durationMs * format.wave.samplesPerSecond / 1000;
    const std::int64_t last = frames - kSeconds * format.wave.samplesPerSecond;
    if (last > 0) {
        session.SetPosition(last);
        AddSamples(session, ~std::uint64_t{0}, hash);
    }
    session.Close();
    return hash.Text();
}

void ChangeCopy(Session& session, const std::string& file,
                const std::function<void(const std::string&)>& change) {
    // What a link points to is replaced, not the link.
    const fs::path path = fs::canonical(ToPath(file));
    if (system::HasOtherNames(path)) {
        throw Failure(file + " has other names (hard links), which --safe would leave with the old tags");
    }
    const std::string sound = SoundOf(session, file);
    const std::optional<system::FileTimes> times = system::TimesOf(path);
    const fs::path copy = CopyName(path);
    PassingFile passing(copy);
    system::CopyWhole(path, copy);
    change(PathText(copy));
    if (SoundOf(session, PathText(copy)) != sound) {
        throw Failure(file + ": the copy with the new tags sounds different; the file is as it was");
    }
    system::CopyAttributes(path, copy);
    if (times) system::SetTimes(copy, *times);
    system::Sync(copy);
    system::Replace(copy, path);
    passing.Release();
    system::Sync(FolderOf(path));
}

}  // namespace

void RequireWritable(const std::string& file, const WriteOptions& options, std::uintmax_t bytes) {
    if (const std::optional<std::string> reason = ReasonAgainstReading(file)) throw Failure(*reason);
    const fs::path path = ToPath(file);
    if (!system::MayWrite(path))
        throw Failure(file + ": no permission to write it, or on a read-only volume");
    if (IsMarkedReadOnly(path)) throw Failure(file + " is marked read-only");
    std::error_code code;
    const fs::path folder = FolderOf(fs::canonical(path, code));
    std::uintmax_t needed = bytes + kSpareRoom;
    if (options.safe) {
        if (!system::MayWrite(folder))
            throw Failure(PathText(folder) + ": no permission to make the safe copy there");
        needed += fs::file_size(path, code);
    }
    const fs::space_info space = fs::space(folder, code);
    if (!code && space.available < needed) {
        throw Failure(file + ": writing may need " + std::to_string(needed) + " bytes and the volume has " +
                      std::to_string(space.available) + " left");
    }
}

void ChangeFile(Session& session, const std::string& file, const WriteOptions& options,
                const std::function<void(const std::string& path)>& change) {
    if (options.safe) {
        ChangeCopy(session, file, change);
        return;
    }
    const std::optional<system::FileTimes> times =
        options.keepTimes ? system::TimesOf(ToPath(file)) : std::nullopt;
    change(file);
    if (times && !system::SetTimes(ToPath(file), *times)) throw Failure(file + ": its times can't be kept");
}

}  // namespace host
