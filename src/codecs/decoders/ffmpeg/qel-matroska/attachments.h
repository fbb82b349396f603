// The Attachments of a file, and the names of the pictures among them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "codecs/decoders/ffmpeg/qel-matroska/matroskaimpl.h"
#include "tags/idtags.h"

namespace Matroska {

// Larger pictures are neither read nor written.
inline constexpr std::uint64_t kLargestPicture = 0x8000000;

struct ParsedAttachment {
    std::string fileName;
    std::string mimeType;  // empty when the file names none
    std::uint64_t dataOffset = ~std::uint64_t{0};
    std::uint64_t dataSize = ~std::uint64_t{0};

    bool IsImage() const noexcept;
};

// One AttachedFile. The file's bytes are only located.
class ParserAttachment : public EBML::Parser, public ParsedAttachment {
  protected:
    void OnElement(std::uint32_t id, std::uint64_t size, EBML::Stream& stream) override;
    void OnEnd() override;
};

// An Attachments element; several can be run one after the other.
class ParserAttachments : public EBML::Parser {
  public:
    explicit ParserAttachments(std::uint64_t fileBytes) noexcept : elements_(fileBytes) {}

    std::vector<ParsedAttachment> attachments;

  protected:
    void OnBegin(EBML::Stream& stream) override { elements_.Take(stream.LeftInRange()); }
    void OnElement(std::uint32_t id, std::uint64_t size, EBML::Stream& stream) override;

  private:
    OverlapGuard elements_;
};

// Appends the pictures, numbered from 1; with PictureBytes::Left they stay in the file, told of as
// IDTag::Stored.
enum class PictureBytes { Fetched, Left };
void AttachmentsToIDTags(EBML::StreamSeekable& stream, const std::vector<ParsedAttachment>& attachments,
                         IDTags& tags, PictureBytes bytes = PictureBytes::Fetched);

// The name of a picture in the collection; a stem that stands for no picture type is kept in its place.
clString AttachmentArtKey(int index, const std::string& fileName);

// Up to the last dot.
std::string_view StripExtension(std::string_view fileName) noexcept;

}  // namespace Matroska
