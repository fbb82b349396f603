// Where everything that isn't a Cluster goes when a file's metadata is laid out anew. Nothing is read or
// written.
#pragma once

#include <cstdint>
#include <vector>

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_stream.h"
#include "codecs/decoders/ffmpeg/qel-matroska/matroskaimpl.h"
#include "codecs/decoders/ffmpeg/qel-matroska/picture_encoding.h"

namespace Matroska {

// The room around the Clusters. Offsets are those of the file.
struct Surroundings {
    std::uint64_t dataBegin = 0;     // first byte of the Segment's body
    std::uint64_t availLeading = 0;  // bytes from there to the first Cluster
    std::uint64_t tailBegin = 0;     // where the elements behind the Clusters go
};

struct Layout {
    EBML::Bytes leading;  // shorter than the room for it when a rest is left, which becomes a Void
    EBML::Bytes tail;
    ElementMap table;
};

// Places the elements; their order decides the order in the file, with the Tags last. Raises ParseError when
// a SeekHead doesn't fit.
Layout LayOut(const Chain& elements, const Surroundings& room);

// The entries for a table of elements.
EBML::Bytes EncodeSeekHeadBody(const ElementMap& table, std::uint64_t dataBegin);

}  // namespace Matroska
