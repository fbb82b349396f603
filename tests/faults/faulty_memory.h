// The memory of the plug-in for tests: every request of its own and of its standard library.
#pragma once

#include "fault_plan.h"

// Counts those of the calling thread anew, or no longer.
void CountMemory(bool counts, const FaultPlan& plan) noexcept;
