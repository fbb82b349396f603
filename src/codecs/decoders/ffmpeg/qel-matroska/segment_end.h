// The end of a Segment: its size field, the room behind it, and what stands last in it. Whoever ends the
// process between two of these writes leaves a file that reads as before or as after.
#pragma once

#include <cstdint>
#include <span>

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_write.h"
#include "codecs/decoders/ffmpeg/qel-matroska/matroskaimpl.h"

namespace Matroska {

struct SizeNotWritable : EBML::ParseError {};
struct NoRoom : EBML::ParseError {};

// A new size for a Segment, in the width of the old one.
struct SegmentSizeEdit {
    std::uint64_t position;
    EBML::VarIntBuffer bytes;
    unsigned width;

    void Write(EBML::StreamRW& stream) const;
};

// Raises SizeNotWritable when the size doesn't fit, or when neither the Segment nor one of its Clusters has a
// size, as in files of live streams: inside a Segment of known size readers refuse such a Cluster, and the
// audio is gone.
SegmentSizeEdit PlanSegmentSize(const ParserRoot& root, EBML::StreamRW& stream, std::uint64_t newSize);

// Lengthens the file, which ends where the stream's range does, to `end` at least, by a Void, before anything
// in it is overwritten. False, with the file as it was, when there is no room on the disk.
bool TakeRoom(EBML::StreamRW& stream, std::uint64_t end);

// Makes these elements, put down at `offset`, the last ones of the Segment and of the file. Raises, with the
// file as it was, SizeNotWritable when the Segment can't get the size, and NoRoom.
void WriteSegmentEnd(ParserRoot& root, EBML::StreamRW& stream, std::uint64_t offset,
                     std::span<const std::byte> elements);

// Ends Segment and file there. Raises SizeNotWritable, with the file as it was.
void EndSegmentAt(ParserRoot& root, EBML::StreamRW& stream, std::uint64_t end);

}  // namespace Matroska
