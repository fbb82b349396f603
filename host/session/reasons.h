// Failures in a person's words.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "decoder_plugin.h"

namespace host {

// Why a local file can't be read, before anybody tries; nothing when there is no such reason, as for a URL.
std::optional<std::string> ReasonAgainstReading(const std::string& file);

// The messages of a failed call as one sentence: without numbers of a system's that isn't there, and each
// once.
std::string SentenceOf(const std::vector<std::string>& messages);

// What a number of the plug-in's says by itself; null where its own words say more.
const char* WordsFor(DecoderFailure number);

// The last line of the worker's messages that isn't what it says of every file; empty when there is none.
std::string LastComplaint(const std::string& messages);

}  // namespace host
