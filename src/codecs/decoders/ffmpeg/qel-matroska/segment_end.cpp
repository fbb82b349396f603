#include "codecs/decoders/ffmpeg/qel-matroska/segment_end.h"

#include <algorithm>

namespace Matroska {

namespace {

constexpr std::uint64_t kSmallestVoid = 2;

// Looks for a Cluster of unknown size, which ends the walk of its parent.
class UnknownClusterFinder : public EBML::Parser {
  public:
    bool found = false;

  protected:
    void OnElement(std::uint32_t id, std::uint64_t size, EBML::Stream&) override {
        found = id == Id::Cluster && size >= EBML::kUnknownSize;
    }
};

bool HasUnknownCluster(const ParserRoot& root, EBML::StreamRW& stream) {
    UnknownClusterFinder finder;
    stream.SeekBounded(root.segment.SegmentDataBegin);
    EBML::ScopedRange body(stream, root.segment.SegmentDataSize);
    try {
        finder.Run(stream);
    } catch (const EBML::FileError&) {
        throw;
    } catch (const EBML::ParseError&) {
        // Bytes that are no elements hide no Cluster from the walks of readers.
    }
    return finder.found;
}

void Truncate(ParserRoot& root, EBML::StreamRW& stream, std::uint64_t end) {
    stream.Truncate(end);
    root.segment.SegmentDataSize = end - root.segment.SegmentDataBegin;
}

}  // namespace

void SegmentSizeEdit::Write(EBML::StreamRW& stream) const {
    stream.Seek(position);
    static_cast<EBML::StreamWritable&>(stream).Write(std::span(bytes).first(width));
}

SegmentSizeEdit PlanSegmentSize(const ParserRoot& root, EBML::StreamRW& stream, std::uint64_t newSize) {
    stream.SeekBounded(root.SegmentOffset);
    if (EBML::ReadElementId(stream) != Id::Segment) throw EBML::ParseError();
    SegmentSizeEdit edit{};
    edit.position = stream.Tell();
    const std::uint64_t oldSize = EBML::ReadElementSize(stream);
    edit.width = static_cast<unsigned>(stream.Tell() - edit.position);
    if (!EBML::EncodeVarIntFixed(newSize, edit.bytes, edit.width)) throw SizeNotWritable();
    if (oldSize >= EBML::kUnknownSize && HasUnknownCluster(root, stream)) throw SizeNotWritable();
    return edit;
}

bool TakeRoom(EBML::StreamRW& stream, std::uint64_t end) {
    const std::uint64_t size = stream.m_range.end;
    if (end <= size) return true;
    // The header of the Void goes first: bare zeros behind a Segment would make the file unreadable.
    const std::uint64_t room = std::max(end - size, kSmallestVoid);
    bool taken = false;
    try {
        stream.Seek(size);
        const EBML::Bytes header = EBML::VoidHeader(room);
        stream.Write(std::span(header));
        taken = header.size() == room || stream.TakeRoom(size + room);
    } catch (const EBML::ParseError&) {
    }
    if (taken) {
        stream.m_range.end = std::max(stream.m_range.end, size + room);
    } else {
        stream.Truncate(size);
    }
    return taken;
}

void WriteSegmentEnd(ParserRoot& root, EBML::StreamRW& stream, std::uint64_t offset,
                     std::span<const std::byte> elements) {
    const std::uint64_t end = offset + elements.size();
    const std::uint64_t oldEnd = root.SegmentEnd();
    const SegmentSizeEdit newSize = PlanSegmentSize(root, stream, end - root.segment.SegmentDataBegin);
    if (!TakeRoom(stream, end)) throw NoRoom();
    if (end > oldEnd) {
        // The old elements and the Void behind them are a whole Segment.
        newSize.Write(stream);
        stream.SeekBounded(offset);
        stream.Write(elements);
        Truncate(root, stream, end);
        return;
    }
    // What is left of the old end becomes a Void until it is cut off. One byte can't be one: the file is cut
    // before the Segment then, which reads like any file that was cut.
    EBML::StreamWritableSimple sink;
    sink.Reserve(elements.size() + EBML::kLargestHeader);
    sink.Write(elements);
    if (oldEnd - end >= kSmallestVoid) sink.Write(EBML::VoidHeader(oldEnd - end));
    stream.SeekBounded(offset);
    stream.Write(sink.View());
    Truncate(root, stream, end);
    newSize.Write(stream);
}

void EndSegmentAt(ParserRoot& root, EBML::StreamRW& stream, std::uint64_t end) {
    const SegmentSizeEdit newSize = PlanSegmentSize(root, stream, end - root.segment.SegmentDataBegin);
    newSize.Write(stream);
    Truncate(root, stream, end);
}

}  // namespace Matroska
