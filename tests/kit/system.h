// What tests need of the system and the product's own seam doesn't offer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/pipe.h"
#include "transport/worker_process.h"

namespace kit {

// A loaded library. The functions are gone once it is unloaded.
class Library {
  public:
    explicit Library(const std::filesystem::path& path);  // throws std::runtime_error
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    void* Find(const char* name) const;  // throws std::runtime_error

  private:
    void* handle_;
};

// The word of a log file as a host gives it to Create; appended to, created when absent.
std::uint64_t OpenLog(const std::filesystem::path& path);
void CloseLog(std::uint64_t log);

// Up to `count` bytes from the end of a pipe that a worker would get; fewer when the other end is closed.
std::string ReadAsChild(platform::PipeHandle pipe, std::size_t count);

// Arguments that arrive as they are, those with a quotation mark among them, which a worker is never given.
void SetArguments(WorkerCommand& command, const std::vector<std::string>& arguments);

// Descriptors or handles that this process has open, and its threads.
int OpenHandles();
int RunningThreads();

// True when this process has a child, be it one that has ended and whose end nobody took (a zombie). False
// where a system keeps no such list.
bool HasChildren();

// A name for a named event that no other test has, and the removal of what it left in the system.
std::u16string FreshEventName();
void RemoveEvent(const std::u16string& name);

}  // namespace kit
