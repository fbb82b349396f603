// By how much the memory of a process grows while a tag is read or written, in times of the tag. Each job has
// a process of its own: what an earlier one left behind would count, too.
//
//   memory_bench                        the table
//   memory_bench JOB FILE PICTURE       one job; prints KiB
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "kit/files.h"
#include "quick/tagged_files.h"
#include "report.h"
#include "support/clbuffer.h"
#include "system.h"
#include "tags/std_tags.h"

namespace {

// Times the picture, and what every job takes for what isn't the picture.
constexpr double kReadAim = 2;
constexpr double kWriteAim = 3;
constexpr long kReadSpareKiB = 8192;
constexpr long kWriteSpareKiB = 1024;

constexpr const char* kRead = "read";
constexpr const char* kNewTitle = "another title";
constexpr const char* kNewPicture = "another picture";

void Require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

struct NamedKind {
    const char* name;
    TagKind kind;
    const char* extension;
};

constexpr NamedKind kKinds[] = {
    {"APE", TagKind::Ape, ".tta"},
    {"ID3v2.3", TagKind::Id3v23, ".tta"},
    {"ID3v2.4", TagKind::Id3v24, ".tta"},
    {"Matroska", TagKind::Matroska, ".mka"},
};

void Read(const clString& path, bool matroska) {
    clBuffer blob;
    clString version;
    Require(
        matroska ? MatroskaTags::ReadBlob(path.text(), blob, {}) : ReadStdTagBlob(path, blob, version, {}),
        "no tags read");
}

void Write(const clString& path, bool matroska, IDTags& tags) {
    Require(matroska ? MatroskaTags::Write(path.text(), tags, {})
                     : WriteStdTags(path, tags, StdTagFamily::Ape, {}),
            "no tags written");
}

// What the host hands over is there before.
void AddPicture(IDTags& tags, const std::filesystem::path& file) {
    IDTag& tag = tags.Add();
    tag.Name.Set(u"_albumart_1_Front Album Cover");
    const auto bytes = static_cast<std::uint32_t>(std::filesystem::file_size(file));
    Require(tag.Data.Resize(bytes), "no memory");
    std::ifstream(file, std::ios::binary).read(reinterpret_cast<char*>(tag.Data.data()), bytes);
}

int RunJob(const std::string& job, const std::filesystem::path& file, const char* picture) {
    const clString path(std::u16string_view(file.u16string()));
    const bool matroska = file.extension() == ".mka";
    IDTags tags;
    if (job == kNewPicture) {
        AddPicture(tags, picture);
    } else {
        tags.AddText(u"Title", u"Another value than the one before");
    }
    const long growth =
        PeakKibibytes([&] { job == kRead ? Read(path, matroska) : Write(path, matroska, tags); });
    std::printf("%ld\n", growth);
    return growth >= 0 ? 0 : 1;
}

long GrowthOf(const std::vector<std::string>& command) {
    PipedProgram program(command);
    std::string output(64, '\0');
    std::size_t came = 0;
    while (const std::size_t now = program.Read(std::as_writable_bytes(std::span(output).subspan(came))))
        came += now;
    Require(program.Wait() == 0, "a job failed");
    return std::atol(output.c_str());
}

void Measure(const NamedKind& kind, std::size_t mebibytes, Table& table) {
    const kit::TempFolder folder;
    const std::string file = (folder / (std::string("song") + kind.extension)).string();
    const std::string picture = (folder / "picture").string();
    kit::WriteFile(picture, PictureOf(mebibytes << 20));
    for (const char* job : {kRead, kNewTitle, kNewPicture}) {
        kit::WriteFile(file, TaggedFile(kind.kind, mebibytes << 20));
        const long growth = GrowthOf({OwnPath(), job, file, picture});
        const double size = static_cast<double>(mebibytes) * 1024;
        const bool reads = job == std::string(kRead);
        const long most = static_cast<long>((reads ? kReadAim : kWriteAim) * size) +
                          (reads ? kReadSpareKiB : kWriteSpareKiB);
        table.Add({kind.name, std::to_string(mebibytes) + " MiB", job, std::to_string(growth),
                   Fixed(static_cast<double>(growth) / size, 2),
                   std::to_string(most) + (growth <= most ? "" : " (missed)")});
    }
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc == 4) return RunJob(argv[1], argv[2], argv[3]);
    Table table({"Tag", "picture", "job", "KiB more at the peak", "times the picture", "aim"});
    for (const NamedKind& kind : kKinds) {
        for (const std::size_t mebibytes : {2, 15}) Measure(kind, mebibytes, table);
    }
    table.Print();
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "memory_bench: %s\n", failure.what());
    return 1;
}
