// What a picture shows of a sound, gathered while it passes by. Takes a few megabytes, however long it is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "host/sound/envelope.h"
#include "host/sound/samples.h"
#include "host/sound/spectrogram.h"

namespace host {

class Overview {
  public:
    // What is gathered of the frequencies can be left out.
    enum class Frequencies { Without, With };

    // Throws Failure for samples that can't be read.
    Overview(const DecoderWaveFormat& wave, Frequencies frequencies);

    void Add(std::span<const std::byte> samples);
    // Behind the last samples.
    void Finish();

    std::uint32_t sampleRate() const { return sampleRate_; }
    std::uint64_t frames() const { return envelope_.frames(); }
    double Seconds() const { return static_cast<double>(frames()) / sampleRate_; }
    const Envelope& envelope() const { return envelope_; }
    const Spectrogram& spectrogram() const { return *spectrogram_; }

  private:
    const std::uint32_t sampleRate_;
    SampleReader reader_;
    Envelope envelope_;
    std::optional<Spectrogram> spectrogram_;
};

// In dBFS; nothing for silence.
std::optional<double> Decibels(double amplitude);

}  // namespace host
