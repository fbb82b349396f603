// Whether a tone comes out of the plug-in as it went in, and whether a decode can be broken off.
#pragma once

#include <cstdint>
#include <string>

#include "host/doctor/finding.h"
#include "host/session/session.h"

namespace host::doctor {

// How the sound of an opened file differs from the tone, from this frame on; empty when it doesn't. Decodes
// to the end.
std::string DifferenceFromTone(Session& session, std::uint32_t firstFrame);

// Each takes the path for a file that it may make. They throw Interruption, and Failure for what is no fault
// of what is checked.
Finding CheckTone(const Context& context, const std::string& file);
Finding CheckQuitEvent(const Context& context, const std::string& file);

}  // namespace host::doctor
