// Files that were cut or overwritten anywhere: nothing in front of the tags may change.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>

#include "kit/files.h"
#include "support/cllog.h"
#include "tag_bytes.h"
#include "tags/std_tags.h"

namespace {

const std::string kAudio(200, 'a');

class Damage : public testing::Test {
  protected:
    // All three jobs on the bytes; what comes out must begin with kAudio as far as the bytes do.
    void Check(const std::string& bytes) {
        const clString path{std::u16string_view(file_.u16string())};
        const std::string front = bytes.substr(0, kAudio.size());
        IDTags tags;
        clString version;
        kit::WriteFile(file_, bytes);
        const bool readable = ReadStdTags(path, tags, version, {});
        ASSERT_EQ(kit::ReadFile(file_), bytes) << "changed by reading";
        tags.Clear();
        tags.AddText(u"Title", u"new");
        ASSERT_TRUE(WriteStdTags(path, tags, StdTagFamily::Ape, {}));
        ASSERT_EQ(kit::ReadFile(file_).substr(0, front.size()), front) << "changed by writing";
        if (readable) {
            ASSERT_TRUE(ReadStdTags(path, tags, version, {}) || kit::ReadFile(file_).size() < 131);
        }
        kit::WriteFile(file_, bytes);
        ASSERT_TRUE(DeleteStdTags(path, u"Title\0[Empty]\0", {}));
        ASSERT_TRUE(DeleteStdTags(path, nullptr, {}));
        ASSERT_EQ(kit::ReadFile(file_).substr(0, front.size()), front) << "changed by deleting";
    }

    kit::TempFolder folder_;
    std::filesystem::path file_ = folder_ / "file";
};

const std::string kWhole = kAudio + Ape({{"Title", "old"}, {"Cover Art (front)", "n" + kNul + "p", 2}}) +
                           Id3v1({.title = "old", .genre = 4});

TEST_F(Damage, CutAtEveryLength) {
    for (std::size_t length = 0; length <= kWhole.size(); ++length) {
        SCOPED_TRACE(length);
        ASSERT_NO_FATAL_FAILURE(Check(kWhole.substr(0, length)));
    }
}

TEST_F(Damage, EveryByteOfTheTags) {
    for (std::size_t at = kAudio.size(); at < kWhole.size(); ++at) {
        for (const char value : {'\0', '\x01', '\x7F', '\xFF'}) {
            SCOPED_TRACE(testing::Message() << at << " " << int{value});
            std::string bytes = kWhole;
            bytes[at] = value;
            // A size that is larger than the tag and fits the file takes in what stands in front of it.
            const std::size_t size = bytes.size() - 128 - 32 + 12;
            if (at >= size && at < size + 4 && bytes[size + 1] == 0 && bytes[size + 2] == 0 &&
                bytes[size + 3] == 0)
                continue;
            ASSERT_NO_FATAL_FAILURE(Check(bytes));
        }
    }
}

// A megabyte of items must not cost a walk through all of them for each.
TEST_F(Damage, AHundredThousandItemsAreNoTrouble) {
    std::vector<ApeItem> items;
    for (int i = 0; i < 50000; ++i) items.push_back({std::to_string(i), "v"}), items.push_back({"same", "v"});
    kit::WriteFile(file_, Ape(items));
    const clString path{std::u16string_view(file_.u16string())};
    IDTags tags;
    clString version;
    ASSERT_TRUE(ReadStdTags(path, tags, version, {}));
    EXPECT_EQ(tags.count(), 50001);
    ASSERT_TRUE(DeleteStdTags(path, u"same\0", {}));
    ASSERT_TRUE(ReadStdTags(path, tags, version, {}));
    EXPECT_EQ(tags.count(), 50000);
}

constexpr std::uint64_t kMultiplier = 0xC6A4A7935BD1E995;
constexpr std::uint64_t kInverse = 0x5F7A0EA7E59B19BD;  // modulo 2 to the 64th
static_assert(kMultiplier * kInverse == 1);

std::uint64_t Mixed(std::uint64_t value) {
    return value ^ (value >> 47);
}

// Names of eight units that have one hash in the standard library, which is MurmurHash64A with a fixed seed:
// the second half brings the state back to 0.
std::vector<ApeItem> CollidingItems(std::size_t count) {
    const auto toName = [](std::uint64_t first, std::uint64_t second) {
        std::u16string name;
        for (const std::uint64_t half : {first, second}) {
            for (int shift = 0; shift < 64; shift += 16) name += static_cast<char16_t>(half >> shift);
        }
        return name;
    };
    const auto isUsable = [](char16_t unit) {
        return unit != 0 && (unit < 0xD800 || unit > 0xDFFF) && (unit < u'A' || unit > u'Z');
    };
    constexpr std::uint64_t kSeed = 0xC70F6907;
    const std::uint64_t start = kSeed ^ (16 * kMultiplier);
    std::vector<ApeItem> items;
    for (std::uint64_t first = 0x0123456789ABCDEF; items.size() < count; first += 0x9E3779B97F4A7C15) {
        const std::uint64_t state = (start ^ (Mixed(first * kMultiplier) * kMultiplier)) * kMultiplier;
        const std::u16string name = toName(first, Mixed(state * kInverse) * kInverse);
        if (std::ranges::all_of(name, isUsable)) items.push_back({clString(name).Utf8(), "v"});
    }
    return items;
}

// A file that chooses its names against a hash must not make reading quadratic.
TEST_F(Damage, NamesOfOneHashAreNoTrouble) {
    kit::WriteFile(file_, Ape(CollidingItems(100000)));
    const clString path{std::u16string_view(file_.u16string())};
    IDTags tags;
    clString version;
    ASSERT_TRUE(ReadStdTags(path, tags, version, {}));
    EXPECT_EQ(tags.count(), 100000);
    if constexpr (sizeof(std::size_t) == 8) {
        std::set<std::size_t> hashes;
        for (const IDTag* tag : tags) hashes.insert(std::hash<std::u16string_view>()(tag->Name));
        EXPECT_EQ(hashes.size(), 1U) << "the names don't do what they are here for";
    }
    ASSERT_TRUE(DeleteStdTags(path, u"absent\0", {}));
}

}  // namespace
