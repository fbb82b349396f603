#include "host/contract/helper.h"

#include <algorithm>
#include <thread>

#include "host/contract/rules.h"
#include "host/system/own_process.h"
#include "host/system/shared_event.h"
#include "host/text/text.h"

namespace host::contract {

namespace {

constexpr const char* kCheckRule = "--check-rule";
constexpr const char* kSetEvent = "--set-event";

int CheckRule(const std::string& name, const std::string& library, const std::string& folder,
              unsigned rounds) {
    const auto rule =
        std::find_if(Rules().begin(), Rules().end(), [&](const Rule& each) { return each.name == name; });
    if (rule == Rules().end()) return 1;
    // Stays until the process has ended, for calls that are made while it does.
    auto& bench = *new Bench(ToPath(library), ToPath(folder), rounds);
    try {
        rule->check(bench);
    } catch (const std::exception& error) {
        bench.Break(std::string("the check itself failed: ") + error.what());
    }
    if (!rule->endsOrdinarily) bench.End(Verdict::Kept, "");
    return 0;
}

}  // namespace

std::vector<std::string> RuleArguments(std::string_view rule, const std::filesystem::path& library,
                                       const std::filesystem::path& folder, unsigned rounds) {
    return {kCheckRule, std::string(rule), PathText(library), PathText(folder), std::to_string(rounds)};
}

std::vector<std::string> EventSetterArguments(const std::u16string& name, std::chrono::milliseconds delay) {
    return {kSetEvent, decoder_plugin::ToUtf8(name), std::to_string(delay.count())};
}

std::optional<int> RunAsHelper(const std::vector<std::string>& arguments) {
    if (arguments.size() == 5 && arguments[0] == kCheckRule) {
        system::PrepareForCrashes();
        return CheckRule(arguments[1], arguments[2], arguments[3],
                         static_cast<unsigned>(std::stoul(arguments[4])));
    }
    if (arguments.size() == 3 && arguments[0] == kSetEvent) {
        system::PrepareForCrashes();
        std::this_thread::sleep_for(std::chrono::milliseconds(std::stoul(arguments[2])));
        return system::SharedEvent::SetByName(decoder_plugin::ToUtf16(arguments[1])) ? 0 : 1;
    }
    return std::nullopt;
}

}  // namespace host::contract
