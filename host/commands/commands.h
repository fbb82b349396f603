// The commands of decoder-host. Each gives the program's exit code and throws Failure, UsageFailure or
// Interruption.
#pragma once

#include <string>
#include <vector>

#include "host/commands/batch.h"
#include "host/session/context.h"

namespace host {

// What is taken of a source, and how deep.
struct SampleOptions {
    std::string start;
    std::string duration;
    std::string depth = "source";
    int stream = -1;
};

struct DecodeOptions {
    BatchOptions batch;
    SampleOptions samples;
    std::string output;  // empty: beside the input; "-": standard output
    std::string folder;
    bool raw = false;
    bool force = false;
    bool strict = false;
    bool resume = false;
};

struct WaveOptions {
    BatchOptions batch;
    SampleOptions samples;
    std::string output;  // empty: text on standard output; "-": the picture there
    std::string folder;
    std::string size;  // WIDTHxHEIGHT in pixels
    bool svg = false;  // where no name says it
    bool force = false;
};

struct ShowOptions {
    BatchOptions batch;
    std::vector<std::string> names;  // of tags whose values are wanted alone
    bool pictures = false;           // with their bytes, in JSON
};

// How carefully files are written to.
struct WriteOptions {
    bool safe = false;
    bool keepTimes = false;
    bool dryRun = false;
};

struct TagOptions {
    BatchOptions batch;
    WriteOptions write;
    std::vector<std::string> assignments;  // NAME=VALUE
    std::vector<std::string> covers;       // TYPE[:DESCRIPTION]=IMAGE
    std::vector<std::string> removals;     // names
    std::string from;                      // a file of tags as JSON
};

struct UntagOptions {
    BatchOptions batch;
    WriteOptions write;
    std::vector<std::string> names;
    std::vector<std::string> covers;  // picture types
    bool ignoreMissing = false;
    bool yes = false;
};

struct ArtOptions {
    BatchOptions batch;
    std::string output;  // of one picture; "-": standard output
    std::string folder;
    std::string type;
    bool force = false;
};

struct ContractOptions {
    std::string library;
    std::string worker;
    std::vector<std::string> rules;  // empty: all
    unsigned rounds = 1000;
    unsigned limit = 60;  // in seconds
    bool json = false;
};

int ShowFormats(const ContextOptions& plugin, bool json);
int ShowVersion(const ContextOptions& plugin);
int Diagnose(const ContextOptions& plugin, bool json);
int ShowInfo(const ContextOptions& plugin, const ShowOptions& options);
int ShowTags(const ContextOptions& plugin, const ShowOptions& options);
int DecodeFiles(const ContextOptions& plugin, const DecodeOptions& options);
int VerifyFiles(const ContextOptions& plugin, const BatchOptions& batch, const SampleOptions& samples);
int DrawWaves(const ContextOptions& plugin, const WaveOptions& options);
int WriteTags(const ContextOptions& plugin, const TagOptions& options);
int DeleteTags(const ContextOptions& plugin, const UntagOptions& options);
int ExtractPictures(const ContextOptions& plugin, const ArtOptions& options);
// The names of the rules that it checks.
std::vector<std::string> ContractRules();
int CheckContract(const ContractOptions& options);

}  // namespace host
