#include "platform/thread.h"

#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <mutex>
#include <new>

namespace platform {

// A thread's priority is its nice value: the scheduling class is inherited from the creator anyway.
struct NativeThread {
    pthread_t id{};
    std::mutex lock;
    pid_t systemId = 0;  // 0 before it runs and once it has ended: the system may give the number away then
    void (*body)(void*) = nullptr;
    void* argument = nullptr;
    int priority = 0;
};

namespace {

constexpr std::size_t kNameBytes = 15;

pid_t CurrentSystemId() noexcept {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

int PriorityOf(pid_t thread) noexcept {
    return getpriority(PRIO_PROCESS, static_cast<id_t>(thread));
}

void SetPriority(pid_t thread, int priority) noexcept {
    // Without the right to raise itself a thread keeps what it has.
    if (PriorityOf(thread) != priority) setpriority(PRIO_PROCESS, static_cast<id_t>(thread), priority);
}

void* Run(void* started) {
    auto* thread = static_cast<NativeThread*>(started);
    {
        const std::lock_guard guard(thread->lock);
        thread->systemId = CurrentSystemId();
        SetPriority(thread->systemId, thread->priority);
    }
    thread->body(thread->argument);
    const std::lock_guard guard(thread->lock);
    thread->systemId = 0;
    return nullptr;
}

// The host's signal handlers expect its own threads. What a fault in this thread raises still arrives.
sigset_t SignalsOfTheHost() noexcept {
    sigset_t signals;
    sigfillset(&signals);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
        sigdelset(&signals, fault);
    }
    return signals;
}

}  // namespace

NativeThread* StartThread(void (*body)(void*), void* argument, int priority) noexcept {
    auto* thread = new (std::nothrow) NativeThread;
    if (thread == nullptr) return nullptr;
    thread->body = body;
    thread->argument = argument;
    thread->priority = priority;
    const sigset_t blocked = SignalsOfTheHost();
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const int code = pthread_create(&thread->id, nullptr, Run, thread);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (code == 0) return thread;
    delete thread;
    return nullptr;
}

void JoinThread(NativeThread* thread) noexcept {
    pthread_join(thread->id, nullptr);
    delete thread;
}

int CurrentThreadPriority() noexcept {
    return PriorityOf(CurrentSystemId());
}

void RaiseToCallersPriority(NativeThread* thread) noexcept {
    const int callers = CurrentThreadPriority();
    const std::lock_guard guard(thread->lock);
    // A lower nice value is a higher priority.
    if (thread->systemId != 0 && callers < PriorityOf(thread->systemId)) {
        SetPriority(thread->systemId, callers);
    }
}

void NameCurrentThread(const std::string& utf8) {
    pthread_setname_np(pthread_self(), utf8.substr(0, kNameBytes).c_str());
}

}  // namespace platform
