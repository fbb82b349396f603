// What a host sees of files built byte by byte.
#include <gtest/gtest.h>

#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "matroska_file.h"

namespace {

using namespace matroska_file;
using namespace std::string_literals;

// A file whose Segment holds the elements.
std::string File(const std::string& elements, const std::string& header = Header()) {
    return header + Element(kSegment, elements, 8);
}

std::string TagsFile(const std::string& tags) {
    return File(Element(kTags, tags));
}

std::string Read(const std::string& bytes) {
    const TemporaryFile file(bytes);
    IDTags tags;
    const bool read = MatroskaTags::Read(file.Wide().c_str(), tags, {});
    clBuffer blob;
    clBuffer sameBlob;
    EXPECT_TRUE(tags.Serialise(blob));
    EXPECT_EQ(MatroskaTags::ReadBlob(file.Wide().c_str(), sameBlob, {}), read);
    EXPECT_TRUE(!read || std::ranges::equal(blob.bytes(), sameBlob.bytes()));
    return Dump(tags) + (read ? "" : "failed");
}

TEST(MatroskaReading, PlacesNamesByTheLevelOfTheirTarget) {
    const auto text = [](const std::string& name) { return SimpleTag(name, "x"); };
    const struct {
        const char* what;
        std::string tags;
        std::string expected;
    } cases[] = {
        {"title of album and track", Tag(50, SimpleTag("TITLE", "A")) + Tag(30, SimpleTag("title", "T")),
         "ALBUM=A\nTITLE=T\n"},
        {"equally near: the earlier row", Tag(40, text("TITLE")), "ALBUM=x\n"},
        {"part number at 40 is the track's", Tag(40, text("PART_NUMBER")), "track=x\n"},
        {"no targets", Element(0x7373, text("TITLE")), "ALBUM=x\n"},
        {"level 60", Tag(60, text("TOTAL_PARTS")) + Tag(50, SimpleTag("PART_NUMBER", "1")), "disc=1/x\n"},
        {"number and total", Tag(30, SimpleTag("PART_NUMBER", "3")) + Tag(50, SimpleTag("TOTAL_PARTS", "12")),
         "track=3/12\n"},
        {"total alone", Tag(50, text("TOTAL_PARTS")), ""},
        {"friendly names", Tag(50, text("ARTIST")) + Tag(30, text("DATE_RECORDED") + text("DATE_RELEASED")),
         "album artist=x\ndate=x\nrelease date=x\n"},
        {"several values",
         Tag(30, SimpleTag("ARTIST", "") + SimpleTag("ARTIST", "a") + SimpleTag("ARTIST", "b")),
         "ARTIST=a|b\n"},
        {"aimed at a track", Tag(30, text("TITLE"), Number(0x63C5, 123)), ""},
        {"chapter 0 is everything", Tag(0, text("TITLE"), Number(0x63C4, 0)), "ALBUM=x\n"},
        {"padding", Tag(30, SimpleTag("TITLE", "x\0\0"s) + SimpleTag("MOOD\0"s, "y")), "MOOD=y\nTITLE=x\n"},
        {"no text", Tag(30, Element(0x67C8, Element(0x45A3, "TITLE")) + Element(0x67C8, "")), ""},
        {"the last name counts",
         Tag(30, Element(0x67C8, Element(0x45A3, "A") + Element(0x45A3, "B") + Element(0x4487, "x"))),
         "B=x\n"},
        {"two texts", Tag(30, Element(0x67C8, Element(0x4487, "A") + Element(0x4487, "B"))), "failed"},
        {"an unknown element in the targets", Tag(30, text("A"), Element(0x63CB, "?")), "A=x\n"},
        {"two targets", Element(0x7373, Element(0x63C0, "") + Element(0x63C0, "")), "failed"},
        {"a nested tag isn't looked at", Tag(30, SimpleTag("A", "x", SimpleTag("B", "y"))), "A=x\n"},
    };
    for (const auto& c : cases) EXPECT_EQ(Read(TagsFile(c.tags)), c.expected) << c.what;
}

TEST(MatroskaReading, NumbersImagesAndSkipsOtherAttachments) {
    const auto read = [](const std::string& files) {
        return Read(File(Element(kTags, Tag(30, SimpleTag("A", "x"))) + Element(kAttachments, files)));
    };
    EXPECT_EQ(read(AttachedFile("f.ttf", "font/ttf", "F") + AttachedFile("Cover.JPG", "image/jpeg", "J") +
                   AttachedFile("booklet 1.x.png", "image/png", "") + AttachedFile(".png", "image/png", "P")),
              "A=x\n_albumart_1_Front Album Cover:J\n_albumart_2_booklet 1.x:\n_albumart_3_:P\n");
    const std::string data = Element(0x465C, "D");
    EXPECT_EQ(read(Element(0x61A7, Element(0x466E, "n") + data + data)), "A=x\nfailed") << "data twice";
    EXPECT_EQ(read(Element(0x61A7, data)), "A=x\nfailed") << "no name";
    EXPECT_EQ(read(Element(0x61A7, Element(0x466E, "n"))), "A=x\nfailed") << "no data";
    EXPECT_EQ(read(Element(0x61A7, Element(0x466E, "n") + data)), "A=x\n") << "no type";
    EXPECT_EQ(read(Element(0x61A7, Element(0x466E, "n") + Element(0x4660, "") + data)), "A=x\nfailed");
}

TEST(MatroskaReading, FindsElementsThroughSeekHeadsOnly) {
    const std::string tags = Element(kTags, Tag(30, SimpleTag("A", "x")));
    const std::string more = Element(kTags, Tag(30, SimpleTag("B", "y")));
    const auto seekHead = [](const std::string& seeks) { return Element(kSeekHead, seeks); };
    const std::size_t one = seekHead(Seek(kTags, 0)).size();
    const std::size_t two = seekHead(Seek(kTags, 0) + Seek(kTags, 0)).size();
    EXPECT_EQ(Read(File(seekHead(Seek(kTags, one)) + tags)), "A=x\n");
    EXPECT_EQ(Read(File(seekHead(Seek(kInfo, one)) + tags)), "") << "behind the SeekHead and not listed";
    EXPECT_EQ(Read(File(tags + seekHead(Seek(kTags, tags.size() + one)) + more)), "A=x\nB=y\n");
    EXPECT_EQ(Read(File(seekHead(Seek(kSeekHead, two) + Seek(kSeekHead, 0)) +
                        seekHead(Seek(kSeekHead, 0) + Seek(kTags, 2 * two)) + tags)),
              "A=x\n")
        << "two that point at each other";
    EXPECT_EQ(Read(File(seekHead(Seek(kInfo, one)))), "failed") << "at the Segment's end";
    EXPECT_EQ(Read(File(seekHead(Seek(kInfo, one)) + Void(2))), "") << "just inside";
    EXPECT_EQ(Read(File(seekHead(Seek(kTags, one)) + Element(kInfo, ""))), "failed")
        << "points at something else";
    EXPECT_EQ(Read(File(seekHead(Element(0x4DBB, Element(0x53AB, IdBytes(kTags)))))), "failed")
        << "no position";
    EXPECT_EQ(Read(File(seekHead(Element(0x4DBB, Number(0x53AC, 1))))), "failed") << "no ID";
    EXPECT_EQ(
        Read(File(seekHead(Element(0x4DBB, Element(0x53AB, IdBytes(kTags) + "x") + Number(0x53AC, 1))))),
        "failed");
    const std::string cluster = IdBytes(kCluster) + "\xFF" + std::string(40, '\0');
    EXPECT_EQ(Read(File(tags + cluster)), "A=x\n") << "a Cluster of unknown size ends the walk";
    EXPECT_EQ(Read(File(cluster + tags)), "");
    EXPECT_EQ(Read(Header() + Element(kCluster, "") + Element(kSegment, tags)), "A=x\n")
        << "a Cluster beside the Segment";
}

TEST(MatroskaReading, RefusesWhatIsNoMatroskaFile) {
    IDTags tags;
    EXPECT_FALSE(MatroskaTags::Read(u"no folder/no file.mka", tags, {}));
    const std::string segment = Element(kSegment, Element(kTags, Tag(30, SimpleTag("A", "x"))), 8);
    EXPECT_EQ(Read(Header("webm") + segment), "A=x\n");
    EXPECT_EQ(Read(Header("webm\0"s) + segment), "A=x\n");
    EXPECT_EQ(Read(Header("Matroska") + segment), "failed");
    EXPECT_EQ(Read(std::string(2000, 'j') + Header() + segment), "A=x\n") << "junk in front";
    EXPECT_EQ(Read("\x1A" + Header() + segment), "failed") << "the first 1A is trusted";
    EXPECT_EQ(Read(""), "failed");
    EXPECT_EQ(Read(segment), "failed");
    EXPECT_EQ(Read(Header()), "failed");
    EXPECT_EQ(Read(Header() + Header() + segment), "failed");
    EXPECT_EQ(Read(Header() + segment + segment), "failed");
    EXPECT_EQ(Read(Header() + segment.substr(0, 4) + "\xFF" + segment.substr(12)), "A=x\n") << "a live file";
    for (const auto& [id, newest] : {std::pair{0x4285U, 2}, {0x42F7U, 1}}) {
        const std::string type = Element(0x4282, "webm");
        const auto header = [&](const std::string& version) { return Element(0x1A45DFA3, type + version); };
        EXPECT_EQ(Read(header(Number(id, static_cast<std::uint64_t>(newest))) + segment), "A=x\n");
        EXPECT_EQ(Read(header(Number(id, static_cast<std::uint64_t>(newest) + 1)) + segment), "failed");
        EXPECT_EQ(Read(header(Element(id, "")) + segment), "failed");
    }
    EXPECT_EQ(Read(Header() + Element(kSegment, "", 8).substr(0, 4) + SizeField(4000, 8) +
                   Element(kTags, Tag(30, SimpleTag("A", "x")))),
              "A=x\n")
        << "a cut file is read up to its end";
}

// Elements made to lie over one another would multiply a small file into gigabytes.
TEST(MatroskaReading, RefusesElementsThatOverlap) {
    constexpr std::size_t kShells = 64;
    const std::string data(100000, 'x');
    const std::pair<std::uint32_t, std::string> cases[] = {
        {kTags, Tag(30, SimpleTag("A", data))}, {kAttachments, AttachedFile("f", "font/ttf", data)}};
    for (const auto& [id, body] : cases) {
        const std::size_t head = Element(kSeekHead, std::string(kShells * Seek(id, 0).size(), ' ')).size();
        std::string nested = Element(id, body);
        std::string seeks;
        for (std::size_t i = 0; i < kShells; ++i) {
            nested = Element(id, nested, 8);
            seeks += Seek(id, head + 12 * i);
        }
        EXPECT_EQ(Read(File(Element(kSeekHead, seeks) + nested)), "failed") << id;
    }
}

}  // namespace
