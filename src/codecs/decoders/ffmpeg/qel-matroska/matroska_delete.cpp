#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "codecs/decoders/ffmpeg/qel-matroska/picture_encoding.h"
#include "codecs/decoders/ffmpeg/qel-matroska/tag_encoding.h"
#include "codecs/decoders/ffmpeg/qel-matroska/tag_update.h"

bool MatroskaTags::Delete(const char16_t* path, const char16_t* names, const clLogHandles& log) {
    const bool deleteAll = names == nullptr || *names == 0;
    clStringList list;
    list.FromMultiString(names);
    const Matroska::Stems stems = Matroska::ArtKeysToStems(list);
    Matroska::AttachmentEditor attachmentEditor;
    if (deleteAll) {
        attachmentEditor = Matroska::RemoveAllImages;
    } else if (!stems.empty()) {
        attachmentEditor = [&](Matroska::Chain& chain) { return Matroska::RemoveNamedImages(chain, stems); };
    }
    const auto tagEditor = [&](Matroska::TagRecord& record) {
        return Matroska::DeleteFromTagRecord(deleteAll, list, record);
    };
    return Matroska::writeTagsInternal(path, tagEditor, attachmentEditor, log);
}
