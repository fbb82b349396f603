// Why the last call of a decoder failed that could.
#pragma once

#include <exception>

#include "decoder_plugin.h"
#include "support/clfile.h"
#include "support/clstring.h"

// Between Begin and End of a call its steps say what it failed at, or would fail at: the last word counts.
// The text is the last message that was logged meanwhile, or the words given with the reason.
class LastFailure {
  public:
    LastFailure() noexcept = default;
    LastFailure(const LastFailure&) = delete;
    LastFailure& operator=(const LastFailure&) = delete;

    void Begin() noexcept;
    void End(bool done) noexcept;

    // `why` lives as long as the library.
    void Is(DecoderFailure failure, const char16_t* why = nullptr) noexcept;

    // What holds is handed through; otherwise it is the reason.
    bool Demand(bool holds, DecoderFailure failure, const char16_t* why) noexcept;

    // Memory that ran out is the reason in any case, other exceptions where no other one was given.
    void Caught(const std::exception& exception) noexcept;

    DecoderFailure Reason() const noexcept { return reason; }
    const char16_t* Text() const noexcept;  // null without a failure; valid until the next Begin

    clString logged;  // where the log leaves the message of every error

  private:
    DecoderFailure pending = DECODER_FAILURE_NONE;  // of the call that goes on
    const char16_t* pendingWords = nullptr;
    DecoderFailure reason = DECODER_FAILURE_NONE;
    const char16_t* words = nullptr;
    clString message;
};

// The reason of a file that couldn't be opened, from the number of platform/error.h.
DecoderFailure FailureOfOpening(std::uint32_t code) noexcept;

// The reason of a worker that couldn't be started, or that has been but couldn't be read from.
DecoderFailure FailureOfStart(const std::exception& exception, bool started) noexcept;

// Watches the files of one tag job; when it fails, what went wrong with them is the reason.
class TagJob {
  public:
    explicit TagJob(LastFailure& of) noexcept : failure(of) {}
    TagJob(const TagJob&) = delete;
    TagJob& operator=(const TagJob&) = delete;
    ~TagJob();

  private:
    LastFailure& failure;
    clFileTrouble trouble;
};
