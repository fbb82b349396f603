// A host's way through a file, with memory refused at every place of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

#include "fault_plan.h"
#include "id3v2_bytes.h"
#include "kit/plugin.h"
#include "kit/tools.h"
#include "tag_bytes.h"

namespace {

using kit::Tag;

class MemoryFaults : public testing::TestWithParam<std::tuple<const char*, Fault>> {
  protected:
    MemoryFaults() {
        kit::WriteFile(folder_ / "a.tta", id3v2::Tag(3, id3v2::Text(3, "TIT2", "front^")) + "audio" +
                                              Ape({{"Title", "behind"}}) + Id3v1({.title = "end"}));
        kit::MakeAudio(folder_ / "a.mka", 0.1);
        kit::Ffmpeg({"-f", "lavfi", "-i", "testsrc=size=16x16:rate=1:d=1", "-frames:v", "1",
                     kit::Utf8(folder_ / "a.png")});
        kit::TestDecoder decoder(plugin_);
        const std::string cover = kit::ReadFile(folder_ / "a.png");
        EXPECT_TRUE(decoder.WriteTags(folder_ / "a.mka",
                                      {Text("TITLE", "t"), Binary("_albumart_1_Front Album Cover", cover)}))
            << decoder.ErrorLog();
    }

    ~MemoryFaults() override { kit::RemoveEvent(event_); }

    // Whether all of it succeeds.
    bool Play(kit::TestDecoder& decoder, const std::filesystem::path& file) {
        if (!decoder.SetEventQuit(event_) || !decoder.Open(file)) return false;
        tags_ = decoder.Tags();
        return decoder.DecodeBlock() && decoder.SetPosition(100) && decoder.DecodeBlock() && decoder.Close();
    }

    const kit::TempFolder folder_;
    const kit::PluginWithWorker installed_{STAND_IN_WORKER, FAULTY_PLUGIN_FILE};
    const kit::Plugin& plugin_ = installed_.plugin();
    const kit::Library library_{installed_.path()};
    const ArmFaultFunction arm_ = reinterpret_cast<ArmFaultFunction>(library_.Find("ArmFault"));
    const MemoryRequestsFunction requests_ =
        reinterpret_cast<MemoryRequestsFunction>(library_.Find("MemoryRequests"));
    const std::u16string event_ = kit::FreshEventName();
    std::vector<Tag> tags_;  // of the last Open
};

TEST_P(MemoryFaults, AreToldAndPass) {
    const std::filesystem::path file = folder_ / std::get<0>(GetParam());
    kit::TestDecoder undisturbed(plugin_);
    ASSERT_TRUE(Play(undisturbed, file)) << undisturbed.ErrorLog();
    const std::vector<Tag> tags = tags_;
    FaultPlan plan{.fault = std::get<1>(GetParam())};
    for (bool refused = true; refused; plan.at += MEMORY_STEP) {
        SCOPED_TRACE(plan.at);
        tags_ = tags;
        arm_(&plan);
        kit::TestDecoder decoder(plugin_);
        const bool played = decoder.get() != nullptr && Play(decoder, file);
        refused = requests_() > plan.at;
        arm_(nullptr);
        EXPECT_TRUE(played || refused);
        EXPECT_EQ(tags_, tags) << "opened, yet not with all tags";
        if (decoder.get() == nullptr) continue;
        alignas(8) DecoderParam failure{};
        plugin_.Get(decoder.get(), DECODER_GET_LAST_FAILURE, &failure);
        if (!played) {
            // Or by what it was needed for: never by what the file isn't.
            EXPECT_THAT(failure.value,
                        testing::AnyOf(DECODER_FAILURE_OUT_OF_MEMORY, DECODER_FAILURE_NO_RESOURCES,
                                       DECODER_FAILURE_QUIT_EVENT, DECODER_FAILURE_TAG_UNREADABLE));
            EXPECT_NE(failure.text, nullptr);
        }
        EXPECT_TRUE(Play(decoder, file)) << decoder.ErrorLog();
        EXPECT_EQ(tags_, tags);
    }
}

INSTANTIATE_TEST_SUITE_P(, MemoryFaults,
                         testing::Combine(testing::Values("a.tta", "a.mka"),
                                          testing::Values(Fault::NoMemory, Fault::OutOfMemory)),
                         [](const auto& row) {
                             return std::string(std::get<0>(row.param)).substr(2) +
                                    (std::get<1>(row.param) == Fault::NoMemory ? "Once" : "FromThenOn");
                         });

}  // namespace
