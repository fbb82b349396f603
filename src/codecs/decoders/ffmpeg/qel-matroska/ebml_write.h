// Writing EBML: variable-length numbers, elements, and the Voids that fill gaps.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_stream.h"

namespace EBML {

inline constexpr std::size_t kLargestVarInt = 8;
inline constexpr std::size_t kLargestHeader = 2 * kLargestVarInt;  // of an element: ID and size
using VarIntBuffer = std::array<std::byte, kLargestVarInt>;

// The shortest form, but for 127, which takes two bytes: in one it would read as an unknown size. The width;
// a ParseError for what needs more than 56 bits.
unsigned EncodeVarInt(std::uint64_t value, VarIntBuffer& out);
// False, with nothing written, when the value doesn't fit the width.
bool EncodeVarIntFixed(std::uint64_t value, VarIntBuffer& out, unsigned width);
// Sizes and IDs alike.
void WriteVarInt(StreamWritable& sink, std::uint64_t value);

// ID and size of an element whose body has `size` bytes.
Bytes ElementHeader(std::uint32_t id, std::uint64_t size);
void WriteElement(StreamWritable& sink, std::uint32_t id, std::span<const std::byte> body);
void WriteTextElement(StreamWritable& sink, std::uint32_t id, std::string_view text);
void WriteUIntElement(StreamWritable& sink, std::uint32_t id, std::uint64_t value);

// The ID and size of a Void that takes `size` bytes in all, for bytes that are a body already. Raises like
// BuildVoid.
Bytes VoidHeader(std::uint64_t size);
// A whole Void element. A gap of one byte can't hold one and raises; so does 0.
Bytes BuildVoid(std::uint64_t size);
// Both do nothing for a size of 0.
void WriteVoid(StreamWritable& sink, std::uint64_t size);
void WriteVoidAt(StreamRW& stream, std::uint64_t position, std::uint64_t size);

// Writes an element over the one of the ID `measureId` at the present position and over the Voids behind it,
// and fills what is left with a Void, all in a single write, so that a process that ends leaves the old
// element or the new one. False, with nothing written, when it doesn't fit or would leave one byte.
bool TryOverwriteAt(StreamRW& stream, std::uint32_t measureId, std::uint32_t writeId,
                    std::span<const std::byte> body);

}  // namespace EBML
