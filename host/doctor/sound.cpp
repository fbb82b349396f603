#include "host/doctor/sound.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <thread>

#include "host/doctor/specimens.h"
#include "host/files/whole_file.h"
#include "host/system/interruption.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host::doctor {

namespace {

using Clock = std::chrono::steady_clock;

// Decodes a file over and over until a call fails, which a set quit event makes it do.
class EndlessDecode {
  public:
    EndlessDecode(const Context& context, const std::string& file)
        : file_(ToPath(file)), decoder_(context.plugin()) {
        decoder_.Use(event_);
        if (!decoder_.TryOpen(file_)) throw Failure("the tone can't be opened");
    }

    // Sets the event from another thread when the first block has come. Gives how long the decode then went
    // on; nothing when it didn't end.
    std::optional<std::chrono::milliseconds> BreakOff() {
        constexpr auto kPatience = std::chrono::seconds(10);
        if (!decoder_.TryDecodeBlock()) throw Failure("the tone can't be decoded");
        std::atomic<Clock::time_point> set = Clock::time_point::max();
        std::thread other([&] {
            set = Clock::now();
            event_.Set();
        });
        const Clock::time_point deadline = Clock::now() + kPatience;
        bool works = true;
        while (works && Clock::now() < deadline && system::InterruptionCode() == 0) works = Step();
        const Clock::time_point end = Clock::now();
        other.join();
        if (const int code = system::InterruptionCode()) throw Interruption{code};
        if (works) return std::nullopt;
        return std::chrono::ceil<std::chrono::milliseconds>(end - set.load());
    }

    // Whether an event that was taken back lets the decoder work again.
    bool WorksAgain() {
        event_.Reset();
        return decoder_.TryOpen(file_) && decoder_.TryDecodeBlock();
    }

  private:
    bool Step() {
        const std::optional<decoder_plugin::Block> block = decoder_.TryDecodeBlock();
        if (!block) return false;
        return !block->last || decoder_.TrySetPosition(0);
    }

    decoder_plugin::Source file_;
    decoder_plugin::QuitEvent event_;
    decoder_plugin::Decoder decoder_;
};

constexpr const char* kAnotherWorker = "; try another build of FFmpeg as the worker";

}  // namespace

std::string DifferenceFromTone(Session& session, std::uint32_t firstFrame) {
    const FileBytes tone = ToneSamples();
    auto expected = tone.begin() + static_cast<std::ptrdiff_t>(firstFrame) * kToneFrameSize;
    for (;;) {
        const decoder_plugin::Block block = session.DecodeBlock();
        const auto left = static_cast<std::size_t>(tone.end() - expected);
        if (block.samples.size() > left) return "more samples came than there are";
        if (!std::equal(block.samples.begin(), block.samples.end(), expected)) {
            return "samples differ near frame " + std::to_string((expected - tone.begin()) / kToneFrameSize);
        }
        expected += static_cast<std::ptrdiff_t>(block.samples.size());
        if (!block.last) continue;
        if (expected == tone.end()) return {};
        return "only " + std::to_string((expected - tone.begin()) / kToneFrameSize) + " of " +
               std::to_string(kToneRate) + " frames came";
    }
}

Finding CheckTone(const Context& context, const std::string& file) {
    constexpr std::uint32_t kMiddle = kToneRate / 2;
    WriteWholeFile(file, ToneAsWav());
    try {
        Session session(context);
        const Clock::time_point before = Clock::now();
        session.Open(file, 0);
        std::string difference = DifferenceFromTone(session, 0);
        const auto took = std::chrono::ceil<std::chrono::milliseconds>(Clock::now() - before).count();
        if (difference.empty()) {
            session.SetPosition(kMiddle);
            difference = DifferenceFromTone(session, kMiddle);
            if (!difference.empty()) difference = "after a seek to its middle " + difference;
        }
        if (!difference.empty()) return {"tone", Verdict::Wrong, difference + kAnotherWorker};
        return {"tone",
                Verdict::Ok,
                "comes out sample for sample, also after a seek (" + std::to_string(took) + " ms)",
                {{"milliseconds", took}}};
    } catch (const Failure& failure) {
        return {"tone", Verdict::Wrong, failure.what() + std::string(kAnotherWorker)};
    }
}

Finding CheckQuitEvent(const Context& context, const std::string& file) {
    WriteWholeFile(file, ToneAsWav());
    EndlessDecode decode(context, file);
    const auto took = decode.BreakOff();
    if (!took)
        return {"quit event", Verdict::Wrong, "is set, and the decoder goes on; install decoder_ffmpeg anew"};
    if (!decode.WorksAgain()) {
        return {"quit event", Verdict::Wrong,
                "was taken back, and the decoder stays ended; install decoder_ffmpeg anew"};
    }
    return {"quit event",
            Verdict::Ok,
            "ends a decode (" + std::to_string(took->count()) + " ms)",
            {{"milliseconds", took->count()}}};
}

}  // namespace host::doctor
