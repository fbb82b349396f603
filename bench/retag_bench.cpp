// Another title of the same length in files that have a tag already, ours beside TagLib: in one process, and
// as whole processes, for which this program calls itself. TagLib's release of these days knows no Matroska;
// matroska_bench has that beside mkvpropedit.
//
//   retag_bench                          all rows
//   retag_bench ours|TagLib FILE TITLE   one file
#include <taglib/apetag.h>
#include <taglib/id3v2tag.h>
#include <taglib/trueaudiofile.h>
#include <taglib/wavpackfile.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "kit/files.h"
#include "quick/tagged_files.h"
#include "report.h"
#include "system.h"
#include "tags/std_tags.h"

namespace {

constexpr int kRounds = 21;
constexpr int kProcessRounds = 101;
constexpr std::size_t kBytesOfAllFiles = 64 << 20;
constexpr std::size_t kMostFiles = 200;

constexpr const char* kOurs = "ours";
constexpr const char* kTagLib = "TagLib";

void Require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

clString Wide(const std::filesystem::path& path) {
    return std::u16string_view(path.u16string());
}

using Retag = std::function<void(const std::filesystem::path&, const std::string& title)>;

void ByUs(const std::filesystem::path& path, const std::string& title) {
    IDTags tags;
    clString value;
    value.SetFromUtf8(title);
    tags.AddText(u"Title", value);
    const bool written = path.extension() == ".mka" ? MatroskaTags::Write(Wide(path).text(), tags, {})
                                                    : WriteStdTags(Wide(path), tags, StdTagFamily::Ape, {});
    Require(written, "no tags written");
}

template <typename File>
void SaveByTagLib(const std::filesystem::path& path, const std::string& title) {
    File file(path.c_str(), false);
    Require(file.isOpen() && !file.tag()->isEmpty(), "TagLib found no tag");
    file.tag()->setTitle(title);
    Require(file.save(), "TagLib saved nothing");
}

// Which tags TagLib looks for depends on the class of the file.
void ByTagLib(const std::filesystem::path& path, const std::string& title) {
    if (path.extension() == ".wv") return SaveByTagLib<TagLib::WavPack::File>(path, title);
    SaveByTagLib<TagLib::TrueAudio::File>(path, title);
}

struct Contest {
    const char* tag;
    TagKind kind;
    const char* extension;
    std::size_t pictureBytes;
};

constexpr std::size_t kPicture = 2048 * 1024;

constexpr Contest kContests[] = {
    {"ID3v1 (ours: and an APE tag)", TagKind::Id3v1, ".wv", 0},
    {"APE", TagKind::Ape, ".wv", 0},
    {"APE, 2 MiB picture", TagKind::Ape, ".wv", kPicture},
    {"ID3v2.3", TagKind::Id3v23, ".tta", 0},
    {"ID3v2.3, 2 MiB picture", TagKind::Id3v23, ".tta", kPicture},
    {"ID3v2.4", TagKind::Id3v24, ".tta", 0},
    {"ID3v2.4, 2 MiB picture", TagKind::Id3v24, ".tta", kPicture},
    {"Matroska", TagKind::Matroska, ".mka", 0},
    {"Matroska, 2 MiB picture", TagKind::Matroska, ".mka", kPicture},
};

bool HasRival(const Contest& contest) {
    return contest.kind != TagKind::Matroska;
}

// As long as the title in the files.
std::string TitleOf(int round) {
    std::string title = "A value of an ordinary length ";
    title.back() = static_cast<char>('a' + round % 26);
    return title;
}

// Files of one kind, of which each rival has its own.
class Copies {
  public:
    Copies(const kit::TempFolder& folder, const std::string& owner, const Contest& contest) {
        const std::string bytes = TaggedFile(contest.kind, contest.pictureBytes);
        for (std::size_t i = 0; i < std::min(kMostFiles, kBytesOfAllFiles / bytes.size()); ++i) {
            files_.push_back(folder / (owner + std::to_string(i) + contest.extension));
            kit::WriteFile(files_.back(), bytes);
        }
    }

    void RetagAll(const Retag& retag) {
        ++round_;
        for (const std::filesystem::path& file : files_) retag(file, TitleOf(round_));
    }
    const std::vector<std::filesystem::path>& files() const { return files_; }

  private:
    std::vector<std::filesystem::path> files_;
    int round_ = 0;
};

std::string PerFile(double seconds, std::size_t files) {
    return Fixed(seconds * 1e6 / static_cast<double>(files), 1);
}

void CompareInProcess(const Contest& contest, Table& table) {
    const kit::TempFolder folder;
    Copies own(folder, kOurs, contest);
    Copies rivals(folder, kTagLib, contest);
    const auto ours = [&] { own.RetagAll(ByUs); };
    const auto theirs = [&] {
        if (HasRival(contest)) rivals.RetagAll(ByTagLib);
    };
    ours();  // the first time gives the tag the size that it keeps
    theirs();
    const Race race = RunInTurn(kRounds, ours, theirs, ProcessorSeconds);
    const std::size_t count = own.files().size();
    table.Add({contest.tag, PerFile(race.Ours(), count),
               HasRival(contest) ? PerFile(race.Theirs(), count) : "",
               HasRival(contest) ? race.RatioWithSpread() : ""});
}

void CompareProcesses(const Contest& contest, Table& table) {
    const kit::TempFolder folder;
    const std::string own = Copies(folder, kOurs, contest).files()[0].string();
    const std::string rival = Copies(folder, kTagLib, contest).files()[0].string();
    int round = 0;
    const auto ours = [&] {
        Require(RunToEnd({OwnPath(), kOurs, own, TitleOf(++round)}) == 0, "ours failed");
    };
    const auto theirs = [&] {
        Require(RunToEnd({OwnPath(), kTagLib, rival, TitleOf(round)}) == 0, "TagLib failed");
    };
    ours();
    theirs();
    const Race race = RunInTurn(kProcessRounds, ours, theirs, WallSeconds);
    table.Add(
        {contest.tag, Fixed(race.Ours() * 1e3, 2), Fixed(race.Theirs() * 1e3, 2), race.RatioWithSpread()});
}

}  // namespace

int main(int argc, char** argv) try {
    const std::span<char*> words(argv, static_cast<std::size_t>(argc));
    if (words.size() == 4) {
        (words[1] == std::string(kOurs) ? ByUs : ByTagLib)(words[2], words[3]);
        return 0;
    }
    Table inProcess({"Another title in", "ours, us of the processor", kTagLib, "ratio (10th - 90th)"});
    for (const Contest& contest : kContests) CompareInProcess(contest, inProcess);
    inProcess.Print();
    std::puts("");
    Table processes({"The same as whole processes", "ours, ms", kTagLib, "ratio (10th - 90th)"});
    for (const Contest& contest : kContests) {
        if (HasRival(contest)) CompareProcesses(contest, processes);
    }
    processes.Print();
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "retag_bench: %s\n", failure.what());
    return 1;
}
