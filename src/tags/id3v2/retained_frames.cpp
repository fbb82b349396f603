#include "tags/id3v2/retained_frames.h"

#include <algorithm>
#include <initializer_list>
#include <string>

#include "tags/id3v2/frames.h"

namespace id3parser {

namespace {

// Names with an index are always written anew, without it.
bool isIndexedUserFrame(const id3frame& frame) {
    if (frame.id != kUserTextFrame) return false;
    try {
        TextCursor cursor;
        std::string description = frameText(frame, true, 0, cursor);
        return stripIndexSuffix(description);
    } catch (const parseError&) {
        return true;  // nothing that could be kept
    }
}

void dropIndexedUserFrames(std::list<id3frame>& old) {
    old.remove_if(isIndexedUserFrame);
}

bool hasReplayGain(const TagValues& values) {
    return std::any_of(values.begin(), values.end(),
                       [](const auto& entry) { return isReplayGainName(entry.first); });
}

// Whether `work` has every name of `found` with the same values; those names are then taken out of it.
bool valuesMatch(const TagValues& found, TagValues& work) {
    if (hasReplayGain(found)) return false;
    for (const auto& [name, values] : found) {
        const auto wanted = work.find(name);
        if (wanted == work.end() || wanted->second != values) return false;
    }
    for (const auto& [name, values] : found) work.erase(work.find(name));
    return true;
}

// Keeps the frames that match one by one; those that can't even be read go.
void retainSingleFrames(std::list<id3frame>& old, std::list<id3frame>& kept, TagValues& work,
                        const FrameContext& context) {
    for (auto frame = old.begin(); frame != old.end();) {
        const auto current = frame++;
        TagValues found;
        try {
            frameToValues(*current, context, found);
        } catch (const parseError&) {
            old.erase(current);
            continue;
        }
        if (hasReplayGain(found)) {  // always written anew
            old.erase(current);
        } else if (valuesMatch(found, work)) {
            kept.splice(kept.end(), old, current);
        }
    }
}

// Keeps the frames of these identifiers, or of all for none, if together they match.
void retainFrameGroup(std::list<id3frame>& old, std::list<id3frame>& kept, TagValues& work,
                      const FrameContext& context, std::initializer_list<std::uint32_t> ids) {
    const auto inSet = [ids](const id3frame& frame) {
        return ids.size() == 0 || std::find(ids.begin(), ids.end(), frame.id) != ids.end();
    };
    if (std::none_of(old.begin(), old.end(), inSet)) return;
    TagValues found;
    try {
        for (const id3frame& frame : old) {
            if (inSet(frame)) frameToValues(frame, context, found);
        }
    } catch (const parseError&) {
        return;
    }
    if (!valuesMatch(found, work)) return;
    for (auto frame = old.begin(); frame != old.end();) {
        const auto current = frame++;
        if (inSet(*current)) kept.splice(kept.end(), old, current);
    }
}

}  // namespace

void retainMatchingFrames(std::list<id3frame>& old, TagValues& work, const FrameContext& context) {
    const FrameContext strict{context.overrides, context.version, true};
    dropIndexedUserFrames(old);
    std::list<id3frame> kept;
    retainSingleFrames(old, kept, work, strict);
    retainFrameGroup(old, kept, work, strict, {});
    retainFrameGroup(old, kept, work, strict, {kCommentFrame});
    retainFrameGroup(old, kept, work, strict, {kLyricsFrame});
    retainFrameGroup(old, kept, work, strict, {kUserTextFrame});
    retainFrameGroup(old, kept, work, strict, {kYearFrame, kDateFrame});
    old = std::move(kept);
}

}  // namespace id3parser
