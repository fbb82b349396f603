#include "transport/thread.h"

#include <memory>
#include <utility>

namespace Qel {

struct thread::Start {
    std::function<void()> function;
    thread* owner;
};

thread::~thread() {
    if ((flags & kAbortAtDestroy) != 0 && aborter) aborter->Set();
    join();
}

void thread::start(std::function<void()> function, int priority) {
    if (aborter) aborter->Set();
    join();
    if ((flags & kMakeAborter) == 0) {
        aborter.reset();
    } else if (aborter) {
        aborter->Reset();
    } else {
        aborter.emplace();
    }
    auto record = std::make_unique<Start>(Start{std::move(function), this});
    handle = platform::StartThread(Body, record.get(), priority);
    if (handle == nullptr) throw bug_check();
    static_cast<void>(record.release());  // Body has it
}

void thread::Body(void* started) {
    const std::unique_ptr<Start> record(static_cast<Start*>(started));
    try {
        if (!record->owner->name.empty()) platform::NameCurrentThread(record->owner->name);
        AborterScope scope;
        if (record->owner->aborter) scope.Enter(*record->owner->aborter);
        record->function();
    } catch (...) {
        // A thread ends silently: what it failed at shows in what it leaves behind.
    }
}

void thread::join() noexcept {
    if (handle == nullptr) return;
    platform::RaiseToCallersPriority(handle);
    platform::JoinThread(std::exchange(handle, nullptr));
}

}  // namespace Qel
