// Changes to a file that can't be had again.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "host/commands/commands.h"

namespace host {

// Why a file is refused whose extension belongs to no kind of tags.
inline constexpr const char* kNoTags = "this kind of file takes no tags (tag --help lists those that do)";

// Throws Failure when the file, its folder or the room on the disk can't take a change that adds at most
// `bytes`.
void RequireWritable(const std::string& file, const WriteOptions& options, std::uintmax_t bytes);

// Runs the change on the file; or, to be safe, on a copy beside it, which takes the file's place when it is
// on the disk and its sound is the same.
void ChangeFile(Session& session, const std::string& file, const WriteOptions& options,
                const std::function<void(const std::string& path)>& change);

}  // namespace host
