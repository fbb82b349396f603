// Tags and pictures written.
#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>

#include "host/commands/careful_write.h"
#include "host/commands/commands.h"
#include "host/commands/listing.h"
#include "host/commands/tag_text.h"
#include "host/files/whole_file.h"
#include "host/session/session.h"
#include "host/tags/comparison.h"
#include "host/tags/pictures.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

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

// The tags of JSON lines as "tags --json" gives them: one object for every file, or one for each by its name.
class Templates {
  public:
    explicit Templates(const std::string& file) {
        constexpr std::uintmax_t kLargest = 1u << 30;
        if (file.empty()) return;
        const std::vector<std::byte> bytes = ReadWholeFile(file, kLargest);
        const std::string text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        try {
            if (const Json whole = Json::parse(text, nullptr, false); !whole.is_discarded()) {
                common_ = TagsFromJson(whole);
                return;
            }
            for (const std::string& line : Split(text, '\n')) {
                if (line.find_first_not_of(" \r\t") == std::string::npos) continue;
                const Json json = Json::parse(line);
                byName_[json.at("file").get<std::string>()] = TagsFromJson(json);
            }
        } catch (const Json::exception& error) {
            throw Failure(file + " doesn't hold tags as \"tags --json\" gives them: " + error.what());
        }
    }

    Entries For(const std::string& file) const {
        if (byName_.empty()) return common_;
        const auto found = byName_.find(file);
        if (found == byName_.end()) throw Failure(file + ": the JSON has no tags for it");
        return found->second;
    }

  private:
    Entries common_;
    std::map<std::string, Entries> byName_;
};

// What a run writes and deletes, read before the first file is touched.
struct Changes {
    explicit Changes(const TagOptions& options)
        : assigned(ParseAssignments(options.assignments)),
          templates(options.from),
          removals(options.removals) {
        for (const std::string& argument : options.covers) {
            const Cover cover = ParseCover(argument);
            covers.push_back(cover);
            images.push_back(ReadImage(cover.file));
        }
        if (assigned.empty() && covers.empty() && removals.empty() && options.from.empty()) {
            throw UsageFailure("nothing to write: give NAME=VALUE, --cover, --remove or --from");
        }
        for (const std::string& name : removals) {
            if (IsPictureName(name)) throw UsageFailure("untag --cover TYPE removes pictures");
            if (FindText(assigned, name) != nullptr)
                throw UsageFailure("write or remove " + name + ", not both");
        }
    }

    Entries assigned;
    Templates templates;
    std::vector<std::string> removals;
    std::vector<Cover> covers;
    std::vector<std::vector<std::byte>> images;
};

// What this file is to get.
Entries EntriesFor(const std::string& file, const Changes& changes, const OpenedFile& present) {
    std::vector<Cover> covers = changes.covers;
    std::vector<std::vector<std::byte>> images = changes.images;
    Entries entries = changes.assigned;
    for (Entry& entry : changes.templates.For(file)) {
        if (IsPicture(entry)) {
            const PictureName name = ParsePictureName(entry.name);
            covers.push_back({name.type, name.description, ""});
            images.push_back(std::move(entry.data));
        } else if (FindText(entries, entry.name) == nullptr) {
            entries.push_back(std::move(entry));
        }
    }
    const std::vector<std::string> names = NamesForCovers(covers, present.tags, HasApeTag(present.info));
    for (std::size_t index = 0; index < names.size(); ++index) {
        entries.push_back({names[index], "", std::move(images[index])});
    }
    return entries;
}

// Old and new side by side.
FileResult DryRun(const Job& job, const Entries& entries, const Changes& changes, const Entries& present) {
    FileResult result;
    Json list = Json::array();
    Lines lines;
    const auto add = [&](const std::string& name, const Entry* before, const std::string& after) {
        const std::string old = before == nullptr ? "" : before->value;
        list.push_back(
            {{"name", name}, {"old", Split(old, kValueSeparator)}, {"new", Split(after, kValueSeparator)}});
        std::string line = (before == nullptr ? "(none)" : "\"" + old + "\"") + "  ->  " +
                           (after.empty() ? "(none)" : "\"" + after + "\"");
        std::replace(line.begin(), line.end(), kValueSeparator, '/');
        lines.emplace_back(name, line);
    };
    for (const Entry& entry : entries) {
        if (IsPicture(entry)) {
            list.push_back({{"picture", ParsePictureName(entry.name).type}, {"bytes", entry.data.size()}});
            lines.emplace_back("Picture", "->  " + PictureText(entry));
        } else {
            add(entry.name, FindText(present, entry.name), entry.value);
        }
    }
    for (const std::string& name : changes.removals) add(name, FindText(present, name), "");
    result.fields["changes"] = std::move(list);
    result.text = (job.alone ? "" : job.file.name + "\n") + Columns(lines);
    return result;
}

std::uintmax_t SizeOf(const Entries& entries) {
    return entries.empty() ? 0 : BlobOf(entries).bytes().size();
}

void RequirePresent(const std::string& file, const std::vector<std::string>& names, const Entries& present) {
    for (const std::string& name : names) {
        if (FindText(present, name) == nullptr) throw Failure(file + " has no tag \"" + name + "\"");
    }
}

// What the file has now. One without sound, or without a worker to look at it, can still be written to as
// long as nothing depends on what it has.
std::optional<OpenedFile> Present(const Job& job, const TagOptions& options, FileResult& result) {
    try {
        OpenedFile present = job.session.Open(job.file.name, DECODER_OPEN_TAGS | DECODER_OPEN_INFO);
        job.session.Close();
        return present;
    } catch (const Failure& failure) {
        const bool depends = !options.covers.empty() || !options.removals.empty() || !options.from.empty() ||
                             options.write.dryRun || options.write.safe;
        if (depends) throw;
        result.messages.push_back(std::string(failure.what()) + "; its tags can't be read back");
        return std::nullopt;
    }
}

// Sentences on what came out differently.
std::vector<std::string> CheckedBack(Session& session, const std::string& file, const Entries& given,
                                     const std::vector<std::string>& removals) {
    const Entries read = session.Open(file, DECODER_OPEN_TAGS).tags;
    session.Close();
    std::vector<std::string> sentences = Differences(given, read);
    for (const std::string& name : removals) {
        if (FindText(read, name) != nullptr) sentences.push_back("\"" + name + "\" is still there");
    }
    return sentences;
}

FileResult TagOne(const Job& job, const TagOptions& options, const Changes& changes) {
    const std::string& file = job.file.name;
    Session& session = job.session;
    if (!session.CanWriteTags(file)) throw Failure(file + ": " + kNoTags);
    FileResult result;
    const std::optional<OpenedFile> present = Present(job, options, result);
    const Entries before = present ? present->tags : Entries();
    RequirePresent(file, changes.removals, before);
    const Entries entries = EntriesFor(file, changes, present.value_or(OpenedFile{}));
    if (options.write.dryRun) return DryRun(job, entries, changes, before);
    // What is there may be written anew.
    RequireWritable(file, options.write, SizeOf(entries) + SizeOf(before));

    ChangeFile(session, file, options.write, [&](const std::string& path) {
        if (!entries.empty()) session.WriteTags(path, entries);
        if (!changes.removals.empty()) session.DeleteTags(path, changes.removals);
        if (!present) return;
        for (const std::string& sentence : CheckedBack(session, path, entries, changes.removals)) {
            result.messages.push_back(file + ": " + sentence);
        }
    });
    result.fields["written"] = entries.size();
    result.fields["removed"] = changes.removals.size();
    if (!options.batch.quiet) {
        result.text = file + ": " + std::to_string(entries.size()) + " written";
        if (!changes.removals.empty())
            result.text += ", " + std::to_string(changes.removals.size()) + " removed";
        result.text += "\n";
    }
    return result;
}

}  // namespace

int WriteTags(const ContextOptions& plugin, const TagOptions& options) {
    const Changes changes(options);
    const Context context(plugin);
    const std::vector<InputFile> files =
        ShardOf(options.batch, FilesOf(context, options.batch, Wanted::Taggable));
    return RunBatch(context, options.batch, files,
                    [&](const Job& job) { return TagOne(job, options, changes); });
}

}  // namespace host
