// One job on a file that is made for it, for who counts what it takes.
//
//   quick_job              the names of all jobs
//   quick_job JOB          does it and prints "allocations peak-bytes"
//
// A tracer sees the job between two marks among the system calls, a profiler inside the function QuickJob.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "kit/files.h"
#include "kit/plugin.h"
#include "quick/counted_memory.h"
#include "quick/tagged_files.h"
#include "support/clbuffer.h"
#include "system.h"
#include "tags/std_tags.h"

namespace {

using Job = std::function<void()>;

void Require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

struct NamedKind {
    const char* name;
    TagKind kind;
    bool picture;  // whether it holds one
};

constexpr NamedKind kKinds[] = {
    {"untagged", TagKind::None, false},    {"ID3v1", TagKind::Id3v1, false},
    {"APE", TagKind::Ape, true},           {"ID3v2.2", TagKind::Id3v22, true},
    {"ID3v2.3", TagKind::Id3v23, true},    {"ID3v2.4", TagKind::Id3v24, true},
    {"Matroska", TagKind::Matroska, true},
};

constexpr std::size_t kPictureBytes = 200 * 1024;

// The work of a job in two steps, of which the second one counts.
using Prepare = std::function<Job(const clString& path)>;

Job ReadJob(const clString& path, bool matroska) {
    return [path, matroska] {
        clString version;
        clBuffer blob;
        Require(matroska ? MatroskaTags::ReadBlob(path.text(), blob, {})
                         : ReadStdTagBlob(path, blob, version, {}),
                "no tags read");
    };
}

Job WriteJob(const clString& path, bool matroska) {
    auto tags = std::make_shared<IDTags>();
    tags->AddText(u"Title", u"Another value than the one before");
    return [path, matroska, tags] {
        Require(matroska ? MatroskaTags::Write(path.text(), *tags, {})
                         : WriteStdTags(path, *tags, StdTagFamily::Ape, {}),
                "no tags written");
    };
}

Job DeleteJob(const clString& path, bool matroska) {
    return [path, matroska] {
        Require(matroska ? MatroskaTags::Delete(path.text(), nullptr, {}) : DeleteStdTags(path, nullptr, {}),
                "no tags deleted");
    };
}

// The host's side of a decode; the worker is a stand-in that gives one and a half blocks.
Job DecodeJob(const clString&) {
    const auto worker = std::make_shared<kit::PluginWithWorker>(STAND_IN_FILE);
    const auto decoder = std::make_shared<kit::TestDecoder>(worker->plugin());
    // With an event each wait comes before its read, so that the number of calls tells nothing of time.
    Require(decoder->SetEventQuit((std::filesystem::current_path() / "quit").u16string()), "no event");
    return [worker, decoder] {
        Require(decoder->Open("report") && decoder->DecodeBlock() && decoder->SetPosition(44100) &&
                    decoder->DecodeBlock() && decoder->Close(),
                "no decode");
    };
}

void AddTagJobs(std::map<std::string, Prepare>& jobs, const NamedKind& kind, bool picture) {
    const bool matroska = kind.kind == TagKind::Matroska;
    const auto add = [&](const std::string& verb, Job (*make)(const clString&, bool)) {
        jobs[verb + " " + kind.name + (picture ? " with a picture" : "")] = [kind, picture, matroska,
                                                                             make](const clString& path) {
            kit::WriteFile(std::filesystem::path(path.View()),
                           TaggedFile(kind.kind, picture ? kPictureBytes : 0));
            return make(path, matroska);
        };
    };
    add("read", ReadJob);
    add("retag", WriteJob);
    if (kind.kind != TagKind::None) add("untag", DeleteJob);
}

std::map<std::string, Prepare> AllJobs() {
    std::map<std::string, Prepare> jobs;
    for (const NamedKind& kind : kKinds) {
        AddTagJobs(jobs, kind, false);
        if (kind.picture) AddTagJobs(jobs, kind, true);
    }
    jobs["decode"] = DecodeJob;
    return jobs;
}

}  // namespace

// Found by its name, so it stays a function of its own.
extern "C" [[gnu::noinline]] void QuickJob(const Job& job) {
    job();
}

int main(int count, char** arguments) try {
    const std::map<std::string, Prepare> jobs = AllJobs();
    if (count < 2) {
        for (const auto& [name, prepare] : jobs) std::puts(name.c_str());
        return 0;
    }
    const auto found = jobs.find(arguments[1]);
    Require(found != jobs.end(), "no such job");
    const kit::TempFolder folder;
    std::filesystem::current_path(folder.path());  // a name of the same length wherever the folder lies
    const Job job = found->second(u"song.tta");
    StartCountingMemory();
    MarkTrace("begin");
    QuickJob(job);
    MarkTrace("end");
    const MemoryCounts memory = CountedMemory();
    std::printf("%zu %zu\n", memory.allocations, memory.peakBytes);
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "quick_job: %s\n", failure.what());
    return 1;
}
