// Workers that are no processes: what the next ones print is told beforehand and stands in their pipes at
// once. Takes the place of the seam's own processes in the program that links it.
#pragma once

#include <cstdint>
#include <string>

struct FedWorker {
    std::string output;  // of each text no more is printed than a pipe holds: its last bytes
    std::string error;
    std::int32_t exitCode = 0;
    bool starts = true;
};

// Every worker from here on is like this one.
void FeedWorkers(FedWorker worker);
