// What the host needs of the operating system, and nothing more. One implementation for each system.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace host::system {

// The arguments in UTF-8, without the program's own name. Windows takes them from the process, not from argv.
std::vector<std::string> Arguments(int argc, char** argv);

// Call once, before anything is opened: standard streams that are closed get something harmless behind them,
// so that no file of ours can become one of them, and all three carry bytes as they are.
void PrepareStandardStreams();

// The folder of this program. Throws std::filesystem::filesystem_error.
std::filesystem::path OwnFolder();

// How names of shared libraries end.
const char* LibrarySuffix();

bool IsTerminal(std::FILE* stream);

// In columns; 80 where there is no telling.
int TerminalWidth(std::FILE* stream);

// Each null with errno on failure. `OpenNew` refuses a name that is taken.
std::FILE* OpenForReading(const std::filesystem::path& path);
std::FILE* OpenForWriting(const std::filesystem::path& path);
std::FILE* OpenNew(const std::filesystem::path& path);

// A shared library, unloaded at the end of its life. Throws std::runtime_error with the system's reason.
class Library {
  public:
    explicit Library(const std::filesystem::path& path);
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    // Null when there is no such symbol. Lives as long as the library.
    void* Symbol(const char* name) const;

  private:
    void* handle_;
};

// A log file that the plug-in writes to: UTF-16LE, always at the end.
class LogFile {
  public:
    // A nameless one, which goes with the process.
    LogFile();
    // Created when absent. Throws std::system_error.
    explicit LogFile(const std::filesystem::path& path);
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // What stands for the file in DecoderCreateInfo.
    std::uint64_t word() const { return word_; }

    // In bytes; 0 for what has no size, like a pipe.
    std::uint64_t Size() const;

    // What was written behind the offset; empty when it can't be read back.
    std::u16string TextFrom(std::uint64_t offset) const;

  private:
    std::uint64_t word_;
};

// The event that cancels the plug-in's work, and the requests of the user (Ctrl-C) or the system to end,
// which set it. One at a time in a process.
class QuitEvent {
  public:
    // Throws std::system_error.
    QuitEvent();
    ~QuitEvent();
    QuitEvent(const QuitEvent&) = delete;
    QuitEvent& operator=(const QuitEvent&) = delete;

    // Under which the plug-in finds it.
    const std::u16string& name() const { return name_; }

    // The plug-in has it now: nobody needs the name any more.
    void Opened();

  private:
    std::u16string name_;
};

// 0, or the exit code that says by what the program was asked to end. From any thread.
int InterruptionCode();

}  // namespace host::system
