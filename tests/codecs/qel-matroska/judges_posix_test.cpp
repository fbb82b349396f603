// Files that mkvmerge, mkvpropedit and FFmpeg made, edited through the plug-in and judged by those tools: no
// complaint, the same tracks, audio, chapters and other attachments, and the tags and pictures that were
// written.
#include <gtest/gtest.h>

#include <bit>
#include <nlohmann/json.hpp>
#include <set>

#include "kit/files.h"
#include "kit/plugin.h"
#include "kit/tools.h"

namespace {

using nlohmann::json;
namespace fs = std::filesystem;

std::string Shell(const std::string& command) {
    return kit::Run("/bin/sh", {"-c", command});
}

std::string Quoted(const fs::path& path) {
    return "'" + path.string() + "'";
}

json Identify(const fs::path& file) {
    return json::parse(Shell("mkvmerge -J " + Quoted(file)));
}

// What no edit may change.
struct Contents {
    json tracks;
    json chapters;
    std::multiset<std::string> otherAttachments;
    std::string audio;

    bool operator==(const Contents&) const = default;
};

Contents ContentsOf(const fs::path& file, const json& all) {
    Contents contents{all["tracks"], all["chapters"], {}, {}};
    for (json& track : contents.tracks) {
        // Counts of tags aimed at the track; their values are compared as tags.
        std::erase_if(track["properties"].get_ref<json::object_t&>(),
                      [](const auto& property) { return property.first.starts_with("tag_"); });
    }
    for (const json& attachment : all["attachments"]) {
        const std::string type = attachment["content_type"];
        if (!type.starts_with("image/"))
            contents.otherAttachments.insert(attachment["file_name"].get<std::string>() + type +
                                             attachment["size"].dump());
    }
    contents.audio = kit::Ffmpeg({"-i", file.string(), "-map", "0:a", "-c", "copy", "-f", "md5", "-"});
    return contents;
}

std::string Complaints(const fs::path& file, const json& all) {
    std::string complaints;
    for (const char* kind : {"errors", "warnings"}) {
        for (const json& text : all[kind]) complaints += text.get<std::string>() + "\n";
    }
    complaints += Shell("mkvinfo -v -v " + Quoted(file) + " 2>&1 | grep -iE 'warning|error'; mkvextract " +
                        Quoted(file) + " tags /dev/null 2>&1");
    // A font has no codec, of which FFmpeg complains in three lines.
    return complaints + Shell("ffprobe -v warning -err_detect crccheck " + Quoted(file) +
                              " 2>&1 | grep -vE 'Attachment: none|probesize|with id 0'");
}

// The names of attached images.
std::set<std::string> Images(const json& all) {
    std::set<std::string> images;
    for (const json& attachment : all["attachments"]) {
        if (attachment["content_type"].get<std::string>().starts_with("image/"))
            images.insert(attachment["file_name"]);
    }
    return images;
}

std::string Extract(const fs::path& file, const std::string& image) {
    const fs::path out = file.string() + ".picture";
    const json all = Identify(file);
    for (const json& attachment : all["attachments"]) {
        if (attachment["file_name"] == image) {
            Shell("mkvextract " + Quoted(file) + " attachments " + attachment["id"].dump() + ":" +
                  Quoted(out));
        }
    }
    return fs::exists(out) ? kit::ReadFile(out) : "";
}

std::string ExtractedTags(const fs::path& file) {
    const fs::path out = file.string() + ".xml";
    fs::remove(out);
    Shell("mkvextract " + Quoted(file) + " tags " + Quoted(out));
    return fs::exists(out) ? kit::ReadFile(out) : "";
}

class MatroskaJudges : public testing::Test {
  protected:
    MatroskaJudges() : decoder_(plugin_) {
        kit::Ffmpeg(
            {"-f", "lavfi", "-i", "testsrc=size=64x48:rate=1:d=1", "-frames:v", "1", Path("small.png")});
        for (const char* name :
             {"cover.jpg", "cover.webp", "cover.gif", "cover.bmp", "cover.tiff", "cover.jxl", "cover.avif"}) {
            kit::Ffmpeg({"-i", Path("small.png"), "-pix_fmt",
                         std::string(name) == "cover.jpg"    ? "yuvj420p"
                         : std::string(name) == "cover.avif" ? "yuv420p"
                         : std::string(name) == "cover.gif"  ? "pal8"
                                                             : "bgr24",
                         "-frames:v", "1", Path(name)});
        }
        kit::WriteFile(folder_ / "font.ttf", std::string(3000, 'f'));
        kit::WriteFile(
            folder_ / "chapters.txt",
            "CHAPTER01=00:00:00.000\nCHAPTER01NAME=One\nCHAPTER02=00:00:05.000\nCHAPTER02NAME=Two\n");
        kit::WriteFile(folder_ / "tags.xml",
                       "<Tags><Tag><Targets><TargetTypeValue>50</TargetTypeValue></"
                       "Targets><Simple><Name>TITLE</Name><String>Old album</String>"
                       "<TagLanguage>fre</TagLanguage></Simple></Tag><Tag><Targets/><Simple><Name>NESTED</"
                       "Name><String>outer</String>"
                       "<Simple><Name>INNER</Name><String>inner</String></Simple></Simple></Tag></Tags>");
        kit::MakeAudio(Path("plain.mka"), 12, {"-c:a", "flac"});
    }

    std::string Path(const std::string& name) const { return (folder_ / name).string(); }

    bool Write(const fs::path& file, const std::vector<kit::Tag>& tags) {
        return decoder_.WriteTags(file, tags);
    }

    std::vector<kit::Tag> Read(const fs::path& file) {
        EXPECT_TRUE(decoder_.Open(file)) << decoder_.ErrorLog();
        return decoder_.Tags();
    }

    kit::Plugin plugin_;
    kit::TestDecoder decoder_;
    kit::TempFolder folder_;
};

std::string DataOf(const std::vector<kit::Tag>& tags, const std::string& name) {
    for (const kit::Tag& tag : tags) {
        if (tag.name == name) return tag.data;
    }
    return "none";
}

TEST_F(MatroskaJudges, AcceptEveryFileThatWeWrote) {
    const std::string plain = Path("plain.mka");
    const auto ffmpeg = [&](const std::string& name, std::vector<std::string> options) {
        options.insert(options.begin(), {"-i", plain, "-c", "copy"});
        options.push_back(Path(name));
        kit::Ffmpeg(options);
        return name;
    };
    const auto mkvmerge = [&](const std::string& name, const std::string& options) {
        Shell("mkvmerge -q -o " + Quoted(folder_ / name) + " " + options + " " + Quoted(plain));
        return name;
    };
    const std::string attach = "--attachment-mime-type font/ttf --attach-file " +
                               Quoted(folder_ / "font.ttf") + " --attach-file " +
                               Quoted(folder_ / "cover.jpg");
    Shell("ffmpeg -v error -i " + Quoted(plain) + " -c:a libopus -f webm - > " +
          Quoted(folder_ / "live.webm"));
    const std::vector<std::string> files{
        ffmpeg("ffmpeg.mka", {"-metadata", "title=T", "-metadata", "album=A"}),
        ffmpeg("cues_in_front.mka", {"-cues_to_front", "1"}),
        ffmpeg("reserved_index.mka", {"-reserve_index_space", "5000"}),
        ffmpeg("without_checksums.mka", {"-write_crc32", "0"}),
        ffmpeg("attached.mkv", {"-attach", Path("font.ttf"), "-metadata:s:t", "mimetype=font/ttf", "-attach",
                                Path("cover.jpg"), "-metadata:s:t:1", "mimetype=image/jpeg"}),
        ffmpeg("live.mka", {"-live", "1"}),
        "live.webm",
        mkvmerge("mkvmerge.mka", ""),
        mkvmerge("full.mkv", attach + " --chapters " + Quoted(folder_ / "chapters.txt") + " --global-tags " +
                                 Quoted(folder_ / "tags.xml")),
        mkvmerge("several_seek_heads.mka", "--clusters-in-meta-seek --cluster-length 1000ms"),
        mkvmerge("checksums.mka", "--engage all_i_slices_are_key_frames --cluster-length 500ms " + attach),
        mkvmerge("without_cues.mka", "--no-cues"),
    };
    const std::string png = kit::ReadFile(folder_ / "small.png");
    const std::string longText(5000, 'l');
    for (const std::string& name : files) {
        SCOPED_TRACE(name);
        const fs::path file = folder_ / name;
        ASSERT_TRUE(fs::exists(file));
        json all = Identify(file);
        const Contents before = ContentsOf(file, all);
        ASSERT_EQ(Complaints(file, all), "") << "before any edit";
        const auto unchanged = [&](const char* when) {
            all = Identify(file);
            EXPECT_EQ(Complaints(file, all), "") << when;
            EXPECT_TRUE(ContentsOf(file, all) == before) << when;
        };

        ASSERT_TRUE(Write(file, {{"TITLE", "\xC3\x89t\xC3\xA9 <&>", ""},
                                 {"ARTIST", "A\rB", ""},
                                 {"ALBUM", "X", ""},
                                 {"track", "3/12", ""},
                                 {"_albumart_1_Front Album Cover", "", png}}))
            << decoder_.ErrorLog();
        unchanged("tags and a cover");
        const std::vector<kit::Tag> tags = Read(file);
        EXPECT_EQ(ValueOf(tags, "ARTIST"), "A\rB");
        EXPECT_EQ(ValueOf(tags, "track"), "3/12");
        EXPECT_TRUE(DataOf(tags, "_albumart_1_Front Album Cover") == png);
        const std::string xml = ExtractedTags(file);
        for (const char* part : {"\xC3\x89t\xC3\xA9 &lt;&amp;&gt;</String>", "<String>X</String>",
                                 "<Name>TOTAL_PARTS</Name>", "<String>12</String>"})
            EXPECT_NE(xml.find(part), std::string::npos) << part;
        const json probed = json::parse(
            Shell("ffprobe -v error -of json -show_entries format_tags " + Quoted(file)))["format"]["tags"];
        EXPECT_EQ(probed.value("TITLE", probed.value("title", "")), "\xC3\x89t\xC3\xA9 <&>");
        EXPECT_TRUE(Extract(file, "cover.png") == png);
        EXPECT_FALSE(Images(all).contains("cover.jpg")) << "the old cover is still there";

        for (const std::string& text : {longText, std::string("short")}) {
            ASSERT_TRUE(Write(file, {{"COMMENT", text, ""}})) << decoder_.ErrorLog();
            unchanged("a comment");
            EXPECT_EQ(ValueOf(Read(file), "COMMENT"), text);
            EXPECT_NE(ExtractedTags(file).find("<String>" + text + "</String>"), std::string::npos);
        }
        ASSERT_TRUE(decoder_.DeleteTags(file, {"_albumart_1_Front Album Cover", "album"}));
        unchanged("a deletion");
        EXPECT_TRUE(Images(all).empty());
        EXPECT_EQ(ValueOf(Read(file), "ALBUM"), "");
        ASSERT_TRUE(decoder_.DeleteTags(file));
        unchanged("all deleted");
        EXPECT_TRUE(Read(file).empty());
    }
}

TEST_F(MatroskaJudges, WriteWhatWeRead) {
    const fs::path file = folder_ / "edited.mka";
    Shell("mkvmerge -q -o " + Quoted(file) + " " + Quoted(folder_ / "plain.mka"));
    const auto propedit = [&](const std::string& options) {
        return Shell("mkvpropedit " + Quoted(file) + " " + options + " 2>&1 | grep -iE 'warning|error'");
    };
    EXPECT_EQ(propedit("--tags global:" + Quoted(folder_ / "tags.xml") +
                       " --attachment-name front.jpg --add-attachment " + Quoted(folder_ / "cover.jpg")),
              "");
    std::vector<kit::Tag> tags = Read(file);
    EXPECT_EQ(ValueOf(tags, "ALBUM"), "Old album");
    EXPECT_EQ(ValueOf(tags, "NESTED"), "outer");
    EXPECT_EQ(DataOf(tags, "_albumart_1_front"), kit::ReadFile(folder_ / "cover.jpg"));
    // Our edit keeps what it doesn't understand, and their edit of our file is read again.
    ASSERT_TRUE(Write(file, {{"MOOD", "calm", ""}}));
    const std::string xml = ExtractedTags(file);
    EXPECT_NE(xml.find("inner"), std::string::npos);
    EXPECT_NE(xml.find("fre"), std::string::npos);
    EXPECT_EQ(propedit("--delete-attachment 1 --edit info --set title=Again"), "");
    tags = Read(file);
    EXPECT_EQ(ValueOf(tags, "MOOD"), "calm");
    EXPECT_EQ(DataOf(tags, "_albumart_1_front"), "none");
    EXPECT_EQ(Complaints(file, Identify(file)), "");
}

// The MIME types of real pictures, as the tools see them.
TEST_F(MatroskaJudges, SeeTheTypesOfPictures) {
    const std::pair<const char*, const char*> types[] = {{"small.png", "image/png"},
                                                         {"cover.jpg", "image/jpeg"},
                                                         {"cover.webp", "image/webp"},
                                                         {"cover.gif", "image/gif"},
                                                         {"cover.bmp", "image/x-portable-bitmap"},
                                                         {"cover.tiff", "image/tiff"},
                                                         {"cover.jxl", "image/jxl"},
                                                         {"cover.avif", "image/avif"}};
    for (const auto& [name, type] : types) {
        SCOPED_TRACE(name);
        const fs::path file = folder_ / (std::string(name) + ".mka");
        fs::copy_file(folder_ / "plain.mka", file);
        const std::string picture = kit::ReadFile(folder_ / name);
        ASSERT_GT(picture.size(), 20U);
        ASSERT_TRUE(Write(file, {{"_albumart_1_Media", "", picture}})) << decoder_.ErrorLog();
        const json all = Identify(file);
        const json& attachment = all["attachments"].at(0);
        EXPECT_EQ(attachment["content_type"], type);
        EXPECT_TRUE(Extract(file, attachment["file_name"]) == picture);
        EXPECT_TRUE(DataOf(Read(file), "_albumart_1_Media") == picture);
    }
}

// What MediaInfo and FFmpeg say of the file's checksums.
std::string ChecksumComplaints(const fs::path& file) {
    return Shell("mediainfo --Details=1 " + Quoted(file) +
                 " | grep -w NOK; ffmpeg -v error -err_detect crccheck+explode -i " + Quoted(file) +
                 " -map 0:a -f null - 2>&1");
}

TEST_F(MatroskaJudges, FindNoChecksumThatDoesNotHold) {
    const fs::path file = folder_ / "checksums.mkv";
    kit::Ffmpeg({"-i", Path("plain.mka"), "-c", "copy", "-metadata", "album=A", "-attach", Path("cover.jpg"),
                 "-metadata:s:t", "mimetype=image/jpeg", file.string()});
    const std::string before = kit::ReadFile(file);
    std::string broken = before;
    broken[broken.find("\xBF\x84") + 3] ^= 1;
    kit::WriteFile(folder_ / "broken.mkv", broken);
    EXPECT_NE(ChecksumComplaints(folder_ / "broken.mkv"), "") << "the judge sees nothing";
    ASSERT_EQ(ChecksumComplaints(file), "");
    // The only attachment goes, and so does its entry in a SeekHead that has a checksum.
    ASSERT_TRUE(decoder_.DeleteTags(file, {"_albumart_1_Front Album Cover"})) << decoder_.ErrorLog();
    EXPECT_EQ(ChecksumComplaints(file), "");
    EXPECT_EQ(Shell("mkvinfo " + Quoted(file) + " | grep -i attach"), "");
    kit::WriteFile(file, before);
    const std::string png = kit::ReadFile(folder_ / "small.png");
    ASSERT_TRUE(Write(file, {{"ALBUM", "B", ""}, {"_albumart_1_Back Album Cover", "", png}}));
    EXPECT_EQ(ChecksumComplaints(file), "");
    EXPECT_EQ(Images(Identify(file)), (std::set<std::string>{"cover.jpg", "back cover.png"}));
    ASSERT_TRUE(decoder_.DeleteTags(file));
    EXPECT_EQ(ChecksumComplaints(file), "");
}

// A stream that was saved while it was sent: neither the Segment nor its Clusters say how long they are.
TEST_F(MatroskaJudges, PlayTheSamplesOfARefusedLiveFile) {
    const fs::path file = folder_ / "sent.mka";
    kit::Ffmpeg({"-i", Path("plain.mka"), "-c", "copy", "-live", "1", file.string()});
    std::string bytes = kit::ReadFile(file);
    const std::string unknown = "\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF";
    ASSERT_NE(bytes.find("\x18\x53\x80\x67" + unknown), std::string::npos);
    const std::size_t size = bytes.find("\x1F\x43\xB6\x75") + 4;
    bytes.replace(size,
                  static_cast<std::size_t>(std::countl_zero(static_cast<unsigned char>(bytes[size]))) + 1,
                  unknown);
    kit::WriteFile(file, bytes);
    const auto samples = [&] { return kit::Ffmpeg({"-i", file.string(), "-map", "0:a", "-f", "md5", "-"}); };
    const std::string before = samples();
    EXPECT_FALSE(Write(file, {{"ALBUM", std::string(500, 'a'), ""}}));
    EXPECT_EQ(
        decoder_.ErrorLog(),
        "Couldn't update Matroska tags: File can't be retagged, please re-mux it with up-to-date Matroska "
        "tools  [writeTagsInternal]\r\n");
    EXPECT_TRUE(kit::ReadFile(file) == bytes);
    EXPECT_EQ(samples(), before);
}

TEST_F(MatroskaJudges, RefusalsSayWhyInTheLog) {
    kit::WriteFile(folder_ / "broken.mka", "no Matroska file");
    EXPECT_FALSE(Write(folder_ / "broken.mka", {{"TITLE", "x", ""}}));
    EXPECT_FALSE(Write(folder_ / "missing.mka", {{"TITLE", "x", ""}}));
    EXPECT_FALSE(Write(folder_ / "plain.mka", {{"_albumart_1_Media", "", "no picture"}}));
    EXPECT_FALSE(decoder_.DeleteTags(folder_ / "missing.webm"));
    EXPECT_EQ(decoder_.ErrorLog(),
              "Couldn't update Matroska tags: Corrupted file or unsupported format  [writeTagsInternal]\r\n"
              "Couldn't write tags to file: Error opening file '" +
                  Path("missing.mka") +
                  "', check no other program has it open. (win:2)  [writeTagsInternal]\r\n"
                  "Couldn't update Matroska tags: Malformed or unsupported image  [writeTagsInternal]\r\n"
                  "Couldn't write tags to file: Error opening file '" +
                  Path("missing.webm") +
                  "', check no other program has it open. (win:2)  [writeTagsInternal]\r\n");
}

}  // namespace
