#include "codecs/decoders/ffmpeg/qel-matroska/retagging.h"

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_write.h"
#include "codecs/decoders/ffmpeg/qel-matroska/relayout.h"
#include "codecs/decoders/ffmpeg/qel-matroska/removal.h"

namespace Matroska {

namespace {

// Whether the element at `offset` now has the new body.
enum class Replaced { Yes, No, Impossible };

// The last element of the Segment may take any size.
Replaced ReplaceLast(ParserRoot& root, EBML::StreamRW& stream, std::span<const std::byte> body,
                     std::uint32_t id, std::uint64_t offset) {
    const EBML::Bytes header = EBML::ElementHeader(id, body.size());
    const std::uint64_t total = header.size() + body.size();
    const std::uint64_t newSize = offset - root.segment.SegmentDataBegin + total;
    if (!RewriteSegmentSize(stream, root.SegmentOffset, newSize)) return Replaced::Impossible;
    stream.SeekBounded(offset);
    stream.Write(std::span(header));
    stream.Write(body);
    TruncateAt(root, stream, stream.Tell());
    return Replaced::Yes;
}

Replaced ReplaceAt(ParserRoot& root, EBML::StreamRW& stream, std::span<const std::byte> body,
                   std::uint32_t id, std::uint64_t offset, OverlapGuard& spans) {
    const std::uint64_t segEnd = root.SegmentEnd();
    const std::uint64_t span = EBML::MeasureAt(stream, id, offset, segEnd);
    spans.Take(span);
    if (offset + span == segEnd) {
        return ReplaceLast(root, stream, body, id, offset);
    }
    stream.SeekBounded(root.segment.SegmentDataBegin);
    EBML::ScopedRange segment(stream, root.segment.SegmentDataSize);
    stream.SeekBounded(offset);
    const bool fitted = EBML::TryOverwriteAt(stream, id, id, body);
    segment.Restore();
    return fitted ? Replaced::Yes : Replaced::No;
}

}  // namespace

bool RewriteSegmentSize(EBML::StreamRW& stream, std::uint64_t segmentOffset, std::uint64_t newSize) {
    stream.SeekBounded(segmentOffset);
    if (EBML::ReadElementId(stream) != Id::Segment) throw EBML::ParseError();
    const std::uint64_t sizeField = stream.Tell();
    std::byte first{};
    stream.ReadBounded(&first, 1);
    const unsigned width = EBML::VarIntWidth(first);
    EBML::VarIntBuffer buffer;
    if (!EBML::EncodeVarIntFixed(newSize, buffer, width)) return false;
    stream.Seek(sizeField);
    stream.Write(std::span(buffer).first(width));
    return true;
}

void TruncateAt(ParserRoot& root, EBML::StreamRW& stream, std::uint64_t offset) {
    stream.Truncate(offset);
    root.segment.SegmentDataSize = offset - root.segment.SegmentDataBegin;
}

bool TryReplaceInPlace(ParserRoot& root, EBML::StreamRW& stream, std::span<const std::byte> body,
                       std::uint32_t id) {
    OverlapGuard spans(root.segment.SegmentDataSize);
    for (const std::uint64_t offset : root.ElemOffsets(id)) {
        const Replaced replaced = ReplaceAt(root, stream, body, id, offset, spans);
        if (replaced == Replaced::Impossible) return false;
        if (replaced == Replaced::No) continue;
        RemoveOtherElements(root, stream, id, offset);
        return true;
    }
    return false;
}

bool ReplaceElement(ParserRoot& root, EBML::StreamRW& stream, std::span<const std::byte> body,
                    std::uint32_t id) {
    if (TryReplaceInPlace(root, stream, body, id)) return true;
    try {
        RelayoutSegment(root, stream, body, id);
        return true;
    } catch (const EBML::ParseError&) {
        return false;
    }
}

}  // namespace Matroska
