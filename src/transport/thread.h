// A thread that its own aborter can end.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/thread.h"
#include "transport/waitable.h"

namespace Qel {

// Used by the thread that owns the object; only the aborter may be set from elsewhere.
class thread {
  public:
    static constexpr std::uint32_t kMakeAborter = 1;     // at start
    static constexpr std::uint32_t kAbortAtDestroy = 2;  // set it before the destructor joins

    explicit thread(std::string threadName = {}, std::uint32_t threadFlags = 0)
        : name(std::move(threadName)), flags(threadFlags) {}
    thread(const thread&) = delete;
    thread& operator=(const thread&) = delete;
    virtual ~thread();

    // Ends a thread that still runs, then runs a copy of `function` in a new one. What leaves the function as
    // an exception is swallowed. bug_check when no thread can be had.
    void start(std::function<void()> function, int priority);

    // Waits for the end without a limit, lending the thread the caller's priority when that is higher.
    void join() noexcept;

    std::string name;  // UTF-8
    std::optional<Qel::aborter> aborter;
    std::uint32_t flags;

  private:
    struct Start;
    static void Body(void* started);

    platform::NativeThread* handle = nullptr;
};

}  // namespace Qel
