// Matroska files, each route of an edit in turn.
#include <gtest/gtest.h>

#include <ostream>

#include "fault_harness.h"
#include "kit/tools.h"
#include "matroska_file.h"

namespace {

using faults::Job;
using namespace matroska_file;

std::string BodyOf(const Segment& segment, std::uint32_t id) {
    return Element(id, segment.All(id).at(0).body);
}

// What FFmpeg made, taken apart.
struct Parts {
    std::string header, info, tracks, clusters, picture;

    Parts() {
        const kit::TempFolder folder;
        kit::MakeAudio(folder / "a.mka", 0.4,
                       {"-ar", "8000", "-c:a", "pcm_s16le", "-cluster_time_limit", "100"});
        kit::Ffmpeg({"-f", "lavfi", "-i", "testsrc=size=16x16:rate=1:d=1", "-frames:v", "1",
                     kit::Utf8(folder / "a.png")});
        picture = kit::ReadFile(folder / "a.png");
        const std::string file = kit::ReadFile(folder / "a.mka");
        const Segment segment = Walk(file);
        header = file.substr(0, file.find(IdBytes(kSegment)));
        info = BodyOf(segment, kInfo);
        tracks = BodyOf(segment, kTracks);
        for (const Placed& cluster : segment.All(kCluster)) clusters += Element(kCluster, cluster.body);
    }
};

const Parts& Made() {
    static const Parts parts;
    return parts;
}

struct Letter {
    char letter;
    std::uint32_t id;
};
constexpr Letter kLetters[] = {{'S', kSeekHead}, {'I', kInfo},        {'T', kTracks},   {'G', kTags},
                               {'A', kAttachments}, {'Q', kCues}, {'H', kChapters}, {'C', kCluster},
                               {'V', kVoid}};

std::uint32_t IdOf(char letter) {
    const auto* row = std::find_if(std::begin(kLetters), std::end(kLetters),
                                   [letter](const Letter& known) { return known.letter == letter; });
    return row->id;
}

// The elements at the Segment's top in file order, those of one kind in a row told once.
std::string Shape(const std::string& file) {
    std::string shape;
    for (const Placed& child : Walk(file).children) {
        const auto* row = std::find_if(std::begin(kLetters), std::end(kLetters),
                                       [&](const Letter& known) { return known.id == child.id; });
        const char letter = row == std::end(kLetters) ? '?' : row->letter;
        if (!shape.ends_with(letter)) shape += letter;
    }
    return shape;
}

// A file of these elements: the letters above, "s" for a SeekHead that points at the next one only, and Voids
// with their size, as in "S V300 I T C G".
std::string Built(const std::string& layout) {
    std::map<std::size_t, std::size_t> offsets;  // of the word at this place in the layout
    std::string body;
    for (const bool known : {false, true}) {
        body.clear();
        for (std::size_t at = 0; at < layout.size(); at = layout.find(' ', at) + 1) {
            offsets[at] = body.size();
            const auto seeks = [&](std::string_view letters) {
                std::string entries;
                for (std::size_t word = 0; word < layout.size(); word = layout.find(' ', word) + 1) {
                    if (letters.find(layout[word]) != std::string_view::npos)
                        entries += Seek(IdOf(layout[word]), known ? offsets[word] : 0);
                    if (layout.find(' ', word) == std::string::npos) break;
                }
                return Element(kSeekHead, entries);
            };
            switch (layout[at]) {
                case 'S': body += seeks("ITGAQH"); break;
                case 's': body += seeks("S"); break;
                case 'V': body += Void(std::stoul(layout.substr(at + 1))); break;
                case 'I': body += Made().info; break;
                case 'T': body += Made().tracks; break;
                case 'C': body += Made().clusters; break;
                case 'G':
                    body += Element(kTags, Tag(30, SimpleTag("TITLE", "old") + SimpleTag("ARTIST", "A")));
                    break;
                case 'A':
                    body += Element(kAttachments, AttachedFile("font.ttf", "font/ttf", std::string(200, 'f')) +
                                                      AttachedFile("cover.png", "image/png", Made().picture));
                    break;
                case 'Q':
                    body += Element(
                        kCues, Element(0xBB, Number(0xB3, 0) +
                                                 Element(0xB7, Number(0xF7, 1) +
                                                                   Number(0xF1, known ? offsets[layout.find('C')] : 0,
                                                                          4))));
                    break;
                default: body += Element(IdOf(layout[at]), std::string(50, '\0')); break;
            }
            if (layout.find(' ', at) == std::string::npos) break;
        }
    }
    return Made().header + Element(kSegment, body, 8);
}

enum class Edit { Title, LongTitle, Cover, Both, DeleteAll, DeleteTitle, DeleteCover };

Job JobOf(Edit edit) {
    const kit::Tag title{"TITLE", "new", ""};
    const kit::Tag longTitle{"TITLE", std::string(3000, 'n'), ""};
    const kit::Tag cover{"_albumart_1_Front Album Cover", "", Made().picture + std::string(3000, '\0')};
    switch (edit) {
        case Edit::Title: return {{title}};
        case Edit::LongTitle: return {{longTitle}};
        case Edit::Cover: return {{cover}};
        case Edit::Both: return {{longTitle, cover}};
        case Edit::DeleteAll: return {.deletes = true};
        case Edit::DeleteTitle: return {.deletes = true, .names = {"TITLE"}};
        case Edit::DeleteCover: return {.deletes = true, .names = {"_albumart_1_Front Album Cover"}};
    }
    return {};
}

struct Case {
    const char* name;
    const char* before;
    Edit edit;
    const char* after;  // tells that the route was taken
    bool killLoses = false;
};

void PrintTo(const Case& c, std::ostream* stream) {
    *stream << c.name;
}

const Case kCases[] = {
    {"InPlace", "S I T G V200 Q C", Edit::Title, "SITGVQC"},
    {"InPlaceIntoVoid", "S I T G V9000 C Q", Edit::LongTitle, "SITGVCQ"},
    {"InPlaceWithDuplicates", "S I T G V100 G V9000 C", Edit::LongTitle, "SITVGVC"},
    {"LastGrows", "S I T Q C G", Edit::LongTitle, "SITQCG"},
    {"LastShrinks", "S I T Q C G", Edit::DeleteTitle, "SITQCG"},
    {"LastGrowsOverDuplicate", "S I T G C G", Edit::LongTitle, "SITVCG"},
    {"WithoutSeekHead", "I T C G", Edit::LongTitle, "ITCG"},
    {"RouteA", "s C S I T Q", Edit::LongTitle, "?"},
    {"RouteAWithoutTracks", "V20 I T C", Edit::LongTitle, "?"},
    {"RouteB", "s V30 C S I T Q", Edit::LongTitle, "?"},
    {"RouteBTagsInside", "s V30 C S I G T Q", Edit::LongTitle, "?"},
    {"RouteC", "S I T V400 G C Q H", Edit::LongTitle, "?"},
    {"RouteCFull", "S I T G C Q H", Edit::LongTitle, "?"},
    {"RouteCTracksBehind", "S V600 C I T Q", Edit::LongTitle, "?"},
    {"RouteCTracksBehindTight", "S I V200 C G T Q", Edit::LongTitle, "?"},
    {"CoverAdded", "S I T V100 C G", Edit::Cover, "?"},
    {"CoverGrowsAtTheEnd", "S I T V100 G V9000 C A", Edit::Both, "?"},
    {"CoverGrowsInside", "S I T A V100 C Q G", Edit::Both, "?"},
    {"CoverDeleted", "S I T A C G", Edit::DeleteCover, "?"},
    {"CoverDeletedAtTheEnd", "S I T G C A", Edit::DeleteCover, "?"},
    {"AllDeleted", "S I T G A C", Edit::DeleteAll, "?"},
    {"AllDeletedAtTheEnd", "S I T C A G", Edit::DeleteAll, "?"},
};

class MatroskaFaults : public testing::TestWithParam<Case> {};

TEST_P(MatroskaFaults, LoseNothing) {
    const Case& c = GetParam();
    faults::Harness harness("a.mka");
    harness.Try(Built(c.before), JobOf(c.edit), c.killLoses);
    EXPECT_EQ(Shape(harness.After()), c.after);
}

INSTANTIATE_TEST_SUITE_P(, MatroskaFaults, testing::ValuesIn(kCases),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
