// Which frequencies a sound has, over time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "host/sound/folding.h"

namespace host {

// Short pieces of the sound under a Hann window, Fourier transformed. A sine of full scale has 0 dB. Of
// several channels the loudest counts at each frequency.
class Spectrogram {
  public:
    // Equal parts of what lies between 0 and half of the sample rate.
    static constexpr std::size_t kRows = 512;

    explicit Spectrogram(std::size_t channels);
    ~Spectrogram();

    // Interleaved samples, whole frames.
    void Add(std::span<const float> samples);
    // Behind the last samples.
    void Finish();

    // The mean level of each row between two frames, in decibels, from the lowest row on. There have to be
    // frames, and `first` has to be one of them.
    std::vector<float> Between(std::uint64_t first, std::uint64_t last) const;

  private:
    struct Column {
        std::vector<float> power;  // a sum
        std::uint32_t windows = 0;
        void Merge(const Column& other);
    };
    struct Transform;

    void AddWindows(std::uint64_t end);
    void AddWindow(std::span<const float> samples, Column& column);
    std::uint64_t FramesPerColumn() const;

    const std::size_t channels_;
    std::unique_ptr<Transform> transform_;
    std::vector<float> pending_;  // interleaved samples that a window still needs
    std::uint64_t pendingAt_ =
        0;                      // the frame of the first of them, counted from half a window before the sound
    std::uint64_t frames_ = 0;  // of the sound
    std::uint64_t centre_ = 0;  // of the next window
    FoldingColumns<Column> columns_;
};

}  // namespace host
