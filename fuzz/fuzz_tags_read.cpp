// The tags of any file: reading ends, changes nothing and holds little more than the file does.
#include <algorithm>
#include <cstdint>

#include "fuzzing.h"
#include "memory_file.h"
#include "support/cllog.h"
#include "tags/std_tags.h"

namespace {

// Every byte of data came from a byte of the file, which two kinds of tag may claim; two bytes of text can
// stand for the name of a genre.
void RequireNoMoreThan(const IDTags& tags, std::size_t fileBytes) {
    constexpr std::size_t kMadeUpName = 64;
    constexpr std::size_t kLongestGenre = 7;
    std::size_t total = 0;
    for (const IDTag* tag : tags) {
        Require(static_cast<std::size_t>(tag->Value.Length()) <= fileBytes * kLongestGenre + kMadeUpName);
        total += tag->Data.size();
    }
    Require(total <= 2 * fileBytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    MemoryFile file;
    file.Set(Bytes(data, size));
    IDTags tags;
    clString version;
    const bool read = ReadStdTags(file.Path(), tags, version, {});
    RequireNoMoreThan(tags, size);
    Require(!read || !version.IsEmpty() || tags.count() == 0);
    Require(std::ranges::equal(file.Get(), Bytes(data, size)));

    // What is left in the file meanwhile comes out as if it had been in memory.
    clBuffer blob;
    clBuffer sameBlob;
    clString sameVersion;
    Require(tags.Serialise(blob));
    Require(ReadStdTagBlob(file.Path(), sameBlob, sameVersion, {}) == read);
    Require(!read || (sameVersion == version && std::ranges::equal(blob.bytes(), sameBlob.bytes())));
    return 0;
}
