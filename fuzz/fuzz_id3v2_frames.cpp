// Any bytes as the body of a frame, read with and without strictness. The first byte chooses the frame, the
// second the version.
#include <iterator>

#include "fuzzing.h"
#include "tags/id3v2/frame_text.h"
#include "tags/id3v2/frames.h"
#include "tags/id3v2/values.h"

using namespace id3parser;

namespace {

constexpr std::uint32_t kKinds[] = {frameId("TIT2"), frameId("TPE1"), frameId("WOAR"), frameId("TRCK"),
                                    kGenreFrame,     kCommentFrame,   kLyricsFrame,    kRatingFrame,
                                    kUserTextFrame,  kUserUrlFrame,   kYearFrame,      kDateFrame,
                                    kPictureFrame,   frameId("TDRC")};

bool Read(const id3frame& frame, const FrameContext& context, TagValues& values) {
    try {
        frameToValues(frame, context, values);
        return true;
    } catch (const parseError&) {
        return false;
    }
}

void RequirePictureInside(const id3frame& frame) {
    try {
        const PictureFields fields = pictureFields(frame.data);
        Require(fields.type <= 20 && !fields.image.empty());
        Require(fields.image.data() + fields.image.size() == frame.data.data() + frame.data.size());
        pictureDescription(frame.data);
    } catch (const parseError&) {
        return;
    }
}

// Text that was read strictly is written and read again without a change.
void RequireTextSurvives(const std::string& text) {
    for (const unsigned encoding : {kEncodingUtf16, kEncodingUtf8}) {
        WriteSettings settings;
        settings.encoding = static_cast<std::uint8_t>(encoding);
        id3frame frame;
        frame.id = kUserTextFrame;
        setFrameText(frame, {text, text}, settings);
        TextCursor cursor;
        Require(frameText(frame, true, 0, cursor) == text);
        if (!text.empty()) Require(frameText(frame, true, 1, cursor) == text && frameTextCount(frame) == 2);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return -1;
    id3frame frame;
    frame.id = kKinds[data[0] % std::size(kKinds)];
    const FrameOverrides none;
    const auto version = static_cast<std::uint32_t>(kVersion22 + data[1] % 3);
    const auto body = Bytes(data, size).subspan(2);
    frame.data.assign(body.begin(), body.end());

    TagValues loose;
    TagValues strict;
    Read(frame, {none, version, false}, loose);
    const bool whole = Read(frame, {none, version, true}, strict);
    // Strictness refuses, it doesn't read otherwise.
    if (whole) Require(loose == strict);
    for (const auto& [name, list] : strict) {
        for (const std::string& value : list) RequireTextSurvives(value);
    }
    if (frame.id == kPictureFrame) RequirePictureInside(frame);
    try {
        upgradeFrameEncoding(frame);
        Require(frame.data[0] <= std::byte{1});
    } catch (const parseError&) {
        return 0;
    }
    return 0;
}
