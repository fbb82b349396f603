#include "transport/waitable.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include "platform/clock.h"

namespace Qel {

namespace {

thread_local aborter* currentAborter = nullptr;

constexpr std::size_t kInlineHandles = 16;

}  // namespace

waitable::waitable() : handle(platform::CreateSignal()) {
    if (handle == platform::EventHandle::None) throw bug_check();
}

waitable::waitable(waitable&& other) noexcept
    : handle(std::exchange(other.handle, platform::EventHandle::None)), notOwned(other.notOwned) {}

waitable::~waitable() {
    if (!notOwned && handle != platform::EventHandle::None) platform::CloseSignal(handle);
}

aborter aborter::Owning(platform::EventHandle handle) noexcept {
    aborter owner(handle);
    owner.notOwned = false;
    return owner;
}

aborter* CurrentAborter() noexcept {
    return currentAborter;
}

platform::EventHandle CurrentAbortSignal() noexcept {
    return currentAborter != nullptr ? currentAborter->handle : platform::EventHandle::None;
}

void CheckAbort() {
    if (currentAborter != nullptr && currentAborter->IsSet()) throw user_abort();
}

AborterScope::~AborterScope() {
    if (active) currentAborter = previous;
}

void AborterScope::Enter(aborter& next) {
    if (next.IsSet()) throw user_abort();
    previous = std::exchange(currentAborter, &next);
    active = true;
}

int WaitAny(std::span<waitable* const> waitables, double timeoutSeconds) {
    const auto limit = timeoutSeconds < 0
                           ? platform::kForever
                           : static_cast<platform::Milliseconds>(std::llround(timeoutSeconds * 1000));
    aborter* const abort = currentAborter;
    const std::size_t objects = abort != nullptr ? 1 : 0;  // where the objects begin, behind the aborter
    const std::size_t count = waitables.size() + objects;
    if (count == 0) {
        platform::Sleep(limit);
        return -1;
    }
    std::array<platform::EventHandle, kInlineHandles> few;
    std::vector<platform::EventHandle> many(count > few.size() ? count : 0);
    platform::EventHandle* const handles = many.empty() ? few.data() : many.data();
    if (abort != nullptr) handles[0] = abort->handle;
    std::transform(waitables.begin(), waitables.end(), handles + objects,
                   [](const waitable* object) { return object->handle; });

    const std::uint64_t start = limit < 0 ? 0 : platform::TickMilliseconds();
    platform::Milliseconds left = limit;
    for (;;) {
        const int signalled = platform::WaitForAny(std::span(handles, count), left);
        if (signalled < 0 || static_cast<std::size_t>(signalled) >= count) return -1;
        const auto index = static_cast<std::size_t>(signalled);
        if (index < objects) {
            if (abort->confirm()) throw user_abort();
        } else if (waitables[index - objects]->confirm()) {
            return static_cast<int>(index - objects);
        }
        if (limit < 0) continue;
        const auto passed = static_cast<platform::Milliseconds>(platform::TickMilliseconds() - start);
        left = std::max<platform::Milliseconds>(limit - passed, 0);
    }
}

}  // namespace Qel
