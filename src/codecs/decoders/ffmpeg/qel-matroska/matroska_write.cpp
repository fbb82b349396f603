#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "codecs/decoders/ffmpeg/qel-matroska/picture_encoding.h"
#include "codecs/decoders/ffmpeg/qel-matroska/tag_encoding.h"
#include "codecs/decoders/ffmpeg/qel-matroska/tag_update.h"

bool MatroskaTags::Write(const char16_t* path, IDTags& tags, const clLogHandles& log) {
    Matroska::AttachmentEditor attachmentEditor;
    clString type;
    clString description;
    if (tags.FindFirstArt(type, description) != nullptr) {
        attachmentEditor = [&](Matroska::Chain& chain) { return Matroska::MergeArt(tags, chain); };
    }
    const auto tagEditor = [&](Matroska::TagRecord& record) { return Matroska::MergeIDTags(tags, record); };
    return Matroska::writeTagsInternal(path, tagEditor, attachmentEditor, log);
}
