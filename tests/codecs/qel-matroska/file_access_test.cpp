// How files are read and written: little, in an order that a failure can't hurt, and coherently.
#include <gtest/gtest.h>

#include <fstream>
#include <random>

#include "codecs/decoders/ffmpeg/qel-matroska/file_stream.h"
#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "codecs/decoders/ffmpeg/qel-matroska/retagging.h"
#include "codecs/decoders/ffmpeg/qel-matroska/tag_encoding.h"
#include "codecs/decoders/ffmpeg/qel-matroska/tag_update.h"
#include "matroska_file.h"

namespace {

using namespace matroska_file;

// A file stream that counts, keeps what was done to the file, and fails once, at a chosen change of it.
class WatchedFile : public streamImpl {
  public:
    explicit WatchedFile(const std::u16string& path) : streamImpl(path.c_str()) {}

    // A write at a position, or a new size without bytes.
    struct Change {
        std::uint64_t position;
        std::string bytes;
        bool resizes;

        void Apply(std::string& file) const {
            if (resizes) {
                file.resize(position);
            } else {
                file.resize(std::max<std::size_t>(file.size(), position + bytes.size()));
                file.replace(position, bytes.size(), bytes);
            }
        }
    };

    std::vector<Change> changes;
    std::size_t failAt = ~std::size_t{0};
    bool halfWritten = false;  // the failing write gets half of its bytes into the file
    std::uint64_t largestSize = ~std::uint64_t{0};
    std::uint64_t bytesRead = 0;
    std::uint64_t reads = 0;

    using streamImpl::Write;
    void Write(const void* data, std::size_t size) override {
        const std::string bytes(static_cast<const char*>(data), size);
        const bool fails = FailsNow();
        if (fails && halfWritten) streamImpl::Write(data, size / 2);
        if (fails || Tell() + size > largestSize) throw EBML::ParseError();
        changes.push_back({Tell(), bytes, false});
        streamImpl::Write(data, size);
    }
    void SetSize(std::uint64_t size) override {
        if (FailsNow()) throw EBML::ParseError();
        changes.push_back({size, "", true});
        streamImpl::SetSize(size);
    }
    bool TakeRoom(std::uint64_t size) override {
        if (FailsNow() || size > largestSize) return false;
        changes.push_back({size, "", true});
        return streamImpl::TakeRoom(size);
    }

  protected:
    std::size_t ReadFileAt(std::uint64_t position, void* buffer, std::size_t size) override {
        const std::size_t count = streamImpl::ReadFileAt(position, buffer, size);
        bytesRead += count;
        ++reads;
        return count;
    }

  private:
    bool FailsNow() {
        if (failed_ || changes.size() != failAt) return false;
        return failed_ = true;
    }

    bool failed_ = false;
};

// The failure's text, or nothing. Pictures get a random number when they are merged: what was merged first is
// used again, so that runs over one file can be compared.
std::string Update(EBML::StreamRW& stream, IDTags& tags, Matroska::Chain& merged) {
    try {
        Matroska::UpdateFile(
            stream, [&](Matroska::TagRecord& record) { return Matroska::MergeIDTags(tags, record); },
            [&](Matroska::Chain& chain) {
                if (merged.empty() && Matroska::MergeArt(tags, chain)) merged = chain;
                chain = merged;
                return true;
            });
        return "";
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

std::string DeleteAll(EBML::StreamRW& stream) {
    try {
        Matroska::UpdateFile(
            stream,
            [](Matroska::TagRecord& record) { return Matroska::DeleteFromTagRecord(true, {}, record); },
            Matroska::RemoveAllImages);
        return "";
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

// Whether a reader that stops at the first Cluster finds the Tracks: in front of it, or through the SeekHeads
// there.
bool TracksAreFound(const std::string& bytes, std::size_t dataBegin, std::size_t firstCluster) {
    std::vector<Placed> heads;
    for (const Placed& child : Children(bytes, dataBegin, firstCluster)) {
        if (child.id == kTracks) return true;
        if (child.id == kSeekHead) heads.push_back(child);
    }
    for (std::size_t i = 0; i < heads.size() && i < 9; ++i) {
        for (const auto& [id, position] : SeekEntries(heads[i])) {
            const std::size_t target = dataBegin + position;
            if (bytes.compare(target, 4, IdBytes(id)) != 0) continue;
            if (id == kTracks) return true;
            if (id == kSeekHead) heads.push_back(ElementAt(bytes, target, bytes.size()));
        }
    }
    return false;
}

struct Route {
    const char* name;
    std::string body;
    bool deletes = false;
    bool mixes = false;  // both values may be seen for a moment
};

std::vector<Route> Routes() {
    const std::string clusters =
        Element(kCluster, std::string(500, 'c'), 8) + Element(kCluster, std::string(9, 'd'), 8);
    const std::string info = Element(kInfo, "i");
    const std::string tracks = Element(kTracks, std::string(60, 't'));
    const std::string tags = Element(kTags, Tag(30, SimpleTag("MOOD", std::string(200, 'o'))));
    const std::string shortTags = Element(kTags, Tag(30, SimpleTag("MOOD", "o")));
    const std::string cues = Element(kCues, std::string(90, 'u'));
    const std::string cover =
        Element(kAttachments, AttachedFile("cover.png", "image/png", std::string(700, 'p')));
    // A SeekHead that lists everything, in front of the leading area.
    const auto listed = [&](const std::string& leading, const std::string& tail, std::size_t room = 0) {
        std::string head = Element(kSeekHead, "", 8);
        // The second round knows how long the SeekHead is.
        for (int round = 0; round < 2; ++round) {
            std::string seeks;
            const std::string body = head + (room != 0 ? Void(room) : "") + leading + clusters + tail;
            for (const Placed& child : Children(body, 0, body.size())) {
                if (child.id != kCluster && child.id != kVoid && child.id != kSeekHead)
                    seeks += Seek(child.id, child.offset);
            }
            head = Element(kSeekHead, seeks, 8);
        }
        return head + (room != 0 ? Void(room) : "") + leading + clusters + tail;
    };
    return {
        {"in place", info + tracks + tags + cover + clusters},
        {"shorter at the end", info + tracks + clusters + cover + Void(900) + tags},
        {"longer at the end", info + tracks + cover + Void(900) + clusters + shortTags},
        {"several elements, one stays", tags + info + tracks + clusters + tags + cover + tags, false, true},
        {"relayout without SeekHead", Void(20) + clusters + info + tracks + cover},
        {"relayout with a small SeekHead", Void(60) + clusters + info + tracks + cover},
        {"relayout in front", info + Void(800) + clusters + tracks + cover},
        {"deletion", tags + info + tracks + clusters + cover, true},
        {"Tracks behind the Clusters move to the front", listed(info, tracks + cues + tags + cover, 300)},
        {"Tracks in front go behind, others come to the front",
         listed(Element(kTracks, std::string(280, 't')), info + cues + tags + cover)},
        {"Tracks behind the Clusters stay there", listed("", tags + cues + info + tracks)},
        {"everything in front is listed", listed(info + tracks, cues + tags + cover)},
    };
}

// Each route's process is ended before each of its changes, each of its changes fails once, whole and half,
// and each route runs on disks of every size. Files that could be decoded can be, and what is read is the old
// or the new value of tags and of pictures.
TEST(MatroskaFileAccess, EveryStepLeavesAFileThatDecodesWithOldOrNewTags) {
    for (const Route& route : Routes()) {
        const std::string before = Header() + Element(kSegment, route.body, 8);
        const std::size_t dataBegin = Walk(before).dataBegin;
        const std::vector<Placed> old = Walk(before).All(kCluster);
        const bool decodes = TracksAreFound(before, dataBegin, old[0].offset);
        Matroska::Chain merged;
        const auto run = [&](WatchedFile& stream) {
            EXPECT_TRUE(stream.Open(clFile::kRead | clFile::kWrite));
            if (route.deletes) return DeleteAll(stream);
            IDTags newTags;
            newTags.AddText(u"MOOD", u"some new mood");
            AddPicture(newTags, u"_albumart_1_Front Album Cover", Png("new"));
            return Update(stream, newTags, merged);
        };
        const TemporaryFile file(before);
        const auto read = [&] {
            IDTags tags;
            const bool done = MatroskaTags::Read(file.Wide().c_str(), tags, {});
            return Dump(tags) + (done ? "" : "failed");
        };
        const std::string oldTags = read();
        std::vector<WatchedFile::Change> all;
        {
            WatchedFile stream(file.Wide());
            ASSERT_EQ(run(stream), "") << route.name;
            all = stream.changes;
        }
        const std::string done = file.Bytes();
        const std::string newTags = read();
        const auto part = [](const std::string& tags, bool pictures) {
            const std::size_t cut = std::min(tags.find("_albumart"), tags.size());
            return pictures ? tags.substr(cut) : tags.substr(0, cut);
        };
        const auto check = [&](bool whole) {
            const std::string now = file.Bytes();
            for (const Placed& cluster : old) {
                EXPECT_EQ(now.substr(cluster.bodyOffset, cluster.body.size()), cluster.body);
            }
            if (!whole) return;
            EXPECT_TRUE(!decodes || TracksAreFound(now, dataBegin, old[0].offset));
            const std::string tags = read();
            if (route.mixes) return;
            for (const bool pictures : {false, true}) {
                EXPECT_TRUE(part(tags, pictures) == part(oldTags, pictures) ||
                            part(tags, pictures) == part(newTags, pictures))
                    << tags;
            }
        };
        ASSERT_GE(all.size(), 2U);
        std::string state = before;
        for (std::size_t step = 0; step < all.size(); ++step) {
            SCOPED_TRACE(testing::Message() << route.name << ", change " << step << " of " << all.size());
            file.Write(state);
            check(true);
            all[step].Apply(state);
            for (const bool half : {false, true}) {
                file.Write(before);
                {
                    WatchedFile stream(file.Wide());
                    stream.failAt = step;
                    stream.halfWritten = half;
                    EXPECT_TRUE(!run(stream).empty() || file.Bytes() == done) << "a success that isn't one";
                }
                check(!half);
            }
        }
        EXPECT_TRUE(state == done);
        for (std::size_t disk = before.size(); disk < before.size() + 3000; disk += 37) {
            SCOPED_TRACE(testing::Message() << route.name << ", a disk of " << disk);
            file.Write(before);
            WatchedFile stream(file.Wide());
            stream.largestSize = disk;
            const std::string failure = run(stream);
            check(true);
            if (failure.empty()) {
                EXPECT_TRUE(file.Bytes() == done);
            } else {
                EXPECT_TRUE(failure == Matroska::FileNotTaggable().what() ||
                            failure == "This file cannot be tagged")
                    << failure;
                EXPECT_TRUE(part(read(), true) == part(oldTags, true));
            }
        }
    }
}

TEST(MatroskaFileAccess, ReadsAndWritesKilobytesOfAFileOfGigabytes) {
    constexpr std::uint64_t kGigabyte = 1 << 30;
    constexpr std::uint64_t kClusterBody = 5 * kGigabyte;
    const std::string tags = Element(kTags, Tag(30, SimpleTag("MOOD", "old")));
    const std::string cluster = IdBytes(kCluster) + SizeField(kClusterBody, 8);
    for (const bool atEnd : {true, false}) {
        std::string leading = Element(kInfo, "i") + Element(kTracks, "t") + Void(300);
        if (atEnd) {
            const std::size_t head = Element(kSeekHead, Seek(kTags, 0)).size();
            const std::uint64_t position = head + leading.size() + cluster.size() + kClusterBody;
            // The position needs more than the four bytes of the usual entry.
            const std::string seek =
                Element(0x4DBB, Element(0x53AB, IdBytes(kTags)) + Number(0x53AC, position + 4, 8));
            ASSERT_EQ(seek.size(), Seek(kTags, 0).size() + 4);
            leading = Element(kSeekHead, seek) + leading;
        }
        const std::string tail = atEnd ? tags : "";
        const std::string begin = Header() + IdBytes(kSegment) +
                                  SizeField(leading.size() + cluster.size() + kClusterBody + tail.size(), 8) +
                                  leading + cluster;
        const TemporaryFile file(begin);
        std::filesystem::resize_file(file.path(), begin.size() + kClusterBody);
        std::ofstream(file.path(), std::ios::binary | std::ios::app) << tail;
        const std::uint64_t before = std::filesystem::file_size(file.path());
        IDTags newTags;
        newTags.AddText(u"MOOD", u"a new one");
        AddPicture(newTags, u"_albumart_1_Front Album Cover", Png(std::string(1000, 'p')));
        WatchedFile stream(file.Wide());
        ASSERT_TRUE(stream.Open(clFile::kRead | clFile::kWrite));
        Matroska::Chain merged;
        EXPECT_EQ(Update(stream, newTags, merged), "");
        std::uint64_t written = 0;
        for (const auto& change : stream.changes) written += change.bytes.size();
        std::printf("%llu bytes: %llu read in %llu reads, %llu written in %zu changes\n",
                    static_cast<unsigned long long>(before),
                    static_cast<unsigned long long>(stream.bytesRead),
                    static_cast<unsigned long long>(stream.reads), static_cast<unsigned long long>(written),
                    stream.changes.size());
        EXPECT_LT(stream.bytesRead, 64U << 10);
        EXPECT_LT(written, 16U << 10);
        EXPECT_LT(stream.reads, 40U);
        EXPECT_GT(std::filesystem::file_size(file.path()), before);
    }
}

TEST(MatroskaFileAccess, ReadsAHeaderAtEachClusterWithoutASeekHead) {
    constexpr std::uint64_t kClusters = 1000;
    std::string body = Element(kInfo, "i") + Element(kTracks, "t");
    for (std::uint64_t i = 0; i < kClusters; ++i) body += Element(kCluster, std::string(5000, 'c'));
    const TemporaryFile file(Header() + Element(kSegment, body + Element(kTags, ""), 8));
    WatchedFile stream(file.Wide());
    ASSERT_TRUE(stream.Open(clFile::kRead));
    Matroska::ParserRoot root;
    root.Open(stream);
    EXPECT_TRUE(root.HasElement(Matroska::Id::Tags));
    EXPECT_LE(stream.bytesRead, 16 * kClusters + 3 * 4096);
    EXPECT_LE(stream.reads, kClusters + 10);
}

// The window below Read has to show what was written, cut and appended.
TEST(MatroskaFileAccess, TheWindowIsCoherentWithWrites) {
    const TemporaryFile file(std::string(20000, 'x'));
    std::string model = file.Bytes();
    streamImpl stream(file.Wide().c_str());
    ASSERT_TRUE(stream.Open(clFile::kRead | clFile::kWrite));
    std::mt19937 random(1);
    for (int step = 0; step < 3000; ++step) {
        stream.m_range = {0, model.size()};
        const std::size_t position = random() % (model.size() + 1);
        const std::size_t size = random() % (random() % 4 == 0 ? 9000 : 12);
        stream.Seek(position);
        if (random() % 50 == 0) {
            stream.Truncate(position + 100);
            model.resize(position + 100);
        } else if (random() % 3 == 0) {
            const std::string bytes(size, static_cast<char>('a' + step % 26));
            stream.Write(std::as_bytes(std::span(bytes)));
            model.resize(std::max(model.size(), position + size));
            model.replace(position, size, bytes);
        } else if (position + size <= model.size()) {
            std::string bytes(size, ' ');
            stream.Read(bytes.data(), size);
            ASSERT_EQ(bytes, model.substr(position, size)) << step;
            ASSERT_EQ(stream.Tell(), position + size);
        } else {
            char byte = 0;
            EXPECT_THROW(stream.Read(&byte, model.size() - position + 1), EBML::ParseError);
        }
    }
    EXPECT_TRUE(file.Bytes() == model);
}

}  // namespace
