#include "host/commands/listing.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <system_error>

#include "host/text/text.h"

namespace host {

namespace fs = std::filesystem;

namespace {

// What people keep their music in. The plug-in's own table has only what an application has no decoder for.
// WAV isn't here: a decode beside its sources would take its own outputs for sources.
constexpr std::string_view kAudioExtensions[] = {
    ".flac", ".mp3", ".m4a", ".m4b", ".mp4", ".aac",  ".ogg", ".oga", ".opus", ".spx", ".wma", ".wv",
    ".ape",  ".mpc", ".dsf", ".dff", ".aif", ".aiff", ".caf", ".mkv", ".webm", ".mp2", ".w64", ".tak"};

bool IsAudio(const std::vector<decoder_plugin::TableRow>& rows, const fs::path& path) {
    const std::string extension = PathText(path.extension());
    const auto isIt = [&](std::string_view known) { return EqualIgnoringCase(known, extension); };
    return std::any_of(std::begin(kAudioExtensions), std::end(kAudioExtensions), isIt) ||
           std::any_of(rows.begin(), rows.end(), [&](const auto& row) { return isIt(row.text); });
}

// A file that was named twice would be written twice at once.
void DropDoubles(std::vector<InputFile>& files) {
    std::set<fs::path> seen;
    std::erase_if(files, [&](const InputFile& file) {
        std::error_code code;
        const fs::path path = fs::canonical(ToPath(file.name), code);
        return !code && !seen.insert(path).second;
    });
}

}  // namespace

std::vector<InputFile> FilesOf(const Context& context, const BatchOptions& options, Wanted wanted) {
    decoder_plugin::Decoder decoder(context.plugin());
    const std::vector<decoder_plugin::TableRow> rows = decoder.Decodes();
    std::vector<InputFile> files = ListFiles(options.selection, [&](const fs::path& path) {
        return wanted == Wanted::Taggable ? decoder.CanWriteTags(path) : IsAudio(rows, path);
    });
    DropDoubles(files);
    return files;
}

}  // namespace host
