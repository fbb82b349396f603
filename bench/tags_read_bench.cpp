// Reading the tags of many files against TagLib, and what a write costs in a small and in a large file.
#include <taglib/apetag.h>
#include <taglib/id3v1tag.h>
#include <taglib/wavpackfile.h>

#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "kit/files.h"
#include "report.h"
#include "support/clfile.h"
#include "support/cllog.h"
#include "system.h"
#include "tags/std_tags.h"

namespace {

constexpr int kFiles = 1000;
constexpr int kRounds = 15;
constexpr int kWrites = 200;
constexpr std::int64_t kMebibyte = 1 << 20;

void Require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

clString Wide(const std::filesystem::path& path) {
    return std::u16string_view(path.u16string());
}

void MakeFile(const std::filesystem::path& path, std::int64_t bytes) {
    std::FILE* made = std::fopen(path.c_str(), "wb");
    Require(made != nullptr && std::fclose(made) == 0, "no file");
    std::filesystem::resize_file(path, static_cast<std::uintmax_t>(bytes));
}

// What a music file has: ten texts in an APE tag, an ID3v1 tag, and a picture when asked for.
void TagFile(const std::filesystem::path& path, std::size_t pictureBytes) {
    TagLib::WavPack::File file(path.c_str(), false);
    TagLib::APE::Tag* ape = file.APETag(true);
    for (const char* name : {"TITLE", "ARTIST", "ALBUM", "GENRE", "YEAR", "TRACK", "COMPOSER", "COMMENT",
                             "LABEL", "ALBUM ARTIST"}) {
        ape->setItem(name, TagLib::APE::Item(name, TagLib::String("A value of an ordinary length")));
    }
    if (pictureBytes > 0) {
        ape->setData("COVER ART (FRONT)", TagLib::ByteVector("cover.jpg", 10) +
                                              TagLib::ByteVector(static_cast<unsigned>(pictureBytes), 'p'));
    }
    file.ID3v1Tag(true)->setTitle("Title");
    Require(file.save(), "TagLib wrote no tags");
}

std::size_t ReadByUs(const clString& path) {
    IDTags tags;
    clString version;
    Require(ReadStdTags(path, tags, version, {}), "no tags read");
    return static_cast<std::size_t>(tags.count());
}

// The class for WavPack reads the same two kinds of tag; its audio properties are off.
std::size_t ReadByTagLib(const std::string& path) {
    TagLib::WavPack::File file(path.c_str(), false);
    Require(file.hasAPETag() && file.hasID3v1Tag(), "TagLib found no tags");
    return file.APETag()->itemListMap().size();
}

void CompareReading(const kit::TempFolder& folder, std::size_t pictureBytes, Table& table) {
    std::vector<std::string> names;
    std::vector<clString> wideNames;
    for (int i = 0; i < kFiles; ++i) {
        const std::filesystem::path path = folder / (std::to_string(i) + ".tta");
        MakeFile(path, kMebibyte / 16);
        TagFile(path, pictureBytes);
        names.push_back(path.string());
        wideNames.push_back(Wide(path));
    }
    std::size_t entries = 0;
    const auto [ours, theirs] = RunInTurn(
        kRounds,
        [&] {
            for (const clString& name : wideNames) entries += ReadByUs(name);
        },
        [&] {
            for (const std::string& name : names) entries += ReadByTagLib(name);
        });
    Require(entries > 0, "nothing was read");
    const double perFile = 1e6 / kFiles;
    table.Add({std::to_string(pictureBytes / 1024) + " KiB", Fixed(ours * perFile, 2),
               Fixed(theirs * perFile, 2), Fixed(ours / theirs, 2)});
}

double WriteSeconds(const std::filesystem::path& path, std::int64_t bytes) {
    MakeFile(path, bytes);
    const clString name = Wide(path);
    std::vector<double> seconds;
    for (int i = 0; i < kWrites; ++i) {
        IDTags tags;
        tags.AddText(u"Title", clString::FromInt(i));
        const double start = WallSeconds();
        Require(WriteStdTags(name, tags, StdTagFamily::Ape, {}), "no tags written");
        seconds.push_back(WallSeconds() - start);
    }
    return Median(seconds) * 1e6;
}

}  // namespace

int main() {
    try {
        const kit::TempFolder folder;
        Table reading({"Picture", "Ours, us per file", "TagLib, us per file", "Ratio"});
        CompareReading(folder, 0, reading);
        CompareReading(folder, 200 * 1024, reading);
        reading.Print();
        std::puts("");
        const double small = WriteSeconds(folder / "small.tta", kMebibyte);
        const double large = WriteSeconds(folder / "large.tta", 1024 * kMebibyte);
        Table writing({"Writing a title", "us"});
        writing.Add({"into 1 MiB", Fixed(small, 1)});
        writing.Add({"into 1 GiB", Fixed(large, 1)});
        writing.Add({"ratio", Fixed(large / small, 2)});
        writing.Print();
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "tags_read_bench: %s\n", failure.what());
        return 1;
    }
}
