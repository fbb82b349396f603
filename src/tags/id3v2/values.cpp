#include "tags/id3v2/values.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <set>
#include <utility>

#include "tags/id3v2/dates.h"
#include "tags/id3v2/frames.h"
#include "tags/id3v2/genre.h"

namespace id3parser {

namespace {

unsigned char foldLetter(char letter) noexcept {
    const auto byte = static_cast<unsigned char>(letter);
    return byte >= 'A' && byte <= 'Z' ? static_cast<unsigned char>(byte - 'A' + 'a') : byte;
}

enum class Form {
    One,   // the first string
    Many,  // every string; below version 2.4 a single one is cut at slashes
    Url,   // the body is an address
    Year,
    Date,
};

// The versions in which a frame belongs; read strictly it is an error in others.
enum class Versions { Any, Below24, From24 };

struct NamedFrame {
    std::uint32_t id;
    Form form;
    std::string_view name;
    Versions versions = Versions::Any;
};

// Spellings that look mistaken are the names that hosts know.
constexpr std::array<NamedFrame, 50> kNamedFrames{{
    {frameId("TIT1"), Form::Many, "Content Group"},
    {frameId("TIT2"), Form::One, "Title"},
    {frameId("TIT3"), Form::One, "Subtitle"},
    {frameId("TSST"), Form::One, "Set subtitle"},
    {frameId("TALB"), Form::One, "Album"},
    {frameId("TPE1"), Form::Many, "Artist"},
    {frameId("TPE2"), Form::Many, "Album Artist"},
    {frameId("TPE3"), Form::Many, "Conductor"},
    {frameId("TPE4"), Form::Many, "Interpreted, remixed, or otherwise modified by"},
    {frameId("TCOM"), Form::Many, "Composer"},
    {frameId("TEXT"), Form::Many, "Lyricist/Text writer"},
    {frameId("TPUB"), Form::Many, "Label"},
    {frameId("TCOP"), Form::One, "Copyright"},
    {frameId("TENC"), Form::One, "Encoded by"},
    {frameId("TSSE"), Form::One, "Encoder Settings"},
    {frameId("TOWN"), Form::One, "File owner/licensee"},
    {frameId("TRSO"), Form::One, "Internet radio station owner"},
    {frameId("WCOM"), Form::Url, "Commercial information"},
    {frameId("WOAF"), Form::Url, "Official audio file webpage"},
    {frameId("WOAS"), Form::Url, "Official audio source webpage"},
    {frameId("WPAY"), Form::Url, "Payment"},
    {frameId("TOPE"), Form::Many, "Original artist(s)/performer(s)"},
    {frameId("TOAL"), Form::Many, "Original album/movie/show title"},
    {frameId("TCMP"), Form::One, "Compilation"},
    {frameId("GRP1"), Form::One, "iTunes Grouping"},
    {frameId("TSOT"), Form::One, "Title Sort"},
    {frameId("TSOA"), Form::One, "Album Sort"},
    {frameId("TSOP"), Form::Many, "Artist Sort"},
    {frameId("TSO2"), Form::Many, "Album Artist Sort"},
    {frameId("TSOC"), Form::Many, "ComposerSort"},
    {frameId("TLAN"), Form::Many, "Language(s)"},
    {frameId("TLEN"), Form::One, "Length"},
    {frameId("TKEY"), Form::One, "Initial key"},
    {frameId("TBPM"), Form::One, "BPM"},
    {frameId("TMED"), Form::One, "Source"},
    {frameId("TSRC"), Form::One, "ISRC"},
    {frameId("TRSN"), Form::One, "Internet radio station name"},
    {frameId("TDRL"), Form::One, "Release date"},
    {frameId("WCOP"), Form::Url, "Copyright/Legal infromation"},
    {frameId("WOAR"), Form::Url, "Official artist/performer webpage"},
    {frameId("WORS"), Form::Url, "Official internet radio station homepage"},
    {frameId("WPUB"), Form::Url, "Official publisher webpage"},
    {frameId("TDRC"), Form::One, kYearName, Versions::From24},
    {frameId("TDOR"), Form::One, "Original release year", Versions::From24},
    {frameId("TIPL"), Form::One, "Involved People", Versions::From24},
    {frameId("TMCL"), Form::One, "Musician Credits", Versions::From24},
    {frameId("TORY"), Form::One, "Original release year", Versions::Below24},
    {frameId("TRDA"), Form::One, "Recording dates", Versions::Below24},
    {kYearFrame, Form::Year, kYearName, Versions::Below24},
    {kDateFrame, Form::Date, kYearName, Versions::Below24},
}};

// Cuts at each slash and drops empty pieces; blanks around a slash go, those at the very end stay.
void splitAtSlash(std::string_view name, std::string_view text, TagValues& values) {
    while (!text.empty()) {
        text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
        const std::size_t slash = text.find('/');
        if (slash == std::string_view::npos) return addValue(values, name, std::string(text));
        const std::string_view piece = text.substr(0, slash);
        addValue(values, name, std::string(piece.substr(0, piece.find_last_not_of(' ') + 1)));
        text.remove_prefix(slash + 1);
    }
}

std::string oneString(const id3frame& frame, const FrameContext& context, std::size_t index) {
    TextCursor cursor;
    return frameText(frame, context.strict, index, cursor);
}

void addManyStrings(const id3frame& frame, std::string_view name, const FrameContext& context,
                    TagValues& values) {
    const std::size_t count = frameTextCount(frame);
    TextCursor cursor;
    if (count == 1 && context.version < kVersion24) {
        return splitAtSlash(name, frameText(frame, context.strict, 0, cursor), values);
    }
    for (std::size_t i = 0; i < count; ++i) {
        addValue(values, name, frameText(frame, context.strict, i, cursor));
    }
}

bool belongsIn(Versions versions, std::uint32_t version) {
    if (versions == Versions::Any) return true;
    return (versions == Versions::From24) == (version >= kVersion24);
}

void readNamedFrame(const id3frame& frame, const NamedFrame& row, const FrameContext& context,
                    TagValues& values) {
    if (context.strict && !belongsIn(row.versions, context.version)) throw parseError();
    const auto renamed = context.overrides.find(frame.id);
    const std::string_view name = renamed == context.overrides.end() ? row.name : renamed->second;
    switch (row.form) {
        case Form::One:
            return addValue(values, name, oneString(frame, context, 0));
        case Form::Many:
            return addManyStrings(frame, name, context, values);
        case Form::Url:
            return addValue(values, name, frameUrl(frame));
        case Form::Year:
            return readYearFrame(frame, context, values);
        case Form::Date:
            return readDateFrame(frame, context, values);
    }
}

void readCommentFrame(const id3frame& frame, const FrameContext& context, TagValues& values) {
    TextCursor cursor;
    const std::string description = frameText(frame, context.strict, 0, cursor);
    std::string text = frameText(frame, context.strict, 1, cursor);
    addValue(values, description.empty() ? "Comment" : "Comment " + description, std::move(text));
}

// The last rating of a tag wins.
void readRatingFrame(const id3frame& frame, TagValues& values) {
    const auto nul = std::find(frame.data.begin(), frame.data.end(), std::byte{0});
    if (nul == frame.data.end() || nul + 1 == frame.data.end()) throw parseError();
    const auto rating = std::to_integer<std::uint8_t>(*(nul + 1));
    if (rating == 0) return;
    const auto* step = std::lower_bound(std::begin(ratingSteps), std::end(ratingSteps), rating);
    values[std::string(kRatingName)] = {std::to_string(step - std::begin(ratingSteps))};
}

void readUserUrlFrame(const id3frame& frame, const std::string& description, TagValues& values) {
    const std::string name =
        description.empty() ? "User defined URL link" : "User defined URL link " + description;
    addValue(values, name, frameUrlAfterDescription(frame));
}

void readReplayGain(const std::string& name, const std::string& text, const FrameContext& context,
                    TagValues& values) {
    if (text.find_first_of("0123456789") != std::string::npos) {
        addValue(values, name, text);
    } else if (context.strict) {
        throw parseError();
    }
}

// A user frame, of text or of an address: a description, which is the name, and values.
void readUserFrame(const id3frame& frame, const FrameContext& context, TagValues& values) {
    const std::size_t count = frameTextCount(frame);
    if (count < 2) {
        if (context.strict) throw parseError();
        return;
    }
    TextCursor cursor;
    std::string name = frameText(frame, context.strict, 0, cursor);
    if (frame.id == kUserUrlFrame) return readUserUrlFrame(frame, name, values);
    if (name.empty()) return;
    if (isReplayGainName(name)) {
        return readReplayGain(name, frameText(frame, context.strict, 1, cursor), context, values);
    }
    stripIndexSuffix(name);
    if (context.version < kVersion24 && count == 2 && isSlashSplitUserName(name)) {
        return splitAtSlash(name, frameText(frame, context.strict, 1, cursor), values);
    }
    for (std::size_t i = 1; i < count; ++i) {
        addValue(values, name, frameText(frame, context.strict, i, cursor));
    }
}

}  // namespace

bool NameLess::operator()(std::string_view a, std::string_view b) const noexcept {
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char left, char right) {
        return foldLetter(left) < foldLetter(right);
    });
}

bool equalsNoCase(std::string_view a, std::string_view b) noexcept {
    return a.size() == b.size() && beginsWithNoCase(a, b);
}

bool beginsWithNoCase(std::string_view text, std::string_view prefix) noexcept {
    return text.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(),
                      [](char left, char right) { return foldLetter(left) == foldLetter(right); });
}

void addValue(TagValues& values, std::string_view name, std::string text) {
    if (text.empty()) return;
    auto entry = values.find(name);
    if (entry == values.end()) entry = values.emplace(name, ValueList()).first;
    entry->second.push_back(std::move(text));
}

void frameToValues(const id3frame& frame, const FrameContext& context, TagValues& values) {
    switch (frame.id) {
        case kGenreFrame:
            return readGenreFrame(frame, context, values);
        case kCommentFrame:
            return readCommentFrame(frame, context, values);
        case kLyricsFrame:
            return addValue(values, "Lyrics", oneString(frame, context, 1));
        case kRatingFrame:
            return readRatingFrame(frame, values);
        case kUserTextFrame:
        case kUserUrlFrame:
            return readUserFrame(frame, context, values);
        case kTrackFrame:
            return addValue(values, "Track", oneString(frame, context, 0));
        case kDiscFrame:
            return addValue(values, "Disc", oneString(frame, context, 0));
        default:
            break;
    }
    for (const NamedFrame& row : kNamedFrames) {
        if (row.id == frame.id) return readNamedFrame(frame, row, context, values);
    }
}

void framesToValues(const id3tag& tag, TagValues& values) {
    const FrameContext context{tag.overrides, tag.version, tag.strict};
    for (const id3frame& frame : tag.frames) {
        try {
            frameToValues(frame, context, values);
        } catch (const parseError&) {
            continue;
        }
    }
    dedupeYear(values);
}

void dedupeYear(TagValues& values) {
    const auto entry = values.find(kYearName);
    if (entry == values.end()) return;
    // A file decides how many there are and what they are: no search along the list, and none that it could
    // make collide.
    std::set<std::string> seen;
    ValueList kept;
    for (std::string& year : entry->second) {
        if (seen.insert(year).second) kept.push_back(std::move(year));
    }
    entry->second = std::move(kept);
}

bool isReplayGainName(std::string_view name) noexcept {
    constexpr std::string_view kNames[] = {"replaygain_track_gain", "replaygain_track_peak",
                                           "replaygain_album_gain", "replaygain_album_peak"};
    return std::any_of(std::begin(kNames), std::end(kNames),
                       [name](std::string_view known) { return equalsNoCase(name, known); });
}

bool isSlashSplitUserName(std::string_view name) noexcept {
    constexpr std::string_view kNames[] = {"Soloist", "SoloistSort", "Soloists", "SoloistsSort",
                                           "ConductorSort"};
    return std::any_of(std::begin(kNames), std::end(kNames),
                       [name](std::string_view known) { return equalsNoCase(name, known); });
}

bool stripIndexSuffix(std::string& name) {
    constexpr std::size_t kShortest = 3;
    if (name.size() < kShortest || name.back() != ']') return false;
    const std::size_t last = name.size() - 2;
    const std::size_t bracket = name.find_last_not_of("0123456789", last);
    if (bracket == std::string::npos || bracket == last || name[bracket] != '[') return false;
    name.erase(bracket);
    return true;
}

}  // namespace id3parser
