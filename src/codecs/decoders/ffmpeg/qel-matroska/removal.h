// Turning top-level elements, and what points at them, into Voids.
#pragma once

#include <cstddef>
#include <cstdint>

#include "codecs/decoders/ffmpeg/qel-matroska/matroskaimpl.h"

namespace Matroska {

// The elements of the ID at these offsets, with their Seek entries. What ends the Segment then is cut off.
void RemoveElements(ParserRoot& root, EBML::StreamRW& stream, std::uint32_t id, const Offsets& offsets);

// All elements of the ID but the one at `keepOffset`.
void RemoveOtherElements(ParserRoot& root, EBML::StreamRW& stream, std::uint32_t id,
                         std::uint64_t keepOffset);

// All elements of the ID; how many there were.
std::size_t RemoveAllElements(ParserRoot& root, EBML::StreamRW& stream, std::uint32_t removeMe);

// The checksum of the Segment, its first child, which no longer holds when anything was changed. It becomes a
// Void.
void DropSegmentChecksum(ParserRoot& root, EBML::StreamRW& stream);

}  // namespace Matroska
