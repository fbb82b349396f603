#include "codecs/decoders/ffmpeg/qel-matroska/retagging.h"

#include <utility>

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_write.h"
#include "codecs/decoders/ffmpeg/qel-matroska/relayout.h"
#include "codecs/decoders/ffmpeg/qel-matroska/removal.h"
#include "codecs/decoders/ffmpeg/qel-matroska/segment_end.h"

namespace Matroska {

namespace {

// Whether the element at `offset` now has the new body.
enum class Replaced { Yes, No, Impossible };

Replaced ReplaceAt(ParserRoot& root, EBML::StreamRW& stream, std::span<const std::byte> body,
                   std::uint32_t id, std::uint64_t offset, OverlapGuard& spans) {
    const std::uint64_t segEnd = root.SegmentEnd();
    const std::uint64_t span = EBML::MeasureAt(stream, id, offset, segEnd);
    spans.Take(span);
    if (offset + span == segEnd) {
        EBML::StreamWritableSimple element;
        element.Reserve(body.size() + EBML::kLargestHeader);
        EBML::WriteElement(element, id, body);
        try {
            WriteSegmentEnd(root, stream, offset, element.View());
        } catch (const SizeNotWritable&) {
            return Replaced::Impossible;
        }
        return Replaced::Yes;
    }
    stream.SeekBounded(root.segment.SegmentDataBegin);
    EBML::ScopedRange segment(stream, root.segment.SegmentDataSize);
    stream.SeekBounded(offset);
    const bool fitted = EBML::TryOverwriteAt(stream, id, id, body);
    segment.Restore();
    return fitted ? Replaced::Yes : Replaced::No;
}

bool TryRelayout(ParserRoot& root, EBML::StreamRW& stream, EBML::Bytes body, std::uint32_t id) {
    try {
        RelayoutSegment(root, stream, std::move(body), id);
        return true;
    } catch (const EBML::ParseError&) {
        return false;
    }
}

}  // namespace

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

bool ReplaceElement(ParserRoot& root, EBML::StreamRW& stream, EBML::Bytes body, std::uint32_t id) {
    try {
        if (!TryReplaceInPlace(root, stream, body, id) && !TryRelayout(root, stream, std::move(body), id)) {
            return false;
        }
    } catch (const NoRoom&) {
        return false;
    }
    DropSegmentChecksum(root, stream);
    return true;
}

}  // namespace Matroska
