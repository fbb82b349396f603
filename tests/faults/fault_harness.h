// Tag jobs under every fault that a file can meet, and what has to hold after each.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "faults/fault_plan.h"
#include "kit/files.h"
#include "kit/plugin.h"

namespace faults {

struct Job {
    std::vector<kit::Tag> written = {};
    bool deletes = false;
    std::vector<std::string> names = {};  // of what is deleted; empty: everything
};

// What a process that ends in the middle may cost.
enum class AfterKill {
    OldOrNew,  // nothing
    TagsMayGo,
    AudioInPieces,  // what moves the audio may stop between two pieces: none is missing, but it doesn't play
};

struct Scenario {
    std::string before;
    Job job;
    AfterKill afterKill = AfterKill::OldOrNew;
    std::string audio = {};     // to be looked for in pieces
    bool oldBesideNew = false;  // a stop may leave both values of a tag in the file
};

// What may be told from an outcome that is neither the old file nor the new one.
struct Contents {
    std::string samples;
    bool tagsRead = false;
    std::map<std::string, std::string> tags;  // text or picture
};

class Harness {
  public:
    // The name decides by its extension which engines work on the file.
    explicit Harness(const std::string& fileName) : file_(folder_ / fileName) {}

    // Stops the job everywhere. Gives the file after an undisturbed one, or nothing when that is refused.
    std::string Try(const Scenario& scenario);

  private:
    struct Outcome {
        bool result;
        bool logged;
        std::string operations;
        std::string bytes;
    };
    Outcome Run(const FaultPlan& plan);
    std::string TryAll(bool takesRoomUnasked);
    void TryOne(const FaultPlan& plan);
    std::string Complaint(const FaultPlan& plan, const Outcome& outcome);
    std::string AudioComplaint(const std::string& bytes, bool ended);
    std::string TagComplaint(const Contents& contents);
    const Contents& ContentsOf(const std::string& bytes);

    kit::TempFolder folder_;
    std::filesystem::path file_;
    const kit::Plugin plugin_{BuiltFaultyPlugin()};
    const kit::Library library_{BuiltFaultyPlugin()};
    const ArmFaultFunction arm_ = reinterpret_cast<ArmFaultFunction>(library_.Find("ArmFault"));
    const OperationsFunction operations_ = reinterpret_cast<OperationsFunction>(library_.Find("Operations"));
    const MemoryRequestsFunction memoryRequests_ =
        reinterpret_cast<MemoryRequestsFunction>(library_.Find("MemoryRequests"));
    kit::TestDecoder decoder_{plugin_};

    static std::filesystem::path BuiltFaultyPlugin();

    const Scenario* scenario_ = nullptr;
    std::string new_;
    bool refused_ = false;                           // without any fault
    std::int64_t requests_ = 0;                      // for memory, of the last run
    std::map<std::string, Contents> known_;          // by bytes: equal outcomes are decoded once
    std::map<std::string, std::string> complaints_;  // where, by what
    int stops_ = 0;
};

}  // namespace faults
