// Where the top-level elements of a Matroska file lie. Nothing of audio, tracks or cues is read.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>

#include "codecs/decoders/ffmpeg/qel-matroska/ebml.h"
#include "codecs/decoders/ffmpeg/qel-matroska/matroska_ids.h"

namespace Matroska {

using Offsets = std::set<std::uint64_t>;

// From the held ID of an element to the file offsets of its first ID bytes.
using ElementMap = std::map<std::uint32_t, Offsets>;

// Elements of one kind can't overlap, so all of them together are no larger than the file. Files made to
// multiply a few bytes by many references run out of this budget.
class OverlapGuard {
  public:
    explicit OverlapGuard(std::uint64_t fileBytes) noexcept : left_(fileBytes) {}
    void Take(std::uint64_t bytes) {
        if (bytes > left_) throw EBML::ParseError();
        left_ -= bytes;
    }

  private:
    std::uint64_t left_;
};

// One entry of a SeekHead.
class ParserSeekEntry : public EBML::Parser {
  public:
    std::uint32_t id = 0;
    std::uint64_t position = ~std::uint64_t{0};  // from the first byte of the Segment's body

  protected:
    void OnElement(std::uint32_t elementId, std::uint64_t size, EBML::Stream& stream) override;
    void OnEnd() override;
};

// The Segment. The walk ends behind the first SeekHead: what stands behind it is known through the Seek
// entries only.
class ParserSegmentV2 : public EBML::Parser {
  public:
    // Reads the SeekHeads that others point to, each once.
    void FollowSeekHeads(EBML::StreamSeekable& stream);

    ElementMap ElementTable;
    Offsets VisitedSeekHeads;
    std::uint64_t SegmentDataBegin = 0;  // file offset of the first byte of the body
    std::uint64_t SegmentDataSize = 0;   // bytes of the body; who changes the file keeps it true

  protected:
    void OnBegin(EBML::Stream& stream) override;
    void OnElement(std::uint32_t id, std::uint64_t size, EBML::Stream& stream) override;
    bool KeepGoing() override { return VisitedSeekHeads.empty(); }

  private:
    void ReadSeekEntries(EBML::Stream& stream);
    void FollowSeekHead(EBML::StreamSeekable& stream, std::uint64_t offset, OverlapGuard& guard);

    Offsets pendingSeekHeads_;  // told of by a Seek entry and not looked at since
};

// The file: one EBML header and one Segment. Lives for one operation on the file.
class ParserRoot : private EBML::Parser {
  public:
    // Sets the stream's range to the file and finds the elements. Raises ParseError, which for a foreign
    // document type says which one it is.
    void Open(EBML::StreamRW& stream);

    bool HasElement(std::uint32_t id) const noexcept;
    const Offsets& ElemOffsets(std::uint32_t id) const noexcept;  // until the table changes
    // Calls the function for each offset of the ID, ascending.
    void ForEachElement(std::uint32_t id, const std::function<void(std::uint64_t offset)>& function) const;
    // Runs the parser on every element of the ID, ascending.
    void RunOnEach(std::uint32_t id, EBML::StreamSeekable& stream, EBML::Parser& parser) const;

    std::uint64_t SegmentEnd() const noexcept { return segment.SegmentDataBegin + segment.SegmentDataSize; }

    ParserSegmentV2 segment;
    std::uint64_t SegmentOffset = 0;  // of the Segment's ID
    EBML::ParserEBML header;
    std::uint64_t firstRootCluster = 0;  // a Cluster beside the Segment; 0 for none

  protected:
    void OnElement(std::uint32_t id, std::uint64_t size, EBML::Stream& stream) override;
    void OnEnd() override;

  private:
    Offsets noOffsets_;  // of an element that the file doesn't hold
};

// The first Cluster of the present range.
class ClusterFinder : public EBML::Parser {
  public:
    bool found = false;
    std::uint64_t offset = 0;

  protected:
    void OnElement(std::uint32_t id, std::uint64_t size, EBML::Stream& stream) override;
    void OnEnd() override;
    bool KeepGoing() override { return !found; }
};

}  // namespace Matroska
