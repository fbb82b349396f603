// How the worker is started.
#pragma once

#include <string>

#include "transport/worker_process.h"

// Full path of the worker program in UTF-8: "ffmpeg-lgpl.exe" in the folder above that of this library. It is
// not looked whether it is there.
std::string WorkerPath();

// The command that decodes a path or URL (UTF-8) from `seconds` on into Wave64 on standard output.
WorkerCommand BuildWorkerCommand(const std::string& pathUtf8, double seconds);

// Decimal seconds, to the microsecond, with a point whatever the locale.
std::string SecondsText(double seconds);
