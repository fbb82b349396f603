#include "host/tags/comparison.h"

#include <algorithm>
#include <optional>

#include "host/tags/pictures.h"
#include "host/text/text.h"

namespace host {

namespace {

// Line ends may change their form.
std::string Normalized(std::string text) {
    for (std::size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at))
        text.erase(at, 1);
    return text;
}

std::string Shown(const std::string& value) {
    std::string shown = value;
    std::replace(shown.begin(), shown.end(), kValueSeparator, '/');
    return "\"" + shown + "\"";
}

std::optional<std::string> TextDifference(const Entry& given, const Entries& read) {
    const Entry* const found = FindText(read, given.name);
    const std::string value = found == nullptr ? "" : found->value;
    if (Normalized(value) == Normalized(given.value)) return std::nullopt;
    if (found == nullptr) return "\"" + given.name + "\" can't be read back";
    return "\"" + given.name + "\" reads back as " + Shown(value) + " in place of " + Shown(given.value);
}

std::optional<std::string> PictureDifference(const Entry& given, const Entries& read) {
    const PictureName wanted = ParsePictureName(given.name);
    const auto isSame = [&](const Entry& entry) { return IsPicture(entry) && entry.data == given.data; };
    std::optional<std::string> difference = "the picture " + wanted.type + " can't be read back";
    for (auto found = std::find_if(read.begin(), read.end(), isSame); found != read.end();
         found = std::find_if(found + 1, read.end(), isSame)) {
        const PictureName name = ParsePictureName(found->name);
        if (name.type == wanted.type && name.description == wanted.description) return std::nullopt;
        difference = name.type == wanted.type
                         ? "the picture " + wanted.type + " reads back with the description \"" +
                               name.description + "\": this kind of tag doesn't hold \"" +
                               wanted.description + "\""
                         : "the picture " + wanted.type + " reads back as " +
                               (name.type.empty() ? "one without a type" : name.type) +
                               ": this kind of tag doesn't hold its type";
    }
    return difference;
}

}  // namespace

const Entry* FindText(const Entries& entries, const std::string& name) {
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) {
        return !IsPicture(entry) && EqualIgnoringCase(entry.name, name);
    });
    return found == entries.end() ? nullptr : &*found;
}

std::vector<std::string> Differences(const Entries& given, const Entries& read) {
    std::vector<std::string> differences;
    for (const Entry& entry : given) {
        const auto difference =
            IsPicture(entry) ? PictureDifference(entry, read) : TextDifference(entry, read);
        if (difference) differences.push_back(*difference);
    }
    return differences;
}

}  // namespace host
