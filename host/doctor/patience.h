// An end for what may never end by itself.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace host::doctor {

// Calls `end`, in a thread of its own, when it lives longer than the limit.
class Patience {
  public:
    Patience(std::chrono::milliseconds limit, std::function<void()> end);
    ~Patience();
    Patience(const Patience&) = delete;
    Patience& operator=(const Patience&) = delete;

    // Nothing is called any more. Gives whether the limit had passed.
    bool End();

  private:
    void Wait(std::chrono::milliseconds limit, const std::function<void()>& end);

    std::mutex mutex_;
    std::condition_variable over_;
    bool isOver_ = false;
    bool isLost_ = false;
    std::thread thread_;
};

}  // namespace host::doctor
