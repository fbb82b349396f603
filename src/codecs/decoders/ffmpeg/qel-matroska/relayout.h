// Laying out anew, around the Clusters, all of a file that isn't a Cluster.
#pragma once

#include <cstdint>
#include <span>

#include "codecs/decoders/ffmpeg/qel-matroska/matroskaimpl.h"

namespace Matroska {

// Gives the element a new body, or adds it. Raises ParseError with the file unchanged when there is metadata
// between Clusters, when there is no Cluster, or when a size field is too narrow. A leading area with one
// byte left over raises when the tail is written already; the old leading area stands then. Memory follows
// the size of the metadata.
void RelayoutSegment(ParserRoot& root, EBML::StreamRW& stream, std::span<const std::byte> body,
                     std::uint32_t id);

// The entries for a table of elements. `dataBegin` is the first byte of the Segment's body.
EBML::Bytes EncodeSeekHeadBody(const ElementMap& table, std::uint64_t dataBegin);

}  // namespace Matroska
