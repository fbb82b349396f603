// What a failing file leaves of a tag and of what stands behind it.
#include <gtest/gtest.h>

#include "engine_file.h"
#include "id3v2_bytes.h"
#include "kit/file_faults.h"
#include "tags/id3v2/tag_id3v2.h"

namespace {

using namespace id3v2;

class Id3v2Faults : public EngineFile {
  protected:
    // Lets each operation of the job fail, once: it tells, and the file is the old one to the byte.
    template <typename Job>
    void CheckEach(const std::string& bytes, Job job) {
        for (const auto fault : {kit::FileFault::Once, kit::FileFault::Half}) {
            bool happened = true;
            for (std::size_t at = 0; happened; ++at) {
                SCOPED_TRACE(testing::Message() << "at " << at << " fault " << static_cast<int>(fault));
                ASSERT_LT(at, 200U);
                bool done = false;
                const std::string after = With<TagID3v2>(bytes, [&](TagID3v2& engine) {
                    const kit::FileFaults faults(fault, at);
                    const Presence there = engine.Look();
                    done = there == Presence::Absent || (there == Presence::Present && job(engine));
                    happened = faults.Happened();
                });
                ASSERT_EQ(done, !happened);
                if (happened) {
                    ASSERT_TRUE(after == bytes);
                }
            }
        }
    }
};

TEST_F(Id3v2Faults, AnOperationThatFailsLeavesTheFileAsItWas) {
    const std::string frames = Text(3, "TIT2", "old") + Frame(3, "GEOB", "compressed", 0, 0x80);
    const std::string padded = Tag(3, frames + std::string(100000, '\0'));
    const auto write = [](const std::string& title) {
        return [title](TagID3v2& engine) {
            IDTags tags;
            Fill(tags, {::Text("Title", title)});
            return engine.Write(tags, false);
        };
    };
    for (const std::size_t tail : {0U, 5000U, 200000U}) {
        const std::string audio = std::string(tail / 2, 'a') + std::string(tail / 2, 'b');
        SCOPED_TRACE(tail);
        CheckEach(Tag(3, frames) + audio, write(std::string(50, 'n')));      // grows by less than a block
        CheckEach(Tag(3, frames) + audio, write(std::string(100000, 'n')));  // by more
        CheckEach(padded + audio, write("new"));                             // shrinks
        CheckEach(Tag(3, frames) + audio, [](TagID3v2& engine) { return engine.Delete(); });
        CheckEach(Tag(4, Text(4, "TIT2", "old"), 0x10) + "3DI......." + audio,
                  [](TagID3v2& engine) { return engine.DeleteTag(u"Title"); });
        CheckEach(Tag(3, Text(3, "TIT2", "old^")) + audio, write("new"));  // in place
    }
}

}  // namespace
