// The line on standard error that shows how far a decode has come.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace host {

// Draws only where standard error is a terminal, a few times a second.
class Progress {
  public:
    // The total in milliseconds, 0 when unknown.
    Progress(std::uint64_t totalMs, bool wanted);
    // Ends the line.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Update(std::uint64_t positionMs);

    // Draws the position that was given last, whatever the time.
    void Finish();

  private:
    using Clock = std::chrono::steady_clock;

    void Draw();

    const bool visible_;
    const std::uint64_t totalMs_;
    const Clock::time_point start_ = Clock::now();
    Clock::time_point nextDraw_ = start_;
    std::uint64_t positionMs_ = 0;
    bool drawn_ = false;
};

// How many files are done, on one line. Lines that are printed in between come after a Clear.
class CountProgress {
  public:
    CountProgress(std::size_t total, bool wanted);
    ~CountProgress() { Clear(); }
    CountProgress(const CountProgress&) = delete;
    CountProgress& operator=(const CountProgress&) = delete;

    void Update(std::size_t done, std::size_t failed);
    void Clear();

  private:
    const std::size_t total_;
    const bool visible_;
    bool drawn_ = false;
};

// One line of at most `width` characters, padded to that width so that it covers what stood there.
std::string ProgressLine(std::uint64_t positionMs, std::uint64_t totalMs, double elapsedSeconds,
                         std::size_t width);

}  // namespace host
