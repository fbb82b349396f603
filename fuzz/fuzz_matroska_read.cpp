// Reads any bytes as a Matroska file. What could be read has names and pictures that can be handed to a host.
#include <algorithm>

#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "fuzzing.h"
#include "memory_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static MemoryFile file;
    file.Set(Bytes(data, size));
    IDTags tags;
    const bool read = MatroskaTags::Read(file.Path().text(), tags, {});
    std::size_t held = 0;
    for (const IDTag* tag : tags) {
        Require(!tag->Name.IsEmpty());
        held += tag->Data.size();
    }
    Require(held <= size);
    clBuffer blob;
    Require(tags.Serialise(blob));
    clBuffer sameBlob;
    Require(MatroskaTags::ReadBlob(file.Path().text(), sameBlob, {}) == read);
    Require(!read || std::ranges::equal(blob.bytes(), sameBlob.bytes()));
    return 0;
}
