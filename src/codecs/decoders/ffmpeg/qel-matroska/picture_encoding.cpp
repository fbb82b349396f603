#include "codecs/decoders/ffmpeg/qel-matroska/picture_encoding.h"

#include <iterator>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "codecs/decoders/ffmpeg/qel-matroska/attachments.h"
#include "codecs/decoders/ffmpeg/qel-matroska/ebml_write.h"
#include "codecs/decoders/ffmpeg/qel-matroska/tag_tables.h"
#include "image/image_type.h"
#include "platform/random.h"
#include "support/endian.h"
#include "tags/art_key.h"

namespace Matroska {

namespace {

bool IsPicture(const clString& name) noexcept {
    return clString::BeginsWithNoCase(name, kArtPrefix);
}

clString PictureTypeOf(const clString& artKey) {
    clString type;
    clString description;
    SplitArtKey(artKey, type, description);
    return type;
}

ImageInfo InfoOf(const clBuffer& picture) {
    try {
        MemorySource source(picture.bytes());
        return DetectImageType(source);
    } catch (...) {
        throw std::runtime_error("Malformed or unsupported image");
    }
}

std::string FileNameFor(const clString& pictureType, const ImageInfo& info) {
    std::string fileName = ToUtf8(pictureType);
    for (const CoverName& row : CoverNames) {
        if (!EqualsNoCase(pictureType, row.pictureType)) continue;
        fileName = row.stem;
        break;
    }
    if (info.extension != nullptr) fileName.append(".").append(info.extension);
    return fileName;
}

std::uint64_t FreshFileUid() {
    std::array<std::uint8_t, 16> guid{};
    if (!platform::FreshGuid(guid)) throw std::runtime_error("No unique number for a picture");
    return FileUidOf(guid);
}

// The body of an AttachedFile. The picture gets a new UID whenever it is written.
EBML::Bytes EncodeAttachedFile(const IDTag& tag) {
    if (tag.Data.empty() || tag.Data.size() > kLargestPicture) throw EBML::ParseError();
    const ImageInfo info = InfoOf(tag.Data);
    constexpr std::size_t kRoomForTheRest = 1024;
    EBML::StreamWritableSimple sink;
    sink.Reserve(tag.Data.size() + kRoomForTheRest);
    EBML::WriteTextElement(sink, Id::FileName, FileNameFor(PictureTypeOf(tag.Name), info));
    EBML::WriteTextElement(sink, Id::FileMimeType, info.mime);
    EBML::WriteElement(sink, Id::FileData, tag.Data.bytes());
    EBML::WriteUIntElement(sink, Id::FileUID, FreshFileUid());
    return sink.Take();
}

// Removes the images that the test wants gone.
template <typename Test>
bool RemoveImagesIf(Chain& chain, Test isUnwanted) {
    return std::erase_if(chain, [&](const EBML::chainEntry_t& entry) {
               if (entry.id != Id::AttachedFile) return false;
               EBML::StreamMem body(entry.data);
               ParserAttachment file;
               file.Run(body);
               return file.IsImage() && isUnwanted(file);
           }) != 0;
}

}  // namespace

Stems ArtKeysToStems(const clStringList& names) {
    Stems stems;
    for (int i = 0; i < names.count(); ++i) {
        if (!IsPicture(names[i])) continue;
        const clString type = PictureTypeOf(names[i]);
        bool known = false;
        for (const CoverName& row : CoverNames) {
            if (!EqualsNoCase(type, row.pictureType)) continue;
            stems.insert(UpperCase(row.stem));
            known = true;
        }
        if (!known) stems.insert(UpperCase(ToUtf8(type)));
    }
    return stems;
}

bool RemoveNamedImages(Chain& chain, const Stems& stems) {
    return RemoveImagesIf(chain, [&](const ParsedAttachment& file) {
        return stems.contains(UpperCase(StripExtension(EBML::TextOf(file.fileName))));
    });
}

bool RemoveAllImages(Chain& chain) {
    return RemoveImagesIf(chain, [](const ParsedAttachment&) { return true; });
}

bool MergeArt(const IDTags& tags, Chain& chain) {
    clStringList names;
    for (const IDTag* tag : tags) {
        if (IsPicture(tag->Name)) names.AddCopy(tag->Name);
    }
    const Stems stems = ArtKeysToStems(names);
    bool changed = !stems.empty() && RemoveNamedImages(chain, stems);
    Chain pictures;
    for (const IDTag* tag : tags) {
        if (IsPicture(tag->Name)) pictures.push_back({Id::AttachedFile, EncodeAttachedFile(*tag)});
    }
    changed = changed || !pictures.empty();
    chain.insert(chain.begin(), std::make_move_iterator(pictures.begin()),
                 std::make_move_iterator(pictures.end()));
    return changed;
}

std::uint64_t FileUidOf(const std::array<std::uint8_t, 16>& guid) noexcept {
    const std::byte* bytes = reinterpret_cast<const std::byte*>(guid.data());
    return GetLittle64(bytes) ^ GetLittle64(bytes + 8);
}

}  // namespace Matroska
