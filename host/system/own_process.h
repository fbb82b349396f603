// Other runs of this program.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace host::system {

// Another run of this program that may crash or hang. Its standard input and output are nothing. What freed
// memory holds is overwritten in it, where the system's allocator can do that.
class OwnProcess {
  public:
    // The arguments are UTF-8 as in `Arguments`, without quotation marks and backslashes at their ends.
    // Throws std::system_error.
    explicit OwnProcess(const std::vector<std::string>& arguments);
    // Ends it when it runs, with all that it started.
    ~OwnProcess();
    OwnProcess(const OwnProcess&) = delete;
    OwnProcess& operator=(const OwnProcess&) = delete;

    // In what way it ended, in words; empty for an exit code of 0. Nothing when it still runs then.
    std::optional<std::string> Wait(std::chrono::milliseconds limit);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

// Called first in such a run: a crash makes no dialog and no dump, and it ends with the one that started it.
void PrepareForCrashes();

// Ends this process without running anything of its own any more, be it a destructor or the end of a library.
[[noreturn]] void EndAtOnce();

}  // namespace host::system
