#include "host/sound/overview.h"

#include <cmath>

namespace host {

Overview::Overview(const DecoderWaveFormat& wave, Frequencies frequencies)
    : sampleRate_(wave.samplesPerSecond), reader_(wave), envelope_(wave.channels) {
    if (frequencies == Frequencies::With) spectrogram_.emplace(wave.channels);
}

void Overview::Add(std::span<const std::byte> samples) {
    const std::span<const float> numbers = reader_.Read(samples);
    envelope_.Add(numbers);
    if (spectrogram_) spectrogram_->Add(numbers);
}

void Overview::Finish() {
    if (spectrogram_) spectrogram_->Finish();
}

std::optional<double> Decibels(double amplitude) {
    if (amplitude <= 0) return std::nullopt;
    return 20 * std::log10(amplitude);
}

}  // namespace host
