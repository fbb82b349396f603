#include "quick/tagged_files.h"

#include <array>
#include <stdexcept>
#include <vector>

#include "codecs/qel-matroska/matroska_file.h"
#include "tags/id3v2/id3v2_bytes.h"
#include "tags/tag_bytes.h"

namespace {

constexpr std::size_t kAudioBytes = 65536;
const std::string kValue = "A value of an ordinary length";

std::string ApeTag(std::size_t pictureBytes) {
    std::vector<ApeItem> items;
    for (const char* name : {"TITLE", "ARTIST", "ALBUM", "GENRE", "YEAR", "TRACK", "COMPOSER", "COMMENT",
                             "LABEL", "ALBUM ARTIST"}) {
        items.push_back({name, kValue});
    }
    if (pictureBytes > 0)
        items.push_back({"COVER ART (FRONT)", "cover.png" + kNul + PictureOf(pictureBytes), 2});
    return Ape(items);
}

std::string Id3v2Tag(int version, std::size_t pictureBytes) {
    constexpr std::array<std::array<const char*, 2>, 10> kIds{{{"TT2", "TIT2"},
                                                               {"TP1", "TPE1"},
                                                               {"TAL", "TALB"},
                                                               {"TCO", "TCON"},
                                                               {"TRK", "TRCK"},
                                                               {"TCM", "TCOM"},
                                                               {"TPB", "TPUB"},
                                                               {"TP2", "TPE2"},
                                                               {"TEN", "TENC"},
                                                               {"TCR", "TCOP"}}};
    std::string frames;
    for (const auto& id : kIds) frames += id3v2::Text(version, id[version == 2 ? 0 : 1], kValue);
    if (pictureBytes > 0) {
        const std::string head = version == 2 ? "^PNG\x03^" : "^image/png^\x03^";
        frames +=
            id3v2::Frame(version, version == 2 ? "PIC" : "APIC", id3v2::Nul(head) + PictureOf(pictureBytes));
    }
    return id3v2::Tag(version, frames);
}

std::string MatroskaFile(std::size_t pictureBytes) {
    using namespace matroska_file;
    std::string simple;
    for (const char* name : {"TITLE", "ARTIST", "GENRE", "DATE_RELEASED", "PART_NUMBER", "COMPOSER",
                             "COMMENT", "LABEL", "ENCODER", "COPYRIGHT"}) {
        simple += SimpleTag(name, kValue);
    }
    std::string body = Void(200) + Element(kInfo, Number(0x2AD7B1, 1000000, 4)) +
                       Element(kCluster, Number(0xE7, 0) + std::string(kAudioBytes, '\x81'), 8);
    const std::size_t attachments = body.size();
    if (pictureBytes > 0)
        body += Element(kAttachments, AttachedFile("cover.png", "image/png", PictureOf(pictureBytes)), 8);
    const std::size_t tags = body.size();
    body += Element(kTags, Tag(30, simple));
    // In the room of the Void, which its rest still fills.
    std::string seeks = Seek(kTags, tags);
    if (pictureBytes > 0) seeks += Seek(kAttachments, attachments);
    const std::string seekHead = Element(kSeekHead, seeks);
    body.replace(0, 200, seekHead + Void(200 - seekHead.size()));
    return Header() + Element(kSegment, body, 8);
}

}  // namespace

std::string PictureOf(std::size_t bytes) {
    return matroska_file::Png(std::string(bytes, 'p')).substr(0, bytes);
}

std::string TaggedFile(TagKind kind, std::size_t pictureBytes) {
    const std::string audio(kAudioBytes, 'a');
    switch (kind) {
        case TagKind::None:
            return audio;
        case TagKind::Id3v1:
            return audio + Id3v1({"Title", "Artist", "Album", "2001", "Comment", 7, 12});
        case TagKind::Ape:
            return audio + ApeTag(pictureBytes);
        case TagKind::Id3v22:
            return Id3v2Tag(2, pictureBytes) + audio;
        case TagKind::Id3v23:
            return Id3v2Tag(3, pictureBytes) + audio;
        case TagKind::Id3v24:
            return Id3v2Tag(4, pictureBytes) + audio;
        case TagKind::Matroska:
            return MatroskaFile(pictureBytes);
    }
    throw std::logic_error("no such kind of tag");
}
