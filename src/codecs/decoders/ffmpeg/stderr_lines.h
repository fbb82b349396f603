// The worker's error text, taken off its pipe line by line in a thread of its own.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "transport/streams.h"
#include "transport/thread.h"

// One line without its line feed; carriage returns are dropped wherever they stand. Raises invalid_input when
// the stream ends first or the line passes 16 MiB. The bytes are the worker's own.
std::string ReadLine(Qel::streamIn& stream);

// Keeps the worker from ever blocking on a full error pipe. The thread reads the stream from the construction
// on; nobody else may, until the queue is stopped.
class StdErrLineQueue {
  public:
    // bug_check when no thread can be had. The reader runs at the priority of the calling thread.
    explicit StdErrLineQueue(Qel::streamInOverlapped& errorStream);
    StdErrLineQueue(const StdErrLineQueue&) = delete;
    StdErrLineQueue& operator=(const StdErrLineQueue&) = delete;
    ~StdErrLineQueue();  // ends and joins the thread

    // All queued lines in order; none after the time limit. A set aborter raises user_abort.
    std::vector<std::string> TakeLines(double timeoutSeconds);

  private:
    void Run();

    std::vector<std::string> lines;  // oldest first
    std::mutex lock;                 // guards the lines, and with them the state of the event
    Qel::streamInFetched stream;
    Qel::waitable dataEvent;  // set when the lines went from empty to not empty
    Qel::thread thread{"StdErrReader", Qel::thread::kMakeAborter | Qel::thread::kAbortAtDestroy};
};
