#include "host/commands/output_plan.h"

#include <filesystem>
#include <map>
#include <system_error>

#include "host/system/files.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace fs = std::filesystem;

namespace {

PlannedOutput Named(const InputFile& input, const OutputRules& rules) {
    if (!rules.output.empty()) return {rules.output, ""};
    if (input.name == "-" || input.tree.stem().empty())
        return {"", input.name + ": no name for the output; give -o"};
    fs::path path = ToPath(rules.folder) / input.tree;
    // A URL's output lies in the present folder.
    if (rules.folder.empty()) path = IsUrl(input.name) ? input.tree : ToPath(input.name);
    return {PathText(path.replace_extension(rules.extension)), ""};
}

// The same for all names of a file; as good as it gets for one that isn't there.
fs::path Identity(const std::string& name) {
    std::error_code code;
    const fs::path path = ToPath(name);
    const fs::path whole = fs::weakly_canonical(path, code);
    return code ? fs::absolute(path, code) : whole;
}

// Whether a file with several names has one among the inputs that its path doesn't show.
const InputFile* LinkedInput(const std::string& output, const std::vector<InputFile>& inputs) {
    std::error_code code;
    const fs::path path = ToPath(output);
    if (!fs::is_regular_file(path, code) || !system::HasOtherNames(path)) return nullptr;
    for (const InputFile& input : inputs) {
        if (fs::equivalent(ToPath(input.name), path, code)) return &input;
    }
    return nullptr;
}

}  // namespace

std::vector<PlannedOutput> PlanOutputs(const std::vector<InputFile>& inputs, const OutputRules& rules) {
    if (!rules.output.empty() && inputs.size() > 1) {
        throw UsageFailure("-o is for one file; --to names a folder for several");
    }
    std::map<fs::path, const InputFile*> sources;
    for (const InputFile& input : inputs) sources.emplace(Identity(input.name), &input);
    std::map<fs::path, const InputFile*> taken;
    std::vector<PlannedOutput> plan;
    for (const InputFile& input : inputs) {
        PlannedOutput planned = Named(input, rules);
        if (planned.refusal.empty() && planned.path != "-") {
            const fs::path identity = Identity(planned.path);
            const auto source = sources.find(identity);
            const InputFile* const replaced =
                source != sources.end() ? source->second : LinkedInput(planned.path, inputs);
            const auto [first, isFree] = taken.emplace(identity, &input);
            if (replaced != nullptr) {
                planned.refusal = input.name + ": the output " + planned.path + " would replace the input " +
                                  replaced->name;
            } else if (!isFree) {
                planned.refusal = input.name + ": the output " + planned.path + " is that of " +
                                  first->second->name + " already";
            }
        }
        plan.push_back(std::move(planned));
    }
    return plan;
}

PlannedPart PlanPart(const std::string& shard, const std::vector<InputFile>& inputs,
                     const OutputRules& rules) {
    std::vector<PlannedOutput> plan = PlanOutputs(inputs, rules);
    const Shard part(shard);
    PlannedPart planned;
    for (std::size_t index = 0; index < inputs.size(); ++index) {
        if (!part.Holds(inputs[index])) continue;
        planned.files.push_back(inputs[index]);
        planned.outputs.push_back(std::move(plan[index]));
    }
    return planned;
}

void RefuseExisting(const std::string& output) {
    std::error_code ignored;
    if (output != "-" && fs::is_regular_file(ToPath(output), ignored))
        throw Failure(output + " is there already (--force replaces it)");
}

void MakeFolderOf(const std::string& output) {
    std::error_code code;
    const fs::path folder = ToPath(output).parent_path();
    if (!folder.empty()) fs::create_directories(folder, code);
    if (code) throw Failure("can't make the folder " + PathText(folder) + ": " + code.message());
}

}  // namespace host
