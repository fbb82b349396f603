// Where the output of each input goes, decided for all of them before the first is worked on.
#pragma once

#include <string>
#include <vector>

#include "host/files/file_list.h"

namespace host {

struct OutputRules {
    std::string output;     // for a single input; "-": standard output
    std::string folder;     // keeps the tree of the inputs; empty: beside each input
    std::string extension;  // with its dot
};

struct PlannedOutput {
    std::string path;
    std::string refusal;  // why nothing may be written there; empty when it may
};

// In the order of the inputs. An output that is one of the inputs, or that of an earlier one, is refused.
// Throws UsageFailure for one output of several inputs.
std::vector<PlannedOutput> PlanOutputs(const std::vector<InputFile>& inputs, const OutputRules& rules);

// The files of one part of the work, each with its output.
struct PlannedPart {
    std::vector<InputFile> files;
    std::vector<PlannedOutput> outputs;
};
// Planned over all parts, so that none takes the place of another's output.
PlannedPart PlanPart(const std::string& shard, const std::vector<InputFile>& inputs,
                     const OutputRules& rules);

// Before the work on an output begins: throws Failure when a file is there.
void RefuseExisting(const std::string& output);
// The folder that it is to lie in. Throws Failure.
void MakeFolderOf(const std::string& output);

}  // namespace host
