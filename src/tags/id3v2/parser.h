// Reads an ID3v2 tag of version 2.2, 2.3 or 2.4 into raw frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tags/id3v2/frame_bytes.h"
#include "tags/id3v2/streams.h"
#include "tags/idtags.h"

namespace id3parser {

// The four characters of a frame's identifier as a big-endian number.
constexpr std::uint32_t frameId(std::string_view name) noexcept {
    std::uint32_t id = 0;
    for (const char letter : name.substr(0, 4)) id = (id << 8) | static_cast<unsigned char>(letter);
    return id;
}

inline constexpr std::uint32_t kPictureFrame = frameId("APIC");
inline constexpr std::uint32_t kCommentFrame = frameId("COMM");
inline constexpr std::uint32_t kLyricsFrame = frameId("USLT");
inline constexpr std::uint32_t kUserTextFrame = frameId("TXXX");
inline constexpr std::uint32_t kUserUrlFrame = frameId("WXXX");
inline constexpr std::uint32_t kYearFrame = frameId("TYER");
inline constexpr std::uint32_t kDateFrame = frameId("TDAT");
inline constexpr std::uint32_t kGenreFrame = frameId("TCON");
inline constexpr std::uint32_t kTrackFrame = frameId("TRCK");
inline constexpr std::uint32_t kDiscFrame = frameId("TPOS");
inline constexpr std::uint32_t kRatingFrame = frameId("POPM");
inline constexpr std::uint32_t kTableOfContentsFrame = frameId("MCDI");

// The major versions, as the header and all else here states them.
inline constexpr std::uint32_t kVersion22 = 2;
inline constexpr std::uint32_t kVersion23 = 3;
inline constexpr std::uint32_t kVersion24 = 4;

// What a frame of versions 2.3 and 2.4 takes behind its header is smaller than this.
inline constexpr std::uint32_t kFrameSizeLimit = 0x4000000;

inline constexpr std::string_view kTagSignature = "ID3";
inline constexpr std::size_t kTagHeaderBytes = 10;

// The second flag byte of a version 2.4 frame: the body is unsynchronised, a data length indicator precedes
// it.
inline constexpr std::uint8_t kFrameUnsynchronised = 0x02;
inline constexpr std::uint8_t kFrameDataLength = 0x01;

// The bit that opens each byte of a 7-bit size, and must be clear.
inline constexpr std::uint32_t kSynchsafeMask = 0x80808080;
// The number in 4 bytes of 7 bits, most significant first; parseError for a set top bit.
std::uint32_t readSynchsafe(const std::byte* bytes);

// One frame as stored.
struct id3frame {
    std::uint32_t id = 0;       // 0 for an identifier of three letters that has none of four
    FrameBytes data;            // the body, all transport encodings undone
    std::uint32_t version = 0;  // of the tag it was read from; 0 for a frame that was built here
    std::uint8_t statusFlags = 0;
    std::uint8_t formatFlags = 0;
    StoredBytes rest = {};  // of the body, behind `data`, when the tag leaves pictures in the file
};

// Names that take the place of the default ones, by frame.
using FrameOverrides = std::map<std::uint32_t, std::string>;

struct id3tag {
    std::list<id3frame> frames;  // in file order
    FrameOverrides overrides;
    std::uint32_t version = 0;      // 2, 3 or 4, with which the tag was finally read; 0 while empty
    bool strict = false;            // how frames are judged that get a meaning
    std::uint64_t sourceBytes = 0;  // what the source is known to hold; a body up to it is taken at once
    bool leavePictures = false;     // large ones stay in the file, but for what stands in front of the image
};

// Chooses frames while they are read; this one wants all.
class parseCallback {
  public:
    // False has the body of a frame with this identifier skipped.
    virtual bool wantFrame(std::uint32_t) { return true; }
};

// Reads the tag at whose first byte `stream` stands; replaces the frames and the version. parseError for
// anything malformed, all or nothing: then the frames are of no use. A tag that states version 2.4 but is
// laid out as 2.3 is read as that, if the stream can seek.
void parseTag(id3tag& tag, streamIn& stream, parseCallback& callback);

}  // namespace id3parser
