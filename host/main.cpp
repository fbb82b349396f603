// decoder-host: the command line.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "commands.h"
#include "pictures.h"
#include "system.h"
#include "text.h"

namespace {

using namespace host;

constexpr int kFailureCode = 1;
constexpr int kUsageCode = 2;

// CLI11 takes an argument in square brackets for a list and cuts it at its commas. A mark behind the bracket,
// taken off again when the argument has arrived, keeps it whole.
constexpr char kShield = '\x01';

void Shield(std::string& argument) {
    if (!argument.empty() && argument.front() == '[' && argument.back() == ']') argument += kShield;
}

std::string Unshield(std::string& argument) {
    if (!argument.empty() && argument.back() == kShield) argument.pop_back();
    return {};
}

template <typename Value>
CLI::Option* AddText(CLI::App* app, const std::string& name, Value& value, const std::string& help) {
    return app->add_option(name, value, help)->type_name("")->transform(CLI::Validator(Unshield, ""));
}

void AddFile(CLI::App* app, std::string& file, const char* help = "A file, or a URL that the worker reads") {
    AddText(app, "FILE", file, help)->required();
}

void AddFormats(CLI::App& app, const SessionOptions& session, bool& json) {
    CLI::App* const command = app.add_subcommand("formats", "List the files and streams that are decoded");
    command->add_flag("--json", json, "As JSON");
    command->footer("Example:\n  decoder-host formats --json");
    command->callback([&] { ShowFormats(session, json); });
}

void AddInfo(CLI::App& app, const SessionOptions& session, std::string& file, bool& json) {
    CLI::App* const command =
        app.add_subcommand("info", "Show format, duration, bitrate, encoders and tags of a file");
    AddFile(command, file);
    command->add_flag("--json", json, "As JSON");
    command->footer(
        "Examples:\n  decoder-host info song.mka\n  decoder-host info --json http://example.org/live");
    command->callback([&] { ShowInfo(session, file, json); });
}

void AddDecode(CLI::App& app, const SessionOptions& session, DecodeOptions& options) {
    CLI::App* const command = app.add_subcommand("decode", "Decode a file to WAV");
    AddFile(command, options.file);
    AddText(command, "OUT", options.output,
            "The WAV file, replaced when it is there; \"-\" for standard output. Without it, FILE with the "
            "extension .wav (or .raw), which must not be there yet");
    AddText(command, "--start", options.start, "Where to begin: seconds or [HH:]MM:SS[.mmm]");
    AddText(command, "--duration", options.duration, "How much to decode: seconds or [HH:]MM:SS[.mmm]");
    command->add_flag("--raw", options.raw, "The bare samples, without a header");
    command->footer(
        "A WAV file beyond 4 GiB becomes RF64. OUT gets its name when it is whole; after a failure or\n"
        "Ctrl-C (exit code 130) nothing is left of it.\n"
        "Examples:\n"
        "  decoder-host decode song.tta\n"
        "  decoder-host decode film.mka --start 1:02:03.5 --duration 30 clip.wav\n"
        "  decoder-host decode --raw song.dts - | consumer");
    command->callback([&] { DecodeFile(session, options); });
}

void AddTags(CLI::App& app, const SessionOptions& session, std::string& file, bool& json) {
    CLI::App* const command = app.add_subcommand("tags", "Show the tags of a file");
    AddFile(command, file);
    command->add_flag("--json", json, "As JSON, every tag with the list of its values");
    command->footer("Example:\n  decoder-host tags song.tta");
    command->callback([&] { ShowTags(session, file, json); });
}

void AddTag(CLI::App& app, const SessionOptions& session, TagOptions& options) {
    CLI::App* const command =
        app.add_subcommand("tag", "Write tags; those that aren't named stay as they are");
    AddFile(command, options.file, "A file of a kind that takes tags");
    AddText(command, "NAME=VALUE", options.assignments,
            "Tags. A name given twice gets both values; an empty value empties the tag");
    AddText(command, "--cover", options.covers,
            "TYPE[:DESCRIPTION]=IMAGE: a picture, in place of the present one of its type")
        ->allow_extra_args(false);
    command->footer(
        "Picture types:\n  " + PictureTypeWords() +
        "\nWhat begins with a dash goes behind \"--\".\n"
        "Examples:\n"
        "  decoder-host tag song.tta Title=\"A Song\" Artist=One Artist=Two\n"
        "  decoder-host tag song.mka --cover front=cover.jpg --cover \"back:rear side=back.png\"");
    command->callback([&] { WriteFileTags(session, options); });
}

void AddUntag(CLI::App& app, const SessionOptions& session, UntagOptions& options) {
    CLI::App* const command =
        app.add_subcommand("untag", "Delete tags by name, or all of them with the pictures");
    AddFile(command, options.file, "A file of a kind that takes tags");
    AddText(command, "NAME", options.names, "Names of tags");
    AddText(command, "--cover", options.covers, "Pictures of this type, as in the command tag")
        ->allow_extra_args(false);
    command->add_flag("--yes", options.yes, "Delete everything without asking");
    command->footer(
        "Examples:\n"
        "  decoder-host untag song.tta Comment Genre\n"
        "  decoder-host untag song.mka --cover front\n"
        "  decoder-host untag song.tta --yes");
    command->callback([&] { DeleteFileTags(session, options); });
}

void AddArt(CLI::App& app, const SessionOptions& session, std::string& file, std::string& folder) {
    CLI::App* const command = app.add_subcommand("art", "Write the pictures of a file into a folder");
    AddFile(command, file);
    AddText(command, "DIR", folder, "The folder, made when it isn't there; files in it are never replaced")
        ->required();
    command->footer("Example:\n  decoder-host art song.mka covers");
    command->callback([&] { ExtractPictures(session, file, folder); });
}

// 0, or why the program fails. Commands run inside the parse.
int Run(std::vector<std::string> arguments) {
    SessionOptions session;
    DecodeOptions decode;
    TagOptions tag;
    UntagOptions untag;
    std::string file;
    std::string folder;
    bool json = false;

    CLI::App app("Decodes audio files and edits tags through the plug-in decoder_ffmpeg.", "decoder-host");
    app.require_subcommand(1);
    app.fallthrough();
    app.allow_windows_style_options(false);
    app.set_help_all_flag("--help-all", "Help for every command");
    AddText(&app, "--plugin", session.plugin,
            "The plug-in; else the one in the folder decoders beside this program");
    AddText(&app, "--error-log", session.errorLog, "Where the plug-in's errors are appended, in UTF-16LE");
    AddText(&app, "--trace-log", session.traceLog, "Where the plug-in's trace is appended, in UTF-16LE");
    AddFormats(app, session, json);
    AddInfo(app, session, file, json);
    AddDecode(app, session, decode);
    AddTags(app, session, file, json);
    AddTag(app, session, tag);
    AddUntag(app, session, untag);
    AddArt(app, session, file, folder);
    app.footer("Exit codes: 0 done, 1 failed, 2 wrong usage, 130 broken off with Ctrl-C.");

    std::for_each(arguments.begin(), arguments.end(), Shield);
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        PrintError(std::string(error.what()) + " (--help tells more)");
        return kUsageCode;
    }
    FlushOutput();
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        system::PrepareStandardStreams();
        return Run(system::Arguments(argc, argv));
    } catch (const Interruption& interruption) {
        return interruption.exitCode;
    } catch (const UsageFailure& failure) {
        PrintError(failure.what());
        return kUsageCode;
    } catch (const std::exception& error) {
        PrintError(error.what());
        return kFailureCode;
    }
}
