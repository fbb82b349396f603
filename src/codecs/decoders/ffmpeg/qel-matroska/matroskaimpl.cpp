#include "codecs/decoders/ffmpeg/qel-matroska/matroskaimpl.h"

#include <string>
#include <string_view>

namespace Matroska {

using EBML::ParseError;
using EBML::Stream;

namespace {

// A file may give its type any length; a log needs no more of it than tells it from others.
std::string Quotable(std::string_view type) {
    constexpr std::size_t kLongestQuote = 64;
    if (type.size() <= kLongestQuote) return std::string(type);
    return std::string(type.substr(0, kLongestQuote)) + "...";
}

}  // namespace

void ParserSeekEntry::OnElement(std::uint32_t elementId, std::uint64_t size, Stream& stream) {
    if (elementId == Id::SeekID) {
        id = EBML::ReadElementId(stream);
        if (stream.m_range.end == EBML::kNoLimit || stream.LeftInRange() != 0) throw ParseError();
    } else if (elementId == Id::SeekPosition) {
        position = EBML::ReadUInt(stream, size);
    }
}

void ParserSeekEntry::OnEnd() {
    if (id == 0 || position == ~std::uint64_t{0}) throw ParseError();
}

void ParserSegmentV2::OnBegin(Stream& stream) {
    SegmentDataBegin = stream.Tell();
    SegmentDataSize = stream.LeftInRange();
}

void ParserSegmentV2::OnElement(std::uint32_t id, std::uint64_t, Stream& stream) {
    if (id != EBML::Id::Void && id != Id::Cluster) ElementTable[id].insert(elementStart);
    if (id != Id::SeekHead) return;
    ReadSeekEntries(stream);
    VisitedSeekHeads.insert(elementStart);
}

void ParserSegmentV2::ReadSeekEntries(Stream& stream) {
    EBML::ForEachChild(stream, [this](std::uint32_t id, std::uint64_t, Stream& body) {
        if (id != Id::Seek) return;
        ParserSeekEntry entry;
        entry.Run(body);
        if (entry.position >= SegmentDataSize) throw ParseError();
        const std::uint64_t offset = SegmentDataBegin + entry.position;
        ElementTable[entry.id].insert(offset);
        if (entry.id == Id::SeekHead) pendingSeekHeads_.insert(offset);
    });
}

void ParserSegmentV2::FollowSeekHead(EBML::StreamSeekable& stream, std::uint64_t offset,
                                     OverlapGuard& guard) {
    stream.SeekBounded(offset);
    if (EBML::ReadElementId(stream) != Id::SeekHead) throw ParseError();
    EBML::ScopedRange body(stream, EBML::ReadElementSize(stream));
    guard.Take(stream.LeftInRange());
    ReadSeekEntries(stream);
    body.Restore();
    VisitedSeekHeads.insert(offset);
}

// In ascending sweeps: what is added behind the present offset comes in the same sweep, what is added before
// it in the next one.
void ParserSegmentV2::FollowSeekHeads(EBML::StreamSeekable& stream) {
    OverlapGuard guard(SegmentDataSize);
    std::uint64_t present = 0;
    while (!pendingSeekHeads_.empty()) {
        auto next = pendingSeekHeads_.lower_bound(present);
        if (next == pendingSeekHeads_.end()) next = pendingSeekHeads_.begin();
        present = *next;
        pendingSeekHeads_.erase(next);
        if (!VisitedSeekHeads.contains(present)) FollowSeekHead(stream, present, guard);
    }
}

void ParserRoot::Open(EBML::StreamRW& stream) {
    EBML::SetRange(stream, {0, stream.GetSize()});
    EBML::SeekToEbmlMagic(stream);
    Run(stream);
    segment.FollowSeekHeads(stream);
}

void ParserRoot::OnElement(std::uint32_t id, std::uint64_t, Stream& stream) {
    switch (id) {
        case Id::Segment:
            if (segment.parsed) throw ParseError();
            segment.Run(stream);
            SegmentOffset = elementStart;
            break;
        case EBML::Id::Header: {
            if (header.parsed) throw ParseError();
            header.Run(stream);
            const std::string_view type = EBML::TextOf(header.docType);
            if (type != "matroska" && type != "webm") {
                throw ParseError("Unsupported document type: \"" + Quotable(type) + "\"");
            }
            break;
        }
        case Id::Cluster:
            if (firstRootCluster == 0) firstRootCluster = elementStart;
            break;
        default:
            break;
    }
}

void ParserRoot::OnEnd() {
    if (!segment.parsed || !header.parsed) throw ParseError();
}

bool ParserRoot::HasElement(std::uint32_t id) const noexcept {
    return !ElemOffsets(id).empty();
}

const Offsets& ParserRoot::ElemOffsets(std::uint32_t id) const noexcept {
    const auto found = segment.ElementTable.find(id);
    return found == segment.ElementTable.end() ? noOffsets_ : found->second;
}

void ParserRoot::ForEachElement(std::uint32_t id,
                                const std::function<void(std::uint64_t offset)>& function) const {
    for (const std::uint64_t offset : ElemOffsets(id)) function(offset);
}

void ParserRoot::RunOnEach(std::uint32_t id, EBML::StreamSeekable& stream, EBML::Parser& parser) const {
    ForEachElement(id, [&](std::uint64_t offset) {
        stream.SeekBounded(offset);
        parser.RunOne(stream, id);
    });
}

void ClusterFinder::OnElement(std::uint32_t id, std::uint64_t, Stream&) {
    if (id != Id::Cluster) return;
    offset = elementStart;
    found = true;
}

void ClusterFinder::OnEnd() {
    if (!found) throw ParseError();
}

}  // namespace Matroska
