// Tags of names that every kind of tag knows, with any values, into a file of that kind: what was written is
// read back, writing what was read changes nothing more, and TagLib reads the same.
#include <taglib/apetag.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2tag.h>
#include <taglib/tbytevectorstream.h>
#include <taglib/textidentificationframe.h>
#include <taglib/trueaudiofile.h>
#include <taglib/wavpackfile.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "fuzzing.h"
#include "memory_file.h"
#include "tags/art_key.h"
#include "tags/id3v2/tag_id3v2.h"
#include "tags/tag_apev2.h"
#include "tags/tag_id3v1.h"

namespace {

// Of these, one value comes back as it was given. "Artist" may have several; the last one is no tag of any
// format.
constexpr std::array<std::u16string_view, 6> kNames{u"Title",  u"Album", u"Comment",
                                                    u"Artist", u"Mood",  u"My Own"};
constexpr std::size_t kTitle = 0;
constexpr std::size_t kAlbum = 1;
constexpr std::size_t kMultiple = 3;

// Begins like a PNG, which is what tells the engines its type.
const std::string kPicture("\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR\0\0\0\x01\0\0\0\x01\x08\x06\0\0\0????", 33);
// Header; Segment, whose size has room to grow; Void; Cluster with a time and a Void.
const std::string kMatroska = std::string("\x1A\x45\xDF\xA3\x8B\x42\x82\x88matroska", 16) +
                              std::string("\x18\x53\x80\x67\x01\0\0\0\0\0\0\x54\xEC\xC0", 14) +
                              std::string(64, '\0') + "\x1F\x43\xB6\x75\x8D" +
                              std::string("\xE7\x81\0\xEC\x88\0\0\0\0\0\0\0\0", 13);
const std::string kSound(400, 'a');

using Values = std::array<std::optional<std::u16string>, kNames.size()>;

enum class Kind { Id3v1, Id3v2, Ape, Matroska };

std::span<const std::byte> AsBytes(const std::string& text) {
    return std::as_bytes(std::span(text));
}

// Text that is the same in every encoding but that of a single byte.
std::u16string Normal(std::string_view bytes) {
    clString text;
    text.SetFromUtf8(bytes);
    return std::u16string(text.View());
}

template <typename Engine>
void Write(MemoryFile& file, const IDTags& tags, unsigned options) {
    clFile opened(file.Path());
    Require(opened.Open(clFile::kRead | clFile::kWrite));
    Engine engine(opened);
    constexpr std::array kOptions{u"ID3v2EncodeUni", u"ID3v2EncodeUTF8", u"ID3v2WriteV24", u"ID3v1Write10"};
    for (std::size_t i = 0; i < kOptions.size(); ++i) {
        if ((options >> i & 1) != 0) engine.SetOption(kOptions[i]);
    }
    constexpr bool kMerge = !std::is_same_v<Engine, TagID3v2>;
    Require(engine.Write(tags, kMerge));
}

template <typename Engine>
void Read(MemoryFile& file, IDTags& tags) {
    clFile opened(file.Path());
    Require(opened.Open(clFile::kRead));
    Engine engine(opened);
    Require(engine.Read(tags, false));
}

void WriteKind(Kind kind, MemoryFile& file, IDTags& tags, unsigned options) {
    file.Set(AsBytes(kind == Kind::Matroska ? kMatroska : kSound));
    if (kind == Kind::Id3v1) Write<TagID3v1>(file, tags, options);
    if (kind == Kind::Id3v2) Write<TagID3v2>(file, tags, options);
    if (kind == Kind::Ape) Write<TagAPEv2>(file, tags, options);
    if (kind == Kind::Matroska) Require(MatroskaTags::Write(file.Path().text(), tags, {}));
}

void ReadKind(Kind kind, MemoryFile& file, IDTags& tags) {
    if (kind == Kind::Id3v1) Read<TagID3v1>(file, tags);
    if (kind == Kind::Id3v2) Read<TagID3v2>(file, tags);
    if (kind == Kind::Ape) Read<TagAPEv2>(file, tags);
    if (kind == Kind::Matroska) Require(MatroskaTags::Read(file.Path().text(), tags, {}));
}

bool IsPlain(std::u16string_view value) {
    return std::ranges::all_of(value, [](char16_t unit) { return unit > 0x20 && unit < 0x7F; });
}

// What a kind of tag makes of a value, where that is certain.
std::optional<std::u16string> Expected(Kind kind, const std::u16string& value, bool multiple) {
    // A NUL ends values, a separator parts them, and what each kind does with blanks and signs is its own.
    const bool plain = IsPlain(value) && (!multiple || value.find_first_of(u"/;") == value.npos);
    if (kind == Kind::Id3v1) return plain ? std::optional(value.substr(0, 28)) : std::nullopt;
    if (kind == Kind::Id3v2 && !plain) return std::nullopt;
    if (value.find_first_of(std::u16string_view(u"\r\0", 2)) != value.npos) return std::nullopt;
    return value;
}

void RequireAsGiven(Kind kind, const Values& given, IDTags& read) {
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        if (!given[i] || (kind == Kind::Id3v1 && i > kMultiple)) continue;
        const std::optional<std::u16string> value = Expected(kind, *given[i], i == kMultiple);
        if (!value) continue;
        const IDTag* tag = read.Find(kNames[i], false);
        if (value->empty()) continue;
        Require(tag != nullptr);
        Require(kind == Kind::Id3v1 ? tag->Value.View().starts_with(*value) : tag->Value == clString(*value));
    }
}

std::u16string Text(const TagLib::String& text) {
    return Normal(text.to8Bit(true));
}

void RequireSame(const IDTags& tags, std::u16string_view name, const TagLib::String& theirs) {
    for (const IDTag* tag : tags) {
        if (tag->Name.View() == name && IsPlain(tag->Value)) Require(Text(theirs) == tag->Value.View());
    }
}

// TagLib 1 knows no Matroska.
void RequireTagLibAgrees(Kind kind, const MemoryFile& file, const IDTags& read) {
    const std::vector<std::byte> bytes = file.Get();
    const TagLib::ByteVector vector(reinterpret_cast<const char*>(bytes.data()),
                                    static_cast<unsigned>(bytes.size()));
    TagLib::ByteVectorStream stream(vector);
    if (kind == Kind::Id3v2) {
        TagLib::TrueAudio::File theirs(&stream, false);
        Require(theirs.hasID3v2Tag() || read.count() == 0);
        if (!theirs.hasID3v2Tag()) return;
        RequireSame(read, kNames[kTitle], theirs.ID3v2Tag()->title());
        RequireSame(read, kNames[kAlbum], theirs.ID3v2Tag()->album());
    } else if (kind != Kind::Matroska) {
        // This class looks for both kinds and, without properties, at nothing else.
        TagLib::WavPack::File theirs(&stream, false);
        const bool there = kind == Kind::Ape ? theirs.hasAPETag() : theirs.hasID3v1Tag();
        Require(there || read.count() == 0);
        if (!there) return;
        const TagLib::Tag* tag = kind == Kind::Ape ? static_cast<const TagLib::Tag*>(theirs.APETag())
                                                   : static_cast<const TagLib::Tag*>(theirs.ID3v1Tag());
        RequireSame(read, kNames[kTitle], tag->title());
        RequireSame(read, kNames[kAlbum], tag->album());
    }
}

}  // namespace

// The first byte tells the kind, the second the options; then come entries of a name, a length and a value in
// UTF-8.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return -1;
    const auto kind = static_cast<Kind>(data[0] % 4);
    const unsigned options = data[1];
    IDTags tags;
    Values given;
    for (std::size_t at = 2; at + 2 <= size;) {
        const std::size_t which = data[at] % (kNames.size() + 1);
        const std::size_t length = std::min<std::size_t>(data[at + 1], size - at - 2);
        const std::string_view text(reinterpret_cast<const char*>(data) + at + 2, length);
        at += 2 + length;
        if (which == kNames.size()) {
            if (kind != Kind::Id3v1 &&
                tags.Find(MakeArtKey(1, PictureTypeKeyPart(kFrontCover)), false) == nullptr)
                tags.AddBinary(MakeArtKey(1, PictureTypeKeyPart(kFrontCover)), AsBytes(kPicture));
        } else if (!given[which]) {
            given[which] = Normal(text);
            // Of separators at the end of several values, each reading and writing of an APE tag takes one.
            while (which == kMultiple && given[which]->ends_with(u'\r')) given[which]->pop_back();
            tags.AddText(kNames[which], *given[which]);
        }
    }
    static MemoryFile file;
    WriteKind(kind, file, tags, options);
    IDTags read;
    ReadKind(kind, file, read);
    RequireAsGiven(kind, given, read);
    RequireTagLibAgrees(kind, file, read);
    for (const IDTag* tag : read)
        Require(tag->Data.empty() || std::ranges::equal(tag->Data.bytes(), AsBytes(kPicture)));

    // What was read is what is there: written to a new file it is read again. The first time may leave out
    // values that nothing is left of, such as a lone separator.
    std::vector<std::byte> before;
    for (int round = 0; round < 3; ++round) {
        WriteKind(kind, file, read, options);
        ReadKind(kind, file, read);
        clBuffer blob;
        Require(read.Serialise(blob));
        Require(round < 2 || std::ranges::equal(before, blob.bytes()));
        before.assign(blob.bytes().begin(), blob.bytes().end());
    }
    return 0;
}
