// Tags that were cut or overwritten anywhere: whatever is read, what stands behind the tag stays.
#include <gtest/gtest.h>

#include "engine_file.h"
#include "id3v2_bytes.h"
#include "tags/id3v2/tag_id3v2.h"

namespace {

using namespace id3v2;

class Id3v2Damage : public EngineFile {
  protected:
    void Check(const std::string& bytes) {
        std::uint64_t size = 0;
        With<TagID3v2>(bytes, [&](TagID3v2& engine) { size = engine.tagSizeOnDisk(); });
        EngineFile::Read<TagID3v2>(bytes, true);
        if (size > bytes.size()) {
            // On the word of such a tag the whole file would go.
            ASSERT_EQ(With<TagID3v2>(bytes,
                                     [](TagID3v2& engine) {
                                         IDTags tags;
                                         tags.AddText(u"Title", u"new");
                                         EXPECT_FALSE(engine.Write(tags, false));
                                         engine.Delete();
                                     }),
                      bytes);
            return;
        }
        const std::string behind = bytes.substr(size);
        const std::string written =
            Written<TagID3v2>(bytes, {::Text("Title", "new"), Binary("_albumart_1_Media", "image")}, false);
        ASSERT_TRUE(written.ends_with(behind));
        if (!behind.empty()) {
            ASSERT_EQ(written.substr(0, 3), "ID3");
        }
        ASSERT_EQ(With<TagID3v2>(bytes, [](TagID3v2& engine) { engine.Delete(); }), behind);
    }

    // A tag of one version with a frame of every kind.
    static std::string Whole(int version) {
        const auto id = [version](const char* old, const char* now) {
            return std::string(version == 2 ? old : now);
        };
        return Tag(
            version,
            Text(version, id("TT2", "TIT2"), "T") + Text(version, id("COM", "COMM"), "eng^c") +
                Frame(version, id("TXX", "TXXX"),
                      "\x01\xFF\xFE"
                      "d" +
                          Nul("^^^\xFF\xFE") + "v" + kNul) +
                Text(version, id("TCO", "TCON"), "(17)") +
                Frame(version, id("PIC", "APIC"), Nul(version == 2 ? "^PNG\x03^i" : "^image/png^\x03^i")) +
                (version == 4 ? Frame(4, "PRIV", Synchsafe(3) + Nul("\xFF^\xE0^"), 0, 3) : "") +
                Text(version, id("WXX", "WXXX"), "s^u") +
                (version > 2 ? Frame(version, "POPM", Nul("a^\x80")) : ""));
    }
};

TEST_F(Id3v2Damage, CutAtEveryLengthAndEveryByte) {
    for (int version = 2; version <= 4; ++version) {
        const std::string whole = Whole(version) + "audio";
        for (std::size_t length = 0; length <= whole.size(); ++length) {
            SCOPED_TRACE(testing::Message() << version << " cut at " << length);
            ASSERT_NO_FATAL_FAILURE(Check(whole.substr(0, length)));
        }
        for (std::size_t at = 0; at + 5 < whole.size(); ++at) {
            for (const int flip : {0x21, 0x80, 0xFF}) {
                SCOPED_TRACE(testing::Message() << version << " byte " << at << " flip " << flip);
                std::string bytes = whole;
                bytes[at] = static_cast<char>(bytes[at] ^ flip);
                ASSERT_NO_FATAL_FAILURE(Check(bytes));
            }
        }
    }
}

}  // namespace
