// Whether everything that the program needs is there and works.
#include <chrono>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <vector>

#include "host/commands/batch.h"
#include "host/commands/commands.h"
#include "host/doctor/patience.h"
#include "host/doctor/setup.h"
#include "host/doctor/sound.h"
#include "host/doctor/tag_kinds.h"
#include "host/files/temporary_folder.h"
#include "host/session/places.h"
#include "host/terminal/output.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace {

using doctor::Finding;
using doctor::Verdict;

// Tells each finding as it comes.
class Report {
  public:
    explicit Report(bool json) : json_(json) {}

    // Gives whether it was well.
    bool Add(const Finding& finding) {
        const bool ok = finding.verdict == Verdict::Ok;
        allOk_ = allOk_ && ok;
        if (json_) {
            Json line = {
                {"check", finding.subject}, {"status", Word(finding.verdict)}, {"text", finding.words}};
            line.update(finding.fields);
            Print(JsonLine(line));
        } else {
            constexpr std::size_t kVerdictWidth = 9;
            constexpr std::size_t kSubjectWidth = 18;
            std::string verdict = Word(finding.verdict);
            const std::string gap(kVerdictWidth - verdict.size(), ' ');
            std::string subject = finding.subject;
            subject.resize(kSubjectWidth, ' ');
            Print((ok ? verdict : Emphasized(verdict)) + gap + subject + finding.words + "\n");
        }
        FlushOutput();
        return ok;
    }

    bool allOk() const { return allOk_; }

  private:
    static const char* Word(Verdict verdict) {
        return verdict == Verdict::Ok ? "ok" : verdict == Verdict::Wrong ? "wrong" : "skipped";
    }

    const bool json_;
    bool allOk_ = true;
};

// What is known of the set-up when the later checks begin.
struct SetUp {
    Context* context;               // null without the plug-in
    const TemporaryFolder* folder;  // null where no file can be made
    bool hasWorker;                 // one that decodes
};

// A check that works on files of its own.
struct Trial {
    std::string subject;
    bool needsWorker;
    std::function<Finding()> run;
};

Finding FindingOf(const Trial& trial, const SetUp& setUp) {
    const auto skipped = [&](const char* need) {
        return Finding{trial.subject, Verdict::Skipped, std::string("needs ") + need};
    };
    if (setUp.context == nullptr) return skipped("the plug-in");
    if (setUp.folder == nullptr) return skipped("a temporary file");
    if (trial.needsWorker && !setUp.hasWorker) return skipped("a worker that decodes");
    constexpr auto kLimit = std::chrono::seconds(30);
    decoder_plugin::QuitEvent& quit = setUp.context->quit();
    doctor::Patience patience(kLimit, [&] { quit.Set(); });
    Finding finding;
    try {
        finding = trial.run();
    } catch (const std::exception& error) {
        finding = {trial.subject, Verdict::Wrong, error.what()};
    }
    if (!patience.End()) return finding;
    quit.Reset();
    return {trial.subject, Verdict::Wrong,
            "no answer within " + std::to_string(kLimit.count()) +
                " s; try another build of FFmpeg as the worker"};
}

Trial ToneTrial(const SetUp& setUp) {
    return {"tone", true, [&] { return doctor::CheckTone(*setUp.context, setUp.folder->File("tone.wav")); }};
}

std::vector<Trial> TrialsFor(const SetUp& setUp) {
    std::vector<Trial> trials = {
        {"quit event", true,
         [&] { return doctor::CheckQuitEvent(*setUp.context, setUp.folder->File("quit.wav")); }}};
    for (const doctor::TagKind kind : doctor::kTagKinds) {
        trials.push_back({doctor::SubjectOf(kind), false, [&setUp, kind] {
                              return doctor::CheckTags(kind, *setUp.context, *setUp.folder, setUp.hasWorker);
                          }});
    }
    return trials;
}

// Nothing, with a finding, where no file can be made.
std::unique_ptr<TemporaryFolder> MakeFolder(Report& report) {
    constexpr const char* kSubject = "temporary files";
    try {
        auto folder = std::make_unique<TemporaryFolder>();
        report.Add({kSubject, Verdict::Ok, "in " + PathText(folder->path().parent_path())});
        return folder;
    } catch (const Failure& failure) {
        report.Add(
            {kSubject, Verdict::Wrong,
             failure.what() + std::string("; set TMPDIR (on Windows TMP) to a folder that takes files")});
        return nullptr;
    }
}

}  // namespace

int Diagnose(const ContextOptions& options, bool json) {
    constexpr int kWrongCode = 1;
    Report report(json);
    const std::filesystem::path plugin = PluginPath(options.plugin);
    const bool hasPlugin = report.Add(doctor::CheckPlugin(plugin));
    bool hasWorker = true;
    for (const Finding& finding : doctor::CheckWorker(WorkerPath(plugin))) {
        hasWorker = report.Add(finding) && hasWorker;
    }
    std::optional<Context> context;
    if (hasPlugin) context.emplace(options);
    const std::unique_ptr<TemporaryFolder> folder = MakeFolder(report);
    SetUp setUp = {context ? &*context : nullptr, folder.get(), hasWorker};
    // Nothing is blamed on tags that a worker does wrong.
    setUp.hasWorker = report.Add(FindingOf(ToneTrial(setUp), setUp));
    for (const Trial& trial : TrialsFor(setUp)) report.Add(FindingOf(trial, setUp));
    return report.allOk() ? 0 : kWrongCode;
}

}  // namespace host
