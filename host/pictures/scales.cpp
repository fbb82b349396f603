#include "host/pictures/scales.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "host/text/text.h"

namespace host {

namespace {

// The steps that people count in.
double DecimalStep(double least) {
    const double power = std::pow(10, std::floor(std::log10(least)));
    for (const double factor : {1, 2, 5}) {
        if (factor * power >= least) return factor * power;
    }
    return 10 * power;
}

double TimeStep(double least) {
    constexpr double kMillisecond = 0.001;
    constexpr double kHour = 3600;
    if (least <= 1) return std::max(kMillisecond, DecimalStep(least));
    for (const double step : {2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600}) {
        if (step >= least) return step;
    }
    return kHour * DecimalStep(least / kHour);
}

std::string FrequencyText(double hertz, bool inKilohertz) {
    if (!inKilohertz) return std::to_string(std::lround(hertz)) + " Hz";
    return std::to_string(std::lround(hertz / 1000)) + " kHz";
}

}  // namespace

std::vector<Mark> TimeMarks(double start, double end, int most) {
    if (end <= start) return {};
    const double step = TimeStep((end - start) / most);
    std::vector<Mark> marks;
    // Counted in whole steps, so that no rounding adds up. The end may be missed by a thousandth of a step.
    const auto first = static_cast<std::int64_t>(std::ceil(start / step - 0.001));
    const auto last = static_cast<std::int64_t>(std::floor(end / step + 0.001));
    for (std::int64_t index = first; index <= last; ++index) {
        const double time = static_cast<double>(index) * step;
        const auto milliseconds = static_cast<std::uint64_t>(std::llround(time * 1000));
        marks.push_back({(time - start) / (end - start), FormatTime(milliseconds, step < 1)});
    }
    return marks;
}

std::vector<Mark> FrequencyMarks(double highest, int most) {
    constexpr double kKilohertz = 1000;
    const double step = std::max(1.0, DecimalStep(highest / most));
    std::vector<Mark> marks;
    const auto last = static_cast<std::int64_t>(highest / step);
    for (std::int64_t index = 0; index <= last; ++index) {
        const double frequency = static_cast<double>(index) * step;
        marks.push_back({frequency / highest, FrequencyText(frequency, step >= kKilohertz)});
    }
    return marks;
}

}  // namespace host
