#include "platform/posix/child_ends.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstdint>
#include <mutex>
#include <type_traits>

#include "platform/posix/descriptor.h"

namespace platform::posix {

namespace {

// A bit for each descriptor. No memory has to be had for it, and nothing of it is destroyed when the process
// exits, for a host may go on calling then; what is never touched takes no memory either.
class DescriptorSet {
  public:
    // As many as a process may have on a system that wasn't told otherwise. Higher ones aren't noted.
    static constexpr int kMost = 1 << 20;

    void Add(int descriptor) noexcept {
        if (!Covers(descriptor)) return;
        words_[Word(descriptor)] |= Bit(descriptor);
        if (Word(descriptor) >= used_) used_ = Word(descriptor) + 1;
    }
    void Remove(int descriptor) noexcept {
        if (Covers(descriptor)) words_[Word(descriptor)] &= ~Bit(descriptor);
    }
    // Safe in a forked child of a process with threads.
    void CloseAll() noexcept {
        for (std::size_t word = 0; word < used_; ++word) {
            for (; words_[word] != 0; words_[word] &= words_[word] - 1) {
                close(static_cast<int>(word * kBits) + std::countr_zero(words_[word]));
            }
        }
        used_ = 0;
    }

  private:
    static constexpr std::size_t kBits = 64;

    static bool Covers(int descriptor) noexcept { return descriptor >= 0 && descriptor < kMost; }
    static std::size_t Word(int descriptor) noexcept { return static_cast<std::size_t>(descriptor) / kBits; }
    static std::uint64_t Bit(int descriptor) noexcept {
        return std::uint64_t{1} << (static_cast<std::size_t>(descriptor) % kBits);
    }

    std::uint64_t words_[kMost / kBits] = {};
    std::size_t used_ = 0;  // words up to the highest that ever held a bit
};

constinit std::mutex lock;
constinit DescriptorSet noted;
static_assert(std::is_trivially_destructible_v<std::mutex>);
static_assert(std::is_trivially_destructible_v<DescriptorSet>);

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
    noted.CloseAll();
    lock.unlock();
}

// Unloading the library takes the handlers away again.
[[maybe_unused]] const int registered = pthread_atfork(BeforeFork, InParent, InChild);

template <typename Make>
bool MakeNoted(std::array<int, 2>& made, Make make) noexcept {
    const Section section;
    made = {-1, -1};
    if (make(made.data()) != 0) return false;
    for (int& descriptor : made) descriptor = AboveStandard(descriptor);
    if (made[0] < 0 || made[1] < 0) {
        const int code = errno;
        for (const int descriptor : made) Close(descriptor);
        errno = code;
        return false;
    }
    for (const int descriptor : made) noted.Add(descriptor);
    return true;
}

}  // namespace

bool MakeNotedPipe(std::array<int, 2>& made) noexcept {
    return MakeNoted(made, [](int* ends) { return pipe2(ends, O_CLOEXEC); });
}

bool MakeNotedSocketPair(std::array<int, 2>& made) noexcept {
    return MakeNoted(made,
                     [](int* ends) { return socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends); });
}

void CloseNoted(int descriptor) noexcept {
    const Section section;
    noted.Remove(descriptor);
    Close(descriptor);
}

}  // namespace platform::posix
