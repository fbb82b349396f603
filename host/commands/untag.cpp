// Tags and pictures deleted.
#include <algorithm>

#include "host/commands/careful_write.h"
#include "host/commands/commands.h"
#include "host/commands/listing.h"
#include "host/commands/tag_text.h"
#include "host/session/session.h"
#include "host/system/console.h"
#include "host/system/interruption.h"
#include "host/tags/comparison.h"
#include "host/tags/pictures.h"
#include "host/terminal/output.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace {

// The name under which all pictures of a type are deleted. The description is one that no picture has: an APE
// tag would else lose, with the type, every picture that has no description.
std::string PictureNameToDelete(const std::string& word) {
    constexpr const char* kNoPicturesDescription = "\x7F";
    const std::string type = PictureTypeFromWord(word);
    return BuildPictureName(1, type.empty() ? word : type, kNoPicturesDescription);
}

bool HasPicture(const Entries& tags, const std::string& word) {
    const std::string known = PictureTypeFromWord(word);
    return std::any_of(tags.begin(), tags.end(), [&](const Entry& entry) {
        return IsPicture(entry) &&
               EqualIgnoringCase(ParsePictureName(entry.name).type, known.empty() ? word : known);
    });
}

bool DeletesAll(const UntagOptions& options) {
    return options.names.empty() && options.covers.empty();
}

void AskBeforeDeletingAll(const std::vector<InputFile>& files) {
    const std::string what = files.size() == 1 ? files.front().name : std::to_string(files.size()) + " files";
    if (!system::IsTerminal(stdin) || !system::IsTerminal(stderr)) {
        throw UsageFailure("to delete all tags of " + what + ", add --yes");
    }
    PrintToTerminal("Delete all tags and pictures of " + EscapeControls(what) + "? [y/N] ");
    const std::string answer = WithoutBlanks(system::ReadAnswer());
    if (const int code = system::InterruptionCode()) throw Interruption{code};
    if (!EqualIgnoringCase(answer, "y") && !EqualIgnoringCase(answer, "yes"))
        throw Failure("nothing deleted");
}

void RequirePresent(const std::string& file, const UntagOptions& options, const Entries& tags) {
    for (const std::string& name : options.names) {
        if (FindText(tags, name) == nullptr) {
            throw Failure(file + " has no tag \"" + name + "\" (--ignore-missing passes over it)");
        }
    }
    for (const std::string& word : options.covers) {
        if (HasPicture(tags, word)) continue;
        throw Failure(
            file + " has no picture of the type \"" + word + "\"" +
            (PictureTypeFromWord(word).empty() ? "; there are " + Joined(PictureTypeWords(), ", ") : "") +
            " (--ignore-missing passes over it)");
    }
}

FileResult DryRun(const Job& job, const UntagOptions& options, const Entries& tags) {
    Lines lines;
    Json list = Json::array();
    for (const Entry& entry : tags) {
        const bool isPicture = IsPicture(entry);
        const auto isIt = [&](const std::string& name) { return EqualIgnoringCase(name, entry.name); };
        const auto isType = [&](const std::string& word) { return HasPicture({entry}, word); };
        const bool goes = DeletesAll(options) ||
                          (isPicture ? std::any_of(options.covers.begin(), options.covers.end(), isType)
                                     : std::any_of(options.names.begin(), options.names.end(), isIt));
        if (!goes) continue;
        lines.emplace_back(isPicture ? "Picture" : entry.name,
                           (isPicture ? PictureText(entry) : "\"" + entry.value + "\"") + "  ->  (none)");
        list.push_back(isPicture
                           ? Json({{"picture", ParsePictureName(entry.name).type}})
                           : Json({{"name", entry.name}, {"old", Split(entry.value, kValueSeparator)}}));
    }
    FileResult result;
    result.fields["changes"] = std::move(list);
    result.text = (job.alone ? "" : job.file.name + "\n") + Columns(lines);
    return result;
}

FileResult UntagOne(const Job& job, const UntagOptions& options) {
    const std::string& file = job.file.name;
    Session& session = job.session;
    if (!session.CanWriteTags(file)) throw Failure(file + ": " + kNoTags);
    RequireWritable(file, options.write, 0);
    std::vector<std::string> names = options.names;
    for (const std::string& word : options.covers) names.push_back(PictureNameToDelete(word));
    if (options.write.dryRun || (!names.empty() && !options.ignoreMissing)) {
        const Entries tags = session.Open(file, DECODER_OPEN_TAGS).tags;
        session.Close();
        if (!options.ignoreMissing) RequirePresent(file, options, tags);
        if (options.write.dryRun) return DryRun(job, options, tags);
    }
    ChangeFile(session, file, options.write,
               [&](const std::string& path) { session.DeleteTags(path, names); });
    FileResult result;
    result.fields["deleted"] = names.empty() ? Json("all") : Json(names.size());
    if (!options.batch.quiet) {
        result.text =
            file + ": " + (names.empty() ? "all tags" : std::to_string(names.size())) + " deleted\n";
    }
    return result;
}

}  // namespace

int DeleteTags(const ContextOptions& plugin, const UntagOptions& options) {
    for (const std::string& name : options.names) {
        if (IsPictureName(name)) throw UsageFailure("name pictures with --cover TYPE");
    }
    const Context context(plugin);
    const std::vector<InputFile> files =
        ShardOf(options.batch, FilesOf(context, options.batch, Wanted::Taggable));
    if (DeletesAll(options) && !options.yes && !options.write.dryRun) {
        // A file that can't be tagged is refused with a reason; there is nothing to ask.
        Session session(context);
        const auto isTaggable = [&](const InputFile& file) { return session.CanWriteTags(file.name); };
        if (std::any_of(files.begin(), files.end(), isTaggable)) AskBeforeDeletingAll(files);
    }
    return RunBatch(context, options.batch, files, [&](const Job& job) { return UntagOne(job, options); });
}

}  // namespace host
