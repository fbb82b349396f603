// Files with APE, ID3v1 and ID3v2 tags.
#include <gtest/gtest.h>

#include <ostream>

#include "fault_harness.h"
#include "id3v2_bytes.h"
#include "kit/tools.h"
#include "tag_bytes.h"

namespace {

using faults::AfterKill;
using faults::Job;
using kit::Tag;

// True Audio of less and of more than the 64 KiB in which a tail is moved.
const std::string& Audio(bool large) {
    static std::string bytes[2];
    std::string& audio = bytes[large ? 1 : 0];
    if (audio.empty()) {
        const kit::TempFolder folder;
        kit::MakeAudio(folder / "a.tta", large ? 2.5 : 0.3, {"-fflags", "+bitexact", "-c:a", "tta"});
        audio = kit::ReadFile(folder / "a.tta");
    }
    return audio;
}

const std::string kApe2 = Ape({{"Title", "old"}, {"Mood", "calm"}, {"Unknown", "u", 2}});
const std::string kApe2Footer = Ape({{"Title", "old"}, {"Mood", "calm"}}, {.header = false});
const std::string kApe1 = Ape({{"Title", "old"}, {"Mood", "calm"}}, {.version = 1000, .header = false});
const std::string kId3v1 = Id3v1({.title = "old", .artist = "A", .track = 7, .genre = 17});
const std::string kBlank = Id3v1({});
// With `padding` bytes of zeros in it.
std::string Id3v2(std::size_t padding) {
    return id3v2::Tag(3, id3v2::Text(3, "TIT2", "old^") + id3v2::Text(3, "TCOM", "C") +
                             id3v2::Frame(3, "PRIV", id3v2::Nul("me^") + std::string(300, 'x')) +
                             std::string(padding, '\0'));
}

std::string Large(char letter) {
    return std::string(9000, letter);
}

const Job kSame{{Text("Title", "new")}};
const Job kShort{{Text("Title", "new"), Text("Artist", "B")}};
const Job kLong{{Text("Title", "new"), Text("Artist", "B"), Text("Mood", Large('m'))}};
const Job kCover{
    {Text("Title", "new"), Binary("_albumart_1_Front Album Cover", "\x89PNG\r\n" + std::string(70000, 'p'))}};
const Job kDeleteAll{.deletes = true};
const Job kDeleteSome{.deletes = true, .names = {"Title", "Mood"}};
const Job kDeleteAbsent{.deletes = true, .names = {"Nothing of the kind"}};

struct Case {
    const char* name;
    std::string front;
    std::string behind;
    const Job& job;
    bool large = false;
    AfterKill afterKill = AfterKill::OldOrNew;
};

void PrintTo(const Case& c, std::ostream* stream) {
    *stream << c.name;
}

// What stands in front of the audio changes its size.
constexpr AfterKill kMoves = AfterKill::AudioInPieces;

const Case kCases[] = {
    {"NoTag", "", "", kShort},
    {"Ape2Grows", "", kApe2, kLong},
    {"Ape2Shrinks", "", Ape({{"Title", Large('t')}}), kShort},
    {"Ape2WithoutHeader", "", kApe2Footer, kShort},
    {"Ape2Deleted", "", kApe2, kDeleteAll},
    {"Ape2ByName", "", kApe2, kDeleteSome},
    {"Ape1Grows", "", kApe1, kLong},
    {"Ape1ByName", "", kApe1, kDeleteSome},
    {"Id3v1", "", kId3v1, kShort},
    {"Id3v1Deleted", "", kId3v1, kDeleteAll},
    {"Id3v1ByName", "", kId3v1, kDeleteSome},
    {"Ape2BeforeId3v1Grows", "", kApe2 + kId3v1, kLong},
    {"Ape2BeforeId3v1Deleted", "", kApe2 + kId3v1, kDeleteAll},
    {"Ape2BeforeId3v1ByName", "", kApe2 + kId3v1, kDeleteSome},
    {"Ape1BeforeId3v1", "", kApe1 + kId3v1, kShort},
    {"Ape2BeforeBlankId3v1", "", kApe2 + kBlank, kLong},
    {"AllThreeGrow", Id3v2(0), kApe2 + kId3v1, kLong, false, kMoves},
    {"AllThreeGrowLarge", Id3v2(0), kApe2 + kId3v1, kCover, true, kMoves},
    {"AllThreeDeleted", Id3v2(50), kApe2 + kId3v1, kDeleteAll, false, kMoves},
    {"AllThreeDeletedLarge", Id3v2(50), kApe2 + kId3v1, kDeleteAll, true, kMoves},
    {"AllThreeByName", Id3v2(0), kApe2 + kId3v1, kDeleteSome, false, kMoves},
    {"AllThreeAbsentName", Id3v2(0), kApe2 + kId3v1, kDeleteAbsent},
    {"Id3v2Equal", Id3v2(0), "", kSame},
    {"Id3v2EqualLarge", Id3v2(0), "", kSame, true},
    {"Id3v2Grows", Id3v2(0), "", kLong, false, kMoves},
    {"Id3v2GrowsLarge", Id3v2(0), "", kLong, true, kMoves},
    {"Id3v2GrowsByMoreThanABlock", Id3v2(0), "", kCover, true, kMoves},
    {"Id3v2Shrinks", Id3v2(9000), "", kShort, false, kMoves},
    {"Id3v2ShrinksLarge", Id3v2(9000), "", kShort, true, kMoves},
    {"Id3v2ShrinksByMoreThanABlock", Id3v2(90000), "", kShort, true, kMoves},
    {"Id3v2Deleted", Id3v2(10), "", kDeleteAll, false, kMoves},
    {"Id3v2DeletedLarge", Id3v2(10), "", kDeleteAll, true, kMoves},
    {"Id3v2ByName", Id3v2(0), "", kDeleteSome, false, kMoves},
    {"Id3v2Absent", Id3v2(0), "", kDeleteAbsent},
};

class StdFaults : public testing::TestWithParam<Case> {};

TEST_P(StdFaults, LoseNothing) {
    const Case& c = GetParam();
    faults::Harness harness("a.tta");
    const std::string& audio = Audio(c.large);
    harness.Try({c.front + audio + c.behind, c.job, c.afterKill, audio});
}

INSTANTIATE_TEST_SUITE_P(, StdFaults, testing::ValuesIn(kCases),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
