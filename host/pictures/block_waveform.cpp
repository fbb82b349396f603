#include "host/pictures/block_waveform.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "host/text/text.h"

namespace host {

namespace {

constexpr std::size_t kRows = 5;

// What fills a cell from below, from nothing to all of it.
const std::vector<std::string>& Cells(Letters letters) {
    static const std::vector<std::string> ascii = {" ", "#"};
    static const std::vector<std::string> blocks = {" ",      "\u2581", "\u2582", "\u2583", "\u2584",
                                                    "\u2585", "\u2586", "\u2587", "\u2588"};
    return letters == Letters::Ascii ? ascii : blocks;
}

// The highest peak of all lanes in each column, in parts of a cell.
std::vector<std::size_t> Heights(const Overview& overview, std::size_t width, std::size_t most) {
    const Envelope& envelope = overview.envelope();
    std::vector<std::size_t> heights;
    for (std::size_t column = 0; column < width; ++column) {
        const auto frame = [&](std::size_t index) {
            return static_cast<std::uint64_t>(static_cast<double>(envelope.frames()) *
                                              static_cast<double>(index) / static_cast<double>(width));
        };
        float peak = 0;
        for (std::size_t lane = 0; lane < envelope.lanes(); ++lane)
            peak = std::max(peak, envelope.Between(lane, frame(column), frame(column + 1)).Peak());
        // What is there at all is seen.
        heights.push_back(
            static_cast<std::size_t>(std::ceil(std::min(peak, 1.0f) * static_cast<float>(most))));
    }
    return heights;
}

std::string TimeLine(double start, double end, std::size_t width) {
    const auto text = [](double seconds) {
        return FormatTime(static_cast<std::uint64_t>(std::llround(seconds * 1000)), false);
    };
    const std::string first = text(start);
    const std::string last = text(end);
    if (first.size() + 1 + last.size() > width) return first.substr(0, width) + "\n";
    return first + std::string(width - first.size() - last.size(), ' ') + last + "\n";
}

}  // namespace

std::string BlockWaveform(const Overview& overview, double start, std::size_t width, Letters letters) {
    const std::vector<std::string>& cells = Cells(letters);
    const std::size_t full = cells.size() - 1;
    const std::vector<std::size_t> heights = Heights(overview, width, kRows * full);
    std::string text;
    for (std::size_t row = kRows; row-- > 0;) {
        for (const std::size_t height : heights)
            text += cells[std::clamp(height, row * full, (row + 1) * full) - row * full];
        text += "\n";
    }
    return text + TimeLine(start, start + overview.Seconds(), width);
}

}  // namespace host
