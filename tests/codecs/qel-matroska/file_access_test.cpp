// How files are read and written: little, in an order that a failure can't hurt, and coherently.
#include <gtest/gtest.h>

#include <random>

#include "codecs/decoders/ffmpeg/qel-matroska/file_stream.h"
#include "codecs/decoders/ffmpeg/qel-matroska/tag_encoding.h"
#include "codecs/decoders/ffmpeg/qel-matroska/tag_update.h"
#include "matroska_file.h"

namespace {

using namespace matroska_file;

// A file stream that counts, keeps what was done to the file, and fails at a chosen change of it.
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
    std::uint64_t bytesRead = 0;
    std::uint64_t reads = 0;

    using streamImpl::Write;
    void Write(const void* data, std::size_t size) override {
        const std::string bytes(static_cast<const char*>(data), size);
        if (changes.size() == failAt) {
            if (halfWritten) streamImpl::Write(data, size / 2);
            throw EBML::ParseError();
        }
        changes.push_back({Tell(), bytes, false});
        streamImpl::Write(data, size);
    }
    void SetSize(std::uint64_t size) override {
        if (changes.size() == failAt) throw EBML::ParseError();
        changes.push_back({size, "", true});
        streamImpl::SetSize(size);
    }

  protected:
    std::size_t ReadFileAt(std::uint64_t position, void* buffer, std::size_t size) override {
        const std::size_t count = streamImpl::ReadFileAt(position, buffer, size);
        bytesRead += count;
        ++reads;
        return count;
    }
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

TEST(MatroskaFileAccess, AFailureLeavesTheFileAsFarAsTheWritesWent) {
    const std::string clusters =
        Element(kCluster, std::string(500, 'c'), 8) + Element(kCluster, std::string(9, 'd'), 8);
    const std::string info = Element(kInfo, "i");
    const std::string tracks = Element(kTracks, std::string(60, 't'));
    const std::string tags = Element(kTags, Tag(30, SimpleTag("MOOD", std::string(200, 'o'))));
    const std::string cover =
        Element(kAttachments, AttachedFile("cover.png", "image/png", std::string(700, 'p')));
    const struct {
        const char* route;
        std::string body;
        bool leadingAreaLast;
        bool deletes = false;
    } cases[] = {
        {"in place", info + tracks + tags + cover + clusters, false},
        {"at the end", info + tracks + clusters + cover + Void(900) + tags, false},
        {"several elements, one stays", tags + info + tracks + clusters + tags + cover + tags, false},
        {"relayout without SeekHead", Void(20) + clusters + info + tracks + cover, true},
        {"relayout with a small SeekHead", Void(60) + clusters + info + tracks + cover, true},
        {"relayout in front", info + Void(800) + clusters + tracks + cover, true},
        {"deletion", tags + info + tracks + clusters + cover, false, true},
    };
    for (const auto& c : cases) {
        const std::string before = Header() + Element(kSegment, c.body, 8);
        const std::size_t dataBegin = Walk(before).dataBegin;
        const std::vector<Placed> old = Walk(before).All(kCluster);
        Matroska::Chain merged;
        const auto run = [&](WatchedFile& stream) {
            EXPECT_TRUE(stream.Open(clFile::kRead | clFile::kWrite));
            if (c.deletes) return DeleteAll(stream);
            IDTags newTags;
            newTags.AddText(u"MOOD", u"new");
            AddPicture(newTags, u"_albumart_1_Front Album Cover", Png("new"));
            return Update(stream, newTags, merged);
        };
        const TemporaryFile file(before);
        std::vector<WatchedFile::Change> all;
        {
            WatchedFile stream(file.Wide());
            ASSERT_EQ(run(stream), "") << c.route;
            all = stream.changes;
        }
        ASSERT_GE(all.size(), 3U);
        for (std::size_t failAt = 0; failAt < all.size(); ++failAt) {
            for (const bool half : {false, true}) {
                SCOPED_TRACE(testing::Message() << c.route << ", change " << failAt << (half ? " half" : ""));
                file.Write(before);
                {
                    WatchedFile stream(file.Wide());
                    stream.failAt = failAt;
                    stream.halfWritten = half;
                    EXPECT_NE(run(stream), "");
                }
                std::string expected = before;
                for (std::size_t i = 0; i < failAt; ++i) all[i].Apply(expected);
                WatchedFile::Change last = all[failAt];
                last.bytes.resize(last.bytes.size() / 2);
                if (half && !last.resizes) last.Apply(expected);
                // compared.
                const std::string after = file.Bytes();
                EXPECT_TRUE(after == expected);
                for (const Placed& cluster : old) {
                    EXPECT_EQ(after.substr(cluster.bodyOffset, cluster.body.size()), cluster.body);
                }
                const bool tagsDone =
                    std::any_of(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(failAt),
                                [&](const auto& change) { return change.position == dataBegin; });
                if (c.leadingAreaLast && !tagsDone && !(half && last.position == dataBegin)) {
                    EXPECT_EQ(after.substr(dataBegin, old[0].offset - dataBegin),
                              before.substr(dataBegin, old[0].offset - dataBegin))
                        << "the leading area goes last";
                }
            }
        }
        if (c.leadingAreaLast) {
            const auto leading = std::find_if(
                all.begin(), all.end(), [&](const auto& change) { return change.position == dataBegin; });
            ASSERT_NE(leading, all.end());
            EXPECT_EQ(leading->bytes.size(), old[0].offset - dataBegin) << "in a single write";
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
