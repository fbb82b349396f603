// Any tags into any file that may begin with an ID3v2 tag: what is behind the tag stays, what was written is
// read, and writing nothing comes to rest.
#include <algorithm>
#include <string>
#include <vector>

#include "fuzzing.h"
#include "memory_file.h"
#include "support/endian.h"
#include "tags/id3v2/tag_id3v2.h"

namespace {

constexpr const char16_t* kOptions[] = {
    u"ID3v2EncodeUni",      u"ID3v2EncodeUTF8", u"ID3v2WriteV24", u"WriteFullDateInYearTag",
    u"WriteStrictYearDate", u"TPE2Orchestra",   u"TIT1Style"};
constexpr std::size_t kHeader = 3;

class Job {
  public:
    Job(MemoryFile& memory, unsigned options) : memory_(memory), file_(memory.Path()), options_(options) {
        Require(file_.Open(clFile::kRead | clFile::kWrite));
    }

    std::vector<std::byte> Behind() {
        TagID3v2 engine(file_);
        std::vector<std::byte> bytes = memory_.Get();
        const std::uint64_t size = std::min<std::uint64_t>(engine.tagSizeOnDisk(), bytes.size());
        bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
        return bytes;
    }

    // Whatever is written, what is behind the tag is the same afterwards.
    bool Write(const IDTags& tags, std::span<const std::byte> behind) {
        const std::vector<std::byte> before = memory_.Get();
        TagID3v2 engine(file_);
        for (unsigned i = 0; i < std::size(kOptions); ++i) {
            if ((options_ >> i & 1) != 0) engine.SetOption(kOptions[i]);
        }
        const bool written = engine.Write(tags, false);
        const std::vector<std::byte> after = memory_.Get();
        if (!written) Require(after == before);
        Require(after.size() >= behind.size());
        if (written)
            Require(std::equal(behind.begin(), behind.end(),
                               after.end() - static_cast<std::ptrdiff_t>(behind.size())));
        IDTags read;
        Require(engine.Read(read, true));
        return written;
    }

    void Delete(std::span<const std::byte> behind) {
        TagID3v2 engine(file_);
        engine.Delete();
        Require(std::ranges::equal(memory_.Get(), behind));
    }

  private:
    MemoryFile& memory_;
    clFile file_;
    unsigned options_;
};

}  // namespace

// The first byte sets options, the next two tell how many of the others are the tag blob; the rest is the
// file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < kHeader) return -1;
    const auto input = Bytes(data, size);
    const std::size_t blobBytes = std::min<std::size_t>(GetLittle16(input.data() + 1), size - kHeader);
    MemoryFile memory;
    memory.Set(input.subspan(kHeader + blobBytes));
    Job job(memory, data[0]);
    const std::vector<std::byte> behind = job.Behind();

    IDTags tags;
    tags.Parse(input.data() + kHeader, static_cast<std::int32_t>(blobBytes));
    if (!job.Write(tags, behind)) return 0;
    IDTags nothing;
    std::vector<std::byte> before;
    constexpr int kMostSteps = 64;
    int steps = 0;
    do {
        before = memory.Get();
        // Without a tag of ours the bytes behind may look like one.
        if (before == behind) break;
        Require(job.Write(nothing, behind) && ++steps < kMostSteps);
    } while (memory.Get() != before);
    if (job.Behind() == behind) job.Delete(behind);
    return 0;
}
