#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <system_error>

#include "host/commands/commands.h"
#include "host/contract/check.h"
#include "host/terminal/output.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace {

using contract::Result;
using contract::Verdict;
using Json = nlohmann::ordered_json;

std::filesystem::path FileAt(const std::string& name) {
    std::error_code ignored;
    std::filesystem::path path = ToPath(name);
    if (!std::filesystem::is_regular_file(path, ignored)) throw Failure("no file at " + name);
    return path;
}

std::string Quoted(const std::string& text) {
    return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

// Version 14 of the Test Anything Protocol.
void PrintTap(std::size_t number, const Result& result) {
    std::string line = (result.verdict == Verdict::Broken ? "not ok " : "ok ") + std::to_string(number) +
                       " - " + std::string(result.rule->name) + ": " + std::string(result.rule->sentence);
    if (result.verdict == Verdict::Skipped) line += " # SKIP " + EscapeControls(result.reason);
    line += "\n";
    if (result.verdict == Verdict::Broken) {
        line += "  ---\n  message: " + Quoted(result.reason) +
                "\n  promise: " + Quoted(std::string(result.rule->promise)) + "\n  ...\n";
    }
    Print(line);
    FlushOutput();
}

Json ToJson(const Result& result) {
    constexpr const char* kVerdicts[] = {"kept", "broken", "skipped"};
    Json json = {{"rule", result.rule->name},
                 {"sentence", result.rule->sentence},
                 {"promise", result.rule->promise},
                 {"verdict", kVerdicts[static_cast<int>(result.verdict)]}};
    if (!result.reason.empty()) json["reason"] = result.reason;
    json["milliseconds"] = result.time.count();
    return json;
}

}  // namespace

std::vector<std::string> ContractRules() {
    std::vector<std::string> names;
    for (const contract::Rule& rule : contract::Rules()) names.emplace_back(rule.name);
    return names;
}

int CheckContract(const ContractOptions& options) {
    if (options.library.empty()) throw UsageFailure("name a plug-in to check");
    contract::Request check;
    check.library = FileAt(options.library);
    if (!options.worker.empty()) check.worker = FileAt(options.worker);
    check.rules = options.rules;
    check.rounds = options.rounds;
    check.limit = std::chrono::seconds(options.limit);
    const std::size_t count = ChosenRules(check).size();
    if (!options.json) Print("TAP version 14\n1.." + std::to_string(count) + "\n");
    Json rules = Json::array();
    std::size_t number = 0;
    bool passed = true;
    contract::Check(check, [&](const Result& result) {
        if (options.json) {
            rules.push_back(ToJson(result));
        } else {
            PrintTap(++number, result);
        }
        passed = passed && result.verdict != Verdict::Broken;
    });
    if (options.json) {
        const Json all = {{"library", options.library}, {"passed", passed}, {"rules", std::move(rules)}};
        Print(all.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
    }
    return passed ? 0 : 1;
}

}  // namespace host
