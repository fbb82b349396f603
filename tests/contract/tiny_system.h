// What the tiny plug-in needs of the system.
#pragma once

#include <cstdint>
#include <string>

namespace tiny {

// An event of the host's.
class QuitSignal {
  public:
    explicit QuitSignal(const std::u16string& name);
    ~QuitSignal();
    QuitSignal(const QuitSignal&) = delete;
    QuitSignal& operator=(const QuitSignal&) = delete;
    bool IsThere() const;
    bool IsSet() const;

  private:
    std::intptr_t handle_;
};

// Keeps the library loaded until the process ends, where its runtimes leave handles behind at every load.
void StayLoaded();

// Ends the process with a code of its own, where libraries end so late that no host can call them any more.
void SpoilExit();

// `log` is a word of DecoderCreateInfo.
void WriteLog(std::uint64_t log, const std::u16string& text);

}  // namespace tiny
