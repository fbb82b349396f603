// Large pictures stay in the file while its tags are read and go from there into the blob. A reader that
// holds everything in memory is the judge.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "id3v2_bytes.h"
#include "kit/file_faults.h"
#include "kit/files.h"
#include "tag_bytes.h"
#include "tags/std_tags.h"

namespace {

using namespace id3v2;

const std::string kAudio(1000, 'a');

// Bytes of which none is like its neighbours: a picture from a wrong place shows.
std::string Image(std::size_t bytes) {
    std::string image;
    for (std::size_t i = 0; image.size() < bytes; ++i) image += std::to_string(i * 2654435761U) + '\xFF';
    return image.substr(0, bytes);
}

struct Outcome {
    bool read;
    std::string version;
    std::string blob;
    friend bool operator==(const Outcome&, const Outcome&) = default;
};

std::string Characters(const clBuffer& buffer) {
    return {reinterpret_cast<const char*>(buffer.data()), buffer.size()};
}

Outcome WithLargeValuesLeft(const clString& path) {
    clBuffer blob;
    clString version;
    const bool read = ReadStdTagBlob(path, blob, version, {});
    return {read, version.Utf8(), read ? Characters(blob) : ""};
}

Outcome AllInMemory(const clString& path) {
    IDTags tags;
    clBuffer blob;
    clString version;
    const bool read = ReadStdTags(path, tags, version, {}) && tags.Serialise(blob);
    return {read, version.Utf8(), read ? Characters(blob) : ""};
}

class LargeValues : public testing::Test {
  protected:
    clString Path(const std::string& bytes) const {
        kit::WriteFile(file_, bytes);
        return std::u16string_view(file_.u16string());
    }

    kit::TempFolder folder_;
    std::filesystem::path file_ = folder_ / "song.tta";
};

std::string Cover(const std::string& front, std::size_t bytes) {
    return front + Image(bytes);
}

TEST_F(LargeValues, GiveTheSameBlobAsWhenAllIsInMemory) {
    const std::string front = Nul("cover.jpg^");
    const auto ape = [](const std::string& value, std::uint32_t flags = 2) {
        return kAudio + Ape({{"Title", "t"}, {"Cover Art (Front)", value, flags}, {"Artist", "a"}});
    };
    const auto apic = [](int version, const std::string& head, std::size_t bytes, int format = 0) {
        return Tag(version,
                   Text(version, version == 2 ? "TT2" : "TIT2", "t") +
                       Frame(version, version == 2 ? "PIC" : "APIC", Nul(head) + Image(bytes), 0, format) +
                       Text(version, version == 2 ? "TP1" : "TPE1", "a")) +
               kAudio;
    };
    std::vector<std::string> files;
    for (const std::size_t bytes : {16000U, 16384U, 20000U, 300000U}) {
        files.push_back(ape(Cover(front, bytes)));
        files.push_back(ape(std::string(bytes, 'x')));                          // no file name at all
        files.push_back(ape(Nul(std::string(bytes - 1, 'x') + "^")));           // and nothing behind it
        files.push_back(ape(Cover(Nul(std::string(3000, 'n') + "^"), bytes)));  // a long one
        files.push_back(ape(Cover(front, bytes), 0));                           // a text
        files.push_back(ape(Cover(front, bytes)) + Id3v1({.title = "v1"}));
        files.push_back(kAudio +
                        Ape({{"Data", Cover(front, bytes), 2}, {"Cover Art (Back)", "b" + kNul + "c", 2}}));
        files.push_back(kAudio + Ape({{"Cover Art (Front)", Cover(front, bytes), 2}}, {.size = 500}));
        files.push_back(kAudio + Ape({{"Cover Art (Front)", Cover(front, bytes), 2}}, {.header = false}));
        files.push_back(apic(2, "^JPG\x03^", bytes));
        files.push_back(apic(2, "\x05JPG\x03^", bytes));  // an encoding that there isn't
        files.push_back(apic(3, "^image/jpeg^\x03^", bytes));
        files.push_back(apic(4, "^image/jpeg^\x03^", bytes));
        files.push_back(apic(4, "^image/jpeg^\x03^", bytes, 0x02));     // unsynchronised
        files.push_back(apic(4, "^^^^image/jpeg^\x03^", bytes, 0x01));  // behind a data length
        files.push_back(apic(3,
                             "\x01image/png^\x04\xFF\xFE"
                             "d^^^",
                             bytes));  // a UTF-16 description
        files.push_back(apic(3, "^image/png^\x04" + std::string(2000, 'd') + "^", bytes));  // a long one
        files.push_back(apic(3, "^image/png^\x04" + std::string(600, 'd'), bytes));  // of which nothing ends
        files.push_back(apic(3, "^image/jpeg^\x03^", bytes) +
                        Ape({{"Cover Art (Front)", Cover(front, bytes), 2}}));
    }
    // Sizes that the file doesn't hold, and one version's frames in a tag of another one.
    const std::string whole = apic(3, "^image/jpeg^\x03^", 100000);
    for (const std::size_t cut : {60000U, 1000U}) files.push_back(whole.substr(0, cut));
    std::string misstated = whole;
    misstated[3] = '\x04';
    files.push_back(misstated);
    files.push_back(Tag(3, Frame(3, "APIC", Nul("^image/jpeg^\x03^") + Image(50000)), 0x80) + kAudio);

    for (std::size_t i = 0; i < files.size(); ++i) {
        SCOPED_TRACE(i);
        const clString path = Path(files[i]);
        EXPECT_TRUE(WithLargeValuesLeft(path) == AllInMemory(path));
    }
}

// A picture that can't be read when its turn comes is no picture, and never something else.
TEST_F(LargeValues, AFailingFileGivesWhatReadingIntoMemoryGives) {
    const std::string cover = Cover(Nul("cover.jpg^"), 100000);
    const std::string frame = Frame(3, "APIC", Nul("^image/jpeg^\x03^") + Image(100000));
    const Outcome nothing{true, "", std::string(4, '\0')};
    for (const std::string& bytes :
         {kAudio + Ape({{"Cover Art (Front)", cover, 2}}), Tag(3, frame) + kAudio}) {
        const clString path = Path(bytes);
        const Outcome good = AllInMemory(path);
        ASSERT_GT(good.blob.size(), 100000U);
        for (const auto fault : {kit::FileFault::Once, kit::FileFault::Half}) {
            bool happened = true;
            bool lastWasGood = false;
            for (std::size_t at = 0; happened; ++at) {
                SCOPED_TRACE(testing::Message() << "at " << at << " fault " << static_cast<int>(fault));
                ASSERT_LT(at, 200U);
                const kit::FileFaults faults(fault, at);
                const Outcome outcome = WithLargeValuesLeft(path);
                happened = faults.Happened();
                EXPECT_TRUE(!outcome.read || outcome == good || outcome == nothing);
                lastWasGood = outcome == good;
            }
            EXPECT_TRUE(lastWasGood);
        }
    }
}

}  // namespace
