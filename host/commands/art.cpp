// Pictures as files.
#include <algorithm>
#include <filesystem>
#include <system_error>

#include "host/commands/commands.h"
#include "host/commands/listing.h"
#include "host/files/output_file.h"
#include "host/session/session.h"
#include "host/system/console.h"
#include "host/tags/pictures.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace fs = std::filesystem;

namespace {

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

std::vector<const Entry*> Pictures(const Entries& tags, const std::string& type) {
    const std::string known = PictureTypeFromWord(type);
    std::vector<const Entry*> pictures;
    for (const Entry& entry : tags) {
        if (!IsPicture(entry) || entry.data.empty()) continue;
        if (type.empty() ||
            EqualIgnoringCase(ParsePictureName(entry.name).type, known.empty() ? type : known)) {
            pictures.push_back(&entry);
        }
    }
    return pictures;
}

void WritePicture(const std::string& path, const Entry& picture, const ArtOptions& options) {
    OutputFile output(path, options.force ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse);
    output.Write(picture.data);
    output.Finish();
}

// The one that stands for the whole: the front cover, else the first.
const Entry& Main(const std::vector<const Entry*>& pictures) {
    const auto front = std::find_if(pictures.begin(), pictures.end(), [](const Entry* entry) {
        return ParsePictureName(entry->name).type == PictureTypeFromWord("front");
    });
    return front == pictures.end() ? *pictures.front() : **front;
}

FileResult ExtractFrom(const Job& job, const ArtOptions& options) {
    const std::string& file = job.file.name;
    const Entries tags = job.session.Open(file, DECODER_OPEN_TAGS).tags;
    job.session.Close();
    const std::vector<const Entry*> pictures = Pictures(tags, options.type);
    if (pictures.empty())
        throw Failure(file + " has no pictures" + (options.type.empty() ? "" : " of this type"));

    FileResult result;
    std::vector<std::string> written;
    if (!options.output.empty()) {
        WritePicture(options.output, Main(pictures), options);
        if (options.output != "-") written.push_back(options.output);
    } else {
        fs::path folder = ToPath(options.folder);
        if (!job.alone) folder /= fs::path(job.file.tree).replace_extension();
        std::error_code code;
        fs::create_directories(folder, code);
        if (code) throw Failure("can't make the folder " + PathText(folder) + ": " + code.message());
        for (const Entry* const picture : pictures) {
            written.push_back(PathText(folder / ToPath(PictureFileName(*picture))));
            WritePicture(written.back(), *picture, options);
        }
    }
    result.fields["pictures"] = written;
    if (!options.batch.quiet) {
        for (const std::string& path : written) result.text += path + "\n";
    }
    return result;
}

}  // namespace

int ExtractPictures(const ContextOptions& plugin, const ArtOptions& options) {
    if (options.output.empty() == options.folder.empty()) throw UsageFailure("give -o FILE or --to FOLDER");
    if (options.output == "-" && system::IsTerminal(stdout)) {
        throw UsageFailure("a picture doesn't go to a terminal; redirect the output");
    }
    if (options.output == "-" && options.batch.json)
        throw UsageFailure("a picture and JSON don't go to one output");
    const Context context(plugin);
    const std::vector<InputFile> files =
        ShardOf(options.batch, FilesOf(context, options.batch, Wanted::Taggable));
    if (!options.output.empty() && files.size() > 1)
        throw UsageFailure("-o is for one file; --to names a folder for several");
    return RunBatch(context, options.batch, files, [&](const Job& job) { return ExtractFrom(job, options); });
}

}  // namespace host
