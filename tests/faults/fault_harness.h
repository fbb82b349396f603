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

// What may be told from an outcome that is neither the old file nor the new one.
struct Contents {
    std::string samples;
    bool tagsRead = false;
    std::map<std::string, std::string> tags;  // text or picture
    bool operator==(const Contents&) const = default;
};

class Harness {
  public:
    // The name decides by its extension which engines work on the file.
    explicit Harness(const std::string& fileName) : file_(folder_ / fileName) {}

    // `killLoses`: a process that ends in the middle may cost tags, but no audio.
    // The file after an undisturbed job, or nothing when that is refused.
    std::string Try(const std::string& before, const Job& job, bool killLoses);

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
    std::string ContentComplaint(const Contents& contents, bool endedJob);
    const Contents& ContentsOf(const std::string& bytes);

    kit::TempFolder folder_;
    std::filesystem::path file_;
    const kit::Plugin plugin_{BuiltFaultyPlugin()};
    const kit::Library library_{BuiltFaultyPlugin()};
    const ArmFaultFunction arm_ = reinterpret_cast<ArmFaultFunction>(library_.Find("ArmFault"));
    const OperationsFunction operations_ = reinterpret_cast<OperationsFunction>(library_.Find("Operations"));
    kit::TestDecoder decoder_{plugin_};

    static std::filesystem::path BuiltFaultyPlugin();

    std::string old_, new_;
    const Job* job_ = nullptr;
    bool killLoses_ = false;
    std::map<std::string, Contents> known_;          // by bytes: equal outcomes are decoded once
    std::map<std::string, std::string> complaints_;  // where, by what
    int stops_ = 0;
};

}  // namespace faults
