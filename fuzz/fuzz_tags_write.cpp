// Writes any tags to any file, reads them back and deletes them: what is in front of the tags never changes.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "fuzzing.h"
#include "memory_file.h"
#include "support/cllog.h"
#include "support/endian.h"
#include "tags/std_tags.h"

namespace {

constexpr std::size_t kTail = 131;
constexpr std::size_t kId3v1 = 128;
constexpr std::size_t kFooter = 32;

using File = std::span<const std::byte>;

bool Holds(File file, std::size_t at, std::string_view text) {
    return std::memcmp(file.data() + at, text.data(), text.size()) == 0;
}

bool EndsInId3v1(File file) {
    return file.size() >= kTail && Holds(file, file.size() - kId3v1, "TAG") &&
           !Holds(file, file.size() - kTail, "APE");
}

bool ItemsFill(File items, std::uint32_t count) {
    std::size_t at = 0;
    for (; count > 0; --count) {
        if (items.size() - at < 8) return false;
        const std::uint32_t valueSize = GetLittle32(items.data() + at);
        at += 8;
        while (at < items.size() && items[at] != std::byte{0}) ++at;
        if (at == items.size() || items.size() - at - 1 < valueSize) return false;
        at += 1 + valueSize;
    }
    return at == items.size();
}

// Where an APE tag at the very end begins by its own word; the end when there is none.
std::size_t ApeStart(File file) {
    if (file.size() < kFooter || !Holds(file, file.size() - kFooter, "APETAGEX")) return file.size();
    const std::byte* footer = file.data() + file.size() - kFooter;
    const std::uint32_t version = GetLittle32(footer + 8);
    const std::uint32_t tagSize = GetLittle32(footer + 12);
    const std::uint32_t flags = GetLittle32(footer + 20);
    if (version != 1000 && version != 2000) return file.size();
    if (tagSize < kFooter || tagSize > file.size()) return file.size();
    const std::size_t start = file.size() - tagSize;
    const bool saysHeader = (flags & 0x80000000U) != 0;
    const bool header = saysHeader && start >= kFooter && Holds(file, start - kFooter, "APETAGEX");
    if ((flags & 0x20000000U) != 0) {
        // The rest of a tag that was cut off, unless the file holds a whole one.
        constexpr std::size_t kClaims = 12;  // version, size, count
        const bool same = header && std::memcmp(footer + 8, file.data() + start - kFooter + 8, kClaims) == 0;
        const bool whole =
            saysHeader ? same : ItemsFill(file.subspan(start, tagSize - kFooter), GetLittle32(footer + 16));
        if (!whole) return file.size();
    }
    return header ? start - kFooter : start;
}

// What no job may touch. An ID3v1 tag that goes may uncover another, and that an APE tag.
File Front(File file) {
    std::size_t start = ApeStart(file);
    File rest = file;
    for (int tags = 0; tags < 2 && EndsInId3v1(rest); ++tags) {
        rest = rest.first(rest.size() - kId3v1);
        start = std::min(start, ApeStart(rest));
    }
    return file.first(start);
}

// Runs `job`, which may touch nothing but the tags that are there when it begins.
template <typename Job>
void RequireFrontStays(const MemoryFile& file, Job job) {
    const std::vector<std::byte> before = file.Get();
    const File front = Front(before);
    Require(job());
    const std::vector<std::byte> after = file.Get();
    Require(after.size() >= front.size());
    Require(std::equal(front.begin(), front.end(), after.begin()));
}

}  // namespace

// The first two bytes tell how many of the others are the tag blob; the rest is the file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return -1;
    const File input = Bytes(data, size);
    const std::size_t blobBytes = std::min<std::size_t>(GetLittle16(input.data()), size - 2);
    const File blob = input.subspan(2, blobBytes);
    const File original = input.subspan(2 + blobBytes);
    // A tag at the beginning moves all that is behind it.
    if (original.size() >= 3 && Holds(original, 0, "ID3")) return -1;

    MemoryFile file;
    file.Set(original);
    IDTags tags;
    tags.Parse(blob.data(), static_cast<std::int32_t>(blob.size()));
    RequireFrontStays(file, [&] { return WriteStdTags(file.Path(), tags, StdTagFamily::Ape, {}); });

    IDTags read;
    clString version;
    const bool readable = ReadStdTags(file.Path(), read, version, {});
    // What was given stands behind everything that can't be read, unless the file is too short to hold a tag
    // or its bytes look like an ID3v1 tag in the right place by chance.
    const std::vector<std::byte> written = file.Get();
    Require(readable || tags.count() == 0 || written.size() < kTail || EndsInId3v1(written));
    if (tags.count() > 0) {
        const std::u16string names = std::u16string(tags[0].Name.View()) + u'\0';
        RequireFrontStays(file, [&] { return DeleteStdTags(file.Path(), names.c_str(), {}); });
    }
    RequireFrontStays(file, [&] { return DeleteStdTags(file.Path(), nullptr, {}); });
    return 0;
}
