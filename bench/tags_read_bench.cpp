// Reading tags, from the file to what the caller holds: ours gives a blob, TagLib objects. TagLib's release
// of these days reads no Matroska, where FFmpeg's library stands in. All in one process, from files in
// memory, where nothing waits.
#include <fcntl.h>
#include <taglib/apetag.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/id3v2tag.h>
#include <taglib/trueaudiofile.h>
#include <taglib/wavpackfile.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "kit/files.h"
#include "libav_decode.h"
#include "quick/tagged_files.h"
#include "report.h"
#include "support/clbuffer.h"
#include "system.h"
#include "tags/std_tags.h"

namespace {

constexpr int kRounds = 21;
constexpr std::size_t kBytesOfAllFiles = 64 << 20;
constexpr std::size_t kMostFiles = 500;
constexpr double kPictureAim = 0.6;
constexpr double kNoPictureAim = 0.5;

void Require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

clString Wide(const std::filesystem::path& path) {
    return std::u16string_view(path.u16string());
}

using Read = std::function<std::size_t(const std::filesystem::path&)>;  // gives the bytes of the picture

struct Contest {
    const char* tag;
    TagKind kind;
    const char* extension;
    Read theirs;
};

// Without audio properties the classes of TagLib look for the tags alone.
std::size_t ApeByTagLib(const std::filesystem::path& path) {
    TagLib::WavPack::File file(path.c_str(), false);
    Require(file.hasAPETag(), "TagLib found no tag");
    const TagLib::APE::ItemListMap& items = file.APETag()->itemListMap();
    Require(items.size() >= 10, "TagLib found no items");
    return items["COVER ART (FRONT)"].binaryData().size();
}

std::size_t Id3v2ByTagLib(const std::filesystem::path& path) {
    TagLib::TrueAudio::File file(path.c_str(), false);
    Require(file.hasID3v2Tag(), "TagLib found no tag");
    const TagLib::ID3v2::FrameListMap& frames = file.ID3v2Tag()->frameListMap();
    Require(frames.size() >= 10, "TagLib found no frames");
    const auto pictures = frames["APIC"];
    if (pictures.isEmpty()) return 0;
    return dynamic_cast<TagLib::ID3v2::AttachedPictureFrame*>(pictures.front())->picture().size();
}

const std::vector<Contest> kContests = {
    {"APE", TagKind::Ape, ".tta", ApeByTagLib},
    {"ID3v2.3", TagKind::Id3v23, ".tta", Id3v2ByTagLib},
    {"ID3v2.4", TagKind::Id3v24, ".tta", Id3v2ByTagLib},
    {"Matroska (rival: libavformat)", TagKind::Matroska, ".mka",
     [](const std::filesystem::path& path) { return LibavAttachmentBytes(path.string()); }},
};

// What no reader can do without: the bytes of the file, once, in memory of its own.
std::size_t ReadBare(const std::filesystem::path& path, std::size_t bytes) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const std::unique_ptr<char[]> target(new char[bytes]);
    const bool whole = read(file, target.get(), bytes) == static_cast<ssize_t>(bytes);
    close(file);
    Require(whole, "not read");
    return bytes;
}

Read ReadByUs(TagKind kind) {
    return [kind](const std::filesystem::path& path) {
        clBuffer blob;
        clString version;
        const bool read = kind == TagKind::Matroska ? MatroskaTags::ReadBlob(Wide(path).text(), blob, {})
                                                    : ReadStdTagBlob(Wide(path), blob, version, {});
        Require(read && blob.size() > 500, "no tags read");
        return std::size_t{blob.size()};
    };
}

void Compare(const Contest& contest, std::size_t pictureBytes, Table& table) {
    const kit::TempFolder folder;
    const std::string bytes = TaggedFile(contest.kind, pictureBytes);
    std::vector<std::filesystem::path> files;
    for (std::size_t i = 0; i < std::min(kMostFiles, kBytesOfAllFiles / bytes.size()); ++i) {
        files.push_back(folder / (std::to_string(i) + contest.extension));
        kit::WriteFile(files.back(), bytes);
    }
    const Read ours = ReadByUs(contest.kind);
    Require(ours(files[0]) >= pictureBytes && contest.theirs(files[0]) >= pictureBytes, "another picture");
    std::size_t total = 0;
    const auto all = [&](const Read& read) {
        for (const std::filesystem::path& file : files) total += read(file);
    };
    const Read bare = [&](const std::filesystem::path& path) { return ReadBare(path, bytes.size()); };
    const Race race = RunInTurn(
        kRounds, [&] { all(ours); }, [&] { all(contest.theirs); }, ProcessorSeconds);
    const Race floor = RunInTurn(
        kRounds, [&] { all(bare); }, [&] { all(contest.theirs); }, ProcessorSeconds);
    Require(total > 0, "nothing was read");
    const double perFile = 1e6 / static_cast<double>(files.size());
    const double aim = pictureBytes > 0 ? kPictureAim : kNoPictureAim;
    table.Add({contest.tag, std::to_string(pictureBytes / 1024) + " KiB", Fixed(race.Ours() * perFile, 1),
               Fixed(race.Theirs() * perFile, 1), race.RatioWithSpread(), Fixed(aim, 1),
               floor.RatioWithSpread(), std::to_string(PeakKibibytes([&] { ours(files[0]); })),
               std::to_string(PeakKibibytes([&] { contest.theirs(files[0]); }))});
}

}  // namespace

int main() try {
    Table table({"Reading a tag with a picture of", "", "ours, us of the processor", "rival",
                 "ratio (10th - 90th)", "aim", "a bare read of the file, ratio", "ours, KiB more at the peak",
                 "rival, KiB"});
    for (const Contest& contest : kContests) {
        for (const std::size_t kibibytes : {0, 200, 2048}) Compare(contest, kibibytes * 1024, table);
    }
    table.Print();
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "tags_read_bench: %s\n", failure.what());
    return 1;
}
