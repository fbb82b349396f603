// What the process of a rule leaves for the one that started it, whatever becomes of it.
#pragma once

#include <cstdio>
#include <filesystem>
#include <mutex>
#include <string>

namespace host::contract {

enum class Verdict { Kept, Broken, Skipped };

class Journal {
  public:
    // Throws Failure.
    explicit Journal(const std::filesystem::path& file);

    // What is being done; a few words. From any thread.
    void Step(const char* words);
    // How it ended. The first one counts.
    void Finish(Verdict verdict, const std::string& reason);

    struct Entry {
        std::string step;  // the last one
        bool finished = false;
        Verdict verdict = Verdict::Broken;
        std::string reason;
    };
    // Of a process that has ended.
    static Entry Read(const std::filesystem::path& file);

  private:
    void WriteAt(long offset, const std::string& text);

    std::mutex mutex_;
    std::FILE* stream_;
    bool finished_ = false;
};

}  // namespace host::contract
