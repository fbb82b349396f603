// One job for many files: side by side, each result told as it comes, and one exit code for all.
#pragma once

#include <cstddef>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/files/file_list.h"
#include "host/session/context.h"
#include "host/session/session.h"

namespace host {

using Json = nlohmann::ordered_json;

struct BatchOptions {
    Selection selection;
    unsigned jobs = 0;  // 0: as many as there are processors
    std::string shard;
    std::string report;   // a file to which the JSON lines are appended
    bool resume = false;  // pass over what is done according to it
    bool json = false;
    bool quiet = false;
};

enum class Outcome { Done, Skipped, Damaged, Failed };

struct FileResult {
    Outcome outcome = Outcome::Done;
    std::vector<std::string> messages;  // whole sentences for standard error
    std::string text;                   // for standard output
    Json fields = Json::object();       // what the JSON line has besides file, status and messages
};

struct Job {
    Session& session;
    const InputFile& file;
    std::size_t index;  // of the file in the list
    bool alone;         // no other file is worked on in this run: room for a progress line of its own
};

// Runs in several threads at once. What it throws fails its file; UsageFailure and Interruption end the run.
using FileJob = std::function<FileResult(const Job&)>;

// The exit code: 1 when a file failed, else 4 when one was damaged, else 0. Throws what ends the run.
int RunBatch(const Context& context, const BatchOptions& options, const std::vector<InputFile>& files,
             const FileJob& job);

// A JSON value as one line of text, whatever bytes its texts have.
std::string JsonLine(const Json& json);

}  // namespace host
