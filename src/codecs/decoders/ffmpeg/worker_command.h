// How the worker is started.
#pragma once

#include <cstdint>
#include <string>

#include "transport/worker_process.h"

// Full path of the worker program in UTF-8: "ffmpeg-lgpl.exe" in the folder above that of this library. It is
// not looked whether it is there.
std::string WorkerPath();

// What of the input comes out, and how. What isn't chosen is left to the worker and not mentioned to it.
struct WorkerOutput {
    static constexpr std::int32_t kNotChosen = -1;

    std::int32_t audioStream = kNotChosen;  // among the audio streams, from 0
    const char* encoder = nullptr;          // a name of the worker's own; null: not chosen
};

// The command that decodes a path or URL (in the bytes of the system) from `seconds` on into Wave64 on
// standard output.
WorkerCommand BuildWorkerCommand(const std::string& path, double seconds, const WorkerOutput& output = {});

// Decimal seconds, to the microsecond, with a point whatever the locale.
std::string SecondsText(double seconds);
