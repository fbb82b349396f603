// All kinds of tag of one file, in their fixed orders. What fails is logged for the decoder.
#pragma once

#include "support/cllog.h"
#include "support/clstring.h"
#include "tags/idtags.h"

// Which tag a file gets that has none which can hold everything. No extension maps to the second and third.
enum class StdTagFamily { Ape = 1, Reserved = 2, Id3v2 = 3 };

// Replaces `tags` by what APE, ID3v2 and ID3v1 tags hold; a name is taken from the first that has it, and
// once only. `version` names the kinds found, joined by " & ". False when a tag can't be read; what the ones
// before it held stays in `tags`.
bool ReadStdTags(const clString& path, IDTags& tags, clString& version, const clLogHandles& decoder);

// The same as a tag blob: the bytes of a picture go from the file straight to their place in it, wherever
// they stand there as they are. Exhausted memory is raised.
bool ReadStdTagBlob(const clString& path, clBuffer& blob, clString& version, const clLogHandles& decoder);

// Brings the tags into every kind of tag that the file has, ID3v1, ID3v2, APE; creates the family's own kind
// in a file without ID3v2 and APE. False when one fails; what the ones before it changed stays.
bool WriteStdTags(const clString& path, const IDTags& tags, StdTagFamily family, const clLogHandles& decoder);

// Removes every tag for null or an empty series, else the entries of the names in it: NUL-terminated, an
// empty one ends the series. False when the file can't be opened, read or written; every kind is tried then.
bool DeleteStdTags(const clString& path, const char16_t* names, const clLogHandles& decoder);
