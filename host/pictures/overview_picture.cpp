#include "host/pictures/overview_picture.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "host/pictures/scales.h"
#include "host/text/text.h"

namespace host {

namespace {

constexpr Colour kBackground{16, 18, 24};
constexpr Colour kPlot{0, 0, 4};
constexpr Colour kLine{58, 64, 78};
constexpr Colour kLabel{190, 196, 208};
constexpr Colour kTitle{240, 242, 246};
constexpr Colour kPeaks{62, 132, 196};
constexpr Colour kLoudness{150, 204, 244};

// Levels of the spectrogram, from nothing to full scale, by colours whose brightness grows.
constexpr double kFloorDb = -120;
constexpr std::array kLevelColours{Colour{0, 0, 4},      Colour{31, 12, 72},   Colour{85, 15, 109},
                                   Colour{136, 34, 106}, Colour{186, 54, 85},  Colour{227, 89, 51},
                                   Colour{249, 140, 10}, Colour{249, 201, 50}, Colour{252, 255, 164}};

constexpr int kLeftMargin = 92;
constexpr int kRightMargin = 124;
constexpr int kTitleHeight = 64;
constexpr int kTimeHeight = 36;
constexpr int kGap = 14;
constexpr int kEdge = 12;
constexpr int kTick = 5;
constexpr int kLineHeight = 24;  // of labels one above the other
constexpr int kBarWidth = 16;    // of the scale of colours

Colour ColourOfLevel(double decibels) {
    const double place = std::clamp(1 - decibels / kFloorDb, 0.0, 1.0) * (kLevelColours.size() - 1);
    const auto index = std::min(static_cast<std::size_t>(place), kLevelColours.size() - 2);
    const double share = place - static_cast<double>(index);
    const auto mixed = [&](std::uint8_t Colour::*part) {
        const double from = kLevelColours[index].*part;
        const double to = kLevelColours[index + 1].*part;
        return static_cast<std::uint8_t>(std::lround(from + (to - from) * share));
    };
    return {mixed(&Colour::red), mixed(&Colour::green), mixed(&Colour::blue)};
}

int Scaled(double place, int length) {
    return static_cast<int>(std::lround(place * length));
}

// What can be shown of a text in so much room.
std::string Shortened(std::string text, int room, const Canvas& canvas) {
    constexpr const char* kMore = "...";
    if (canvas.TextWidth(text) <= room) return text;
    while (!text.empty() && canvas.TextWidth(text + kMore) > room) {
        // A character of several bytes goes as a whole.
        while (text.size() > 1 && (text.back() & 0xC0) == 0x80) text.pop_back();
        text.pop_back();
    }
    return text + kMore;
}

class Drawing {
  public:
    Drawing(const Overview& overview, const Caption& caption, Size size, Canvas& canvas)
        : overview_(overview), caption_(caption), size_(size), canvas_(canvas) {}

    void Draw() {
        canvas_.Fill({0, 0, size_.width, size_.height}, kBackground);
        DrawTitle(kTitleHeight / 4, kTitle, caption_.title);
        DrawTitle(kTitleHeight * 5 / 8, kLabel, caption_.details);
        const int width = size_.width - kLeftMargin - kRightMargin;
        const int height = size_.height - kTitleHeight - kTimeHeight - kGap;
        const Area waveform{kLeftMargin, kTitleHeight, width, height * 2 / 5};
        const Area spectrogram{kLeftMargin, waveform.top + waveform.height + kGap, width,
                               height - waveform.height};
        DrawWaveform(waveform);
        DrawSpectrogram(spectrogram);
        DrawTimes(spectrogram);
        DrawLevels({size_.width - kRightMargin + kGap, spectrogram.top, kBarWidth, spectrogram.height});
    }

  private:
    void DrawTitle(int y, Colour colour, const std::string& text) {
        canvas_.Text(kEdge, y, Anchor::Start, colour,
                     Shortened(EscapeControls(text), size_.width - 2 * kEdge, canvas_));
    }

    // The first frame that the pixels of a column show.
    std::uint64_t FrameAt(int column, int columns) const {
        const double place = static_cast<double>(column) / columns;
        return std::min(overview_.frames() - 1,
                        static_cast<std::uint64_t>(place * static_cast<double>(overview_.frames())));
    }

    void DrawWaveform(Area area) {
        canvas_.Fill(area, kPlot);
        const std::size_t lanes = overview_.envelope().lanes();
        const int height = area.height / static_cast<int>(lanes);
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            const Area laneArea{area.left, area.top + height * static_cast<int>(lane), area.width, height};
            if (lane > 0) canvas_.Fill({laneArea.left, laneArea.top, laneArea.width, 1}, kLine);
            DrawLane(lane, laneArea);
        }
    }

    void DrawLane(std::size_t lane, Area area) {
        const int reach = area.height / 2 - 1;
        const int middle = area.top + area.height / 2;
        const auto row = [&](double amplitude) {
            return middle - Scaled(std::clamp(amplitude, -1.0, 1.0), reach);
        };
        // Above the middle alone: below it they would be the same.
        struct Level {
            const char* text;
            double amplitude;
        };
        int lowestLabel = area.top - kLineHeight / 2;
        for (const Level level :
             {Level{"0 dBFS", 1}, Level{"-6", 0.501}, Level{"-12", 0.251}, Level{"-inf", 0}}) {
            const int y = row(level.amplitude);
            canvas_.Fill({area.left, y, area.width, 1}, kLine);
            if (y < lowestLabel + kLineHeight && level.amplitude != 1) continue;
            lowestLabel = y;
            canvas_.Fill({area.left - kTick, y, kTick, 1}, kLabel);
            canvas_.Text(area.left - 2 * kTick, y, Anchor::End, kLabel, level.text);
        }
        std::vector<Stroke> peaks;
        std::vector<Stroke> loudness;
        for (int x = 0; x < area.width; ++x) {
            const Extent extent =
                overview_.envelope().Between(lane, FrameAt(x, area.width), FrameAt(x + 1, area.width));
            peaks.push_back({row(extent.high), row(extent.low) + 1});
            loudness.push_back({std::max(row(extent.Rms()), peaks.back().top),
                                std::min(row(-extent.Rms()) + 1, peaks.back().bottom)});
        }
        canvas_.Strokes(area.left, peaks, kPeaks);
        canvas_.Strokes(area.left, loudness, kLoudness);
    }

    void DrawSpectrogram(Area area) {
        const auto width = static_cast<std::size_t>(area.width);
        std::vector<Colour> pixels(width * static_cast<std::size_t>(area.height));
        for (int x = 0; x < area.width; ++x) {
            const std::vector<float> levels =
                overview_.spectrogram().Between(FrameAt(x, area.width), FrameAt(x + 1, area.width));
            for (int y = 0; y < area.height; ++y) {
                // From the lower edge of the pixel to the upper one; the loudest row counts.
                const auto edge = [&](int fromBelow) {
                    return static_cast<std::size_t>(fromBelow) * levels.size() /
                           static_cast<std::size_t>(area.height);
                };
                const std::size_t low = edge(area.height - 1 - y);
                const std::size_t high = std::max(low + 1, edge(area.height - y));
                const float loudest = *std::max_element(levels.begin() + static_cast<std::ptrdiff_t>(low),
                                                        levels.begin() + static_cast<std::ptrdiff_t>(high));
                pixels[static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)] =
                    ColourOfLevel(loudest);
            }
        }
        canvas_.Image(area, pixels);
        for (const Mark& mark :
             FrequencyMarks(overview_.sampleRate() / 2.0, area.height / (2 * kLineHeight))) {
            const int y = area.top + area.height - Scaled(mark.place, area.height);
            canvas_.Fill({area.left - kTick, y, kTick, 1}, kLabel);
            canvas_.Text(area.left - 2 * kTick, y, Anchor::End, kLabel, mark.text);
        }
    }

    void DrawTimes(Area area) {
        constexpr int kRoomForLabel = 120;
        const int bottom = area.top + area.height;
        for (const Mark& mark : TimeMarks(caption_.start, caption_.start + overview_.Seconds(),
                                          std::max(1, area.width / kRoomForLabel))) {
            const int x = area.left + Scaled(mark.place, area.width);
            canvas_.Fill({x, bottom, 1, kTick}, kLabel);
            canvas_.Text(x, bottom + kTimeHeight / 2, Anchor::Middle, kLabel, mark.text);
        }
    }

    void DrawLevels(Area area) {
        constexpr int kStepDb = 20;
        for (int y = 0; y < area.height; ++y) {
            canvas_.Fill({area.left, area.top + y, area.width, 1}, ColourOfLevel(kFloorDb * y / area.height));
        }
        for (int level = 0; level >= kFloorDb; level -= kStepDb) {
            const int y = area.top + Scaled(level / kFloorDb, area.height);
            canvas_.Fill({area.left + area.width, y, kTick, 1}, kLabel);
            const std::string text = std::to_string(level) + (level == 0 ? " dBFS" : "");
            canvas_.Text(area.left + area.width + 2 * kTick, y, Anchor::Start, kLabel, text);
        }
    }

    const Overview& overview_;
    const Caption& caption_;
    const Size size_;
    Canvas& canvas_;
};

}  // namespace

void DrawOverview(const Overview& overview, const Caption& caption, Size size, Canvas& canvas) {
    Drawing(overview, caption, size, canvas).Draw();
}

}  // namespace host
