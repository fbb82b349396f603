// The last of what a worker said: the messages that tell why a run ended as it did.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Keeps the last lines that were added, but for the worker's reports of its progress. However much is added,
// no more than a few times kBytes is held.
class StdErrTail {
  public:
    static constexpr std::size_t kBytes = 4096;

    // The next line, without its line feed. Of a line that is longer than kBytes the end is kept.
    void Add(std::string_view line);
    void Clear() noexcept { text.clear(); }

    // Whole lines, oldest first, each with a line feed; kBytes at most.
    std::string Text() const;

  private:
    std::string text;  // trimmed now and then only
};
