// The rules of the contract, in the order in which they are checked.
#pragma once

#include <span>
#include <string_view>

#include "host/contract/bench.h"

namespace host::contract {

struct Rule {
    std::string_view name;      // stays the same in all versions
    std::string_view sentence;  // what holds
    std::string_view promise;   // where it is promised
    // Comes back, or ends the process through the bench.
    void (*check)(Bench& bench);
    // Whether the process of the rule ends as an ordinary one does, and the rule is kept when that went well.
    bool endsOrdinarily = false;
};

std::span<const Rule> Rules();

// By idea.
void CheckExports(Bench& bench);
void CheckNullArguments(Bench& bench);
void CheckTables(Bench& bench);
void CheckParamFields(Bench& bench);
void CheckOrder(Bench& bench);

void CheckRecordBounds(Bench& bench);
void CheckBorrowedMemory(Bench& bench);
void CheckTextLifetime(Bench& bench);
void CheckBlobLifetime(Bench& bench);
void CheckSampleLifetime(Bench& bench);

void CheckOpenRecord(Bench& bench);
void CheckFailedOpen(Bench& bench);
void CheckBlocks(Bench& bench);
void CheckEndings(Bench& bench);
void CheckSeeks(Bench& bench);
void CheckSampleFormats(Bench& bench);

void CheckLogs(Bench& bench);
void CheckQuitEvent(Bench& bench);
void CheckTagJobs(Bench& bench);
void CheckExtensions(Bench& bench);

void CheckThreads(Bench& bench);
void CheckRounds(Bench& bench);
void CheckUnloading(Bench& bench);
void CheckExit(Bench& bench);

}  // namespace host::contract
