#include "codecs/decoders/ffmpeg/qel-matroska/tag_update.h"

#include <stdexcept>
#include <utility>

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_write.h"
#include "codecs/decoders/ffmpeg/qel-matroska/failure_log.h"
#include "codecs/decoders/ffmpeg/qel-matroska/file_stream.h"
#include "codecs/decoders/ffmpeg/qel-matroska/removal.h"
#include "codecs/decoders/ffmpeg/qel-matroska/retagging.h"
#include "codecs/decoders/ffmpeg/qel-matroska/tag_encoding.h"

namespace Matroska {

namespace {

constexpr const char* kLabel = "writeTagsInternal";

void UpdateTags(ParserRoot& root, EBML::StreamRW& stream, const TagEditor& editor) {
    TagRecord record;
    ReadTagRecord(record, root, stream);
    if (!editor(record)) return;
    // Tags that have become empty are written as an empty element, other than Attachments.
    if (!ReplaceElement(root, stream, EncodeTags(record), Id::Tags)) throw FileNotTaggable();
}

// The children of all Attachments elements, in file order, but for Voids and for checksums, which don't hold
// for a changed list.
Chain ReadChain(const ParserRoot& root, EBML::StreamRW& stream) {
    Chain chain;
    OverlapGuard guard(stream.m_range.end);
    root.ForEachElement(Id::Attachments, [&](std::uint64_t offset) {
        stream.SeekBounded(offset);
        if (EBML::ReadElementId(stream) != Id::Attachments) throw EBML::ParseError();
        EBML::ScopedRange body(stream, EBML::ReadElementSize(stream));
        guard.Take(stream.LeftInRange());
        EBML::ForEachChild(stream, [&](std::uint32_t id, std::uint64_t size, EBML::Stream& child) {
            if (id == EBML::Id::Void || id == EBML::Id::Crc32) return;
            chain.push_back({id, EBML::ReadBinary(child, size)});
        });
        body.Restore();
    });
    return chain;
}

EBML::Bytes EncodeChain(const Chain& chain) {
    std::uint64_t total = 0;
    for (const EBML::chainEntry_t& entry : chain) total += EBML::kLargestHeader + entry.data.size();
    EBML::StreamWritableSimple sink;
    sink.Reserve(total);
    for (const EBML::chainEntry_t& entry : chain) EBML::WriteElement(sink, entry.id, entry.data);
    return sink.Take();
}

void UpdateAttachments(ParserRoot& root, EBML::StreamRW& stream, const AttachmentEditor& editor) {
    Chain chain = ReadChain(root, stream);
    if (!editor(chain)) return;
    EBML::Bytes body = EncodeChain(chain);
    chain.clear();
    if (body.empty()) {
        RemoveAllElements(root, stream, Id::Attachments);
        DropSegmentChecksum(root, stream);
    } else if (!ReplaceElement(root, stream, std::move(body), Id::Attachments)) {
        throw std::runtime_error("This file cannot be tagged");
    }
}

}  // namespace

void UpdateFile(EBML::StreamRW& stream, const TagEditor& tagEditor,
                const AttachmentEditor& attachmentEditor) {
    ParserRoot root;
    root.Open(stream);
    if (tagEditor) UpdateTags(root, stream, tagEditor);
    if (attachmentEditor) UpdateAttachments(root, stream, attachmentEditor);
}

bool writeTagsInternal(const char16_t* path, const TagEditor& tagEditor,
                       const AttachmentEditor& attachmentEditor, const clLogHandles& log) {
    streamImpl stream(path);
    if (!stream.Open(clFile::kRead | clFile::kWrite)) {
        LogOpenFailure(u"Couldn't write tags to file: %s", path, log, kLabel);
        return false;
    }
    return RunLogged([&] { UpdateFile(stream, tagEditor, attachmentEditor); },
                     u"Couldn't update Matroska tags: ", log, kLabel);
}

}  // namespace Matroska
