// How far the samples of each channel reach, over time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "host/sound/folding.h"

namespace host {

// Of a row of samples; full scale is 1.
struct Extent {
    float low = std::numeric_limits<float>::infinity();
    float high = -std::numeric_limits<float>::infinity();
    double squares = 0;  // the sum of them
    std::uint64_t count = 0;

    void Merge(const Extent& other);
    float Peak() const;  // 0 without samples, as is the next one
    double Rms() const;
};

class Envelope {
  public:
    // More channels than these are taken together.
    static constexpr std::size_t kMostLanes = 8;

    explicit Envelope(std::size_t channels);

    // Interleaved samples, whole frames.
    void Add(std::span<const float> samples);

    std::uint64_t frames() const { return frames_; }
    // How many rows of extents there are: one for each channel, or one for all.
    std::size_t lanes() const { return lanes_; }

    // Of what lies between two frames, as exactly as columns allow; `first` is below `frames()`.
    Extent Between(std::size_t lane, std::uint64_t first, std::uint64_t last) const;
    // Of all lanes, from end to end.
    Extent Whole() const;

  private:
    struct Column {
        std::vector<Extent> lanes;
        void Merge(const Column& other);
    };

    const std::size_t channels_;
    const std::size_t lanes_;
    std::uint64_t frames_ = 0;
    FoldingColumns<Column> columns_;
};

}  // namespace host
