// The picture of a sound: waveform and spectrogram, with their axes.
#pragma once

#include <string>

#include "host/pictures/canvas.h"
#include "host/sound/overview.h"

namespace host {

constexpr Size kSmallestPicture{400, 300};
constexpr Size kLargestPicture{10000, 5000};

struct Caption {
    std::string title;
    std::string details;
    double start;  // of what is shown, in seconds
};

// The overview has frames, and their frequencies. The canvas has the size, which lies between the smallest
// and the largest one.
void DrawOverview(const Overview& overview, const Caption& caption, Size size, Canvas& canvas);

}  // namespace host
