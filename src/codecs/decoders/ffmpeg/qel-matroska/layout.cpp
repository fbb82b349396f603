#include "codecs/decoders/ffmpeg/qel-matroska/layout.h"

#include <list>
#include <utility>

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_write.h"

namespace Matroska {

namespace {

using EBML::Assert;
using EBML::StreamWritableSimple;

// A Seek with an ID of 4 bytes and a position of up to 7 takes 20 bytes; the SeekHead's own header takes 10.
constexpr std::uint64_t kSeekBytes = 20;
constexpr std::uint64_t kSeekHeadHeaderBytes = 10;
// What a SeekHead with one such entry may need; with less the file goes without one.
constexpr std::uint64_t kSmallestSeekHeadRoom = 28;
// ID and size of an element, as far as the test for room goes.
constexpr std::uint64_t kHeaderAllowance = 8;

bool IsTags(const EBML::chainEntry_t& entry) noexcept {
    return entry.id == Id::Tags;
}

bool IsOther(const EBML::chainEntry_t& entry) noexcept {
    return !IsTags(entry);
}

class Planner {
  public:
    Planner(const Chain& elements, const Surroundings& room)
        : room_(room), seekHeadEstimate_(kSeekBytes * elements.size() + kSeekHeadHeaderBytes) {
        std::uint64_t total = seekHeadEstimate_;
        for (const EBML::chainEntry_t& entry : elements) {
            waiting_.push_back(&entry);
            total += EBML::kLargestHeader + entry.data.size();
        }
        writer_.Reserve(total);
    }

    Layout Plan() {
        if (room_.availLeading < kSmallestSeekHeadRoom) {
            LayOutWithoutSeekHead();
        } else if (room_.availLeading < seekHeadEstimate_) {
            LayOutWithSmallSeekHead();
        } else {
            LayOutInFront();
        }
        return {outPrefix_.Take(), writer_.Take(), std::move(table_)};
    }

  private:
    void LayOutWithoutSeekHead();
    void LayOutWithSmallSeekHead();
    void LayOutInFront();
    template <typename Test>
    void PlaceIf(Test test, StreamWritableSimple& sink, std::uint64_t sinkOffset);
    void PlaceOthersInTail() { PlaceIf(IsOther, writer_, room_.tailBegin); }
    void PlaceTagsInTail() { PlaceIf(IsTags, writer_, room_.tailBegin); }
    template <typename Test>
    void PlaceInFrontIf(Test test, std::uint64_t avail);

    Surroundings room_;
    std::uint64_t seekHeadEstimate_;
    std::list<const EBML::chainEntry_t*> waiting_;  // what isn't placed yet
    ElementMap table_;
    StreamWritableSimple outPrefix_;   // the new leading area
    StreamWritableSimple outPrefix2_;  // what stands behind the room of a SeekHead
    StreamWritableSimple writer_;      // the new tail
};

// Writes every element that passes the test to the sink, whose first byte goes to `sinkOffset`.
template <typename Test>
void Planner::PlaceIf(Test test, StreamWritableSimple& sink, std::uint64_t sinkOffset) {
    for (auto next = waiting_.begin(); next != waiting_.end();) {
        const EBML::chainEntry_t& entry = **next;
        if (!test(entry)) {
            ++next;
            continue;
        }
        table_[entry.id].insert(sinkOffset + sink.Size());
        EBML::WriteElement(sink, entry.id, entry.data);
        next = waiting_.erase(next);
    }
}

// No room for even the smallest SeekHead: the file goes without and is found by walking it.
void Planner::LayOutWithoutSeekHead() {
    PlaceOthersInTail();
    PlaceTagsInTail();
}

// Room for a SeekHead that points at the one with all entries, behind the Clusters.
void Planner::LayOutWithSmallSeekHead() {
    PlaceOthersInTail();
    const std::uint64_t mainSeekHead = room_.tailBegin + writer_.Size();
    const std::uint64_t suffixTagsBase = mainSeekHead + seekHeadEstimate_;
    PlaceIf(IsTags, outPrefix2_, suffixTagsBase);
    EBML::WriteElement(writer_, Id::SeekHead, EncodeSeekHeadBody(table_, room_.dataBegin));
    if (!outPrefix2_.Empty()) {
        EBML::WriteVoid(writer_, suffixTagsBase - room_.tailBegin - writer_.Size());
        Assert(writer_.Size() + room_.tailBegin == suffixTagsBase,
               "writer.Size() + scanTrailing == suffixTagsBase");
        writer_.Write(outPrefix2_.View());
    }
    const ElementMap onlySeekHead{{Id::SeekHead, {mainSeekHead}}};
    EBML::WriteElement(outPrefix_, Id::SeekHead, EncodeSeekHeadBody(onlySeekHead, room_.dataBegin));
    table_[Id::SeekHead] = {mainSeekHead, room_.dataBegin};
    if (outPrefix_.Size() > room_.availLeading || room_.availLeading - outPrefix_.Size() == 1) {
        throw EBML::ParseError();
    }
}

template <typename Test>
void Planner::PlaceInFrontIf(Test test, std::uint64_t avail) {
    const auto fits = [&](const EBML::chainEntry_t& entry) {
        Assert(outPrefix2_.Size() <= avail, "outPrefix2.Size() <= avail");
        return test(entry) && entry.data.size() + kHeaderAllowance < avail - outPrefix2_.Size();
    };
    PlaceIf(fits, outPrefix2_, room_.dataBegin + seekHeadEstimate_);
    Assert(outPrefix2_.Size() <= avail, "outPrefix2.Size() <= avail");
}

// SeekHead and as much as fits in front of the Clusters. The Tags go last, where they can grow.
void Planner::LayOutInFront() {
    const std::uint64_t avail = room_.availLeading - seekHeadEstimate_;
    for (const std::uint32_t id : {Id::Info, Id::Tracks, Id::Cues}) {
        PlaceInFrontIf([id](const EBML::chainEntry_t& entry) { return entry.id == id; }, avail);
    }
    PlaceInFrontIf(IsOther, avail);
    PlaceOthersInTail();
    PlaceTagsInTail();
    EBML::WriteElement(outPrefix_, Id::SeekHead, EncodeSeekHeadBody(table_, room_.dataBegin));
    table_[Id::SeekHead].insert(room_.dataBegin);
    Assert(outPrefix_.Size() < seekHeadEstimate_, "outPrefix.Size() < seekHeadEstimate");
    EBML::WriteVoid(outPrefix_, seekHeadEstimate_ - outPrefix_.Size());
    Assert(outPrefix_.Size() == seekHeadEstimate_, "outPrefix.Size() == seekHeadEstimate");
    outPrefix_.Write(outPrefix2_.View());
}

}  // namespace

Layout LayOut(const Chain& elements, const Surroundings& room) {
    return Planner(elements, room).Plan();
}

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

}  // namespace Matroska
