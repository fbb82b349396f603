// One update of a file: what to change in its tags and attachments, and the writing of what changed.
#pragma once

#include <functional>

#include "codecs/decoders/ffmpeg/qel-matroska/picture_encoding.h"
#include "codecs/decoders/ffmpeg/qel-matroska/tag_record.h"
#include "support/cllog.h"

namespace Matroska {

// Both return whether they changed something. An empty one leaves its part of the file alone.
using TagEditor = std::function<bool(TagRecord& record)>;
using AttachmentEditor = std::function<bool(Chain& chain)>;

// Changes the tags and then the attachments of an open file. Raises what went wrong; tags that were written
// before that stay.
void UpdateFile(EBML::StreamRW& stream, const TagEditor& tagEditor, const AttachmentEditor& attachmentEditor);

// The same by path; failures are logged.
bool writeTagsInternal(const char16_t* path, const TagEditor& tagEditor,
                       const AttachmentEditor& attachmentEditor, const clLogHandles& log);

}  // namespace Matroska
