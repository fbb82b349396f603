// Tags in words and as JSON, and back.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/commands/batch.h"
#include "host/tags/entry.h"

namespace host {

// Names in one column, values in the next; further values and lines of a value below the first.
using Lines = std::vector<std::pair<std::string, std::string>>;
std::string Columns(const Lines& lines);

// A picture by its type, format and size.
std::string PictureText(const Entry& entry);

Lines TagLines(const Entries& tags);

// An array of {"name", "values"}, and of {"name", "bytes"} for what is no text; without the pictures.
Json TagsJson(const Entries& tags);

// An array of {"type", "description", "bytes", "format"}, with {"data"} in Base64 when that is wanted.
Json PicturesJson(const Entries& tags, bool withData);

// What an object with such arrays says. Pictures come without their numbers, named for a new place. Throws
// Failure when it says something else.
Entries TagsFromJson(const Json& json);

std::vector<std::string> ValuesOf(const Entries& entries, const std::string& name);

}  // namespace host
