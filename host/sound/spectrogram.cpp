#include "host/sound/spectrogram.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <kissfft/kissfft.hh>
#include <numbers>

namespace host {

namespace {

constexpr std::size_t kWindow = 2048;                // in frames
constexpr std::size_t kBins = kWindow / 2;           // without that of half the sample rate
constexpr std::size_t kColumns = 4096;               // at most
constexpr std::uint64_t kUnit = 128;                 // frames that a column stands for at first
constexpr std::uint64_t kLongestStep = kWindow / 2;  // between windows

static_assert(kBins % Spectrogram::kRows == 0);

}  // namespace

// The window and the transform of one channel, with the room that they need.
struct Spectrogram::Transform {
    Transform() {
        for (std::size_t index = 0; index < kWindow; ++index) {
            const double phase = 2 * std::numbers::pi * static_cast<double>(index) / kWindow;
            window[index] = static_cast<float>(0.5 - 0.5 * std::cos(phase));
        }
    }

    kissfft<float> fft{kBins, false};
    std::array<float, kWindow> window;
    std::array<float, kWindow> input;
    std::array<std::complex<float>, kBins> output;
    std::array<float, kRows> loudest;
};

void Spectrogram::Column::Merge(const Column& other) {
    if (other.windows == 0) return;
    power.resize(kRows);
    for (std::size_t row = 0; row < kRows; ++row) power[row] += other.power[row];
    windows += other.windows;
}

Spectrogram::Spectrogram(std::size_t channels)
    : channels_(channels),
      transform_(std::make_unique<Transform>()),
      pending_(kWindow / 2 * channels),
      columns_(kColumns, Column{}) {}

Spectrogram::~Spectrogram() = default;

void Spectrogram::Add(std::span<const float> samples) {
    pending_.insert(pending_.end(), samples.begin(), samples.end());
    frames_ += samples.size() / channels_;
    // The last windows need silence behind the sound, which comes when its end is known.
    AddWindows(frames_ < kWindow / 2 ? 0 : frames_ - kWindow / 2 + 1);
}

void Spectrogram::Finish() {
    pending_.resize(pending_.size() + kWindow / 2 * channels_);
    AddWindows(frames_);
}

// Those with a centre below `end`.
void Spectrogram::AddWindows(std::uint64_t end) {
    while (centre_ < end) {
        Column& column = columns_.At(centre_ / kUnit);
        const auto offset = static_cast<std::size_t>(centre_ - pendingAt_) * channels_;
        AddWindow(std::span(pending_).subspan(offset, kWindow * channels_), column);
        centre_ += std::min(kLongestStep, FramesPerColumn());
    }
    const auto done = std::min(pending_.size(), static_cast<std::size_t>(centre_ - pendingAt_) * channels_);
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(done));
    pendingAt_ += done / channels_;
}

void Spectrogram::AddWindow(std::span<const float> samples, Column& column) {
    Transform& work = *transform_;
    work.loudest.fill(0);
    for (std::size_t channel = 0; channel < channels_; ++channel) {
        for (std::size_t index = 0; index < kWindow; ++index)
            work.input[index] = samples[index * channels_ + channel] * work.window[index];
        work.fft.transform_real(work.input.data(), work.output.data());
        // Two real numbers share this place, the one of silence and the one of half the sample rate.
        work.output[0].imag(0);
        for (std::size_t bin = 0; bin < kBins; ++bin) {
            float& loudest = work.loudest[bin / (kBins / kRows)];
            loudest = std::max(loudest, std::norm(work.output[bin]));
        }
    }
    column.power.resize(kRows);
    for (std::size_t row = 0; row < kRows; ++row) column.power[row] += work.loudest[row];
    ++column.windows;
}

std::uint64_t Spectrogram::FramesPerColumn() const {
    return kUnit * columns_.unitsPerColumn();
}

std::vector<float> Spectrogram::Between(std::uint64_t first, std::uint64_t last) const {
    // What the window leaves of a sine of full scale.
    constexpr double kFullScale = 1.0 * kWindow / 4 * (1.0 * kWindow / 4);
    constexpr double kLeast = 1e-20;
    const auto begin = static_cast<std::size_t>(first / FramesPerColumn());
    const auto end =
        std::min(columns_.size(), std::max(begin + 1, static_cast<std::size_t>(last / FramesPerColumn())));
    Column sum;
    for (std::size_t index = begin; index < end; ++index) sum.Merge(columns_[index]);
    std::vector<float> levels(kRows);
    for (std::size_t row = 0; row < kRows; ++row) {
        const double power =
            sum.windows == 0 ? 0 : sum.power[row] / static_cast<double>(sum.windows) / kFullScale;
        levels[row] = static_cast<float>(10 * std::log10(std::max(power, kLeast)));
    }
    return levels;
}

}  // namespace host
