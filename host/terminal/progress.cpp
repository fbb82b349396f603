#include "host/terminal/progress.h"

#include <algorithm>
#include <cstdio>

#include "host/system/console.h"
#include "host/terminal/output.h"
#include "host/text/text.h"

namespace host {

namespace {

constexpr std::chrono::milliseconds kDrawInterval{100};
constexpr std::size_t kCells = 30;  // of the bar that counts files

std::string Bar(std::uint64_t positionMs, std::uint64_t totalMs, std::size_t cells) {
    const std::uint64_t done = std::min(positionMs, totalMs);
    const auto filled = static_cast<std::size_t>(static_cast<double>(done) / static_cast<double>(totalMs) *
                                                 static_cast<double>(cells));
    return "[" + std::string(filled, '#') + std::string(cells - filled, '.') + "] ";
}

}  // namespace

std::string ProgressLine(std::uint64_t positionMs, std::uint64_t totalMs, double elapsedSeconds,
                         std::size_t width) {
    constexpr std::size_t kMostCells = 40;
    constexpr std::size_t kLeastCells = 10;
    constexpr std::size_t kBarFrame = 3;

    std::string text = FormatTime(positionMs, false);
    if (totalMs > 0) text += " / " + FormatTime(totalMs, false);
    if (elapsedSeconds > 0) {
        char speed[32];
        std::snprintf(speed, sizeof speed, "  %.1fx",
                      static_cast<double>(positionMs) / 1000.0 / elapsedSeconds);
        text += speed;
    }
    if (totalMs > 0 && width >= text.size() + kBarFrame + kLeastCells) {
        text.insert(0, Bar(positionMs, totalMs, std::min(kMostCells, width - text.size() - kBarFrame)));
    }
    text.resize(width, ' ');
    return text;
}

Progress::Progress(std::uint64_t totalMs, bool wanted)
    : visible_(wanted && system::IsTerminal(stderr)), totalMs_(totalMs) {}

Progress::~Progress() {
    if (drawn_) PrintToTerminal("\n");
}

void Progress::Update(std::uint64_t positionMs) {
    positionMs_ = positionMs;
    if (!visible_ || Clock::now() < nextDraw_) return;
    Draw();
    nextDraw_ = Clock::now() + kDrawInterval;
}

void Progress::Finish() {
    if (visible_) Draw();
}

void Progress::Draw() {
    const std::chrono::duration<double> elapsed = Clock::now() - start_;
    // The last column stays free: a character there moves some terminals on to the next line.
    const auto width = static_cast<std::size_t>(std::max(1, system::TerminalWidth(stderr) - 1));
    PrintToTerminal("\r" + ProgressLine(positionMs_, totalMs_, elapsed.count(), width));
    drawn_ = true;
}

CountProgress::CountProgress(std::size_t total, bool wanted)
    : total_(total), visible_(wanted && system::IsTerminal(stderr)) {}

void CountProgress::Update(std::size_t done, std::size_t failed) {
    if (!visible_) return;
    std::string line = Bar(done, total_, kCells) + std::to_string(done) + " / " + std::to_string(total_);
    if (failed > 0) line += "  " + std::to_string(failed) + " failed";
    line.resize(
        std::min<std::size_t>(line.size(), static_cast<std::size_t>(system::TerminalWidth(stderr) - 1)));
    PrintToTerminal("\r" + line);
    drawn_ = true;
}

void CountProgress::Clear() {
    if (!drawn_) return;
    const auto width = static_cast<std::size_t>(std::max(1, system::TerminalWidth(stderr) - 1));
    PrintToTerminal("\r" + std::string(width, ' ') + "\r");
    drawn_ = false;
}

}  // namespace host
