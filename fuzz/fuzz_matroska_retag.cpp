// Writes any tags and pictures to any file that may be Matroska, twice, and deletes them. A file that can't
// be opened isn't touched, and whatever happens in the middle, the file doesn't outgrow what it holds and is
// given.
#include <algorithm>

#include "codecs/decoders/ffmpeg/qel-matroska/file_stream.h"
#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "codecs/decoders/ffmpeg/qel-matroska/matroskaimpl.h"
#include "fuzzing.h"
#include "memory_file.h"
#include "support/endian.h"

namespace {

bool CanBeOpened(const MemoryFile& file) {
    streamImpl stream(file.Path().text());
    Require(stream.Open(clFile::kRead));
    try {
        Matroska::ParserRoot().Open(stream);
        return true;
    } catch (const EBML::ParseError&) {
        return false;
    }
}

}  // namespace

// The first two bytes tell how many of the others are the tag blob; the rest is the file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return -1;
    const std::span<const std::byte> input = Bytes(data, size);
    const std::size_t blobBytes = std::min<std::size_t>(GetLittle16(input.data()), size - 2);
    const std::span<const std::byte> blob = input.subspan(2, blobBytes);
    const std::span<const std::byte> original = input.subspan(2 + blobBytes);
    static MemoryFile file;
    file.Set(original);
    IDTags tags;
    tags.Parse(blob.data(), static_cast<std::int32_t>(blob.size()));

    const bool opens = CanBeOpened(file);
    const bool written = MatroskaTags::Write(file.Path().text(), tags, {});
    if (!opens) {
        Require(!written);
        Require(std::ranges::equal(file.Get(), original));
        return 0;
    }
    MatroskaTags::Write(file.Path().text(), tags, {});
    IDTags read;
    MatroskaTags::Read(file.Path().text(), read, {});
    if (tags.count() > 0) {
        const std::u16string names = std::u16string(tags[0].Name.View()) + u'\0';
        MatroskaTags::Delete(file.Path().text(), names.c_str(), {});
    }
    MatroskaTags::Delete(file.Path().text(), nullptr, {});
    // Each job may add a SeekHead and copies of a Tag for each of its targets, never more.
    Require(file.Get().size() <= (size + 4096) * 64);
    return 0;
}
