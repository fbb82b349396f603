// Tags and pictures of Matroska and WebM files, read and rewritten in place.
#pragma once

#include "support/cllog.h"
#include "tags/idtags.h"

// All paths are NUL-terminated; null is an empty path. False after a failure, which is logged. Nothing is
// raised but std::bad_alloc.
namespace MatroskaTags {

// Replaces the collection. After a failure it holds what was read before.
bool Read(const char16_t* path, IDTags& tags, const clLogHandles& log);

// The same as a tag blob: the bytes of a picture go from the file straight to their place in it.
bool ReadBlob(const char16_t* path, clBuffer& blob, const clLogHandles& log);

// Changes the tags that the collection names and leaves all others. Pictures are written when there is one
// numbered 1; then those of the same kinds are replaced and other attachments kept.
bool Write(const char16_t* path, IDTags& tags, const clLogHandles& log);

// Removes the named tags and pictures; all of them, but for what is aimed at a part of the file, when `names`
// is null or empty. `names` is a series of NUL-terminated strings that an empty one ends.
bool Delete(const char16_t* path, const char16_t* names, const clLogHandles& log);

}  // namespace MatroskaTags
