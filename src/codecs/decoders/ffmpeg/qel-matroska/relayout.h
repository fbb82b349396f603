// Laying out anew, around the Clusters, all of a file that isn't a Cluster.
#pragma once

#include <cstdint>
#include <span>

#include "codecs/decoders/ffmpeg/qel-matroska/matroskaimpl.h"

namespace Matroska {

// Gives the element a new body, or adds it. Raises ParseError with the file unchanged when there is metadata
// between Clusters, when there is no Cluster, when a size field is too narrow, when the disk is full, or when
// readers would no longer find the Tracks. A leading area with one byte left over raises when the tail is
// written already, if that hurts nothing; the old leading area stands then. Memory follows the size of the
// metadata, of which it holds three copies at the most.
void RelayoutSegment(ParserRoot& root, EBML::StreamRW& stream, EBML::Bytes body, std::uint32_t id);

}  // namespace Matroska
