// Rewriting an ID3v2 tag, in place or with the tail of a large file, against a plain copy of the bytes that
// it moves, and against `cp` of the whole file.
#include <taglib/attachedpictureframe.h>
#include <taglib/id3v2tag.h>
#include <taglib/textidentificationframe.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kit/files.h"
#include "kit/tools.h"
#include "report.h"
#include "support/clfile.h"
#include "system.h"
#include "tags/id3v2/tag_id3v2.h"

namespace {

constexpr int kWrites = 200;
constexpr int kMoves = 5;
constexpr std::int64_t kTail = std::int64_t{256} << 20;
constexpr std::size_t kBlock = 65536;

void Require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

clString Wide(const std::filesystem::path& path) {
    return std::u16string_view(path.u16string());
}

// What a music file has: ten texts, and a picture when asked for.
std::string MakeTag(std::size_t pictureBytes, TagLib::ID3v2::Version version) {
    TagLib::ID3v2::Tag tag;
    for (const char* id : {"TIT2", "TPE1", "TALB", "TCON", "TRCK", "TCOM", "TPUB", "TPE2", "TENC", "TCOP"}) {
        auto* frame = new TagLib::ID3v2::TextIdentificationFrame(id, TagLib::String::UTF16);
        frame->setText("A value of an ordinary length");
        tag.addFrame(frame);
    }
    if (pictureBytes > 0) {
        auto* picture = new TagLib::ID3v2::AttachedPictureFrame;
        picture->setMimeType("image/jpeg");
        picture->setPicture(TagLib::ByteVector(static_cast<unsigned>(pictureBytes), 'p'));
        tag.addFrame(picture);
    }
    const TagLib::ByteVector bytes = tag.render(version);
    return {bytes.data(), bytes.size()};
}

double WriteSeconds(clFile& file, const char16_t* title) {
    TagID3v2 engine(file);
    IDTags tags;
    tags.AddText(u"Title", title);
    const double start = WallSeconds();
    Require(engine.Write(tags, false), "no tag written");
    return WallSeconds() - start;
}

// The bytes of the tail, read and written once by the same calls.
double CopySeconds(clFile& file, std::int64_t from, const std::filesystem::path& target) {
    std::FILE* made = std::fopen(target.c_str(), "wb");
    Require(made != nullptr && std::fclose(made) == 0, "no file");
    clFile copy(Wide(target));
    Require(copy.Open(clFile::kWrite) && file.Seek(from, clFile::Where::Start), "not opened");
    const double start = WallSeconds();
    std::vector<char> block(kBlock);
    for (std::size_t came; (came = file.Read(block.data(), block.size())) > 0;) {
        Require(copy.Write(block.data(), came, clFile::Where::Here), "no copy");
    }
    const double seconds = WallSeconds() - start;
    copy.Close();
    std::filesystem::remove(target);
    return seconds;
}

double CpSeconds(const std::filesystem::path& file, const std::filesystem::path& target) {
    const double start = WallSeconds();
    Require(RunToEnd({"cp", "--reflink=never", file.string(), target.string()}) == 0, "cp failed");
    const double seconds = WallSeconds() - start;
    std::filesystem::remove(target);
    return seconds;
}

void MeasureWriting(const kit::TempFolder& folder, Table& table) {
    const std::string tag = MakeTag(200 * 1024, TagLib::ID3v2::v3);
    const std::filesystem::path path = folder / "large.tta";
    kit::WriteFile(path, tag);
    std::filesystem::resize_file(path, tag.size() + static_cast<std::uintmax_t>(kTail));
    clFile file(Wide(path));
    Require(file.Open(clFile::kRead | clFile::kWrite), "not opened");
    TagID3v2 engine(file);

    std::vector<double> copies;
    std::vector<double> cps;
    std::vector<double> up;
    std::vector<double> down;
    WriteSeconds(file, u"a");  // takes the padding out, and gives the sparse file its blocks
    for (int i = 0; i < kMoves; ++i) {
        copies.push_back(
            CopySeconds(file, static_cast<std::int64_t>(engine.tagSizeOnDisk()), folder / "copy"));
        cps.push_back(CpSeconds(path, folder / "copy"));
        up.push_back(WriteSeconds(file, u"a longer title"));
        down.push_back(WriteSeconds(file, u"short"));
    }
    std::vector<double> inPlace;
    std::vector<double> plain;
    std::vector<char> bytes(engine.tagSizeOnDisk());
    for (int i = 0; i < kWrites; ++i) {
        inPlace.push_back(WriteSeconds(file, i % 2 == 0 ? u"title" : u"other"));
        const double start = WallSeconds();
        Require(file.ReadAt(0, bytes.data(), bytes.size()) == bytes.size() &&
                    file.WriteAt(0, bytes.data(), bytes.size()),
                "no copy");
        plain.push_back(WallSeconds() - start);
    }
    const auto add = [&table](const char* what, double ours, const char* rival, double theirs, double unit) {
        table.Add({what, Fixed(ours * unit, 1), rival, Fixed(theirs * unit, 1), Fixed(ours / theirs, 2)});
    };
    for (const auto& [what, ours] : {std::pair("256 MiB towards the end, ms", Median(up)),
                                     std::pair("256 MiB towards the start, ms", Median(down))}) {
        add(what, ours, "the same bytes read and written once", Median(copies), 1e3);
        add(what, ours, "cp --reflink=never", Median(cps), 1e3);
    }
    add("200 KiB in place, us", Median(inPlace), "the same bytes read and written once", Median(plain), 1e6);
}

}  // namespace

int main() {
    try {
        const kit::TempFolder folder;
        Table writing({"Rewriting", "ours", "rival", "theirs", "ratio"});
        MeasureWriting(folder, writing);
        writing.Print();
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "id3v2_bench: %s\n", failure.what());
        return 1;
    }
}
