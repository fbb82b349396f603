// Random but valid layouts under random edits in a row, checked by a walk of their own. The seed is printed
// and can be given in MATROSKA_SEED, the number of layouts in MATROSKA_ROUNDS.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>

#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "matroska_file.h"

namespace {

using namespace matroska_file;

// What a host should see. Names are in the order of the engine's output.
struct Model {
    std::map<std::string, std::string> texts;                   // by host name, values joined by "|"
    std::vector<std::pair<std::string, std::string>> pictures;  // type and bytes

    std::string Dump() const {
        std::string text;
        if (const auto track = texts.find("track"); track != texts.end())
            text += "track=" + track->second + "\n";
        // The engine's order is that of its own keys.
        std::map<std::string, std::string> byKey;
        for (const auto& [name, value] : texts) {
            const std::string key = name == "date"           ? "DATE_RECORDED"
                                    : name == "album artist" ? "ALBUM_ARTIST"
                                                             : name;
            if (name != "track" && !value.empty()) byKey[key] = name + "=" + value + "\n";
        }
        for (const auto& [key, line] : byKey) text += line;
        int number = 0;
        for (const auto& [type, bytes] : pictures) {
            text += "_albumart_" + std::to_string(++number) + "_" + type + ":" + bytes + "\n";
        }
        return text;
    }
};

class Layout {
  public:
    explicit Layout(std::mt19937_64& random) : random_(random) { Build(); }

    std::string bytes;
    Model model;
    bool taggable = true;  // nothing in it that makes a relayout impossible

  private:
    bool Chance(unsigned percent) { return random_() % 100 < percent; }
    std::size_t Below(std::size_t limit) { return random_() % limit; }
    std::string Filler(std::size_t limit) {
        return std::string(Below(limit), static_cast<char>('a' + Below(26)));
    }
    std::string MaybeVoid() { return Chance(40) ? Void(2 + Below(Chance(10) ? 3000 : 120)) : ""; }
    std::string Checksum() { return Chance(20) ? Element(0xBF, "1234") : ""; }

    std::string TagsElement() {
        model.texts["TITLE"] = "first";
        model.texts["track"] = "1/2";
        const std::string scoped = Tag(30, SimpleTag("TITLE", "scoped"), Number(0x63C5, 5));
        return Element(kTags, Checksum() +
                                  Tag(30, SimpleTag("TITLE", "first") + SimpleTag("PART_NUMBER", "1")) +
                                  scoped + Tag(50, SimpleTag("TOTAL_PARTS", "2")));
    }

    std::string AttachmentsElement() {
        std::string files = AttachedFile("font.ttf", "font/ttf", Filler(500));
        if (Chance(70)) {
            model.pictures.emplace_back("Front Album Cover", Filler(900));
            files += AttachedFile("cover.jpg", "image/jpeg", model.pictures.back().second);
        }
        if (Chance(30)) {
            model.pictures.emplace_back("inlay", Filler(900));
            files += AttachedFile("inlay.jpg", "image/jpeg", model.pictures.back().second);
        }
        return Element(kAttachments, files, Chance(50) ? 8 : 0);
    }

    void Build() {
        std::vector<std::string> metadata{Element(kInfo, Checksum() + Filler(80)),
                                          Element(kTracks, Filler(300))};
        if (Chance(70)) metadata.push_back(Element(kCues, Filler(900)));
        if (Chance(30)) metadata.push_back(Element(kChapters, Filler(100)));
        if (Chance(20)) metadata.push_back(Element(0x18AABBCC, Filler(40)));  // of no known kind
        if (Chance(60)) metadata.push_back(TagsElement());
        if (Chance(50)) metadata.push_back(AttachmentsElement());
        std::shuffle(metadata.begin(), metadata.end(), random_);
        const std::size_t inFront = Chance(10) ? 0 : Below(metadata.size() + 1);
        const bool between = Chance(8);
        const bool withSeekHead = Chance(80);
        const std::size_t inSecond = withSeekHead && Chance(30) ? Below(metadata.size()) : 0;

        // A first pass finds the offsets, which have a fixed width in the Seek entries.
        std::string front = MaybeVoid();
        std::vector<std::pair<std::uint32_t, std::size_t>> placed;
        std::string body;
        const std::size_t entries = metadata.size() - inSecond + (inSecond != 0 ? 1 : 0);
        const std::string checksum = Checksum();
        if (withSeekHead)
            body = Element(kSeekHead, checksum + std::string(entries * Seek(kInfo, 0).size(), ' '), 8);
        const auto place = [&](const std::string& element) {
            placed.emplace_back(0, body.size());
            body += element;
        };
        body += front;
        for (std::size_t i = 0; i < inFront; ++i) {
            place(metadata[i]);
            body += MaybeVoid();
        }
        const std::size_t clusters = 1 + Below(4);
        std::size_t next = inFront;
        for (std::size_t i = 0; i < clusters; ++i) {
            body += Element(kCluster, Filler(2000), Chance(50) ? 8 : 0);
            if (between && i + 1 < clusters && next < metadata.size()) {
                place(metadata[next++]);
                taggable = false;
            } else if (Chance(5) && i + 1 < clusters) {
                body += Void(20);
            }
        }
        for (; next < metadata.size(); ++next) {
            place(metadata[next]);
            body += MaybeVoid();
        }
        if (withSeekHead) {
            std::string seeks;
            std::string second;
            for (std::size_t i = 0; i < metadata.size(); ++i) {
                const std::uint32_t id = IdOf(metadata[i]);
                (i < inSecond ? second : seeks) += Seek(id, placed[i].second);
            }
            if (inSecond != 0) {
                seeks += Seek(kSeekHead, body.size());
                body += Element(kSeekHead, second);
            }
            const std::string first = Element(kSeekHead, checksum + seeks, 8);
            body.replace(0, first.size(), first);
        }
        std::string behind = Chance(15) ? Void(2 + Below(50)) : "";
        if (Chance(4)) {
            behind = "rubbish";
            taggable = false;
        }
        std::string segment = Element(kSegment, body, 8);
        if (Chance(10)) {
            segment.replace(4, 8, "\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF");
            if (!behind.empty() && behind[0] != '\xEC') behind.clear(), taggable = !between;
        }
        bytes = (Chance(10) ? std::string(1 + Below(2000), 'j') : "") + Header() + segment + behind;
    }

    static std::uint32_t IdOf(const std::string& element) {
        return Children(element, 0, element.size()).front().id;
    }

    std::mt19937_64& random_;
};

// What no edit may touch: Clusters where they are, other elements with their bodies.
struct Untouchable {
    std::vector<std::pair<std::size_t, std::string>> clusters;
    std::multimap<std::uint32_t, std::string> others;

    bool operator==(const Untouchable&) const = default;
};

Untouchable Survey(const std::string& bytes) {
    Untouchable result;
    for (const Placed& child : Walk(bytes).children) {
        if (child.id == kCluster) result.clusters.emplace_back(child.offset, child.body);
        const bool replaceable =
            child.id == kTags || child.id == kAttachments || child.id == kSeekHead || child.id == kVoid;
        if (child.id != kCluster && !replaceable) result.others.emplace(child.id, child.body);
    }
    return result;
}

// Every Seek entry says what stands there, and what a SeekHead doesn't list isn't there.
void CheckSeeks(const std::string& bytes) {
    const Segment segment = Walk(bytes);
    for (const auto& [id, offset] : segment.seeks)
        EXPECT_EQ(bytes.substr(offset, IdBytes(id).size()), IdBytes(id)) << offset;
    if (segment.All(kSeekHead).empty()) return;
    for (const Placed& child : segment.children) {
        if (child.id == kVoid || child.id == kCluster || child.id == kSeekHead) continue;
        EXPECT_TRUE(
            std::count(segment.seeks.begin(), segment.seeks.end(), std::pair(child.id, child.offset)) != 0)
            << std::hex << child.id << " isn't listed";
    }
}

std::string Read(const TemporaryFile& file) {
    IDTags tags;
    const bool read = MatroskaTags::Read(file.Wide().c_str(), tags, {});
    return Dump(tags) + (read ? "" : "failed");
}

void AddText(IDTags& tags, const std::string& name, std::string value) {
    std::replace(value.begin(), value.end(), '|', '\r');
    clString wideName, wideValue;
    wideName.SetFromUtf8(name);
    wideValue.SetFromUtf8(value);
    tags.AddText(wideName, wideValue);
}

const std::vector<std::string> kNames{"TITLE", "ALBUM", "ARTIST", "MOOD", "date", "album artist", "track"};

// Does one random edit to the file and to the model; false when the file refused it.
bool EditOnce(const TemporaryFile& file, Model& model, std::mt19937_64& random) {
    const auto below = [&](std::size_t limit) { return random() % limit; };
    if (below(10) == 0) {
        model = {};
        return MatroskaTags::Delete(file.Wide().c_str(), nullptr, {});
    }
    if (below(6) == 0) {
        std::erase_if(model.pictures,
                      [](const auto& picture) { return picture.first == "Front Album Cover"; });
        model.texts.erase("ARTIST");
        model.texts.erase("track");
        return MatroskaTags::Delete(file.Wide().c_str(), u"artist\0_albumart_7_Front Album Cover\0TRACK\0",
                                    {});
    }
    IDTags tags;
    for (std::size_t i = 0; i < 1 + below(3); ++i) {
        const std::string& name = kNames[below(kNames.size())];
        if (tags.count() > 0 && model.texts.contains(name)) continue;  // once in an edit
        const std::string value =
            name == "track" ? std::to_string(below(99)) + (below(2) ? "/99" : "")
                            : std::string(1 + below(below(5) == 0 ? 4000 : 60), 'v') + (below(3) ? "" : "|w");
        model.texts[name] = value;
        AddText(tags, name, value);
    }
    if (below(3) == 0) {
        std::vector<std::pair<std::string, std::string>> pictures;
        pictures.emplace_back("Front Album Cover", Png(std::string(below(3000), 'p')));
        if (below(2) == 0) pictures.emplace_back("inlay", Png(std::string(below(300), 'q')));
        std::erase_if(model.pictures, [&](const auto& old) {
            return std::any_of(pictures.begin(), pictures.end(),
                               [&](const auto& fresh) { return fresh.first == old.first; });
        });
        model.pictures.insert(model.pictures.begin(), pictures.begin(), pictures.end());
        AddPicture(tags, u"_albumart_1_Front Album Cover", pictures[0].second);
        if (pictures.size() > 1) AddPicture(tags, u"_albumart_2_inlay", pictures[1].second);
    }
    return MatroskaTags::Write(file.Wide().c_str(), tags, {});
}

// After a refusal: untouched, or the tags of the same edit done, or (one byte of the leading area that no
// Void can hold) the old leading area before a new tail. In each case Clusters and all in front of them are
// whole.
void CheckRefused(const std::string& before, const std::string& after) {
    if (before == after) return;
    const Untouchable old = Survey(before);
    for (const auto& [offset, body] : old.clusters) {
        const std::string cluster = before.substr(offset, 4);
        EXPECT_EQ(after.substr(offset, 4), cluster);
        EXPECT_NE(after.find(body, offset), std::string::npos);
    }
}

std::uint64_t Setting(const char* name, std::uint64_t otherwise) {
    const char* text = std::getenv(name);
    return text != nullptr ? std::strtoull(text, nullptr, 10) : otherwise;
}

TEST(MatroskaRandomLayouts, SurviveRandomEdits) {
    const std::uint64_t seed = Setting("MATROSKA_SEED", std::random_device()());
    const std::uint64_t rounds = Setting("MATROSKA_ROUNDS", 2000);
    std::printf("MATROSKA_SEED=%llu\n", static_cast<unsigned long long>(seed));
    std::uint64_t edits = 0, refusedClean = 0, refusedBroken = 0, clean = 0;
    const TemporaryFile file;
    for (std::uint64_t round = 0; round < rounds && !testing::Test::HasFailure(); ++round) {
        SCOPED_TRACE(testing::Message() << "seed " << seed << " round " << round);
        std::mt19937_64 random(seed + round);
        const Layout layout(random);
        file.Write(layout.bytes);
        Model model = layout.model;
        ASSERT_EQ(Read(file), model.Dump());
        // Elements that stand behind the Segment go with its end.
        Untouchable kept = Survey(layout.bytes);
        clean += layout.taggable;
        for (int edit = 0; edit < 4; ++edit, ++edits) {
            const std::string before = file.Bytes();
            Model wanted = model;
            if (!EditOnce(file, wanted, random)) {
                (layout.taggable ? refusedClean : refusedBroken) += 1;
                CheckRefused(before, file.Bytes());
                break;
            }
            model = wanted;
            const std::string after = file.Bytes();
            EXPECT_EQ(Read(file), model.Dump());
            EXPECT_TRUE(Survey(after) == kept);
            CheckSeeks(after);
        }
    }
    std::printf("%llu edits, %llu refused on taggable layouts, %llu on others\n",
                static_cast<unsigned long long>(edits), static_cast<unsigned long long>(refusedClean),
                static_cast<unsigned long long>(refusedBroken));
    EXPECT_LE(refusedClean, clean / 50) << "layouts that have a way were refused";
}

}  // namespace
