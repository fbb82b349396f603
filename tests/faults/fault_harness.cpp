#include "fault_harness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace faults {

namespace {

struct FaultOf {
    Fault fault;
    const char* name;
    const char* operations;  // that it can meet; else it is one of the memory's
};
constexpr FaultOf kFaults[] = {
    {Fault::Error, "error", "SLRWEA"}, {Fault::Short, "short", "RWA"},     {Fault::DiskFull, "full", "WA"},
    {Fault::Ended, "ended", "WEA"},    {Fault::NoMemory, "no memory", ""},
};

const char* NameOf(Fault fault) {
    const auto* row = std::find_if(std::begin(kFaults), std::end(kFaults),
                                   [fault](const FaultOf& known) { return known.fault == fault; });
    return row->name;
}

}  // namespace

std::filesystem::path Harness::BuiltFaultyPlugin() {
    return FAULTY_PLUGIN_FILE;
}

std::string Harness::Try(const Scenario& scenario) {
    scenario_ = &scenario;
    const Outcome undisturbed = Run({});
    new_ = undisturbed.bytes;
    refused_ = !undisturbed.result;
    EXPECT_TRUE(undisturbed.result || new_ == scenario.before) << "refused, yet touched";
    EXPECT_FALSE(ContentsOf(scenario.before).samples.empty()) << decoder_.ErrorLog();
    EXPECT_EQ(AudioComplaint(new_, false), "") << "without any fault";
    // Where the job asks for no room there's nothing that such a file system could do otherwise.
    if (TryAll(false).find(kTakesRoom) != std::string::npos) TryAll(true);
    for (const auto& [what, where] : complaints_) ADD_FAILURE() << what << ": " << where;
    std::printf("%d stops, %zu outcomes\n", stops_, known_.size());
    return undisturbed.result ? new_ : "";
}

std::string Harness::TryAll(bool takesRoomUnasked) {
    FaultPlan plan{.takesRoomUnasked = takesRoomUnasked};
    const std::string all = Run(plan).operations;
    const std::int64_t requests = requests_;
    std::printf("%s, %d requests for memory\n", all.c_str(), static_cast<int>(requests));
    for (const FaultOf& row : kFaults) {
        plan.fault = row.fault;
        for (plan.at = 0; plan.at < static_cast<std::int64_t>(all.size()); ++plan.at) {
            if (std::string_view(row.operations).find(all[static_cast<std::size_t>(plan.at)]) !=
                std::string_view::npos)
                TryOne(plan);
        }
    }
    plan.fault = Fault::NoMemory;
    for (plan.at = 0; plan.at < requests && !takesRoomUnasked; ++plan.at) TryOne(plan);
    plan.fault = Fault::DiskFull;
    plan.at = 0;
    const auto growth =
        static_cast<std::int64_t>(new_.size()) - static_cast<std::int64_t>(scenario_->before.size());
    for (const std::int64_t room : {std::int64_t{1}, growth / 2, growth - 1}) {
        plan.room = room;
        if (room > 0 && room < growth) TryOne(plan);
    }
    return all;
}

void Harness::TryOne(const FaultPlan& plan) {
    const Outcome outcome = Run(plan);
    ++stops_;
    const std::string complaint = Complaint(plan, outcome);
    if (complaint.empty()) return;
    std::string& where = complaints_[complaint];
    where += " " + std::string(NameOf(plan.fault)) + "@" + std::to_string(plan.at);
    if (plan.room > 0) where += "+" + std::to_string(plan.room);
    if (plan.takesRoomUnasked) where += "*";
}

Harness::Outcome Harness::Run(const FaultPlan& plan) {
    const Job& job = scenario_->job;
    kit::WriteFile(file_, scenario_->before);
    const std::size_t logged = decoder_.ErrorLog().size();
    arm_(&plan);
    const bool result =
        job.deletes ? decoder_.DeleteTags(file_, job.names) : decoder_.WriteTags(file_, job.written);
    const std::string operations = operations_();
    requests_ = memoryRequests_();
    arm_(nullptr);
    return {result, decoder_.ErrorLog().size() > logged, operations, kit::ReadFile(file_)};
}

std::string Harness::Complaint(const FaultPlan& plan, const Outcome& outcome) {
    const bool ended = plan.fault == Fault::Ended;
    const bool isOld = outcome.bytes == scenario_->before;
    // The word itself takes memory; a job that is refused anyway has no other use for some.
    const bool speechless = plan.fault == Fault::NoMemory && refused_;
    if (!ended && !outcome.result && !outcome.logged && !speechless)
        return "failed without a word in the log";
    if (outcome.bytes == new_) return "";
    if (!ended && outcome.result)
        return isOld ? "a result of 1, and the old file" : "a result of 1, and another file";
    if (isOld) return "";
    const std::string complaint = AudioComplaint(outcome.bytes, ended);
    if (!complaint.empty() || (ended && scenario_->afterKill != AfterKill::OldOrNew)) return complaint;
    return TagComplaint(ContentsOf(outcome.bytes));
}

std::string Harness::AudioComplaint(const std::string& bytes, bool ended) {
    const std::string& samples = ContentsOf(bytes).samples;
    if (samples == ContentsOf(scenario_->before).samples) return "";
    if (!ended || scenario_->afterKill != AfterKill::AudioInPieces)
        return samples.empty() ? "the audio is lost" : "the audio differs";
    const std::string& audio = scenario_->audio;
    const std::size_t places[] = {scenario_->before.find(audio), new_.find(audio)};
    const auto isThere = [&](std::size_t place, std::size_t byte) {
        return place + byte < bytes.size() && bytes[place + byte] == audio[byte];
    };
    for (const auto& [front, back] : {std::pair(places[0], places[1]), std::pair(places[1], places[0])}) {
        std::size_t byte = 0;
        while (byte < audio.size() && isThere(front, byte)) ++byte;
        while (byte < audio.size() && isThere(back, byte)) ++byte;
        if (byte == audio.size()) return "";
    }
    return "bytes of the audio are lost";
}

std::string Harness::TagComplaint(const Contents& contents) {
    if (!contents.tagsRead) return "the tags can't be read";
    const Contents& was = ContentsOf(scenario_->before);
    const Contents& wanted = ContentsOf(new_);
    std::set<std::string> names;
    for (const Contents* known : {&was, &wanted, &contents}) {
        for (const auto& [name, value] : known->tags) names.insert(name);
    }
    const auto valueIn = [](const Contents& of, const std::string& name) {
        const auto found = of.tags.find(name);
        return found == of.tags.end() ? "" : found->second;
    };
    for (const std::string& name : names) {
        const std::string value = valueIn(contents, name);
        const std::string before = valueIn(was, name), after = valueIn(wanted, name);
        // Either stands in front.
        const bool both =
            scenario_->oldBesideNew &&
            ((value.starts_with(after + "\r") && before.ends_with(value.substr(after.size() + 1))) ||
             (value.ends_with("\r" + after) &&
              before.starts_with(value.substr(0, value.size() - after.size() - 1))));
        if (value != before && value != after && !both)
            return "tag " + name + (value.empty() ? " is lost" : " is neither old nor new");
    }
    return "";
}

const Contents& Harness::ContentsOf(const std::string& bytes) {
    if (const auto found = known_.find(bytes); found != known_.end()) return found->second;
    Contents& contents = known_[bytes];
    kit::WriteFile(file_, bytes);
    contents.tagsRead = decoder_.Open(file_);
    // A host that wants no tags plays what it can't read the tags of.
    if (!contents.tagsRead && !decoder_.Open(file_, 0)) return contents;
    if (contents.tagsRead) {
        for (const kit::Tag& tag : decoder_.Tags()) contents.tags.emplace(tag.name, tag.value + tag.data);
    }
    contents.samples = decoder_.ReadAll();
    decoder_.Close();
    return contents;
}

}  // namespace faults
