#include "host/sound/envelope.h"

#include <algorithm>
#include <cmath>

namespace host {

namespace {

constexpr std::size_t kColumns = 8192;  // at most; half as many at least, once there are so many frames

}  // namespace

void Extent::Merge(const Extent& other) {
    low = std::min(low, other.low);
    high = std::max(high, other.high);
    squares += other.squares;
    count += other.count;
}

float Extent::Peak() const {
    return count == 0 ? 0 : std::max(std::fabs(low), std::fabs(high));
}

double Extent::Rms() const {
    return count == 0 ? 0 : std::sqrt(squares / static_cast<double>(count));
}

void Envelope::Column::Merge(const Column& other) {
    for (std::size_t lane = 0; lane < lanes.size(); ++lane) lanes[lane].Merge(other.lanes[lane]);
}

Envelope::Envelope(std::size_t channels)
    : channels_(channels),
      lanes_(channels > kMostLanes ? 1 : channels),
      columns_(kColumns, Column{std::vector<Extent>(lanes_)}) {}

void Envelope::Add(std::span<const float> samples) {
    while (!samples.empty()) {
        Column& column = columns_.At(frames_);
        const std::uint64_t room = columns_.unitsPerColumn() - frames_ % columns_.unitsPerColumn();
        const auto frames =
            static_cast<std::size_t>(std::min<std::uint64_t>(room, samples.size() / channels_));
        for (std::size_t channel = 0; channel < channels_; ++channel) {
            Extent extent;
            for (std::size_t frame = 0; frame < frames; ++frame) {
                const float sample = samples[frame * channels_ + channel];
                extent.low = std::min(extent.low, sample);
                extent.high = std::max(extent.high, sample);
                extent.squares += static_cast<double>(sample) * sample;
            }
            extent.count = frames;
            column.lanes[std::min(channel, lanes_ - 1)].Merge(extent);
        }
        frames_ += frames;
        samples = samples.subspan(frames * channels_);
    }
}

Extent Envelope::Between(std::size_t lane, std::uint64_t first, std::uint64_t last) const {
    const std::uint64_t perColumn = columns_.unitsPerColumn();
    const auto begin = static_cast<std::size_t>(first / perColumn);
    const auto end = std::min(columns_.size(), static_cast<std::size_t>((last + perColumn - 1) / perColumn));
    Extent extent = columns_[begin].lanes[lane];
    for (std::size_t index = begin + 1; index < end; ++index) extent.Merge(columns_[index].lanes[lane]);
    return extent;
}

Extent Envelope::Whole() const {
    Extent whole;
    for (std::size_t lane = 0; lane < lanes_ && frames_ > 0; ++lane) whole.Merge(Between(lane, 0, frames_));
    return whole;
}

}  // namespace host
