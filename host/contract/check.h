// The public contract, checked on a library that may be anything.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/contract/journal.h"
#include "host/contract/rules.h"

namespace host::contract {

struct Request {
    std::filesystem::path library;
    // When it is given, the library is copied to a folder in which this program is its worker.
    std::optional<std::filesystem::path> worker;
    std::vector<std::string> rules;  // names; empty for all
    unsigned rounds = 1000;
    std::chrono::seconds limit{60};  // for a rule; that about rounds gets a second more for each
};

struct Result {
    const Rule* rule;
    Verdict verdict;
    std::string reason;  // empty when the rule is kept
    std::chrono::milliseconds time;
};

// Those that the request names, in their own order.
std::vector<const Rule*> ChosenRules(const Request& request);

// Each rule in a process of its own, so that no crash and no hang keeps the others from being checked. Throws
// Failure when the check can't be made at all, and Interruption.
void Check(const Request& request, const std::function<void(const Result&)>& report);

}  // namespace host::contract
