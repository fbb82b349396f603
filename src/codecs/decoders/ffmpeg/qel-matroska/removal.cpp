#include "codecs/decoders/ffmpeg/qel-matroska/removal.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_write.h"
#include "codecs/decoders/ffmpeg/qel-matroska/segment_end.h"

namespace Matroska {

namespace {

// Collects the Seek entries that point at elements which are going, each with the end of its SeekHead, and
// the checksums of those SeekHeads.
class ParserSeekTablePurgeEntries : public EBML::Parser {
  public:
    ParserSeekTablePurgeEntries(std::uint32_t id, const Offsets& offsets, std::uint64_t segmentDataBegin)
        : id_(id), offsets_(&offsets), segmentDataBegin_(segmentDataBegin) {}

    std::vector<std::pair<std::uint64_t, std::uint64_t>> stale;  // begin of the entry, end of the SeekHead

    std::vector<std::pair<std::uint64_t, std::uint64_t>> checksums;  // begin and end of each

  protected:
    void OnBegin(EBML::Stream& stream) override {
        seekHeadEnd_ = stream.m_range.end;
        checksumEnd_ = 0;
    }

    void OnElement(std::uint32_t id, std::uint64_t, EBML::Stream& stream) override {
        if (id == EBML::Id::Crc32 && checksumEnd_ == 0) {
            checksumBegin_ = elementStart;
            checksumEnd_ = stream.m_range.end;
        }
        if (id != Id::Seek) return;
        ParserSeekEntry entry;
        entry.Run(stream);
        if (entry.id == id_ && offsets_->contains(segmentDataBegin_ + entry.position) &&
            elementStart < seekHeadEnd_) {
            stale.emplace_back(elementStart, seekHeadEnd_);
            NoteChecksum();
        }
    }

  private:
    void NoteChecksum() {
        const std::pair checksum(checksumBegin_, checksumEnd_);
        if (checksumEnd_ != 0 && (checksums.empty() || checksums.back() != checksum)) {
            checksums.push_back(checksum);
        }
    }

    std::uint32_t id_;
    const Offsets* offsets_;
    std::uint64_t segmentDataBegin_;
    std::uint64_t seekHeadEnd_ = 0;
    std::uint64_t checksumBegin_ = 0;
    std::uint64_t checksumEnd_ = 0;
};

void PurgeSeekEntries(const ParserRoot& root, EBML::StreamRW& stream, std::uint32_t id,
                      const Offsets& offsets) {
    ParserSeekTablePurgeEntries purge(id, offsets, root.segment.SegmentDataBegin);
    root.RunOnEach(Id::SeekHead, stream, purge);
    for (const auto& [begin, end] : purge.checksums) EBML::WriteVoidAt(stream, begin, end - begin);
    for (const auto& [begin, end] : purge.stale) {
        EBML::WriteVoidAt(stream, begin, EBML::MeasureAt(stream, Id::Seek, begin, end));
    }
}

// Where the last element of the Segment that is no Void ends; 0 when only Voids follow the last known one.
std::uint64_t EndOfContent(const ParserRoot& root, EBML::StreamRW& stream) {
    std::uint64_t last = root.segment.SegmentDataBegin;
    for (const auto& [id, offsets] : root.segment.ElementTable) {
        if (!offsets.empty()) last = std::max(last, *offsets.rbegin());
    }
    stream.SeekBounded(root.segment.SegmentDataBegin);
    EBML::ScopedRange segment(stream, root.segment.SegmentDataSize);
    stream.SeekBounded(last);
    std::uint64_t end = 0;
    while (stream.LeftInRange() != 0) {
        const std::uint32_t id = EBML::ReadElementId(stream);
        const std::uint64_t size = EBML::ReadElementSize(stream);
        if (size >= EBML::kUnknownSize) throw EBML::ParseError();
        stream.Skip(size);
        if (id != EBML::Id::Void) end = stream.Tell();
    }
    segment.Restore();
    return end;
}

// Cuts off the Voids that end the Segment.
void TrimSegmentTail(ParserRoot& root, EBML::StreamRW& stream) {
    const std::uint64_t end = EndOfContent(root, stream);
    if (end == 0 || end >= root.SegmentEnd()) return;
    EndSegmentAt(root, stream, end);
}

}  // namespace

void RemoveElements(ParserRoot& root, EBML::StreamRW& stream, std::uint32_t id, const Offsets& offsets) {
    if (offsets.empty()) return;
    PurgeSeekEntries(root, stream, id, offsets);
    for (const std::uint64_t offset : offsets) root.segment.ElementTable[id].erase(offset);
    const std::uint64_t segEnd = root.SegmentEnd();
    bool endsSegment = false;
    for (const std::uint64_t offset : offsets) {
        EBML::WriteVoidAt(stream, offset, EBML::MeasureAt(stream, id, offset, segEnd));
        endsSegment = endsSegment || stream.Tell() == segEnd;
    }
    if (endsSegment) TrimSegmentTail(root, stream);
}

void RemoveOtherElements(ParserRoot& root, EBML::StreamRW& stream, std::uint32_t id,
                         std::uint64_t keepOffset) {
    Offsets others = root.ElemOffsets(id);
    others.erase(keepOffset);
    RemoveElements(root, stream, id, others);
}

void DropSegmentChecksum(ParserRoot& root, EBML::StreamRW& stream) {
    const std::uint64_t first = root.segment.SegmentDataBegin;
    if (root.ElemOffsets(EBML::Id::Crc32).contains(first)) {
        RemoveElements(root, stream, EBML::Id::Crc32, {first});
    }
}

std::size_t RemoveAllElements(ParserRoot& root, EBML::StreamRW& stream, std::uint32_t removeMe) {
    const Offsets offsets = root.ElemOffsets(removeMe);
    RemoveElements(root, stream, removeMe, offsets);
    EBML::Assert(root.ElemOffsets(removeMe).empty(), "this->ElemOffsets(removeMe).size() == 0");
    return offsets.size();
}

}  // namespace Matroska
