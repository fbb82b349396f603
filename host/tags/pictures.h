// Pictures among the tags: their names, their types in the user's words, and what their bytes are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/tags/entry.h"

namespace host {

// A picture's entry is named "_albumart_NUMBER_TYPE", with "<subdesc>DESCRIPTION" behind it when there is
// one.
struct PictureName {
    std::string number;  // digits
    std::string type;
    std::string description;
};

bool IsPicture(const Entry& entry);
bool IsPictureName(std::string_view name);
PictureName ParsePictureName(std::string_view name);
std::string BuildPictureName(std::uint64_t number, const std::string& type, const std::string& description);

// The type that a word of the command line stands for, or the type name itself in any case; empty for
// neither.
std::string PictureTypeFromWord(std::string_view word);

// All words, for help and for messages.
std::vector<std::string> PictureTypeWords();

// What an image file's first bytes say that it is; null members when they say nothing.
struct ImageKind {
    const char* name;
    const char* extension;  // without the dot
};
ImageKind IdentifyImage(std::span<const std::byte> bytes);

// A picture that a user gives: "TYPE[:DESCRIPTION]=FILE".
struct Cover {
    std::string type;
    std::string description;
    std::string file;
};

// Throws UsageFailure.
Cover ParseCover(const std::string& argument);

// Names for new pictures of these types, in their order, so that each takes the place of a present one of its
// type. `numbersCount` tells that the tag which is there finds a picture by its number as well.
std::vector<std::string> NamesForCovers(const std::vector<Cover>& covers, const Entries& present,
                                        bool numbersCount);

}  // namespace host
