// Matroska files, each route of an edit in turn.
#include <gtest/gtest.h>

#include <ostream>
#include <sstream>

#include "fault_harness.h"
#include "kit/tools.h"
#include "matroska_file.h"

namespace {

using faults::AfterKill;
using faults::Job;
using namespace matroska_file;

// What FFmpeg made, taken apart.
struct Parts {
    std::string header, info, tracks, picture;
    std::vector<std::string> clusters;  // without their headers

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
        info = segment.All(kInfo).at(0).body;
        tracks = segment.All(kTracks).at(0).body;
        for (const Placed& cluster : segment.All(kCluster)) clusters.push_back(cluster.body);
    }
};

const Parts& Made() {
    static const Parts parts;
    return parts;
}

// The words of a layout begin with these. "s" is a SeekHead that knows the other one only, "B" Attachments
// without a font, "L" are Clusters of unknown size in a Segment of unknown size, "V" has its size behind it.
struct Kind {
    char letter;
    std::uint32_t id;
};
constexpr Kind kKinds[] = {{'S', kSeekHead}, {'s', kSeekHead},    {'I', kInfo},        {'T', kTracks},
                           {'G', kTags},     {'A', kAttachments}, {'B', kAttachments}, {'Q', kCues},
                           {'H', kChapters}, {'C', kCluster},     {'L', kCluster},     {'V', kVoid}};

std::uint32_t IdOf(char letter) {
    return std::find_if(std::begin(kKinds), std::end(kKinds),
                        [letter](const Kind& kind) { return kind.letter == letter; })
        ->id;
}

// The letters of what stands at the Segment's top, in file order, those of one kind in a row told once.
std::string Shape(const std::string& file) {
    std::string shape;
    for (const Placed& child : Walk(file).children) {
        const char letter = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Kind& kind) {
                                return kind.id == child.id;
                            })->letter;
        if (!shape.ends_with(letter)) shape += letter;
    }
    return shape;
}

const std::string kUnknownSize = "\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF";

class Built {
  public:
    explicit Built(const std::string& layout) {
        std::istringstream stream(layout);
        for (std::string word; stream >> word;) words_.push_back({word, 0});
        // Offsets have a fixed width, so the second round finds every element where the first one put it.
        for (int round = 0; round < 2; ++round) {
            std::string body;
            for (Word& word : words_) {
                word.offset = body.size();
                body += ElementOf(word.text);
            }
            const bool live = layout.find('L') != std::string::npos;
            bytes =
                Made().header + (live ? IdBytes(kSegment) + kUnknownSize + body : Element(kSegment, body, 8));
        }
    }

    std::string bytes;

  private:
    struct Word {
        std::string text;
        std::size_t offset;
    };

    std::string SeekHead(const std::string& letters) const {
        std::string seeks;
        for (const Word& word : words_) {
            if (letters.find(word.text[0]) != std::string::npos)
                seeks += Seek(IdOf(word.text[0]), word.offset);
        }
        return Element(kSeekHead, seeks);
    }

    std::string Cues() const {
        std::size_t cluster = 0;
        for (const Word& word : words_) cluster = word.text == "C" ? word.offset : cluster;
        const std::string place = Element(0xB7, Number(0xF7, 1) + Number(0xF1, cluster, 4));
        return Element(kCues, Element(0xBB, Number(0xB3, 0) + place));
    }

    static std::string Clusters(bool live) {
        std::string clusters;
        for (const std::string& body : Made().clusters)
            clusters += live ? IdBytes(kCluster) + kUnknownSize + body : Element(kCluster, body);
        return clusters;
    }

    std::string ElementOf(const std::string& word) const {
        const std::string cover = AttachedFile("cover.png", "image/png", Made().picture);
        switch (word[0]) {
            case 'S':
                return SeekHead("ITGABQH");
            case 's':
                return SeekHead("S");
            case 'I':
                return Element(kInfo, Made().info);
            case 'T':
                return Element(kTracks, Made().tracks);
            case 'G':
                return Element(kTags, Tag(30, SimpleTag("TITLE", "old") + SimpleTag("ARTIST", "A")));
            case 'A':
                return Element(kAttachments, AttachedFile("font.ttf", "font/ttf", "font") + cover);
            case 'B':
                return Element(kAttachments, cover);
            case 'Q':
                return Cues();
            case 'H':
                return Element(kChapters, std::string(50, '\0'));
            case 'V':
                return Void(std::stoul(word.substr(1)));
            default:
                return Clusters(word == "L");
        }
    }

    std::vector<Word> words_;
};

enum class Edit { Title, LongTitle, Cover, Both, DeleteAll, DeleteTitle, DeleteCover };

Job JobOf(Edit edit) {
    const kit::Tag title{"TITLE", "new", ""};
    const kit::Tag longTitle{"TITLE", std::string(3000, 'n'), ""};
    const kit::Tag cover{"_albumart_1_Front Album Cover", "", Made().picture + std::string(3000, '\0')};
    switch (edit) {
        case Edit::Title:
            return {{title}};
        case Edit::LongTitle:
            return {{longTitle}};
        case Edit::Cover:
            return {{cover}};
        case Edit::Both:
            return {{longTitle, cover}};
        case Edit::DeleteAll:
            return {.deletes = true};
        case Edit::DeleteTitle:
            return {.deletes = true, .names = {"TITLE"}};
        case Edit::DeleteCover:
            return {.deletes = true, .names = {"_albumart_1_Front Album Cover"}};
    }
    return {};
}

struct Case {
    const char* name;
    const char* before;
    Edit edit;
    const char* after;  // tells that the route was taken
    bool oldBesideNew = false;
};

void PrintTo(const Case& c, std::ostream* stream) {
    *stream << c.name;
}

const Case kCases[] = {
    {"InPlace", "S I T G V200 Q C", Edit::Title, "SITGVQC"},
    {"InPlaceIntoVoid", "S I T G V9000 C Q", Edit::LongTitle, "SITGVCQ"},
    {"InPlaceWithDuplicates", "S I T G V100 G V9000 C", Edit::LongTitle, "SITVGVC", true},
    {"LastGrows", "S I T Q C G", Edit::LongTitle, "SITQCG"},
    {"LastShrinks", "S I T Q C G", Edit::DeleteTitle, "SITQCG"},
    {"LastGrowsOverDuplicate", "S I T G C G", Edit::LongTitle, "SITVCG", true},
    {"WithoutSeekHead", "I T C G", Edit::LongTitle, "ITCG"},
    {"NoSeekHeadFits", "s C S I T Q", Edit::LongTitle, "refused"},
    {"SeekHeadInTwoPieces", "s V30 C S I T Q", Edit::LongTitle, "SVCITQSVG"},
    {"SeekHeadInTwoPiecesAgain", "s V30 C S I G T Q", Edit::LongTitle, "SVCITQSVG"},
    {"TracksFitInFront", "S V600 C I T Q", Edit::LongTitle, "SVITQVCG"},
    {"TracksFitNoMore", "S I V200 C G T Q", Edit::LongTitle, "SVITQVCG"},
    {"TracksGoBehind", "V20 I T C", Edit::LongTitle, "SVIVCTG"},
    {"AllFitsInFront", "S I T V400 G C Q H", Edit::LongTitle, "SVITQHVCG"},
    {"SomeFitsInFront", "S I T G C Q H", Edit::LongTitle, "SVITQVCHG"},
    {"CoverAdded", "S I T V100 C G", Edit::Cover, "SVITVCAG"},
    {"CoverGrowsAtTheEnd", "S I T V100 G V9000 C A", Edit::Both, "SITVGVCA"},
    {"CoverGrowsInside", "S I T A V100 C Q G", Edit::Both, "SVITQVCAG"},
    {"CoverDeleted", "S I T A C G", Edit::DeleteCover, "SITAVCG"},
    {"CoverDeletedAtTheEnd", "S I T G C A", Edit::DeleteCover, "SITGCA"},
    {"OnlyCoverDeleted", "S I T G B C", Edit::DeleteCover, "SITGVC"},
    {"OnlyCoverDeletedAtTheEnd", "S I T G C B", Edit::DeleteCover, "SITGC"},
    {"AllDeleted", "S I T G A C", Edit::DeleteAll, "SITGVAVC"},
    {"AllDeletedAtTheEnd", "S I T C A G", Edit::DeleteAll, "SITCAVG"},
    {"Live", "S I T V9000 L", Edit::LongTitle, "refused"},
};

class MatroskaFaults : public testing::TestWithParam<Case> {};

TEST_P(MatroskaFaults, LoseNothing) {
    const Case& c = GetParam();
    faults::Harness harness("a.mka");
    const std::string after =
        harness.Try({Built(c.before).bytes, JobOf(c.edit), AfterKill::OldOrNew, {}, c.oldBesideNew});
    EXPECT_EQ(after.empty() ? "refused" : Shape(after), c.after);
}

INSTANTIATE_TEST_SUITE_P(, MatroskaFaults, testing::ValuesIn(kCases),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
