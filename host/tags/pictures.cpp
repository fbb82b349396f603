#include "host/tags/pictures.h"

#include <algorithm>
#include <map>

#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace {

constexpr std::string_view kPrefix = "_albumart_";
constexpr std::string_view kDescriptionMark = "<subdesc>";

struct TypeWord {
    std::string_view word;
    std::string_view type;
};

constexpr TypeWord kTypeWords[] = {
    {"front", "Front Album Cover"},
    {"back", "Back Album Cover"},
    {"leaflet", "Leaflet Page"},
    {"media", "Media"},
    {"lead-artist", "Lead Artist"},
    {"artist", "Artist"},
    {"conductor", "Conductor"},
    {"band", "Band"},
    {"composer", "Composer"},
    {"writer", "Writer"},
    {"location", "Recording Location"},
    {"recording", "During Recording"},
    {"performance", "During Performance"},
    {"video", "Video Capture"},
    {"fish", "A Bright Coloured Fish"},
    {"illustration", "Illustration"},
    {"artist-logo", "Artist Logo"},
    {"publisher-logo", "Publisher Logo"},
    {"icon", "32x32 Icon"},
    {"other-icon", "Other Icon"},
};

bool IsDigit(char letter) {
    return letter >= '0' && letter <= '9';
}

std::uint64_t Number(const std::string& digits) {
    constexpr std::size_t kMostDigits = 9;
    return digits.empty() || digits.size() > kMostDigits ? 0 : std::stoull(digits);
}

}  // namespace

bool IsPictureName(std::string_view name) {
    return EqualIgnoringCase(name.substr(0, kPrefix.size()), kPrefix);
}

bool IsPicture(const Entry& entry) {
    return IsPictureName(entry.name);
}

PictureName ParsePictureName(std::string_view name) {
    PictureName parts;
    std::string_view rest = name.substr(kPrefix.size());
    const auto digits = std::find_if_not(rest.begin(), rest.end(), IsDigit);
    parts.number = std::string(rest.begin(), digits);
    rest.remove_prefix(parts.number.size());
    if (rest.empty() || rest.front() != '_') return parts;
    rest.remove_prefix(1);
    const std::size_t mark = rest.find(kDescriptionMark);
    parts.type = rest.substr(0, mark);
    if (mark != std::string_view::npos) parts.description = rest.substr(mark + kDescriptionMark.size());
    return parts;
}

std::string BuildPictureName(std::uint64_t number, const std::string& type, const std::string& description) {
    std::string name = std::string(kPrefix) + std::to_string(number) + "_" + type;
    if (!description.empty()) name += std::string(kDescriptionMark) + description;
    return name;
}

std::string PictureTypeFromWord(std::string_view word) {
    for (const TypeWord& row : kTypeWords) {
        if (EqualIgnoringCase(word, row.word) || EqualIgnoringCase(word, row.type))
            return std::string(row.type);
    }
    return {};
}

std::vector<std::string> PictureTypeWords() {
    std::vector<std::string> words;
    for (const TypeWord& row : kTypeWords) words.emplace_back(row.word);
    return words;
}

ImageKind IdentifyImage(std::span<const std::byte> bytes) {
    struct Magic {
        std::size_t offset;
        std::string_view bytes;
        ImageKind kind;
    };
    using namespace std::string_view_literals;
    static constexpr Magic kMagics[] = {
        {0, "\xFF\xD8\xFF"sv, {"JPEG", "jpg"}},
        {0, "\x89PNG\r\n\x1A\n"sv, {"PNG", "png"}},
        {0, "GIF8"sv, {"GIF", "gif"}},
        {8, "WEBP"sv, {"WebP", "webp"}},
        {0, "BM"sv, {"BMP", "bmp"}},
        {0, "II*\0"sv, {"TIFF", "tiff"}},
        {0, "MM\0*"sv, {"TIFF", "tiff"}},
        {0, "\0\0\1\0"sv, {"ICO", "ico"}},
        {0, "\xFF\x0A"sv, {"JPEG XL", "jxl"}},
        {4, "JXL "sv, {"JPEG XL", "jxl"}},
        {4, "ftypavi"sv, {"AVIF", "avif"}},
        {4, "ftyp"sv, {"HEIC", "heic"}},
    };
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    for (const Magic& magic : kMagics) {
        if (text.size() < magic.offset + magic.bytes.size()) continue;
        if (text.substr(magic.offset, magic.bytes.size()) == magic.bytes) return magic.kind;
    }
    return {nullptr, nullptr};
}

Cover ParseCover(const std::string& argument) {
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos || equals + 1 == argument.size()) {
        throw UsageFailure("--cover " + argument + ": give it as TYPE=IMAGE, as in --cover front=cover.jpg");
    }
    const std::string what = argument.substr(0, equals);
    const std::size_t colon = what.find(':');
    Cover cover;
    cover.file = argument.substr(equals + 1);
    cover.type = PictureTypeFromWord(what.substr(0, colon));
    if (colon != std::string::npos) cover.description = what.substr(colon + 1);
    if (cover.type.empty()) {
        throw UsageFailure("no picture type \"" + what.substr(0, colon) + "\"; there are " +
                           Joined(PictureTypeWords(), ", "));
    }
    return cover;
}

std::vector<std::string> NamesForCovers(const std::vector<Cover>& covers, const Entries& present,
                                        bool numbersCount) {
    // The numbers of the present pictures by type, first one last, and a number that none of them has.
    std::map<std::string, std::vector<std::uint64_t>> taken;
    std::uint64_t next = 1;
    if (numbersCount) {
        for (const Entry& entry : present) {
            if (!IsPicture(entry)) continue;
            const PictureName parts = ParsePictureName(entry.name);
            std::vector<std::uint64_t>& numbers = taken[PictureTypeFromWord(parts.type)];
            numbers.insert(numbers.begin(), Number(parts.number));
            next = std::max(next, Number(parts.number) + 1);
        }
    }
    std::vector<std::string> names;
    for (const Cover& cover : covers) {
        std::vector<std::uint64_t>& numbers = taken[cover.type];
        std::uint64_t number = next;
        if (numbers.empty()) {
            ++next;
        } else {
            number = numbers.back();
            numbers.pop_back();
        }
        names.push_back(BuildPictureName(number, cover.type, cover.description));
    }
    return names;
}

}  // namespace host
