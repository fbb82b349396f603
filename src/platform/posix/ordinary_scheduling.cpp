#include "platform/posix/ordinary_scheduling.h"

#include <sched.h>
#include <unistd.h>

#include "platform/thread.h"

namespace platform::posix {

namespace {

struct Errand {
    const std::function<int()>& start;
    const cpu_set_t& processors;
    int result = 0;
};

void Run(void* given) {
    auto& errand = *static_cast<Errand*>(given);
    sched_setaffinity(0, sizeof errand.processors, &errand.processors);
    errand.result = errand.start();
}

// The main thread's processors, when they can be told and are others than the calling thread's.
bool OthersThanTheHosts(cpu_set_t& processors) noexcept {
    cpu_set_t own;
    return sched_getaffinity(0, sizeof own, &own) == 0 &&
           sched_getaffinity(getpid(), sizeof processors, &processors) == 0 && !CPU_EQUAL(&own, &processors);
}

}  // namespace

bool IsRealTime() noexcept {
    const int policy = sched_getscheduler(0) & ~SCHED_RESET_ON_FORK;
    return policy == SCHED_FIFO || policy == SCHED_RR;
}

int OnTheProcessorsOfTheHost(const std::function<int()>& start) {
    cpu_set_t processors;
    if (!OthersThanTheHosts(processors)) return start();
    Errand errand{start, processors};
    NativeThread* const thread = StartThread(Run, &errand, CurrentThreadPriority());
    if (thread == nullptr) return start();
    JoinThread(thread);
    return errand.result;
}

}  // namespace platform::posix
