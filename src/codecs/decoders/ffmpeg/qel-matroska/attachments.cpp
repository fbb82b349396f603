#include "codecs/decoders/ffmpeg/qel-matroska/attachments.h"

#include <new>
#include <utility>

#include "codecs/decoders/ffmpeg/qel-matroska/tag_tables.h"
#include "tags/art_key.h"

namespace Matroska {

namespace {

using EBML::ParseError;
using EBML::Stream;

// A name or type that stands twice, or stands there without a text, is an error.
void ReadOnce(std::string& text, Stream& stream, std::uint64_t size) {
    if (!text.empty()) throw ParseError();
    text = EBML::ReadUtf8(stream, size);
    if (text.empty()) throw ParseError();
}

}  // namespace

bool ParsedAttachment::IsImage() const noexcept {
    return mimeType.starts_with(kImageMimePrefix);
}

void ParserAttachment::OnElement(std::uint32_t id, std::uint64_t size, Stream& stream) {
    constexpr std::uint64_t unset = ~std::uint64_t{0};
    switch (id) {
        case Id::FileData:
            if (dataOffset != unset || dataSize != unset) throw ParseError();
            dataOffset = stream.Tell();
            dataSize = size;
            break;
        case Id::FileMimeType:
            ReadOnce(mimeType, stream, size);
            break;
        case Id::FileName:
            ReadOnce(fileName, stream, size);
            break;
        default:
            break;
    }
}

void ParserAttachment::OnEnd() {
    constexpr std::uint64_t unset = ~std::uint64_t{0};
    if (dataOffset == unset || dataSize == unset || fileName.empty()) throw ParseError();
}

void ParserAttachments::OnElement(std::uint32_t id, std::uint64_t, Stream& stream) {
    if (id != Id::AttachedFile) return;
    ParserAttachment parser;
    parser.Run(stream);
    attachments.push_back(std::move(parser));
}

void AttachmentsToIDTags(EBML::StreamSeekable& stream, const std::vector<ParsedAttachment>& attachments,
                         IDTags& tags, PictureBytes bytes) {
    OverlapGuard guard(stream.m_range.end);
    int number = 0;
    for (const ParsedAttachment& attachment : attachments) {
        if (!attachment.IsImage() || attachment.dataSize > kLargestPicture) continue;
        ++number;
        stream.SeekBounded(attachment.dataOffset);
        stream.RequireInRange(attachment.dataSize);
        guard.Take(attachment.dataSize);
        const auto size = static_cast<std::uint32_t>(attachment.dataSize);
        clBuffer picture;
        if (bytes == PictureBytes::Fetched) {
            if (!picture.Resize(size)) throw std::bad_alloc();
            stream.Read(picture.data(), size);
        }
        IDTag& tag = tags.Add();
        tag.Name = AttachmentArtKey(number, attachment.fileName);
        tag.Data = std::move(picture);
        if (bytes == PictureBytes::Left) {
            tag.Stored = {static_cast<std::int64_t>(attachment.dataOffset), size};
        }
    }
}

clString AttachmentArtKey(int index, const std::string& fileName) {
    std::string_view type = StripExtension(EBML::TextOf(fileName));
    clString stem;
    stem.SetFromUtf8(type);
    for (const CoverName& row : CoverNames) {
        if (!EqualsNoCase(stem, row.stem)) continue;
        type = row.pictureType;
        break;
    }
    clString keyPart;
    keyPart.SetFromUtf8("_" + std::string(type));
    return MakeArtKey(index, keyPart);
}

std::string_view StripExtension(std::string_view fileName) noexcept {
    return fileName.substr(0, fileName.rfind('.'));
}

}  // namespace Matroska
