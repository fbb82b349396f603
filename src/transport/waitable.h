// Waiting, and the aborter that reaches into every wait of a thread.
#pragma once

#include <optional>
#include <span>

#include "platform/event.h"
#include "transport/exceptions.h"

namespace Qel {

// A manual-reset signal; owns its handle unless told otherwise.
class waitable {
  public:
    waitable();  // a new signal of its own; bug_check when there is none to be had
    explicit waitable(platform::EventHandle borrowed) noexcept : handle(borrowed), notOwned(true) {}
    waitable(waitable&& other) noexcept;
    virtual ~waitable();

    void Set() noexcept { platform::SetSignal(handle); }
    void Reset() noexcept { platform::ResetSignal(handle); }
    bool IsSet() const noexcept { return platform::IsSignalled(handle); }

    // Called by a wait once this was signalled; false sends the wait back to sleep.
    virtual bool confirm() { return true; }

    platform::EventHandle handle = platform::EventHandle::None;
    bool notOwned = false;
};

// A signal that ends what a thread is waiting for.
class aborter : public waitable {
  public:
    using waitable::waitable;

    // Takes over a handle.
    static aborter Owning(platform::EventHandle handle) noexcept;
};

// The aborter of the calling thread, or null.
aborter* CurrentAborter() noexcept;

// Its handle, or None.
platform::EventHandle CurrentAbortSignal() noexcept;

// Raises user_abort when the calling thread's aborter is set.
void CheckAbort();

// Makes an aborter the thread's current one until the scope is left. Scopes nest.
class AborterScope {
  public:
    AborterScope() noexcept = default;
    AborterScope(const AborterScope&) = delete;
    AborterScope& operator=(const AborterScope&) = delete;
    ~AborterScope();

    // Raises user_abort, with nothing changed, when the aborter is set already.
    void Enter(aborter& next);

  private:
    aborter* previous = nullptr;
    bool active = false;
};

inline constexpr double kNoTimeLimit = -1.0;

// Waits for one of the objects, and for the current aborter, which raises user_abort. The index of the object
// that was signalled; -1 after `timeoutSeconds` (negative: never) or when the wait failed.
int WaitAny(std::span<waitable* const> waitables, double timeoutSeconds);

}  // namespace Qel
