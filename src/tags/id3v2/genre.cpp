#include "tags/id3v2/genre.h"

#include <algorithm>
#include <array>

#include "tags/id3v2/frames.h"

namespace id3parser {

namespace {

// By number. Spellings that look mistaken are those that files hold.
constexpr std::array<std::string_view, 126> genreNames{
    "Blues",
    "Classic Rock",
    "Country",
    "Dance",
    "Disco",
    "Funk",
    "Grunge",
    "Hip-Hop",
    "Jazz",
    "Metal",
    "New Age",
    "Oldies",
    "Other",
    "Pop",
    "R&B",
    "Rap",
    "Reggae",
    "Rock",
    "Techno",
    "Industrial",
    "Alternative",
    "Ska",
    "Death Metal",
    "Pranks",
    "Soundtrack",
    "Euro-Techno",
    "Ambient",
    "Trip-Hop",
    "Vocal",
    "Jazz+Funk",
    "Fusion",
    "Trance",
    "Classical",
    "Instrumental",
    "Acid",
    "House",
    "Game",
    "Sound Clip",
    "Gospel",
    "Noise",
    "Alternative Rock",
    "Bass",
    "Soul",
    "Punk",
    "Space",
    "Meditative",
    "Instrumental Pop",
    "Instrumental Rock",
    "Ethnic",
    "Gothic",
    "Darkwave",
    "Techno-Industrial",
    "Electronic",
    "Pop-Folk",
    "Eurodance",
    "Dream",
    "Southern Rock",
    "Comedy",
    "Cult",
    "Gangsta",
    "Top 40",
    "Christian Rap",
    "Pop/Funk",
    "Jungle",
    "Native American",
    "Cabaret",
    "New Wave",
    "Psychadelic",
    "Rave",
    "Showtunes",
    "Trailer",
    "Lo-Fi",
    "Tribal",
    "Acid Punk",
    "Acid Jazz",
    "Polka",
    "Retro",
    "Musical",
    "Rock & Roll",
    "Hard Rock",
    "Folk",
    "Folk/Rock",
    "National Folk",
    "Swing",
    "Fast-Fusion",
    "Bebob",
    "Latin",
    "Revival",
    "Celtic",
    "Bluegrass",
    "Avantgarde",
    "Gothic Rock",
    "Progressive Rock",
    "Psychedelic Rock",
    "Symphonic Rock",
    "Slow Rock",
    "Big Band",
    "Chorus",
    "Easy Listening",
    "Acoustic",
    "Humour",
    "Speech",
    "Chanson",
    "Opera",
    "Chamber Music",
    "Sonata",
    "Symphony",
    "Booty Bass",
    "Primus",
    "Porn Groove",
    "Satire",
    "Slow Jam",
    "Club",
    "Tango",
    "Samba",
    "Folklore",
    "Ballad",
    "Power Ballad",
    "Rhythmic Soul",
    "Freestyle",
    "Duet",
    "Punk Rock",
    "Drum Solo",
    "A capella",
    "Euro-House",
    "Dance Hall",
};

bool isDigit(char letter) {
    return letter >= '0' && letter <= '9';
}

// The name for the digits that `text` begins with; empty for a number past the list.
std::string_view genreOfNumber(std::string_view text) {
    std::size_t number = 0;
    for (const char letter : text) {
        if (!isDigit(letter)) break;
        number =
            std::min<std::size_t>(number * 10 + static_cast<std::size_t>(letter - '0'), genreNames.size());
    }
    return number < genreNames.size() ? genreNames[number] : std::string_view();
}

// A string of a tag below version 2.4 lists genres, with semicolons between them.
// A piece that can't be understood repeats the one before it, so the names are held to what the text could
// spell out at the most: "1;" is "Classic Rock".
void addGenreList(std::string_view text, TagValues& values) {
    constexpr std::size_t kMostGrowth = 6;
    std::size_t room = kMostGrowth * (text.size() + 1);
    std::string genre;
    for (bool more = true; more;) {
        text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
        const std::size_t end = text.find(';');
        more = end != std::string_view::npos;
        std::string_view piece = text.substr(0, end);
        if (more) {
            piece = piece.substr(0, piece.find_last_not_of(' ') + 1);
            text.remove_prefix(end + 1);
        }
        if (!parseGenreText(piece, genre)) continue;
        if (genre.size() > room) return;
        room -= genre.size();
        addValue(values, kGenreName, genre);
    }
}

}  // namespace

bool parseGenreText(std::string_view text, std::string& out) {
    const auto at = [text](std::size_t index) { return index < text.size() ? text[index] : '\0'; };
    if (!text.empty() && std::all_of(text.begin(), text.end(), isDigit)) {
        const std::string_view name = genreOfNumber(text);
        out = name.empty() ? text : name;
    } else if (at(0) != '(') {
        out = text;
    } else if (isDigit(at(1))) {
        out = genreOfNumber(text.substr(1));
    } else if (at(2) == 'X') {  // "(RX)"; the letter between isn't looked at, here and below
        out = "Remix";
    } else if (at(2) == 'R') {  // "(CR)"
        out = "Cover";
    } else if (at(1) == '(') {  // a doubled parenthesis stands for one
        out = text.substr(1);
    }
    return !out.empty();
}

void readGenreFrame(const id3frame& frame, const FrameContext& context, TagValues& values) {
    const std::size_t count = frameTextCount(frame);
    TextCursor cursor;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string text = frameText(frame, context.strict, i, cursor);
        if (context.version < kVersion24) {
            addGenreList(text, values);
            continue;
        }
        std::string genre;
        if (parseGenreText(text, genre)) addValue(values, kGenreName, genre);
    }
}

}  // namespace id3parser
