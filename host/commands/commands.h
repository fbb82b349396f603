// The commands of decoder-host. Each throws Failure, UsageFailure or Interruption.
#pragma once

#include <string>
#include <vector>

#include "host/session/context.h"

namespace host {

struct DecodeOptions {
    std::string file;
    std::string output;  // empty: beside the input; "-": standard output
    std::string start;
    std::string duration;
    bool raw = false;
};

struct TagOptions {
    std::string file;
    std::vector<std::string> assignments;  // NAME=VALUE
    std::vector<std::string> covers;       // TYPE[:DESCRIPTION]=IMAGE
};

struct UntagOptions {
    std::string file;
    std::vector<std::string> names;
    std::vector<std::string> covers;  // picture types
    bool yes = false;
};

void ShowFormats(const ContextOptions& plugin, bool json);
void ShowInfo(const ContextOptions& plugin, const std::string& file, bool json);
void ShowTags(const ContextOptions& plugin, const std::string& file, bool json);
void DecodeFile(const ContextOptions& plugin, const DecodeOptions& options);
void WriteFileTags(const ContextOptions& plugin, const TagOptions& options);
void DeleteFileTags(const ContextOptions& plugin, const UntagOptions& options);
void ExtractPictures(const ContextOptions& plugin, const std::string& file, const std::string& folder);

}  // namespace host
