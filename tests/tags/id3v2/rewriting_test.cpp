// Any values, written and written again: what is read back, what stays, and that the audio never changes.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <random>

#include "engine_file.h"
#include "id3v2_bytes.h"
#include "kit/tools.h"
#include "tags/id3v2/tag_id3v2.h"

namespace {

using namespace id3v2;

// Values that a tag can hold in every version: separators, numbers and blanks at the ends mean something
// there.
class AnyTags {
  public:
    AnyTags(unsigned seed, bool ascii) : random_(seed), ascii_(ascii) {}

    std::vector<kit::Tag> operator()() {
        static const char* const kSingle[] = {
            "Title",       "Album", "Subtitle",        "Copyright", "Encoder Settings", "Lyrics",
            "Compilation", "BPM",   "Recording dates", "Mood",      "Comment mine",     "Set subtitle"};
        static const char* const kMany[] = {
            "Artist",      "Album Artist", "Composer",      "Genre",
            "Language(s)", "Soloists",     "Content Group", "Original album/movie/show title",
            "Conductor"};
        std::vector<kit::Tag> tags;
        for (const char* name : kSingle) {
            if (below(2) == 0) tags.push_back(::Text(name, text()));
        }
        for (const char* name : kMany) {
            if (below(2) != 0) continue;
            std::string values = text();
            for (unsigned more = below(3); more > 0; --more) values += "\r" + text();
            tags.push_back(::Text(name, values));
        }
        tags.push_back(::Text("Year", std::to_string(1000 + below(9000))));
        tags.push_back(::Text("Rating", std::to_string(2 + below(9))));
        tags.push_back(::Text("Track", std::to_string(below(99)) + "/99"));
        std::shuffle(tags.begin(), tags.end(), random_);
        if (below(2) == 0) tags.push_back(Binary("_albumart_1_Media<subdesc>d", bytes()));
        if (below(2) == 0) tags.push_back(Binary("_cdtoc", bytes()));
        return tags;
    }
    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

  private:
    std::string text() {
        static const char* const kPieces[] = {
            "a", "Z", "x y", "-", "?", "\xC3\xA9", "\xE4\xB8\x80", "\xF0\x9D\x84\x9E", "\xEF\xBB\xBF"};
        std::string text = "v";
        for (unsigned length = below(12); length > 0; --length) text += kPieces[below(ascii_ ? 5 : 9)];
        return text;
    }
    std::string bytes() {
        std::string data = "\xFF\xFB";
        for (unsigned length = below(600); length > 0; --length)
            data += static_cast<char>(below(4) == 0 ? 0xFF : below(256));
        return data;
    }

    std::mt19937 random_;
    bool ascii_;
};

std::map<std::string, std::pair<std::string, std::string>> ByName(const std::vector<kit::Tag>& tags) {
    std::map<std::string, std::pair<std::string, std::string>> map;
    for (const kit::Tag& tag : tags) map[tag.name] = {tag.value, tag.data};
    return map;
}

class Id3v2Rewriting : public EngineFile {};

TEST_F(Id3v2Rewriting, GivesBackAnyValuesAndThenChangesNothing) {
    for (unsigned seed = 0; seed < 120; ++seed) {
        SCOPED_TRACE(seed);
        const char16_t* const options[] = {u"", u"ID3v2EncodeUni", u"ID3v2EncodeUTF8"};
        const char16_t* const option = options[seed % 3];
        AnyTags any(seed, seed % 3 == 0);
        const std::string audio = "\xFF\xFB audio " + std::string(any.below(200000), 'a');
        const std::string start = seed % 2 == 0 ? Tag(3, "", 0) + audio : Tag(4, "") + audio;
        const auto tags = any();
        const std::string once = Written<TagID3v2>(start, tags, false, option);
        const auto read = EngineFile::Read<TagID3v2>(once);
        ASSERT_EQ(ByName(read), ByName(tags));
        ASSERT_EQ(once.substr(once.size() - audio.size()), audio);
        // What was read, written again, finds every frame in place; ratings and the like are kept too.
        ASSERT_EQ(Written<TagID3v2>(once, read, false, option), once);
        // Other values leave these frames' bytes alone.
        const std::string added =
            Written<TagID3v2>(once, {::Text("ISRC", "X"), ::Text("Album Sort", "Y")}, false, option);
        auto frames = Frames(added);
        ASSERT_GE(frames.size(), 2U);
        frames.erase(frames.begin(), frames.begin() + 2);
        ASSERT_EQ(frames, Frames(once));
        ASSERT_EQ(With<TagID3v2>(added, [](TagID3v2& engine) { engine.Delete(); }), audio);
    }
}

// Values over several frames, and replay gain, find their last place with the second writing.
TEST_F(Id3v2Rewriting, SettlesAfterTheSecondWriting) {
    const std::vector<kit::Tag> tags{::Text("Foo", "a\rb"),
                                     ::Text("Comment", "one"),
                                     ::Text("Comments", "two"),
                                     ::Text("Title", "T"),
                                     ::Text("replaygain_album_gain", "1 dB"),
                                     ::Text("Zoo", "z")};
    const std::string once = Written<TagID3v2>("audio", tags, false);
    const auto read = EngineFile::Read<TagID3v2>(once);
    EXPECT_EQ(Shown(read), "Comment=one|two;Foo=a|b;replaygain_album_gain=1 dB;Title=T;Zoo=z");
    const auto again = [&](const std::string& bytes) {
        return Written<TagID3v2>(bytes, {::Text("Title", "T")}, false);
    };
    const std::string twice = again(once);
    EXPECT_EQ(twice.size(), once.size());
    EXPECT_EQ(ByName(EngineFile::Read<TagID3v2>(twice)), ByName(read));
    EXPECT_EQ(again(twice), twice);
}

TEST_F(Id3v2Rewriting, NeverTouchesTheSamples) {
    const auto path = folder_ / "a.tta";
    kit::MakeAudio(path, 0.5);
    const std::string original = kit::ReadFile(path);
    const std::string samples = kit::ReferenceSamples(kit::Utf8(path));
    ASSERT_GT(samples.size(), 10000U);
    AnyTags any(1, false);
    std::string bytes = original;
    for (int i = 0; i < 8; ++i) {
        bytes = Written<TagID3v2>(bytes, any(), false, i % 2 == 0 ? u"ID3v2WriteV24" : u"ID3v2EncodeUni");
        kit::WriteFile(path, bytes);
        ASSERT_EQ(kit::ReferenceSamples(kit::Utf8(path)), samples);
    }
    EXPECT_EQ(With<TagID3v2>(bytes, [](TagID3v2& engine) { engine.Delete(); }), original);
}

// A gigabyte behind the tag, of which little is written: the whole tail has to be where it belongs.
class LargeTail : public Id3v2Rewriting {
  protected:
    static constexpr std::uint64_t kTail = 1ULL << 30;

    static std::uint64_t HashFrom(const std::filesystem::path& path, std::uint64_t from) {
        std::ifstream stream(path, std::ios::binary);
        stream.seekg(static_cast<std::streamoff>(from));
        std::vector<std::uint64_t> block(1 << 17);
        std::uint64_t hash = 14695981039346656037ULL;
        const auto bytes = static_cast<std::streamsize>(block.size() * sizeof block[0]);
        while (stream.read(reinterpret_cast<char*>(block.data()), bytes) || stream.gcount() > 0) {
            const auto came = static_cast<std::size_t>(stream.gcount());
            std::fill_n(reinterpret_cast<char*>(block.data()) + came, static_cast<std::size_t>(bytes) - came,
                        '\0');
            for (const std::uint64_t word : block) hash = (hash ^ word) * 1099511628211ULL;
        }
        return hash;
    }
};

TEST_F(LargeTail, MovesInBothDirections) {
    const std::string tag = Tag(3, Text(3, "TIT2", "T"));
    kit::WriteFile(path_, tag);
    std::filesystem::resize_file(path_, tag.size() + kTail);
    {
        std::fstream stream(path_, std::ios::binary | std::ios::in | std::ios::out);
        for (std::uint64_t at = 0; at < kTail; at += kTail / 64 + 4093) {
            stream.seekp(static_cast<std::streamoff>(tag.size() + at));
            stream << "mark " << at;
        }
    }
    const std::uint64_t hash = HashFrom(path_, tag.size());
    clFile file(path_.u16string());
    ASSERT_TRUE(file.Open(clFile::kRead | clFile::kWrite));
    TagID3v2 engine(file);
    IDTags tags;
    tags.AddText(u"Album", u"one that makes the tag longer");
    ASSERT_TRUE(engine.Write(tags, false));
    const std::uint64_t grown = engine.tagSizeOnDisk();
    EXPECT_GT(grown, tag.size());
    EXPECT_EQ(std::filesystem::file_size(path_), grown + kTail);
    EXPECT_EQ(HashFrom(path_, grown), hash);
    engine.Delete();
    EXPECT_EQ(std::filesystem::file_size(path_), kTail);
    EXPECT_EQ(HashFrom(path_, 0), hash);
}

}  // namespace
