#include "codecs/decoders/ffmpeg/qel-matroska/relayout.h"

#include <list>
#include <utility>

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_write.h"
#include "codecs/decoders/ffmpeg/qel-matroska/picture_encoding.h"
#include "codecs/decoders/ffmpeg/qel-matroska/retagging.h"

namespace Matroska {

namespace {

using EBML::Assert;
using EBML::ParseError;
using EBML::StreamWritableSimple;

// A Seek with an ID of 4 bytes and a position of up to 7 takes 20 bytes; the SeekHead's own header takes 10.
constexpr std::uint64_t kSeekBytes = 20;
constexpr std::uint64_t kSeekHeadHeaderBytes = 10;
// What a SeekHead with one such entry may need; with less the file goes without one.
constexpr std::uint64_t kSmallestSeekHeadRoom = 28;
// ID and size of an element, as far as the test for room goes.
constexpr std::uint64_t kHeaderAllowance = 8;

class Relayout {
  public:
    Relayout(ParserRoot& root, EBML::StreamRW& str) : root_(root), str_(str) {}

    void Run(std::span<const std::byte> body, std::uint32_t id) {
        Survey(body, id);
        seekHeadEstimate_ = kSeekBytes * elements_.size() + kSeekHeadHeaderBytes;
        if (availLeading_ < kSmallestSeekHeadRoom) {
            LayOutWithoutSeekHead();
        } else if (availLeading_ < seekHeadEstimate_) {
            LayOutWithSmallSeekHead();
        } else {
            LayOutInFront();
        }
        WriteTail();
        WriteLeadingArea();
        root_.segment.ElementTable = std::move(table_);
    }

  private:
    // Phase 1: what there is. Nothing is written.
    void Survey(std::span<const std::byte> body, std::uint32_t id);
    std::uint64_t FindFirstCluster();
    void LoadElements(std::uint32_t id, const Offsets& offsets, OverlapGuard& guard);
    void RequireTailWithoutCluster();

    // Phase 2: where everything goes. Still nothing is written.
    void LayOutWithoutSeekHead();
    void LayOutWithSmallSeekHead();
    void LayOutInFront();
    template <typename Test>
    void PlaceIf(Test test, StreamWritableSimple& sink, std::uint64_t sinkOffset);
    void PlaceOthersInTail();
    void PlaceTagsInTail();
    template <typename Test>
    void PlaceInFrontIf(Test test, std::uint64_t avail);

    // Phase 3: the tail first. Until the last write the old leading area is whole.
    void WriteTail();
    void WriteLeadingArea();

    std::uint64_t DataBegin() const noexcept { return root_.segment.SegmentDataBegin; }

    ParserRoot& root_;
    EBML::StreamRW& str_;
    std::uint64_t availLeading_ = 0;  // from the Segment's first byte to the first Cluster
    std::uint64_t scanTrailing_ = 0;  // where the elements behind the Clusters begin
    std::uint64_t seekHeadEstimate_ = 0;
    // What isn't placed yet; its order decides the order in the file.
    std::list<EBML::chainEntry_t> elements_;
    ElementMap table_;
    StreamWritableSimple outPrefix_;   // the new leading area
    StreamWritableSimple outPrefix2_;  // what stands behind the room of a SeekHead
    StreamWritableSimple writer_;      // the new tail
};

bool IsTags(const EBML::chainEntry_t& entry) noexcept {
    return entry.id == Id::Tags;
}

bool IsOther(const EBML::chainEntry_t& entry) noexcept {
    return !IsTags(entry);
}

std::uint64_t Relayout::FindFirstCluster() {
    str_.SeekBounded(DataBegin());
    EBML::ScopedRange body(str_, root_.segment.SegmentDataSize);
    ClusterFinder finder;
    finder.Run(str_);
    body.Restore();
    return finder.offset;
}

void Relayout::LoadElements(std::uint32_t id, const Offsets& offsets, OverlapGuard& guard) {
    for (const std::uint64_t offset : offsets) {
        str_.SeekBounded(offset);
        if (EBML::ReadElementId(str_) != id) throw ParseError();
        const std::uint64_t size = EBML::ReadElementSize(str_);
        guard.Take(size);
        elements_.push_back({id, EBML::ReadBinary(str_, size)});
    }
}

void Relayout::RequireTailWithoutCluster() {
    str_.SeekBounded(scanTrailing_);
    while (str_.LeftInRange() != 0) {
        if (EBML::ReadElementId(str_) == Id::Cluster) throw ParseError();
        str_.Skip(EBML::ReadElementSize(str_));
    }
}

void Relayout::Survey(std::span<const std::byte> body, std::uint32_t id) {
    const std::uint64_t firstCluster = FindFirstCluster();
    availLeading_ = firstCluster - DataBegin();
    Assert(availLeading_ < str_.GetSize(), "availLeading < str.GetSize()");
    scanTrailing_ = root_.SegmentEnd();
    elements_.push_back({id, EBML::Bytes(body.begin(), body.end())});
    OverlapGuard guard(str_.m_range.end);
    for (const auto& [elementId, offsets] : root_.segment.ElementTable) {
        if (elementId == Id::Cluster) continue;
        if (elementId != id && elementId != EBML::Id::Void && elementId != Id::SeekHead) {
            LoadElements(elementId, offsets, guard);
        }
        const auto behind = offsets.upper_bound(firstCluster);
        if (behind != offsets.end() && *behind < scanTrailing_) scanTrailing_ = *behind;
    }
    RequireTailWithoutCluster();
}

// Writes every element that passes the test to the sink, whose first byte goes to `sinkOffset`.
template <typename Test>
void Relayout::PlaceIf(Test test, StreamWritableSimple& sink, std::uint64_t sinkOffset) {
    for (auto entry = elements_.begin(); entry != elements_.end();) {
        if (!test(*entry)) {
            ++entry;
            continue;
        }
        table_[entry->id].insert(sinkOffset + sink.Size());
        EBML::WriteElement(sink, entry->id, entry->data);
        entry = elements_.erase(entry);
    }
}

void Relayout::PlaceOthersInTail() {
    PlaceIf(IsOther, writer_, scanTrailing_);
}

void Relayout::PlaceTagsInTail() {
    PlaceIf(IsTags, writer_, scanTrailing_);
}

// No room for even the smallest SeekHead: the file goes without and is found by walking it.
void Relayout::LayOutWithoutSeekHead() {
    PlaceOthersInTail();
    PlaceTagsInTail();
}

// Room for a SeekHead that points at the one with all entries, behind the Clusters.
void Relayout::LayOutWithSmallSeekHead() {
    PlaceOthersInTail();
    const std::uint64_t mainSeekHead = scanTrailing_ + writer_.Size();
    const std::uint64_t suffixTagsBase = mainSeekHead + seekHeadEstimate_;
    PlaceIf(IsTags, outPrefix2_, suffixTagsBase);
    EBML::WriteElement(writer_, Id::SeekHead, EncodeSeekHeadBody(table_, DataBegin()));
    if (!outPrefix2_.Empty()) {
        EBML::WriteVoid(writer_, suffixTagsBase - scanTrailing_ - writer_.Size());
        Assert(writer_.Size() + scanTrailing_ == suffixTagsBase,
               "writer.Size() + scanTrailing == suffixTagsBase");
        writer_.Write(outPrefix2_.View());
    }
    const ElementMap onlySeekHead{{Id::SeekHead, {mainSeekHead}}};
    EBML::WriteElement(outPrefix_, Id::SeekHead, EncodeSeekHeadBody(onlySeekHead, DataBegin()));
    table_[Id::SeekHead] = {mainSeekHead, DataBegin()};
    if (outPrefix_.Size() > availLeading_ || availLeading_ - outPrefix_.Size() == 1) throw ParseError();
}

template <typename Test>
void Relayout::PlaceInFrontIf(Test test, std::uint64_t avail) {
    const auto fits = [&](const EBML::chainEntry_t& entry) {
        Assert(outPrefix2_.Size() <= avail, "outPrefix2.Size() <= avail");
        return test(entry) && entry.data.size() + kHeaderAllowance < avail - outPrefix2_.Size();
    };
    PlaceIf(fits, outPrefix2_, DataBegin() + seekHeadEstimate_);
    Assert(outPrefix2_.Size() <= avail, "outPrefix2.Size() <= avail");
}

// SeekHead and as much as fits in front of the Clusters. The Tags go last, where they can grow.
void Relayout::LayOutInFront() {
    const std::uint64_t avail = availLeading_ - seekHeadEstimate_;
    for (const std::uint32_t id : {Id::Info, Id::Tracks, Id::Cues}) {
        PlaceInFrontIf([id](const EBML::chainEntry_t& entry) { return entry.id == id; }, avail);
    }
    PlaceInFrontIf(IsOther, avail);
    PlaceOthersInTail();
    PlaceTagsInTail();
    EBML::WriteElement(outPrefix_, Id::SeekHead, EncodeSeekHeadBody(table_, DataBegin()));
    table_[Id::SeekHead].insert(DataBegin());
    Assert(outPrefix_.Size() < seekHeadEstimate_, "outPrefix.Size() < seekHeadEstimate");
    EBML::WriteVoid(outPrefix_, seekHeadEstimate_ - outPrefix_.Size());
    Assert(outPrefix_.Size() == seekHeadEstimate_, "outPrefix.Size() == seekHeadEstimate");
    outPrefix_.Write(outPrefix2_.View());
}

void Relayout::WriteTail() {
    if (writer_.Empty() && str_.GetSize() <= scanTrailing_) return;
    const std::uint64_t newSize = scanTrailing_ + writer_.Size() - DataBegin();
    if (!RewriteSegmentSize(str_, root_.SegmentOffset, newSize)) throw ParseError();
    str_.SeekBounded(scanTrailing_);
    str_.Write(writer_.View());
    TruncateAt(root_, str_, str_.Tell());
}

void Relayout::WriteLeadingArea() {
    if (outPrefix_.Size() < availLeading_) EBML::WriteVoid(outPrefix_, availLeading_ - outPrefix_.Size());
    if (outPrefix_.Size() > availLeading_) throw ParseError();
    Assert(outPrefix_.Size() == availLeading_, "writer.Size() == availLeading");
    str_.SeekBounded(DataBegin());
    str_.Write(outPrefix_.View());
}

}  // namespace

EBML::Bytes EncodeSeekHeadBody(const ElementMap& table, std::uint64_t dataBegin) {
    StreamWritableSimple body;
    for (const auto& [id, offsets] : table) {
        EBML::VarIntBuffer idBytes;
        const unsigned idWidth = EBML::EncodeVarInt(id, idBytes);
        for (const std::uint64_t offset : offsets) {
            StreamWritableSimple seek;
            EBML::WriteElement(seek, Id::SeekID, std::span(idBytes).first(idWidth));
            EBML::WriteUIntElement(seek, Id::SeekPosition, offset - dataBegin);
            EBML::WriteElement(body, Id::Seek, seek.View());
        }
    }
    return body.Take();
}

void RelayoutSegment(ParserRoot& root, EBML::StreamRW& stream, std::span<const std::byte> body,
                     std::uint32_t id) {
    Relayout(root, stream).Run(body, id);
}

}  // namespace Matroska
