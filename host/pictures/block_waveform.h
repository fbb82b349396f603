// A small waveform of characters.
#pragma once

#include <cstddef>
#include <string>

#include "host/sound/overview.h"

namespace host {

// What the place of output shows.
enum class Letters { Ascii, Blocks };

// Some lines of at most `width` columns, each with its end, and times below them. The overview has frames.
std::string BlockWaveform(const Overview& overview, double start, std::size_t width, Letters letters);

}  // namespace host
