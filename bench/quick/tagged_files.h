// Files with one kind of tag each, made byte by byte: the same bytes with every version of every tool.
#pragma once

#include <cstddef>
#include <string>

enum class TagKind { None, Id3v1, Ape, Id3v22, Id3v23, Id3v24, Matroska };

// A picture of so many bytes, as the files hold it.
std::string PictureOf(std::size_t bytes);

// The whole file: ten texts in its tag, a picture of that many bytes unless that is 0, and some audio. An
// ID3v1 tag has the texts that it can hold and no picture.
std::string TaggedFile(TagKind kind, std::size_t pictureBytes);
