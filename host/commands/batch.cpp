#include "host/commands/batch.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <thread>

#include "host/commands/report.h"
#include "host/system/console.h"
#include "host/system/interruption.h"
#include "host/terminal/output.h"
#include "host/terminal/progress.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace {

constexpr int kFailedCode = 1;
constexpr int kDamagedCode = 4;
constexpr std::array kOutcomeWords = {"done", "skipped", "damaged", "failed"};

std::size_t Index(Outcome outcome) {
    return static_cast<std::size_t>(outcome);
}

// Where results go, in the order that each place wants.
class Results {
  public:
    Results(const BatchOptions& options, const std::vector<InputFile>& files)
        : options_(options), files_(files), progress_(files.size(), !options.quiet && files.size() > 1) {
        if (options.resume && options.report.empty()) throw UsageFailure("--resume goes by a --report");
        if (options.resume) done_ = DoneIn(options.report);
        if (!options.report.empty()) report_.emplace(options.report);
    }

    // Whether an earlier run's report has the file as done.
    bool Has(std::size_t index) const { return done_.contains(files_[index].name); }

    // From any thread. Throws Failure when an output takes no more.
    void Add(std::size_t index, FileResult result) {
        const std::lock_guard lock(mutex_);
        ++counts_[Index(result.outcome)];
        const std::string line = LineOf(index, result);
        if (report_ && !Has(index)) report_->Add(line);
        progress_.Clear();
        if (options_.json) {
            Tell(result.messages);
            Print(line);
            FlushOutput();
        } else {
            waiting_.emplace(index, std::move(result));
            PrintWaiting();
        }
        progress_.Update(done(), counts_[Index(Outcome::Failed)]);
    }

    // What is left when a run was broken off.
    void Flush() {
        for (const auto& [index, result] : waiting_) Say(result);
        waiting_.clear();
        progress_.Clear();
    }

    void Summarize() {
        progress_.Clear();
        if (options_.quiet || files_.size() < 2) return;
        std::string text = std::to_string(files_.size()) + " files:";
        for (std::size_t index = 0; index < counts_.size(); ++index) {
            if (counts_[index] > 0)
                text += " " + std::to_string(counts_[index]) + " " + kOutcomeWords[index] + ",";
        }
        text.pop_back();
        PrintNote(text);
    }

    int ExitCode() const {
        if (counts_[Index(Outcome::Failed)] > 0) return kFailedCode;
        return counts_[Index(Outcome::Damaged)] > 0 ? kDamagedCode : 0;
    }

  private:
    std::size_t done() const {
        std::size_t sum = 0;
        for (const std::size_t count : counts_) sum += count;
        return sum;
    }

    std::string LineOf(std::size_t index, const FileResult& result) const {
        if (!options_.json && !report_) return {};
        Json line = {{"file", files_[index].name}, {"status", kOutcomeWords[Index(result.outcome)]}};
        if (!result.messages.empty()) line["messages"] = result.messages;
        line.update(result.fields);
        return JsonLine(line);
    }

    // In the order of the files, for people.
    void PrintWaiting() {
        while (!waiting_.empty() && waiting_.begin()->first == next_) {
            Say(waiting_.begin()->second);
            waiting_.erase(waiting_.begin());
            ++next_;
        }
    }

    void Say(const FileResult& result) {
        Print(result.text);
        if (!result.messages.empty()) FlushOutput();
        Tell(result.messages);
    }

    static void Tell(const std::vector<std::string>& messages) {
        for (const std::string& message : messages) PrintError(message);
    }

    const BatchOptions& options_;
    const std::vector<InputFile>& files_;
    std::set<std::string, std::less<>> done_;
    std::optional<Report> report_;
    std::mutex mutex_;
    CountProgress progress_;
    std::map<std::size_t, FileResult> waiting_;
    std::size_t next_ = 0;
    std::array<std::size_t, kOutcomeWords.size()> counts_{};
};

// Threads that take one file after the other.
class Crew {
  public:
    Crew(const Context& context, const std::vector<InputFile>& files, const FileJob& job, Results& results)
        : context_(context), files_(files), job_(job), results_(results) {}

    void Run(unsigned size) {
        std::vector<std::thread> threads;
        try {
            while (threads.size() + 1 < size) threads.emplace_back([this] { Work(); });
        } catch (const std::system_error&) {
            // Those that the system gives will do.
        }
        Work();
        for (std::thread& thread : threads) thread.join();
        if (end_) std::rethrow_exception(end_);
    }

  private:
    void Work() {
        try {
            Session session(context_);
            for (;;) {
                const std::size_t index = next_++;
                if (index >= files_.size() || stopped_) return;
                results_.Add(index, Attempt(session, index));
            }
        } catch (...) {
            const std::lock_guard lock(mutex_);
            if (!end_) end_ = std::current_exception();
            stopped_ = true;
        }
    }

    FileResult Attempt(Session& session, std::size_t index) {
        FileResult result;
        if (results_.Has(index)) {
            result.outcome = Outcome::Skipped;
            return result;
        }
        try {
            return job_({session, files_[index], index, files_.size() == 1});
        } catch (const UsageFailure&) {
            throw;
        } catch (const std::exception& error) {
            if (const int code = system::InterruptionCode()) throw Interruption{code};
            result.outcome = Outcome::Failed;
            result.messages = {error.what()};
            return result;
        }
    }

    const Context& context_;
    const std::vector<InputFile>& files_;
    const FileJob& job_;
    Results& results_;
    std::atomic<std::size_t> next_ = 0;
    std::atomic<bool> stopped_ = false;
    std::mutex mutex_;
    std::exception_ptr end_;
};

}  // namespace

std::string JsonLine(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

int RunBatch(const Context& context, const BatchOptions& options, const std::vector<InputFile>& files,
             const FileJob& job) {
    Results results(options, files);
    const unsigned wanted =
        options.jobs > 0 ? options.jobs : std::max(1u, std::thread::hardware_concurrency());
    const auto size =
        static_cast<unsigned>(std::min<std::size_t>(wanted, std::max<std::size_t>(1, files.size())));
    try {
        Crew(context, files, job, results).Run(size);
    } catch (...) {
        results.Flush();
        throw;
    }
    FlushOutput();
    results.Summarize();
    return results.ExitCode();
}

}  // namespace host
