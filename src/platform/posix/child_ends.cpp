#include "platform/posix/child_ends.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <new>
#include <vector>

#include "platform/posix/descriptor.h"

namespace platform::posix {

namespace {

std::mutex lock;
std::vector<int> noted;

// Holds the lock with signals blocked: a handler that forks would wait for its own thread.
class Section {
  public:
    Section() noexcept {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
        lock.lock();
    }
    ~Section() {
        lock.unlock();
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;

  private:
    sigset_t before_;
};

void BeforeFork() {
    lock.lock();
}
void InParent() {
    lock.unlock();
}

void InChild() {
    for (const int descriptor : noted) close(descriptor);
    noted.clear();
    lock.unlock();
}

// Unloading the library takes the handlers away again.
const int registered = pthread_atfork(BeforeFork, InParent, InChild);

}  // namespace

bool MakeNotedPipe(std::array<int, 2>& made, std::size_t childIndex) noexcept {
    const Section section;
    made = {-1, -1};
    try {
        noted.reserve(noted.size() + 1);
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return false;
    }
    if (pipe2(made.data(), O_CLOEXEC) != 0) return false;
    for (int& descriptor : made) descriptor = AboveStandard(descriptor);
    if (made[0] < 0 || made[1] < 0) {
        const int code = errno;
        for (const int descriptor : made) Close(descriptor);
        errno = code;
        return false;
    }
    if (registered == 0) noted.push_back(made[childIndex]);
    return true;
}

void CloseMaybeNoted(int descriptor) noexcept {
    const Section section;
    std::erase(noted, descriptor);
    Close(descriptor);
}

}  // namespace platform::posix
