// Merging pictures into the attachments of a file.
#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_stream.h"
#include "tags/idtags.h"

namespace EBML {

// An element in memory: its ID and its body.
struct chainEntry_t {
    std::uint32_t id;
    Bytes data;
};

}  // namespace EBML

namespace Matroska {

using Chain = std::vector<EBML::chainEntry_t>;

// File stems in upper case.
using Stems = std::set<std::string>;

// Puts the collection's pictures at the front of the attachments, in place of those of the same stems. True
// when the chain changed. Raises for a picture that is empty, too large or no image.
bool MergeArt(const IDTags& tags, Chain& chain);

// The stems under which attached files may hold the pictures that the art keys name; other names are passed
// over.
Stems ArtKeysToStems(const clStringList& names);

// Removes the images that have one of the stems. True when there were any.
bool RemoveNamedImages(Chain& chain, const Stems& stems);

// Removes all images. True when there were any.
bool RemoveAllImages(Chain& chain);

// The number for a FileUID from 128 random bits.
std::uint64_t FileUidOf(const std::array<std::uint8_t, 16>& guid) noexcept;

}  // namespace Matroska
