// Replacing one top-level element of a file where it stands. Clusters never move and aren't written to.
#pragma once

#include <cstdint>
#include <span>

#include "codecs/decoders/ffmpeg/qel-matroska/matroskaimpl.h"

namespace Matroska {

struct FileNotTaggable : EBML::ParseError {
    FileNotTaggable()
        : ParseError("File can't be retagged, please re-mux it with up-to-date Matroska tools") {}
};

// Writes the element's new body: in place when it fits, else by laying the file's metadata out anew. The root
// describes the changed file afterwards. False when the file can't take it; in-place failures raise.
bool ReplaceElement(ParserRoot& root, EBML::StreamRW& stream, EBML::Bytes body, std::uint32_t id);

// Over one of the old elements and the Voids behind it, or with any size over the last element of the
// Segment. Other elements of the ID go. False, with nothing changed, when there is no such place.
bool TryReplaceInPlace(ParserRoot& root, EBML::StreamRW& stream, std::span<const std::byte> body,
                       std::uint32_t id);

}  // namespace Matroska
