// Tags and pictures changed, deleted and written out.
#include <algorithm>
#include <filesystem>
#include <system_error>

#include "host/commands/commands.h"
#include "host/files/output_file.h"
#include "host/files/whole_file.h"
#include "host/session/session.h"
#include "host/system/console.h"
#include "host/system/interruption.h"
#include "host/tags/pictures.h"
#include "host/terminal/output.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace fs = std::filesystem;

namespace {

// Only what is to change goes to the plug-in: each of its engines keeps what it isn't given, and so nothing
// that it reads and writes in different forms is touched by accident.
Entries ParseAssignments(const std::vector<std::string>& assignments) {
    Entries entries;
    for (const std::string& assignment : assignments) {
        const std::size_t equals = assignment.find('=');
        if (equals == std::string::npos || equals == 0) {
            throw UsageFailure("\"" + assignment + "\" isn't NAME=VALUE");
        }
        const std::string name = assignment.substr(0, equals);
        const std::string value = assignment.substr(equals + 1);
        if (IsPictureName(name)) throw UsageFailure("give pictures with --cover TYPE=IMAGE");
        const auto same = std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) {
            return EqualIgnoringCase(entry.name, name);
        });
        if (same == entries.end()) {
            entries.push_back({name, value, {}});
        } else {
            same->value += kValueSeparator + value;
        }
    }
    return entries;
}

std::vector<std::byte> ReadImage(const std::string& file) {
    constexpr std::uintmax_t kLargestImage = 1u << 30;
    std::vector<std::byte> bytes = ReadWholeFile(file, kLargestImage);
    if (IdentifyImage(bytes).name == nullptr) throw Failure(file + " is no picture of a known format");
    return bytes;
}

// An APE tag finds a picture that is to be replaced by its number and type together, the other kinds by its
// type alone.
bool HasApeTag(const Entries& info) {
    return std::any_of(info.begin(), info.end(), [](const Entry& entry) {
        return entry.name == "ID Tag" && entry.value.find("APE") != std::string::npos;
    });
}

Entries ReadCovers(Session& session, const std::string& file, const std::vector<Cover>& covers) {
    Entries entries;
    for (const Cover& cover : covers) entries.push_back({"", "", ReadImage(cover.file)});
    const OpenedFile opened = session.Open(file, DECODER_OPEN_TAGS | DECODER_OPEN_INFO);
    session.Close();
    const std::vector<std::string> names = NamesForCovers(covers, opened.tags, HasApeTag(opened.info));
    for (std::size_t index = 0; index < names.size(); ++index) entries[index].name = names[index];
    return entries;
}

// The name under which all pictures of a type are deleted. The description is one that no picture has: an APE
// tag would else lose, with the type, every picture that has no description.
std::string PictureNameToDelete(const std::string& word) {
    constexpr const char* kNoPicturesDescription = "\x7F";
    const std::string type = PictureTypeFromWord(word);
    return BuildPictureName(1, type.empty() ? word : type, kNoPicturesDescription);
}

void AskBeforeDeletingAll(const std::string& file) {
    if (!system::IsTerminal(stdin) || !system::IsTerminal(stderr)) {
        throw UsageFailure("to delete all tags of " + file + ", add --yes");
    }
    PrintToTerminal("Delete all tags and pictures of " + EscapeControls(file) + "? [y/N] ");
    const std::string answer = WithoutBlanks(system::ReadAnswer());
    if (const int code = system::InterruptionCode()) throw Interruption{code};
    if (!EqualIgnoringCase(answer, "y") && !EqualIgnoringCase(answer, "yes"))
        throw Failure("nothing deleted");
}

// A name that every file system takes. It begins with the number, so no device's name can come of it.
std::string PictureFileName(const Entry& entry) {
    constexpr std::string_view kForbidden = "/\\:*?\"<>|";
    constexpr std::size_t kLongest = 120;
    const PictureName parts = ParsePictureName(entry.name);
    std::string name = parts.number;
    if (!parts.type.empty()) name += " " + parts.type;
    if (!parts.description.empty()) name += " - " + parts.description;
    for (char& letter : name) {
        const auto code = static_cast<unsigned char>(letter);
        if (code < 0x20 || code == 0x7F || kForbidden.find(letter) != std::string_view::npos) letter = '_';
    }
    if (name.size() > kLongest) {
        name.resize(kLongest);
        // Not in the middle of a character.
        while (!name.empty() && (static_cast<unsigned char>(name.back()) & 0xC0) == 0x80) name.pop_back();
        if (!name.empty() && (static_cast<unsigned char>(name.back()) & 0x80) != 0) name.pop_back();
    }
    const ImageKind kind = IdentifyImage(entry.data);
    return name + "." + (kind.extension == nullptr ? "bin" : kind.extension);
}

}  // namespace

void WriteFileTags(const ContextOptions& plugin, const TagOptions& options) {
    Entries entries = ParseAssignments(options.assignments);
    std::vector<Cover> covers;
    for (const std::string& cover : options.covers) covers.push_back(ParseCover(cover));
    if (entries.empty() && covers.empty()) throw UsageFailure("nothing to write: give NAME=VALUE or --cover");

    const Context context(plugin);
    Session session(context);
    if (!covers.empty()) {
        for (Entry& cover : ReadCovers(session, options.file, covers)) entries.push_back(std::move(cover));
    }
    session.WriteTags(options.file, entries);
}

void DeleteFileTags(const ContextOptions& plugin, const UntagOptions& options) {
    std::vector<std::string> names = options.names;
    for (const std::string& name : names) {
        if (IsPictureName(name)) throw UsageFailure("name pictures with --cover TYPE");
    }
    for (const std::string& cover : options.covers) names.push_back(PictureNameToDelete(cover));
    const Context context(plugin);
    Session session(context);
    // A file that can't be tagged is refused with a reason; there is nothing to ask.
    if (names.empty() && !options.yes && session.CanWriteTags(options.file))
        AskBeforeDeletingAll(options.file);
    session.DeleteTags(options.file, names);
}

void ExtractPictures(const ContextOptions& plugin, const std::string& file, const std::string& folder) {
    const Context context(plugin);
    Session session(context);
    const Entries tags = session.Open(file, DECODER_OPEN_TAGS).tags;
    session.Close();
    const auto isShown = [](const Entry& entry) { return IsPicture(entry) && !entry.data.empty(); };
    if (std::none_of(tags.begin(), tags.end(), isShown)) throw Failure(file + " has no pictures");

    std::error_code code;
    fs::create_directories(ToPath(folder), code);
    if (code) throw Failure("can't make the folder " + folder + ": " + code.message());
    for (const Entry& entry : tags) {
        if (!isShown(entry)) continue;
        const std::string path = PathText(ToPath(folder) / ToPath(PictureFileName(entry)));
        OutputFile output(path, OutputFile::Existing::Refuse);
        output.Write(entry.data);
        output.Finish();
        Print(path + "\n");
    }
}

}  // namespace host
