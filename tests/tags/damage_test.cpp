// Files that were cut or overwritten anywhere: nothing in front of the tags may change.
#include <gtest/gtest.h>

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

}  // namespace
