#include "codecs/decoders/ffmpeg/qel-matroska/relayout.h"

#include <algorithm>
#include <utility>

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_write.h"
#include "codecs/decoders/ffmpeg/qel-matroska/layout.h"
#include "codecs/decoders/ffmpeg/qel-matroska/segment_end.h"

namespace Matroska {

namespace {

using EBML::Assert;
using EBML::ParseError;

constexpr std::uint64_t kLongVoidHeader = 9;

class Relayout {
  public:
    Relayout(ParserRoot& root, EBML::StreamRW& str) : root_(root), str_(str) {}

    void Run(EBML::Bytes body, std::uint32_t id) {
        Survey(std::move(body), id);
        Layout layout = LayOut(elements_, room_);
        RequireTracksFound(layout);
        // A file without SeekHead is read by walking it, and one write changes its tail.
        if (!layout.leading.empty() && !KeepsOldTail(layout)) {
            RequireFillable(layout);
            if (WriteByWayOfCopy(layout)) return;
        }
        if (!layout.tail.empty() || str_.GetSize() > room_.tailBegin) {
            WriteSegmentEnd(root_, str_, room_.tailBegin, layout.tail);
        }
        WriteLeadingArea(FilledLeadingArea(layout));
        root_.segment.ElementTable = std::move(layout.table);
    }

  private:
    // What there is. Nothing is written.
    void Survey(EBML::Bytes body, std::uint32_t id);
    std::uint64_t FindFirstCluster();
    void LoadElements(std::uint32_t id, const Offsets& offsets, OverlapGuard& guard);
    void RequireTailWithoutCluster();

    void RequireTracksFound(const Layout& layout) const;
    void RequireFillable(const Layout& layout) const;
    bool KeepsOldTail(const Layout& layout) const;

    bool WriteByWayOfCopy(Layout& layout);
    EBML::Bytes FilledLeadingArea(const Layout& layout) const;
    void WriteLeadingArea(std::span<const std::byte> area);
    void WriteDifference(const EBML::Bytes& before, const EBML::Bytes& after);

    std::uint64_t FirstCluster() const noexcept { return room_.dataBegin + room_.availLeading; }

    ParserRoot& root_;
    EBML::StreamRW& str_;
    Surroundings room_;
    Chain elements_;  // until the layouts are made
};

std::uint64_t Relayout::FindFirstCluster() {
    str_.SeekBounded(room_.dataBegin);
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
    str_.SeekBounded(room_.tailBegin);
    while (str_.LeftInRange() != 0) {
        if (EBML::ReadElementId(str_) == Id::Cluster) throw ParseError();
        str_.Skip(EBML::ReadElementSize(str_));
    }
}

// A checksum of the Segment doesn't hold for the new one and isn't loaded, nor are Voids and SeekHeads.
void Relayout::Survey(EBML::Bytes body, std::uint32_t id) {
    room_.dataBegin = root_.segment.SegmentDataBegin;
    const std::uint64_t firstCluster = FindFirstCluster();
    room_.availLeading = firstCluster - room_.dataBegin;
    Assert(room_.availLeading < str_.GetSize(), "availLeading < str.GetSize()");
    room_.tailBegin = root_.SegmentEnd();
    elements_.push_back({id, std::move(body)});
    OverlapGuard guard(str_.m_range.end);
    for (const auto& [elementId, offsets] : root_.segment.ElementTable) {
        if (elementId == Id::Cluster) continue;
        if (elementId != id && elementId != EBML::Id::Void && elementId != EBML::Id::Crc32 &&
            elementId != Id::SeekHead) {
            LoadElements(elementId, offsets, guard);
        }
        const auto behind = offsets.upper_bound(firstCluster);
        if (behind != offsets.end() && *behind < room_.tailBegin) room_.tailBegin = *behind;
    }
    RequireTailWithoutCluster();
}

// Readers look for Tracks behind the Clusters only where a SeekHead in front says so: a file that has one
// mustn't lose it.
void Relayout::RequireTracksFound(const Layout& layout) const {
    const Offsets& oldHeads = root_.ElemOffsets(Id::SeekHead);
    const Offsets& tracks = root_.ElemOffsets(Id::Tracks);
    const bool pointedAt = !oldHeads.empty() && *oldHeads.begin() < FirstCluster() && !tracks.empty() &&
                           *tracks.begin() > FirstCluster();
    if (pointedAt && layout.leading.empty()) throw ParseError();
}

void Relayout::RequireFillable(const Layout& layout) const {
    const std::uint64_t used = layout.leading.size();
    if (used > room_.availLeading || room_.availLeading - used == 1) throw ParseError();
}

// Whether everything that is known behind the Clusters stands where it stood. Then the old leading area is
// true still when the new tail is written.
bool Relayout::KeepsOldTail(const Layout& layout) const {
    for (const auto& [id, offsets] : root_.segment.ElementTable) {
        if (id == Id::Cluster || id == EBML::Id::Void) continue;
        const auto found = layout.table.find(id);
        for (auto old = offsets.lower_bound(room_.tailBegin); old != offsets.end(); ++old) {
            if (found == layout.table.end() || !found->second.contains(*old)) return false;
        }
    }
    return true;
}

// Writes the layout when the old tail goes: first one that has its tail behind the old one, so that there is
// a whole file at every step, and then the tail once more, to its place. The copy lies in a Void, which hides
// it from who walks the file, and is found when the leading area lists it. False, with the file as it was,
// when there is no room for the copy.
bool Relayout::WriteByWayOfCopy(Layout& layout) {
    const std::uint64_t oldSize = str_.m_range.end;
    const std::uint64_t end = room_.tailBegin + layout.tail.size();
    Surroundings behind = room_;
    behind.tailBegin = std::max(oldSize, end) + kLongVoidHeader;
    Layout copy = LayOut(elements_, behind);
    elements_ = {};
    RequireFillable(copy);
    const std::uint64_t copyEnd = behind.tailBegin + copy.tail.size();

    EBML::StreamWritableSimple sink;
    sink.Reserve(copyEnd - oldSize);
    sink.Write(EBML::VoidHeader(copyEnd - oldSize));
    sink.Write(EBML::Bytes(behind.tailBegin - oldSize - sink.Size()));
    sink.Write(copy.tail);
    copy.tail = EBML::Bytes();  // = {} would keep its memory
    try {
        WriteSegmentEnd(root_, str_, oldSize, sink.View());
    } catch (const NoRoom&) {
        return false;
    } catch (const SizeNotWritable&) {
        return false;
    }
    sink.Take();
    WriteLeadingArea(FilledLeadingArea(copy));

    sink.Reserve(layout.tail.size() + EBML::kLargestHeader);
    sink.Write(layout.tail);
    sink.Write(EBML::VoidHeader(copyEnd - end));
    str_.SeekBounded(room_.tailBegin);
    str_.Write(sink.View());
    WriteDifference(copy.leading, layout.leading);
    root_.segment.ElementTable = std::move(layout.table);
    EndSegmentAt(root_, str_, end);
    return true;
}

EBML::Bytes Relayout::FilledLeadingArea(const Layout& layout) const {
    if (layout.leading.size() > room_.availLeading) throw ParseError();
    EBML::StreamWritableSimple sink;
    sink.Reserve(room_.availLeading);
    sink.Write(layout.leading);
    EBML::WriteVoid(sink, room_.availLeading - sink.Size());
    Assert(sink.Size() == room_.availLeading, "writer.Size() == availLeading");
    return sink.Take();
}

void Relayout::WriteLeadingArea(std::span<const std::byte> area) {
    str_.SeekBounded(room_.dataBegin);
    str_.Write(area);
}

// From the leading area that begins with `before` to the one that begins with `after`, of the same elements:
// they differ in the positions in the SeekHead, and in the header of the Void that fills them up.
void Relayout::WriteDifference(const EBML::Bytes& before, const EBML::Bytes& after) {
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(
        room_.availLeading, std::max(before.size(), after.size()) + EBML::kLargestHeader));
    const auto begun = [&](const EBML::Bytes& leading) {
        EBML::Bytes area = leading;
        if (leading.size() < room_.availLeading) {
            const EBML::Bytes header = EBML::VoidHeader(room_.availLeading - leading.size());
            area.insert(area.end(), header.begin(), header.end());
        }
        area.resize(size);
        return area;
    };
    const EBML::Bytes old = begun(before);
    const EBML::Bytes fresh = begun(after);
    const auto first = std::ranges::mismatch(old, fresh);
    const auto begin = static_cast<std::size_t>(first.in2 - fresh.begin());
    std::size_t end = size;
    while (end > begin && old[end - 1] == fresh[end - 1]) --end;
    if (begin == end) return;
    str_.SeekBounded(room_.dataBegin + begin);
    str_.Write(std::span(fresh).subspan(begin, end - begin));
}

}  // namespace

void RelayoutSegment(ParserRoot& root, EBML::StreamRW& stream, EBML::Bytes body, std::uint32_t id) {
    Relayout(root, stream).Run(std::move(body), id);
}

}  // namespace Matroska
