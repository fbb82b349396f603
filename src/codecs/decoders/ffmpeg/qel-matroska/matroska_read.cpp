#include "codecs/decoders/ffmpeg/qel-matroska/attachments.h"
#include "codecs/decoders/ffmpeg/qel-matroska/failure_log.h"
#include "codecs/decoders/ffmpeg/qel-matroska/file_stream.h"
#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "codecs/decoders/ffmpeg/qel-matroska/tag_record.h"

namespace {

constexpr const char* kLabel = "MatroskaTags::Read";

void ReadInto(IDTags& tags, EBML::StreamRW& stream) {
    Matroska::ParserRoot root;
    root.Open(stream);
    Matroska::TagRecord record;
    Matroska::ReadTagRecord(record, root, stream);
    Matroska::TagRecordToIDTags(record, tags);
    Matroska::ParserAttachments parser(stream.m_range.end);
    root.RunOnEach(Matroska::Id::Attachments, stream, parser);
    Matroska::AttachmentsToIDTags(stream, parser.attachments, tags);
}

}  // namespace

bool MatroskaTags::Read(const char16_t* path, IDTags& tags, const clLogHandles& log) {
    tags.Clear();
    streamImpl stream(path);
    if (!stream.Open(clFile::kRead)) {
        Matroska::LogOpenFailure(u"Couldn't read tags from file: %s", path, log, kLabel);
        return false;
    }
    return Matroska::RunLogged([&] { ReadInto(tags, stream); }, u"Couldn't parse Matroska tags: ", log,
                               kLabel);
}
