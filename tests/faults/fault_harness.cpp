#include "fault_harness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace faults {

namespace {

struct FaultOf {
    Fault fault;
    const char* name;
    const char* operations;  // that it can meet
};
constexpr FaultOf kFaults[] = {
    {Fault::Error, "error", "SLRWEA"},
    {Fault::Short, "short", "RWA"},
    {Fault::DiskFull, "full", "WA"},
    {Fault::Ended, "ended", "WEA"},
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

std::string Harness::Try(const std::string& before, const Job& job, bool killLoses) {
    old_ = before;
    job_ = &job;
    killLoses_ = killLoses;
    const Outcome undisturbed = Run({});
    new_ = undisturbed.bytes;
    EXPECT_TRUE(undisturbed.result || new_ == old_) << "refused, yet touched";
    EXPECT_FALSE(ContentsOf(old_).samples.empty()) << decoder_.ErrorLog();
    EXPECT_EQ(ContentComplaint(ContentsOf(new_), false), "") << "without any fault";
    // Where the job asks for no room there's nothing that such a file system could do otherwise.
    if (TryAll(false).find(kTakesRoom) != std::string::npos) TryAll(true);
    for (const auto& [what, where] : complaints_) ADD_FAILURE() << what << ": " << where;
    std::printf("%d stops, %zu outcomes\n", stops_, known_.size());
    return undisturbed.result ? new_ : "";
}

std::string Harness::TryAll(bool takesRoomUnasked) {
    FaultPlan plan{.takesRoomUnasked = takesRoomUnasked};
    const std::string all = Run(plan).operations;
    std::printf("%s\n", all.c_str());
    for (const FaultOf& row : kFaults) {
        plan.fault = row.fault;
        for (plan.at = 0; plan.at < static_cast<std::int64_t>(all.size()); ++plan.at) {
            if (std::string_view(row.operations).find(all[static_cast<std::size_t>(plan.at)]) !=
                std::string_view::npos)
                TryOne(plan);
        }
    }
    plan.fault = Fault::DiskFull;
    plan.at = 0;
    const auto growth = static_cast<std::int64_t>(new_.size()) - static_cast<std::int64_t>(old_.size());
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
    kit::WriteFile(file_, old_);
    const std::size_t logged = decoder_.ErrorLog().size();
    arm_(&plan);
    const bool result =
        job_->deletes ? decoder_.DeleteTags(file_, job_->names) : decoder_.WriteTags(file_, job_->written);
    const std::string operations = operations_();
    const FaultPlan none;
    arm_(&none);
    return {result, decoder_.ErrorLog().size() > logged, operations, kit::ReadFile(file_)};
}

std::string Harness::Complaint(const FaultPlan& plan, const Outcome& outcome) {
    const bool ended = plan.fault == Fault::Ended;
    if (!ended && !outcome.result && !outcome.logged) return "failed without a word in the log";
    if (outcome.bytes == new_) return "";
    if (!ended && outcome.result) {
        if (outcome.bytes == old_) return "a result of 1, and the old file";
        // A picture in a Matroska file has another number each time.
        const bool same =
            outcome.bytes.size() == new_.size() && ContentsOf(outcome.bytes) == ContentsOf(new_);
        return same ? "" : "a result of 1, and another file";
    }
    if (outcome.bytes == old_) return "";
    return ContentComplaint(ContentsOf(outcome.bytes), ended);
}

std::string Harness::ContentComplaint(const Contents& contents, bool ended) {
    const Contents& was = ContentsOf(old_);
    if (contents.samples != was.samples)
        return contents.samples.empty() ? "the audio is lost" : "the audio differs";
    if (ended && killLoses_) return "";
    if (!contents.tagsRead) return "the tags can't be read";
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
        if (value != valueIn(was, name) && value != valueIn(wanted, name))
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
