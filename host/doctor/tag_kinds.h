// Whether tags of every kind can be written, read and deleted.
#pragma once

#include <array>
#include <string>

#include "host/doctor/finding.h"
#include "host/files/temporary_folder.h"
#include "host/session/context.h"

namespace host::doctor {

enum class TagKind { Id3v1, Id3v2, Ape, Matroska };
inline constexpr std::array kTagKinds = {TagKind::Id3v1, TagKind::Id3v2, TagKind::Ape, TagKind::Matroska};

std::string SubjectOf(TagKind kind);

// In a file of that folder. Tags are read with the worker's help; without one they are looked for in the
// file's bytes. Throws Interruption, and Failure when the file can't be made.
Finding CheckTags(TagKind kind, const Context& context, const TemporaryFolder& folder, bool hasWorker);

}  // namespace host::doctor
