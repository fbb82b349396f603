// A file, or a piece of it, decoded from end to end, and what is to be said of the end.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "host/commands/commands.h"

namespace host {

class SampleSink {
  public:
    virtual ~SampleSink() = default;
    virtual void Begin(const DecoderWaveFormat& wave) = 0;
    virtual void Write(std::span<const std::byte> samples) = 0;
};

struct Decoded {
    DecoderFormat format;
    std::uint64_t milliseconds;  // that came
    std::string damage;          // what is wrong with it; empty when it is whole
};

// The times of these options, read. Throws UsageFailure.
class Piece {
  public:
    explicit Piece(const SampleOptions& options);
    double start = 0;
    double duration = 0;  // 0: to the end
};

// For the next Open of the job: the options, as far as its file allows.
void ChooseSamples(const Job& job, const SampleOptions& options);

Decoded DecodeThrough(const Job& job, const SampleOptions& options, bool showProgress, SampleSink& sink);

}  // namespace host
