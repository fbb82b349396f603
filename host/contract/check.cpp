#include "host/contract/check.h"

#include <algorithm>
#include <system_error>

#include "host/contract/helper.h"
#include "host/files/temporary_folder.h"
#include "host/system/interruption.h"
#include "host/system/own_process.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host::contract {

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

// The library with another worker than its own: a copy, for it looks for the worker beside its own folder.
fs::path InstallWithWorker(const Request& request, const fs::path& folder) {
    fs::path library = folder / "decoders" / request.library.filename();
    const fs::path worker = folder / "ffmpeg-lgpl.exe";
    fs::create_directory(library.parent_path());
    fs::copy_file(request.library, library);
    const fs::path original = fs::canonical(*request.worker);
    std::error_code code;
    fs::create_symlink(original, worker, code);
    if (code) fs::create_hard_link(original, worker, code);
    if (code) fs::copy_file(original, worker);
    return library;
}

Result CheckOne(const Rule& rule, const fs::path& library, const fs::path& folder, const Request& request) {
    constexpr std::chrono::milliseconds kLook(100);  // at whether the user wants an end
    const Clock::time_point start = Clock::now();
    const std::chrono::seconds limit =
        request.limit + std::chrono::seconds(rule.check == CheckRounds ? request.rounds : 0);
    fs::create_directory(folder);
    std::optional<std::string> end;
    {
        system::OwnProcess process(RuleArguments(rule.name, library, folder, request.rounds));
        while (!(end = process.Wait(kLook)) && Clock::now() - start < limit) {
            if (const int code = system::InterruptionCode()) throw Interruption{code};
        }
    }
    const Journal::Entry entry = Journal::Read(folder / kJournalName);
    Result result{&rule, entry.verdict, entry.reason, {}};
    if (!entry.finished || (entry.verdict == Verdict::Kept && end != "")) {
        result.verdict = Verdict::Broken;
        result.reason = end ? "the process ended with " + (end->empty() ? "an exit of the plug-in's" : *end)
                            : "no end within " + std::to_string(limit.count()) + " seconds";
        result.reason += " in " + (entry.step.empty() ? "the start" : entry.step);
    }
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    result.time = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    return result;
}

}  // namespace

std::vector<const Rule*> ChosenRules(const Request& request) {
    std::vector<const Rule*> chosen;
    for (const Rule& rule : Rules()) {
        if (request.rules.empty() || std::ranges::count(request.rules, rule.name) > 0)
            chosen.push_back(&rule);
    }
    return chosen;
}

void Check(const Request& request, const std::function<void(const Result&)>& report) {
    decoder_plugin::QuitEvent quit;
    const system::EndRequests requests(quit);
    try {
        const TemporaryFolder folder;
        const fs::path library =
            request.worker ? InstallWithWorker(request, folder.path()) : fs::absolute(request.library);
        for (const Rule* const rule : ChosenRules(request)) {
            report(CheckOne(*rule, library, folder.path() / rule->name, request));
        }
    } catch (const std::system_error& error) {
        throw Failure(std::string("the check can't be made: ") + error.what());
    }
}

}  // namespace host::contract
