#include "host/doctor/patience.h"

#include <utility>

namespace host::doctor {

Patience::Patience(std::chrono::milliseconds limit, std::function<void()> end)
    : thread_([this, limit, call = std::move(end)] { Wait(limit, call); }) {}

Patience::~Patience() {
    End();
}

bool Patience::End() {
    {
        const std::lock_guard lock(mutex_);
        isOver_ = true;
    }
    over_.notify_one();
    if (thread_.joinable()) thread_.join();
    return isLost_;
}

void Patience::Wait(std::chrono::milliseconds limit, const std::function<void()>& end) {
    {
        std::unique_lock lock(mutex_);
        if (over_.wait_for(lock, limit, [this] { return isOver_; })) return;
        isLost_ = true;
    }
    end();
}

}  // namespace host::doctor
