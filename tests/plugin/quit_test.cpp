#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>

#include "kit/plugin.h"
#include "kit/tools.h"
#include "platform/event.h"

namespace {

class Quit : public testing::Test {
  protected:
    Quit() : name(kit::FreshEventName()), event(platform::OpenNamedSignal(name)) {}
    ~Quit() override {
        platform::CloseSignal(event);
        kit::RemoveEvent(name);
    }

    // Runs `wait`, which blocks until the event is set, and sets it from `setter` meanwhile.
    void Interrupt(const std::function<bool()>& wait, const std::function<void()>& setter) {
        std::thread other(setter);
        EXPECT_FALSE(wait());
        other.join();
        EXPECT_EQ(decoder.ErrorLog(), "") << "quitting is silent";
    }

    const std::u16string name;
    const platform::EventHandle event;
    kit::PluginWithWorker installed{STAND_IN_WORKER};
    kit::TestDecoder decoder{installed.plugin()};
};

// The worker tells when it runs; what it then leaves unsaid is being waited for.
TEST_F(Quit, EndsTheWaitsForTheHeaderAndTheDump) {
    ASSERT_TRUE(decoder.SetEventQuit(name));
    for (const std::u16string habit : {u"silent", u"no-dump-end"}) {
        const std::u16string readyName = kit::FreshEventName();
        const platform::EventHandle ready = platform::OpenNamedSignal(readyName);
        Interrupt([&] { return decoder.Open(u"event-" + readyName + u"/" + habit); },
                  [&] {
                      platform::WaitForAny(std::span(&ready, 1), platform::kForever);
                      platform::SetSignal(event);
                  });
        platform::ResetSignal(event);
        platform::CloseSignal(ready);
        kit::RemoveEvent(readyName);
    }
}

TEST_F(Quit, EndsTheWaitForABlockFromAnotherProcess) {
    ASSERT_TRUE(decoder.SetEventQuit(name));
    ASSERT_TRUE(decoder.Open(u"silent-after-header"));
    Interrupt([&] { return decoder.DecodeBlock(); },
              [&] { kit::Run(SET_EVENT_PROGRAM, {kit::Utf8(std::filesystem::path(name))}); });
    EXPECT_FALSE(decoder.DecodeBlock()) << "the event stays set";
    platform::ResetSignal(event);
    EXPECT_TRUE(decoder.Open(u"dribble")) << "a reset event lets work go on";
}

TEST_F(Quit, StartsNothingWhenSetBefore) {
    // A first run may set up what stays for the process.
    ASSERT_TRUE(decoder.Open(u"dribble") && decoder.Close());
    ASSERT_TRUE(decoder.SetEventQuit(name));
    platform::SetSignal(event);
    const int handles = kit::OpenHandles();
    EXPECT_FALSE(decoder.Open(u"silent"));
    EXPECT_FALSE(decoder.SetPosition(1));
    EXPECT_EQ(kit::OpenHandles(), handles) << "a worker was started";
    EXPECT_FALSE(decoder.DecodeBlock());
    EXPECT_EQ(decoder.ErrorLog(), "");
}

TEST_F(Quit, AnEventCanBeReplaced) {
    const std::u16string second = kit::FreshEventName();
    ASSERT_TRUE(decoder.SetEventQuit(name));
    const int handles = kit::OpenHandles();
    ASSERT_TRUE(decoder.SetEventQuit(second));
    EXPECT_EQ(kit::OpenHandles(), handles);
    platform::SetSignal(event);
    EXPECT_TRUE(decoder.Open(u"dribble")) << "the first event no longer counts";
    kit::RemoveEvent(second);
}

}  // namespace
