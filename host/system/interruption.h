// The requests of the user (Ctrl-C) or the system to end.
#pragma once

#include "decoder_plugin.hpp"

namespace host::system {

// While it lives, such a request sets the event, once; the second one ends the program at once. One at a time
// in a process.
class EndRequests {
  public:
    // The event must outlive it.
    explicit EndRequests(decoder_plugin::QuitEvent& event);
    ~EndRequests();
    EndRequests(const EndRequests&) = delete;
    EndRequests& operator=(const EndRequests&) = delete;
};

// 0, or the exit code that says by what the program was asked to end. From any thread.
int InterruptionCode();

}  // namespace host::system
