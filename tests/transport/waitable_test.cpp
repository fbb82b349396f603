#include "transport/waitable.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/event.h"
#include "transport/thread.h"

namespace {

int Wait(std::initializer_list<Qel::waitable*> objects, double limit) {
    const std::vector<Qel::waitable*> list(objects);
    return Qel::WaitAny(list, limit);
}

TEST(WaitAny, NamesTheObjectThatWasSet) {
    Qel::waitable a;
    Qel::waitable b;
    EXPECT_EQ(Wait({&a, &b}, 0), -1);
    b.Set();
    EXPECT_EQ(Wait({&a, &b}, Qel::kNoTimeLimit), 1);
    EXPECT_EQ(Wait({&a, &b}, Qel::kNoTimeLimit), 1) << "a signal stays set until it is reset";
    b.Reset();
    EXPECT_EQ(Wait({&a, &b}, 0.01), -1);
    std::thread setter([&] { a.Set(); });
    EXPECT_EQ(Wait({&a, &b}, Qel::kNoTimeLimit), 0);
    setter.join();

    std::vector<Qel::waitable> many(40);
    std::vector<Qel::waitable*> pointers;
    for (Qel::waitable& object : many) pointers.push_back(&object);
    many[39].Set();
    EXPECT_EQ(Qel::WaitAny(pointers, Qel::kNoTimeLimit), 39);
}

TEST(WaitAny, SleepsWhenThereIsNothingToWaitFor) {
    const std::uint64_t start = platform::TickMilliseconds();
    EXPECT_EQ(Wait({}, 0.25), -1);
    // The system's clock may tick in steps of 16 milliseconds.
    EXPECT_GE(platform::TickMilliseconds() - start, 230U);
}

TEST(WaitAny, FailsForASignalThatIsNone) {
    Qel::waitable none(platform::EventHandle::None);
    Qel::waitable set;
    set.Set();
    EXPECT_EQ(Wait({&none}, Qel::kNoTimeLimit), -1);
    EXPECT_EQ(Wait({&set, &none}, Qel::kNoTimeLimit), -1);
    EXPECT_FALSE(none.IsSet());
}

TEST(WaitAny, GoesBackToSleepForAnUnconfirmedSignal) {
    struct Reluctant : Qel::waitable {
        bool confirm() override { return ++asked > 3; }
        int asked = 0;
    } object;
    object.Set();
    EXPECT_EQ(Wait({&object}, Qel::kNoTimeLimit), 0);
    EXPECT_EQ(object.asked, 4);
    object.asked = 0;
    EXPECT_EQ(Wait({&object}, 60), 0) << "what is left of a time limit";
    EXPECT_EQ(object.asked, 4);
}

TEST(Aborter, ReachesEveryWaitOfItsScopeAndNoOther) {
    Qel::waitable set;
    set.Set();
    Qel::aborter outer;
    Qel::aborter inner;
    {
        Qel::AborterScope outerScope;
        outerScope.Enter(outer);
        {
            Qel::AborterScope innerScope;
            innerScope.Enter(inner);
            EXPECT_EQ(Wait({&set}, 0), 0) << "the index doesn't count the aborter";
            outer.Set();
            EXPECT_EQ(Wait({&set}, 0), 0) << "an aborter that isn't the current one";
            inner.Set();
            EXPECT_THROW(Wait({&set}, 0), Qel::user_abort);
            EXPECT_THROW(Wait({}, Qel::kNoTimeLimit), Qel::user_abort);
        }
        EXPECT_EQ(Qel::CurrentAborter(), &outer);
        Qel::AborterScope refused;
        EXPECT_THROW(refused.Enter(inner), Qel::user_abort);
        EXPECT_EQ(Qel::CurrentAborter(), &outer) << "a scope that was never entered";
        EXPECT_THROW(Qel::CheckAbort(), Qel::user_abort);
    }
    EXPECT_EQ(Qel::CurrentAborter(), nullptr);
    EXPECT_NO_THROW(Qel::CheckAbort());
}

TEST(Aborter, DuplicateIsTheSameSignal) {
    const platform::EventHandle original = platform::CreateSignal();
    Qel::aborter copy = Qel::aborter::Owning(platform::DuplicateSignal(original));
    platform::SetSignal(original);
    platform::CloseSignal(original);
    EXPECT_TRUE(copy.IsSet());
}

TEST(Thread, IsEndedByItsAborterAndSwallowsExceptions) {
    std::atomic<int> runs = 0;
    std::atomic<bool> aborted = false;
    {
        Qel::thread thread("a name longer than systems take, with \xC3\xA4",
                           Qel::thread::kMakeAborter | Qel::thread::kAbortAtDestroy);
        const int priority = platform::CurrentThreadPriority();
        const auto blocked = [&] {
            ++runs;
            try {
                Wait({}, Qel::kNoTimeLimit);
            } catch (const Qel::user_abort&) {
                aborted = true;
                throw;
            }
        };
        thread.start(blocked, priority);
        while (runs == 0) std::this_thread::yield();
        thread.start([&] { ++runs; }, priority);
        EXPECT_TRUE(aborted) << "a second start ends what the first one began";
        thread.join();
        EXPECT_EQ(runs, 2);
        EXPECT_FALSE(thread.aborter->IsSet()) << "a start takes the earlier stop signal back";
        aborted = false;
        thread.start(blocked, priority);
        while (runs == 2) std::this_thread::yield();
    }
    EXPECT_TRUE(aborted) << "the destructor aborts before it joins";

    Qel::thread plain;
    plain.start([] { throw std::runtime_error("swallowed"); }, platform::CurrentThreadPriority());
    plain.join();
    EXPECT_FALSE(plain.aborter) << "no aborter without the flag";
}

}  // namespace
