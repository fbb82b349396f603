#include "host/commands/tag_text.h"

#include <algorithm>

#include "host/system/console.h"
#include "host/tags/pictures.h"
#include "host/terminal/output.h"
#include "host/text/base64.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace {

std::string ImageName(const Entry& entry) {
    const ImageKind kind = IdentifyImage(entry.data);
    return kind.name == nullptr ? "unknown format" : kind.name;
}

std::string WithPlainLineEnds(std::string text) {
    for (std::size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at))
        text.erase(at, 1);
    return text;
}

}  // namespace

std::string Columns(const Lines& lines) {
    constexpr std::size_t kWidestName = 24;
    const bool terminal = system::IsTerminal(stdout);
    std::size_t width = 0;
    for (const auto& [name, value] : lines) width = std::max(width, std::min(name.size(), kWidestName));
    std::string text;
    for (const auto& [name, value] : lines) {
        const std::string shownName = terminal ? EscapeControls(name) : name;
        std::string start = Emphasized(shownName);
        start.append(shownName.size() < width ? width - shownName.size() + 2 : 2, ' ');
        std::string whole = WithPlainLineEnds(value);
        std::replace(whole.begin(), whole.end(), kValueSeparator, '\n');
        for (const std::string& line : Split(whole, '\n')) {
            text += start + (terminal ? EscapeControls(line) : line) + "\n";
            start.assign(width + 2, ' ');
        }
    }
    return text;
}

std::string PictureText(const Entry& entry) {
    const PictureName name = ParsePictureName(entry.name);
    std::string text = (name.type.empty() ? "untyped" : name.type) + ", " + ImageName(entry) + ", " +
                       std::to_string(entry.data.size()) + " bytes";
    if (!name.description.empty()) text += ", \"" + name.description + "\"";
    return text;
}

Lines TagLines(const Entries& tags) {
    Lines lines;
    for (const Entry& entry : tags) {
        if (IsPicture(entry)) {
            lines.emplace_back("Picture " + ParsePictureName(entry.name).number, PictureText(entry));
        } else if (!entry.data.empty()) {
            lines.emplace_back(entry.name, std::to_string(entry.data.size()) + " bytes of data");
        } else {
            lines.emplace_back(entry.name, entry.value);
        }
    }
    return lines;
}

Json TagsJson(const Entries& tags) {
    Json json = Json::array();
    for (const Entry& entry : tags) {
        if (IsPicture(entry)) continue;
        if (entry.data.empty()) {
            json.push_back({{"name", entry.name}, {"values", Split(entry.value, kValueSeparator)}});
        } else {
            json.push_back({{"name", entry.name}, {"bytes", entry.data.size()}});
        }
    }
    return json;
}

Json PicturesJson(const Entries& tags, bool withData) {
    Json json = Json::array();
    for (const Entry& entry : tags) {
        if (!IsPicture(entry)) continue;
        const PictureName name = ParsePictureName(entry.name);
        const ImageKind kind = IdentifyImage(entry.data);
        Json picture = {{"type", name.type}, {"description", name.description}, {"bytes", entry.data.size()}};
        picture["format"] = kind.name == nullptr ? Json() : Json(kind.name);
        if (withData) picture["data"] = Base64(entry.data);
        json.push_back(std::move(picture));
    }
    return json;
}

Entries TagsFromJson(const Json& json) {
    Entries entries;
    try {
        for (const Json& tag : json.value("tags", Json::array())) {
            if (!tag.contains("values")) continue;
            std::string joined;
            for (const Json& value : tag.at("values")) joined += kValueSeparator + value.get<std::string>();
            entries.push_back({tag.at("name").get<std::string>(), joined.substr(joined.empty() ? 0 : 1), {}});
        }
        for (const Json& picture : json.value("pictures", Json::array())) {
            if (!picture.contains("data")) continue;
            const std::optional<std::vector<std::byte>> data =
                FromBase64(picture.at("data").get<std::string>());
            if (!data) throw Failure("a picture whose data isn't Base64");
            const std::string name = BuildPictureName(entries.size() + 1, picture.value("type", ""),
                                                      picture.value("description", ""));
            entries.push_back({name, "", *data});
        }
    } catch (const Json::exception& error) {
        throw Failure(std::string("not tags as \"tags --json\" gives them: ") + error.what());
    }
    return entries;
}

std::vector<std::string> ValuesOf(const Entries& entries, const std::string& name) {
    std::vector<std::string> values;
    for (const Entry& entry : entries) {
        if (entry.name == name) values.push_back(entry.value);
    }
    return values;
}

}  // namespace host
