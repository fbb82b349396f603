// Where the marks of an axis stand, and what is written beside them.
#pragma once

#include <string>
#include <vector>

namespace host {

struct Mark {
    double place;  // from 0, where the axis begins, to 1, where it ends
    std::string text;
};

// From one time to a later one, in seconds, with at most so many marks.
std::vector<Mark> TimeMarks(double start, double end, int most);

// From 0 to the highest frequency, in Hz, with at most so many marks beside the first.
std::vector<Mark> FrequencyMarks(double highest, int most);

}  // namespace host
