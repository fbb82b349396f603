// Every way to put a changed element into a file, with files built byte by byte.
#include <gtest/gtest.h>

#include "codecs/decoders/ffmpeg/qel-matroska/file_stream.h"
#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "codecs/decoders/ffmpeg/qel-matroska/picture_encoding.h"
#include "codecs/decoders/ffmpeg/qel-matroska/tag_encoding.h"
#include "codecs/decoders/ffmpeg/qel-matroska/tag_update.h"
#include "matroska_file.h"

namespace {

using namespace matroska_file;
using namespace std::string_literals;

const std::string kCluster1 = Element(kCluster, "first cluster", 8);
const std::string kCluster2 = Element(kCluster, "second", 8);
const std::string kClusters = kCluster1 + kCluster2;

std::string File(const std::string& elements, int sizeWidth = 8) {
    return Header() + Element(kSegment, elements, sizeWidth);
}

std::string TagsElement(const std::string& value) {
    return Element(kTags, Tag(30, SimpleTag("MOOD", value)));
}

// The Tags element that the program writes for one value.
std::string NewTags(const std::string& value) {
    return Element(kTags, Tag(30, SimpleTag("MOOD", value, Element(0x447A, "und") + Number(0x4484, 1))));
}

using Edit = std::function<void(IDTags& tags)>;

// The file after a write, with the failure's text behind it when there was one.
struct Outcome {
    std::string bytes;
    std::string failure;
};

Outcome Write(const std::string& before, const Edit& edit) {
    const TemporaryFile file(before);
    IDTags tags;
    edit(tags);
    streamImpl stream(file.Wide().c_str());
    EXPECT_TRUE(stream.Open(clFile::kRead | clFile::kWrite));
    Matroska::AttachmentEditor attachments;
    if (tags.Find(u"_albumart_1_Front Album Cover", true) != nullptr) {
        attachments = [&](Matroska::Chain& chain) { return Matroska::MergeArt(tags, chain); };
    }
    try {
        Matroska::UpdateFile(
            stream, [&](Matroska::TagRecord& record) { return Matroska::MergeIDTags(tags, record); },
            attachments);
    } catch (const std::exception& failure) {
        return {file.Bytes(), failure.what()};
    }
    return {file.Bytes(), ""};
}

Outcome WriteMood(const std::string& before, const std::string& value) {
    return Write(before, [&](IDTags& tags) {
        clString wide;
        wide.SetFromUtf8(value);
        tags.AddText(u"mood", wide);
    });
}

std::string Read(const std::string& bytes) {
    const TemporaryFile file(bytes);
    IDTags tags;
    const bool read = MatroskaTags::Read(file.Wide().c_str(), tags, {});
    return Dump(tags) + (read ? "" : "failed");
}

std::string Delete(const std::string& before, const char16_t* names) {
    const TemporaryFile file(before);
    EXPECT_TRUE(MatroskaTags::Delete(file.Wide().c_str(), names, {}));
    return file.Bytes();
}

// IDs of the Segment's children in order; a Void with its size.
std::string Order(const std::string& bytes) {
    std::string order;
    for (const Placed& child : Walk(bytes).children) {
        switch (child.id) {
            case kVoid:
                order += "V" + std::to_string(child.bodyOffset - child.offset + child.body.size()) + " ";
                break;
            case kSeekHead:
                order += "SeekHead ";
                break;
            case kInfo:
                order += "Info ";
                break;
            case kTracks:
                order += "Tracks ";
                break;
            case kCues:
                order += "Cues ";
                break;
            case kCluster:
                order += "Cluster ";
                break;
            case kTags:
                order += "Tags ";
                break;
            case kAttachments:
                order += "Attachments ";
                break;
            default:
                order += "? ";
        }
    }
    return order;
}

constexpr const char* kNotTaggable =
    "File can't be retagged, please re-mux it with up-to-date Matroska tools";

TEST(MatroskaRetagging, OverwritesWhereTheNewElementFits) {
    const std::string wanted = NewTags("new");
    // The old element is of the same size as the new one when its value is longer by what the program adds.
    const std::size_t same = wanted.size() - TagsElement("").size();
    const auto old = [&](std::size_t extra) { return TagsElement(std::string(same + extra, 'o')); };
    ASSERT_EQ(old(0).size(), wanted.size());
    const auto place = [&](const std::string& tags) { return File(tags + kClusters); };
    EXPECT_EQ(WriteMood(place(old(0)), "new").bytes, place(wanted)) << "nothing is left over";
    EXPECT_EQ(WriteMood(place(old(2)), "new").bytes, place(wanted + Void(2)));
    EXPECT_EQ(WriteMood(place(old(50)), "new").bytes, place(wanted + Void(50)));
    EXPECT_EQ(WriteMood(place(TagsElement("o") + Void(9) + Void(80)), "new").bytes,
              place(wanted + Void(TagsElement("o").size() + 89 - wanted.size())))
        << "Voids behind it are room";
    const Outcome one = WriteMood(place(old(1)), "new");
    EXPECT_EQ(one.failure, "");
    EXPECT_EQ(Order(one.bytes), "SeekHead V11 V12 Cluster Cluster Tags ")
        << "one byte left over takes the file apart";
    EXPECT_EQ(WriteMood(place(wanted), "new").bytes, place(wanted)) << "nothing changed";
    EXPECT_EQ(Read(one.bytes), "MOOD=new\n");
}

TEST(MatroskaRetagging, TheLastElementTakesAnySize) {
    for (const int width : {8, 2, 1}) {
        const std::string before = File(kClusters + TagsElement("old") + Void(10), width);
        EXPECT_EQ(WriteMood(before, "n").bytes, File(kClusters + NewTags("n"), width));
        EXPECT_EQ(WriteMood(before, "somewhat longer").bytes,
                  File(kClusters + NewTags("somewhat longer"), width));
    }
    const std::string narrow = File(kClusters + TagsElement("old"), 1);
    const Outcome refused = WriteMood(narrow, std::string(100, 'x'));
    EXPECT_EQ(refused.failure, kNotTaggable) << "the width of the size field never changes";
    EXPECT_EQ(refused.bytes, narrow);
    EXPECT_EQ(WriteMood(File(kClusters + TagsElement("old")) + Void(20), "n").bytes,
              File(kClusters + NewTags("n")))
        << "what stands behind the Segment is cut off";
    std::string live = File(kClusters + TagsElement("old"), 8);
    live.replace(live.find(IdBytes(kSegment)) + 4, 8, "\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF");
    EXPECT_EQ(WriteMood(live, "n").bytes, File(kClusters + NewTags("n")))
        << "an unknown size becomes a known one";
}

TEST(MatroskaRetagging, KeepsOneOfSeveralElements) {
    const std::string wanted = NewTags("new");
    const std::string roomy = TagsElement(std::string(100, 'o'));
    const std::string small = TagsElement("o");
    // The second one takes it; the first one goes with its Seek entry.
    const std::size_t head = Element(kSeekHead, Seek(kTags, 0) + Seek(kTags, 0)).size();
    const std::string before = File(Element(kSeekHead, Seek(kTags, head) + Seek(kTags, head + small.size())) +
                                    small + roomy + kClusters);
    const std::string after =
        File(Element(kSeekHead, Void(Seek(kTags, 0).size()) + Seek(kTags, head + small.size())) +
             Void(small.size()) + wanted + Void(roomy.size() - wanted.size()) + kClusters);
    EXPECT_EQ(WriteMood(before, "new").bytes, after);
    // The first one takes it, and the Voids that then end the Segment are cut off.
    EXPECT_EQ(WriteMood(File(roomy + kClusters + small + Void(4)), "new").bytes,
              File(wanted + Void(roomy.size() - wanted.size()) + kClusters));
}

TEST(MatroskaRetagging, LaysOutAnewByTheRoomInFront) {
    const std::string info = Element(kInfo, "i");
    const std::string tracks = Element(kTracks, std::string(60, 't'));
    const std::string cues = Element(kCues, std::string(200, 'c'));
    // The new Tags, Info, Tracks and Cues: 20 * 4 + 10 bytes are reserved for the SeekHead.
    const std::string metadata = info + tracks + cues;
    const auto before = [&](std::size_t leading) {
        return leading >= info.size() + 2
                   ? File(info + Void(leading - info.size()) + kClusters + tracks + cues)
                   : File((leading != 0 ? Void(leading) : "") + kClusters + metadata);
    };
    const struct {
        std::size_t leading;
        std::string order;
    } cases[] = {
        {0, "Cluster Cluster Info Tracks Cues Tags "},
        {2, "V2 Cluster Cluster Info Tracks Cues Tags "},
        {27, "V27 Cluster Cluster Info Tracks Cues Tags "},
        {28, "SeekHead V8 Cluster Cluster Info Tracks Cues SeekHead V28 Tags "},
        {89, "SeekHead V69 Cluster Cluster Info Tracks Cues SeekHead V28 Tags "},
        {90, "SeekHead V28 Cluster Cluster Info Tracks Cues Tags "},
        {99, "SeekHead V28 V9 Cluster Cluster Info Tracks Cues Tags "},
        {100, "SeekHead V28 Info V4 Cluster Cluster Tracks Cues Tags "},
        {164, "SeekHead V27 Info V68 Cluster Cluster Tracks Cues Tags "},
        {165, "SeekHead V28 Info Tracks V4 Cluster Cluster Cues Tags "},
        {400, "SeekHead V28 Info Tracks Cues V33 Cluster Cluster Tags "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.leading);
        const Outcome after = WriteMood(before(c.leading), "new");
        EXPECT_EQ(after.failure, "");
        const Segment segment = Walk(after.bytes);
        EXPECT_EQ(segment.All(kCluster).at(0).offset, segment.dataBegin + c.leading);
        for (const auto& [id, target] : segment.seeks) EXPECT_EQ(after.bytes.substr(target, 4), IdBytes(id));
        EXPECT_EQ(Read(after.bytes), "MOOD=new\n");
        EXPECT_EQ(Order(after.bytes), c.order);
        // A second edit goes in place, at the end.
        const Outcome again = WriteMood(after.bytes, "a longer one");
        EXPECT_EQ(again.bytes.substr(again.bytes.find(kCluster1)),
                  after.bytes.substr(after.bytes.find(kCluster1),
                                     segment.All(kTags).at(0).offset - after.bytes.find(kCluster1)) +
                      NewTags("a longer one"));
    }
}

// An element whose header takes 8 bytes fits with one byte left over, which no Void can hold.
TEST(MatroskaRetagging, AGapOfOneByteLeavesTheOldLeadingArea) {
    const std::string info = Element(kInfo, std::string(0x200000, 'i'));
    constexpr std::size_t kEstimate = 20 * 2 + 10;
    const std::string leading = info + Void(kEstimate + 1);
    const Outcome refused = WriteMood(File(leading + kClusters), "new");
    EXPECT_EQ(refused.failure, kNotTaggable);
    EXPECT_TRUE(refused.bytes == File(leading + kClusters + NewTags("new"))) << "tail and size are new";
    const Outcome roomier = WriteMood(File(leading + Void(2) + kClusters), "new");
    EXPECT_EQ(Order(roomier.bytes), "SeekHead V15 Info V3 Cluster Cluster Tags ");
}

TEST(MatroskaRetagging, RefusesAndLeavesTheFileAlone) {
    const std::string info = Element(kInfo, "i");
    const std::string live = [&] {
        std::string bytes = File(info + Void(100) + kClusters);
        bytes.replace(bytes.find(IdBytes(kSegment)) + 4, 8, "\xFF");
        return bytes;
    }();
    const struct {
        const char* what;
        std::string file;
        std::string failure;
    } cases[] = {
        {"metadata between Clusters", File(Void(200) + kCluster1 + info + kCluster2), kNotTaggable},
        {"no Cluster", File(info + Void(200)), kNotTaggable},
        {"unknown size in one byte", live, kNotTaggable},
        {"size field too narrow", File(info + Void(60) + kClusters, 1), kNotTaggable},
        {"Tracks that no reader would find any more",
         File(Element(kSeekHead, Seek(kTracks, 60)) + kClusters + Element(kTracks, "t")), kNotTaggable},
        {"a foreign type, of which a log gets no more than it needs",
         Header(std::string(5000, 'x')) + Element(kSegment, kClusters),
         "Unsupported document type: \"" + std::string(64, 'x') + "...\""},
        {"rubbish behind the Segment", File(info + Void(100) + kClusters) + "rubbish", kNotTaggable},
        {"an element behind the Segment", File(info + Void(100) + kClusters) + Element(0xBF, "1234"), ""},
        {"broken tags",
         File(Element(kTags, Element(0x7373, Element(0x63C0, "") + Element(0x63C0, ""))) + kClusters),
         "Corrupted file or unsupported format"},
    };
    for (const auto& c : cases) {
        const Outcome outcome = WriteMood(c.file, "new");
        EXPECT_EQ(outcome.failure, c.failure) << c.what;
        EXPECT_EQ(outcome.bytes == c.file, !c.failure.empty()) << c.what;
    }
}

// Neither the Segment nor a Cluster says how long it is: a Segment that does would lose the Cluster.
TEST(MatroskaRetagging, LiveFilesAreEditedOnlyWhereTheirSizesStay) {
    const std::string unknown = "\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF";
    const auto live = [&](const std::string& leading, bool firstKnown) {
        return Header() + IdBytes(kSegment) + unknown + leading + (firstKnown ? kCluster1 : "") +
               IdBytes(kCluster) + unknown + "sound";
    };
    for (const bool firstKnown : {false, true}) {
        const std::string refused = live(Element(kTracks, "t") + Void(300), firstKnown);
        const Outcome outcome = WriteMood(refused, "new");
        EXPECT_EQ(outcome.failure, kNotTaggable);
        EXPECT_EQ(outcome.bytes, refused);
        const std::string roomy = TagsElement(std::string(100, 'o'));
        const std::string fitted = NewTags("new");
        EXPECT_EQ(WriteMood(live(roomy, firstKnown), "new").bytes,
                  live(fitted + Void(roomy.size() - fitted.size()), firstKnown));
    }
}

TEST(MatroskaRetagging, DropsChecksumsThatNoLongerHold) {
    const std::string checksum = Element(0xBF, "1234");
    const std::string cover = AttachedFile("cover.png", "image/png", "C");
    const std::string same = TagsElement(std::string(100, 'o'));
    const std::string fitted = NewTags("new");
    const std::string rest = Void(same.size() - fitted.size());
    EXPECT_EQ(WriteMood(File(checksum + same + kClusters), "new").bytes,
              File(Void(6) + fitted + rest + kClusters))
        << "of the Segment";
    EXPECT_EQ(WriteMood(File(checksum + Void(400) + kClusters), "new").bytes.find(checksum),
              std::string::npos);
    EXPECT_EQ(Order(Delete(File(kClusters + Element(kAttachments, checksum + cover)), nullptr)),
              "Cluster Cluster ")
        << "is no attachment";
    const std::string head = checksum + Seek(kAttachments, 0);
    const std::size_t before = Element(kSeekHead, head).size() + kClusters.size();
    EXPECT_EQ(Delete(File(Element(kSeekHead, checksum + Seek(kAttachments, before)) + kClusters +
                          Element(kAttachments, cover)),
                     nullptr),
              File(Element(kSeekHead, Void(6) + Void(Seek(kAttachments, 0).size())) + kClusters))
        << "of a SeekHead";
}

TEST(MatroskaRetagging, KeepsWhatItDoesNotUnderstand) {
    const std::string language = Element(0x447A, "fre");
    const std::string nested = SimpleTag("ARTIST", "a", language + SimpleTag("SORT_WITH", "b"));
    const std::string binary = Element(0x67C8, Element(0x45A3, "BLOB") + Element(0x4485, "\1\2"));
    const std::string before =
        File(Element(kTags, Tag(30, nested + binary) +
                                Tag(30, SimpleTag("TITLE", "t1"), Number(0x63C5, 1) + Number(0x63C5, 2)) +
                                Tag(50, SimpleTag("TITLE", "c"), Number(0x63C4, 9)) +
                                Tag(50, SimpleTag("TITLE", "e"), Number(0x63C9, 8)) +
                                Tag(50, SimpleTag("TITLE", "f"), Number(0x63C6, 7))) +
             kClusters + Element(0x1F00FF00 | 0x10000000, "unknown"));
    const auto inTargets = [](const std::string& uid, std::uint64_t level, const std::string& simple) {
        return Element(0x7373, Element(0x63C0, uid + Number(0x68CA, level)) + simple);
    };
    const std::string expected = Element(
        kTags, Tag(30, binary + nested + SimpleTag("MOOD", "m", Element(0x447A, "und") + Number(0x4484, 1))) +
                   inTargets(Number(0x63C4, 9), 50, SimpleTag("TITLE", "c")) +
                   inTargets(Number(0x63C9, 8), 50, SimpleTag("TITLE", "e")) +
                   inTargets(Number(0x63C5, 1), 30, SimpleTag("TITLE", "t1")) +
                   inTargets(Number(0x63C5, 2), 30, SimpleTag("TITLE", "t1")) +
                   inTargets(Number(0x63C6, 7), 50, SimpleTag("TITLE", "f")));
    const std::string after = WriteMood(before, "m").bytes;
    EXPECT_NE(after.find(expected), std::string::npos);
    // A new value makes its SimpleTag new: the language and what was nested in it go.
    const std::string changed = Write(before, [](IDTags& tags) { tags.AddText(u"ARTIST", u"z"); }).bytes;
    EXPECT_NE(changed.find(SimpleTag("ARTIST", "z", Element(0x447A, "und") + Number(0x4484, 1))),
              std::string::npos);
    EXPECT_EQ(changed.find(language), std::string::npos);
}

TEST(MatroskaRetagging, MergesNumbersNamesAndValues) {
    const std::string before =
        File(Element(kTags, Tag(30, SimpleTag("PART_NUMBER", "1")) + Tag(50, SimpleTag("TOTAL_PARTS", "9"))) +
             kClusters);
    const auto edit = [&](std::u16string_view name, std::u16string_view value) {
        return Read(Write(before, [&](IDTags& tags) { tags.AddText(name, value); }).bytes);
    };
    EXPECT_EQ(edit(u"Track", u"3"), "track=3\n") << "the old total goes";
    EXPECT_EQ(edit(u"track", u"3/12"), "track=3/12\n");
    EXPECT_EQ(edit(u"track", u"/12"), "track=/12\n");
    EXPECT_EQ(edit(u"track", u""), "track=1/9\n");
    EXPECT_EQ(edit(u"disc", u"1/2"), "track=1/9\ndisc=1/2\n");
    EXPECT_EQ(edit(u"Date", u"2020"), "track=1/9\ndate=2020\n");
    EXPECT_EQ(edit(u"Release Date", u"2021"), "track=1/9\nrelease date=2021\n");
    EXPECT_EQ(edit(u"album artist", u"A\rB"), "track=1/9\nalbum artist=A|B\n");
    EXPECT_EQ(edit(u"TRACK_NUMBER", u"7"), "track=7/9\n");
    EXPECT_EQ(edit(u"_hidden", u"x"), "track=1/9\n");
    const std::string artist = Write(before, [](IDTags& tags) { tags.AddText(u"album artist", u"A"); }).bytes;
    EXPECT_NE(artist.find(Element(0x45A3, "ARTIST")), std::string::npos);
}

TEST(MatroskaRetagging, MergesPicturesIntoTheAttachments) {
    const std::string font = AttachedFile("f.ttf", "font/ttf", "F");
    const std::string before =
        File(Element(kAttachments, AttachedFile("FRONT COVER.jpg", "image/jpeg", "J") + font + Void(5) +
                                       AttachedFile("booklet 1.png", "image/png", "B")) +
             kClusters);
    const auto edit = [&](std::initializer_list<std::pair<const char16_t*, std::string>> pictures) {
        return Write(before, [&](IDTags& tags) {
            for (const auto& [name, data] : pictures) AddPicture(tags, name, data);
        });
    };
    const std::string front = Png("front"), back = Png("back");
    const Outcome both =
        edit({{u"_albumart_1_Front Album Cover<subdesc>d", front}, {u"_AlbumArt_2_Leaflet Page", back}});
    EXPECT_EQ(both.failure, "");
    EXPECT_EQ(Read(both.bytes), "_albumart_1_Front Album Cover:" + front +
                                    "\n_albumart_2_Leaflet Page:" + back + "\n_albumart_3_booklet 1:B\n");
    EXPECT_NE(both.bytes.find(font), std::string::npos);
    EXPECT_NE(both.bytes.find(Element(0x466E, "cover.png") + Element(0x4660, "image/png")),
              std::string::npos);
    EXPECT_EQ(edit({{u"_albumart_2_Back Album Cover", back}}).bytes, before) << "none has the number 1";
    EXPECT_EQ(edit({{u"_albumart_1_Front Album Cover", ""}}).failure, "Corrupted file or unsupported format");
    EXPECT_EQ(edit({{u"_albumart_1_Front Album Cover", "no image"}}).failure,
              "Malformed or unsupported image");
    EXPECT_EQ(Matroska::FileUidOf({1, 2, 3, 4, 5, 6, 7, 8, 1, 2, 3, 4, 5, 6, 7, 8}), 0U);
    EXPECT_EQ(Matroska::FileUidOf({1, 2, 0, 0, 0, 0, 0, 0, 0, 0, 3}), 0x30201U);
    // Tags that were written before a picture fails stay.
    const Outcome half = Write(before, [](IDTags& tags) {
        tags.AddText(u"MOOD", u"m");
        AddPicture(tags, u"_albumart_1_Front Album Cover", "no image");
    });
    EXPECT_EQ(half.failure, "Malformed or unsupported image");
    EXPECT_EQ(Read(half.bytes), "MOOD=m\n_albumart_1_Front Album Cover:J\n_albumart_2_booklet 1:B\n");
}

TEST(MatroskaDeletion, RemovesNamesPicturesAndAll) {
    const std::string cover = AttachedFile("Cover.png", "image/png", "C");
    const std::string font = AttachedFile("f.ttf", "font/ttf", "F");
    const std::string tags =
        Element(kTags, Tag(50, SimpleTag("TITLE", "a")) +
                           Tag(30, SimpleTag("TITLE", "t") + SimpleTag("PART_NUMBER", "1") +
                                       SimpleTag("DATE_RECORDED", "d")) +
                           Tag(50, SimpleTag("TOTAL_PARTS", "2")) +
                           Tag(30, SimpleTag("TITLE", "s"), Number(0x63C5, 1)));
    const std::string before = File(tags + kClusters + Element(kAttachments, font + cover));
    const auto read = [&](const char16_t* names) { return Read(Delete(before, names)); };
    const std::string picture = "_albumart_1_Front Album Cover:C\n";
    EXPECT_EQ(read(u"track\0"), "ALBUM=a\nTITLE=t\n"s.insert(8, "date=d\n") + picture);
    EXPECT_EQ(read(u"Date\0album\0"), "track=1/2\nTITLE=t\n" + picture);
    EXPECT_EQ(Delete(before, u"nothing\0[Empty]\0"), before);
    EXPECT_EQ(read(u"_albumart_1_Front Album Cover\0"), "track=1/2\nALBUM=a\ndate=d\nTITLE=t\n");
    EXPECT_EQ(Delete(before, u"_albumart_1_Media\0"), before);
    const std::string none = Delete(before, nullptr);
    EXPECT_EQ(Read(none), "");
    EXPECT_NE(none.find(font), std::string::npos);
    EXPECT_NE(none.find(SimpleTag("TITLE", "s")), std::string::npos) << "a track's own tag stays";
    EXPECT_EQ(Delete(none, u""), none) << "there is nothing left to delete";
    // The only attachment goes, with its Seek entry, and the file ends earlier; empty Tags stay.
    const std::size_t head = Element(kSeekHead, Seek(kTags, 0) + Seek(kAttachments, 0)).size();
    const std::string plain = TagsElement("m");
    const std::string both =
        Element(kSeekHead, Seek(kTags, head) + Seek(kAttachments, head + plain.size() + kClusters.size())) +
        plain + kClusters;
    EXPECT_EQ(Delete(File(both + Element(kAttachments, cover)), nullptr),
              File(Element(kSeekHead, Seek(kTags, head) + Void(Seek(kAttachments, 0).size())) +
                   Element(kTags, "") + Void(plain.size() - 5) + kClusters));
    EXPECT_EQ(Order(Delete(File(kClusters + plain), nullptr)), "Cluster Cluster Tags ");
}

}  // namespace
