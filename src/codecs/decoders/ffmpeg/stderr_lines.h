// The worker's error text, taken off its pipe line by line in a thread of its own.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "codecs/decoders/ffmpeg/stderr_bounds.h"
#include "codecs/decoders/ffmpeg/stderr_tail.h"
#include "transport/streams.h"
#include "transport/thread.h"

// One line without its line feed; carriage returns are dropped wherever they stand. Raises invalid_input when
// the stream ends first or the line passes 16 MiB. The bytes are the worker's own.
std::string ReadLine(Qel::streamIn& stream);

// Keeps the worker from ever blocking on a full error pipe. The thread reads the stream from the construction
// on; nobody else may, until the queue is stopped.
//
// Lines are queued for a parse of the dump, which takes them. Of lines that such a parse passes over or
// doesn't reach no more than kSpareBytes wait in the queue, so that a worker that never stops complaining
// costs the host no memory. The tail keeps the last lines behind the dump in any case, and the last of all
// while there is none: a worker that fails at once has no dump.
class StdErrLineQueue {
  public:
    static constexpr std::size_t kSpareBytes = 0x40000;

    // bug_check when no thread can be had. The reader runs at the priority of the calling thread.
    explicit StdErrLineQueue(Qel::streamInOverlapped& errorStream);
    StdErrLineQueue(const StdErrLineQueue&) = delete;
    StdErrLineQueue& operator=(const StdErrLineQueue&) = delete;
    ~StdErrLineQueue();  // ends and joins the thread

    // The queued lines in order; none after the time limit. A set aborter raises user_abort.
    std::vector<std::string> TakeLines(double timeoutSeconds);

    // Waits until no line will come any more, but no longer than the time limit. A set aborter raises
    // user_abort.
    void AwaitEnd(double timeoutSeconds);

    // The tail's text. Waits for the end of the stream, since the worker's last words are the ones that
    // matter, but no longer than the time limit. A set aborter raises user_abort.
    std::string Tail(double timeoutSeconds);

  private:
    void Run();
    void Keep(std::string line, std::size_t shownFrom);

    std::vector<std::string> lines;  // oldest first
    std::size_t spareBytes = 0;      // of queued lines that aren't of the dump
    StdErrBounds bounds;             // behind the last line that was read
    StdErrTail tail;
    std::mutex lock;  // guards all of the above, and with the lines the state of the event
    Qel::streamInFetched stream;
    Qel::waitable dataEvent;  // set when the lines went from empty to not empty
    Qel::waitable endEvent;   // set when no line will come any more
    Qel::thread thread{"StdErrReader", Qel::thread::kMakeAborter | Qel::thread::kAbortAtDestroy};
};
