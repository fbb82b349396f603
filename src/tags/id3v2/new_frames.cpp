#include "tags/id3v2/new_frames.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "platform/codepage.h"
#include "support/clstring.h"
#include "tags/id3v2/dates.h"
#include "tags/id3v2/genre.h"
#include "tags/id3v2/writer.h"

namespace id3parser {

namespace {

enum class Writer { Single, Url, Many, FirstValue, Lyrics, Genre, Date, OriginalYear, Years, Rating };
enum class Versions { Any, Below24, From24 };

struct Builder {
    std::string_view name;
    std::uint32_t id;
    Writer writer;
    Versions versions = Versions::Any;
};

// In the order in which the frames are written.
constexpr Builder kBuilders[] = {
    {"Content Group", frameId("TIT1"), Writer::Many},
    {"Title", frameId("TIT2"), Writer::Single},
    {"Subtitle", frameId("TIT3"), Writer::Single},
    {"Set subtitle", frameId("TSST"), Writer::Single},
    {"Album", frameId("TALB"), Writer::Single},
    {"ISRC", frameId("TSRC"), Writer::Single},
    {"Encoded by", frameId("TENC"), Writer::Single},
    {"Copyright", frameId("TCOP"), Writer::Single},
    {"Label", frameId("TPUB"), Writer::Many},
    {"File owner/licensee", frameId("TOWN"), Writer::Single},
    {"Internet radio station name", frameId("TRSN"), Writer::Single},
    {"Internet radio station owner", frameId("TRSO"), Writer::Single},
    {"Encoder Settings", frameId("TSSE"), Writer::Single},
    {"BPM", frameId("TBPM"), Writer::Single},
    {"Source", frameId("TMED"), Writer::Single},
    {"Initial key", frameId("TKEY"), Writer::Single},
    {"Title Sort", frameId("TSOT"), Writer::Single},
    {"Artist Sort", frameId("TSOP"), Writer::Many},
    {"Album Sort", frameId("TSOA"), Writer::Single},
    {"Album Artist Sort", frameId("TSO2"), Writer::Many},
    {"ComposerSort", frameId("TSOC"), Writer::Many},
    {"iTunes Grouping", frameId("GRP1"), Writer::Single},
    {"Length", frameId("TLEN"), Writer::Single},
    {"Language(s)", frameId("TLAN"), Writer::Many},
    {"Lyrics", kLyricsFrame, Writer::Lyrics},
    {kGenreName, kGenreFrame, Writer::Genre},
    {"Commercial information", frameId("WCOM"), Writer::Url},
    {"Copyright/Legal infromation", frameId("WCOP"), Writer::Url},
    {"Official audio file webpage", frameId("WOAF"), Writer::Url},
    {"Official artist/performer webpage", frameId("WOAR"), Writer::Url},
    {"Official audio source webpage", frameId("WOAS"), Writer::Url},
    {"Official internet radio station homepage", frameId("WORS"), Writer::Url},
    {"Payment", frameId("WPAY"), Writer::Url},
    {"Official publisher webpage", frameId("WPUB"), Writer::Url},
    {"Compilation", frameId("TCMP"), Writer::Single},
    {kYearName, kYearFrame, Writer::Years, Versions::Below24},
    {"Original release year", frameId("TORY"), Writer::OriginalYear, Versions::Below24},
    {"Recording dates", frameId("TRDA"), Writer::Single, Versions::Below24},
    {kYearName, frameId("TDRC"), Writer::Date, Versions::From24},
    {"Original release year", frameId("TDOR"), Writer::Date, Versions::From24},
    {"Involved People", frameId("TIPL"), Writer::Many, Versions::From24},
    {"Musician Credits", frameId("TMCL"), Writer::Many, Versions::From24},
    {"Release date", frameId("TDRL"), Writer::Date},
    {"Track", kTrackFrame, Writer::FirstValue},
    {"Disc", kDiscFrame, Writer::FirstValue},
    {"Original artist(s)/performer(s)", frameId("TOPE"), Writer::Many},
    {"Original album/movie/show title", frameId("TOAL"), Writer::Many},
    {"Artist", frameId("TPE1"), Writer::Many},
    {"Album Artist", frameId("TPE2"), Writer::Many},
    {"Conductor", frameId("TPE3"), Writer::Many},
    {"Interpreted, remixed, or otherwise modified by", frameId("TPE4"), Writer::Many},
    {"Composer", frameId("TCOM"), Writer::Many},
    {"Lyricist/Text writer", frameId("TEXT"), Writer::Many},
    {kRatingName, kRatingFrame, Writer::Rating},
};

constexpr std::string_view kRatingOwner = "Windows Media Player 9 Series";
constexpr std::size_t kPlayCounterBytes = 4;
constexpr std::string_view kNormalisation = "iTunNORM";

std::string joined(const ValueList& values, char separator) {
    std::string text = values.front();
    for (std::size_t i = 1; i < values.size(); ++i) text.append(1, separator).append(values[i]);
    return text;
}

std::string_view withoutLeadingBlanks(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

bool isDateOrRange(std::string_view text) {
    const std::size_t slash = text.find('/');
    if (isValidDateShape(text)) return true;
    return slash != std::string_view::npos && isValidDateShape(text.substr(0, slash)) &&
           isValidDateShape(text.substr(slash + 1));
}

// The address has no encoding to choose, and behind a description in UTF-16 one byte of it isn't seen.
bool suitUserUrls(std::string_view description, const ValueList& addresses) {
    const std::size_t shortest = isAnsiText(description) ? 0 : 2;
    return std::all_of(addresses.begin(), addresses.end(), [shortest](const std::string& address) {
        return address.size() >= shortest && isAddress(address, platform::CodePage::Ansi);
    });
}

// Blanks and hexadecimal digits, as the normalisation data of one program is made of.
bool isNormalisationData(std::string_view text) {
    return text.find_first_not_of(" 0123456789abcdefABCDEF") == std::string_view::npos;
}

// A frame with more strings is no text for the reader, and lost at the next write.
void requireReadable(std::size_t strings) {
    if (strings > kMostStrings) throw writeError();
}

class FrameMaker {
  public:
    FrameMaker(std::list<id3frame>& frames, std::uint32_t version, const WriteSettings& settings)
        : frames_(frames), version_(version), settings_(settings) {}

    // False when the values don't suit the frame; they have to go elsewhere then.
    bool write(const Builder& builder, const ValueList& values) {
        const bool single = values.size() == 1;
        const std::string& first = values.front();
        switch (builder.writer) {
            case Writer::Single:
                return single && writeText(builder.id, first);
            case Writer::Url:
                return single && writeUrl(builder.id, first);
            case Writer::Many:
                return writeMultiFrame(builder.id, values, '/');
            case Writer::FirstValue:
                return writeAnsi(builder.id, first);
            case Writer::Lyrics:
                return single && writeDescribed(builder.id, "", first, settings_);
            case Writer::Genre:
                return writeGenreFrame(values);
            case Writer::Date:
                return single && isDateOrRange(first) && writeAnsi(builder.id, first);
            case Writer::OriginalYear:
                return single && hasShape(first, kYearShape) && writeAnsi(builder.id, first);
            case Writer::Years:
                return single && writeYearFrames(first);
            case Writer::Rating:
                return single && writeRatingFrame(first);
        }
        return false;
    }

    // Comments and user frames, for values that no frame of their own has taken.
    void writeLeftover(std::string_view name, const ValueList& values) {
        constexpr std::string_view kComment = "Comment";
        if (beginsWithNoCase(name, kUserUrlName)) {
            const std::string_view description = withoutLeadingBlanks(name.substr(kUserUrlName.size()));
            if (!suitUserUrls(description, values)) return writeUserTexts(name, values);
            return writeUserUrls(description, values);
        }
        if (beginsWithNoCase(name, kComment)) {
            const std::string_view tail = name.substr(kComment.size());
            const std::string_view rest = withoutLeadingBlanks(tail);
            if (tail.empty() || (tail.front() == ' ' && !rest.empty())) return writeComments(rest, values);
        }
        writeUserTexts(name, values);
    }

  private:
    id3frame& add(std::uint32_t id) {
        frames_.emplace_back().id = id;
        return frames_.back();
    }

    // Each of several values repeats the description, so these frames can be far larger than what they were
    // made of. What no tag could hold isn't built first.
    void countRepeated(const id3frame& frame) {
        repeatedBytes_ += kFrameHeaderBytes + frame.data.size();
        if (repeatedBytes_ >= kSizeLimit) throw writeError();
    }

    bool writeText(std::uint32_t id, std::string_view text) {
        setFrameText(add(id), {text}, settings_);
        return true;
    }

    bool writeAnsi(std::uint32_t id, std::string_view text) {
        WriteSettings settings = settings_;
        settings.encoding = kEncodingAnsi;
        setFrameText(add(id), {text}, settings);
        return true;
    }

    bool writeDescribed(std::uint32_t id, std::string_view description, std::string_view text,
                        const WriteSettings& settings) {
        id3frame& frame = add(id);
        setFrameText(frame, {description, text}, settings);
        countRepeated(frame);
        return true;
    }

    // Has no encoding to choose, so an address outside Latin-1 doesn't suit it.
    bool writeUrl(std::uint32_t id, std::string_view address) {
        using platform::CodePage;
        if (!isAddress(address, CodePage::Latin1)) return false;
        appendBytes(add(id), platform::FromWide(CodePage::Latin1, platform::ToWide(CodePage::Utf8, address)));
        return true;
    }

    // Version 2.4 separates strings; earlier ones join them.
    bool writeMultiFrame(std::uint32_t id, const ValueList& values, char separator) {
        if (version_ < kVersion24) return writeText(id, joined(values, separator));
        requireReadable(values.size());
        setFrameText(add(id), {values.begin(), values.end()}, settings_);
        return true;
    }

    // A parenthesis at the front would be taken for a number; doubled it stands for itself.
    bool writeGenreFrame(ValueList genres) {
        for (std::string& genre : genres) {
            if (genre.starts_with('(')) genre.insert(0, 1, '(');
        }
        return writeMultiFrame(kGenreFrame, genres, ';');
    }

    // What has none of the shapes is dropped, so this always applies.
    bool writeYearFrames(std::string_view date) {
        constexpr std::size_t kYearDigits = 4;
        constexpr std::size_t kMonthAt = 5;
        constexpr std::size_t kDayAt = 8;
        const bool hasDay = hasShape(date, kDayShape) || hasShape(date, "#### ## ##");
        const bool hasMonth = hasDay || hasShape(date, kMonthShape);
        if (settings_.looseYear) return writeAnsi(kYearFrame, date);
        if (hasMonth || hasShape(date, kYearShape)) writeAnsi(kYearFrame, date.substr(0, kYearDigits));
        if (hasMonth) {
            const std::string day(hasDay ? date.substr(kDayAt, 2) : "00");
            writeAnsi(kDateFrame, day + std::string(date.substr(kMonthAt, 2)));
        }
        return true;
    }

    bool writeRatingFrame(std::string_view text) {
        clString number;
        number.SetFromUtf8(text);
        const std::int64_t rating = number.ToInt();
        if (rating < 1 || rating >= static_cast<std::int64_t>(std::size(ratingSteps))) return false;
        id3frame& frame = add(kRatingFrame);
        appendBytes(frame, kRatingOwner);
        frame.data.push_back(std::byte{0});
        frame.data.push_back(static_cast<std::byte>(ratingSteps[rating]));
        frame.data.resize(frame.data.size() + kPlayCounterBytes, std::byte{0});
        return true;
    }

    void writeUserUrls(std::string_view description, const ValueList& values) {
        for (const std::string& value : values) {
            id3frame& frame = add(kUserUrlFrame);
            setFrameText(frame, {description}, settings_);
            appendBytes(frame, utf8ToAnsi(value));
            countRepeated(frame);
        }
    }

    void writeComments(std::string_view description, const ValueList& values) {
        if (equalsNoCase(description, kNormalisation)) description = kNormalisation;
        WriteSettings settings = settings_;
        if (description.starts_with("iTun") &&
            std::all_of(values.begin(), values.end(), isNormalisationData)) {
            settings.encoding = kEncodingAnsi;
        }
        for (const std::string& value : values) writeDescribed(kCommentFrame, description, value, settings);
    }

    void writeUserTexts(std::string_view name, const ValueList& values) {
        if (isReplayGainName(name)) {
            WriteSettings settings = settings_;
            settings.encoding = kEncodingAnsi;
            writeDescribed(kUserTextFrame, name, values.front(), settings);
        } else if (version_ >= kVersion24) {
            requireReadable(1 + values.size());
            std::vector<std::string_view> texts{name};
            texts.insert(texts.end(), values.begin(), values.end());
            setFrameText(add(kUserTextFrame), texts, settings_);
        } else if (isSlashSplitUserName(name)) {
            writeDescribed(kUserTextFrame, name, joined(values, '/'), settings_);
        } else {
            for (const std::string& value : values) writeDescribed(kUserTextFrame, name, value, settings_);
        }
    }

    std::list<id3frame>& frames_;
    std::uint32_t version_;
    const WriteSettings& settings_;
    std::uint64_t repeatedBytes_ = 0;
};

bool belongsIn(const Builder& builder, std::uint32_t version) {
    if (builder.versions == Versions::Any) return true;
    return (builder.versions == Versions::From24) == (version >= kVersion24);
}

// Some frames can be given another name.
std::string_view nameOf(const Builder& builder, const FrameOverrides& overrides) {
    const bool honours =
        builder.writer == Writer::Single || builder.writer == Writer::Url || builder.writer == Writer::Many;
    const auto renamed = honours ? overrides.find(builder.id) : overrides.end();
    return renamed == overrides.end() ? builder.name : renamed->second;
}

}  // namespace

void appendNewFrames(std::list<id3frame>& frames, TagValues work, const FrameOverrides& overrides,
                     std::uint32_t version, const WriteSettings& settings) {
    FrameMaker maker(frames, version, settings);
    std::erase_if(work, [](const auto& entry) { return entry.second.empty(); });
    for (const Builder& builder : kBuilders) {
        if (!belongsIn(builder, version) || (builder.writer == Writer::Rating && settings.skipRating))
            continue;
        const auto entry = work.find(nameOf(builder, overrides));
        if (entry != work.end() && maker.write(builder, entry->second)) work.erase(entry);
    }
    for (const auto& [name, values] : work) maker.writeLeftover(name, values);
}

}  // namespace id3parser
