// How the tags at the end of a file change without ever being gone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "support/clfile.h"

// Replaces everything from `start` to the end of the file by the first `lasting` of `bytes`; the others stand
// in the file behind them until it is cut, and where they don't fit the disk it does without. When that fails
// the file is as it was, as far as the disk allows: nothing is cut before the new bytes are written, so that
// what they overwrite is all that has to be put back, into room that the file has already.
bool ReplaceTail(clFile& file, std::int64_t start, std::span<const std::byte> bytes,
                 std::size_t lasting) noexcept;
