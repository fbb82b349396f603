#include <new>

#include "codecs/decoders/ffmpeg/qel-matroska/attachments.h"
#include "codecs/decoders/ffmpeg/qel-matroska/failure_log.h"
#include "codecs/decoders/ffmpeg/qel-matroska/file_stream.h"
#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "codecs/decoders/ffmpeg/qel-matroska/tag_record.h"

namespace {

constexpr const char* kLabel = "MatroskaTags::Read";

void ReadInto(IDTags& tags, EBML::StreamRW& stream, Matroska::PictureBytes pictures) {
    Matroska::ParserRoot root;
    root.Open(stream);
    Matroska::TagRecord record;
    Matroska::ReadTagRecord(record, root, stream);
    Matroska::TagRecordToIDTags(record, tags);
    Matroska::ParserAttachments parser(stream.m_range.end);
    root.RunOnEach(Matroska::Id::Attachments, stream, parser);
    Matroska::AttachmentsToIDTags(stream, parser.attachments, tags, pictures);
}

bool ReadFrom(const char16_t* path, streamImpl& stream, IDTags& tags, Matroska::PictureBytes pictures,
              const clLogHandles& log) {
    tags.Clear();
    if (!stream.Open(clFile::kRead)) {
        Matroska::LogOpenFailure(u"Couldn't read tags from file: %s", path, log, kLabel);
        return false;
    }
    return Matroska::RunLogged([&] { ReadInto(tags, stream, pictures); }, u"Couldn't parse Matroska tags: ",
                               log, kLabel);
}

}  // namespace

bool MatroskaTags::Read(const char16_t* path, IDTags& tags, const clLogHandles& log) {
    streamImpl stream(path);
    return ReadFrom(path, stream, tags, Matroska::PictureBytes::Fetched, log);
}

bool MatroskaTags::ReadBlob(const char16_t* path, clBuffer& blob, const clLogHandles& log) {
    IDTags tags;
    streamImpl stream(path);
    if (!ReadFrom(path, stream, tags, Matroska::PictureBytes::Left, log)) return false;
    if (tags.Serialise(blob, &stream.file())) return true;
    // What ails the file, if it isn't memory that is short, is told as by anybody who reads it.
    if (!Read(path, tags, log)) return false;
    if (!tags.Serialise(blob)) throw std::bad_alloc();
    return true;
}
