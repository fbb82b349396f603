#include "host/command_line/table.h"

#include "host/command_line/arguments.h"
#include "host/tags/pictures.h"

namespace host {

namespace {

Option FileArgument(std::string& file, const char* help = "A file, or a URL that the worker reads") {
    return {"FILE", "", help, &file, ValueKind::File, true, {}};
}

Option JsonFlag(bool& json, const char* help = "As JSON") {
    return {"--json", "", help, &json, {}, false, {}};
}

Command Formats(Arguments& arguments) {
    Command command;
    command.name = "formats";
    command.summary = "List the files and streams that are decoded";
    command.options = {JsonFlag(arguments.json)};
    command.examples = {"decoder-host formats --json"};
    command.run = [&] { ShowFormats(arguments.plugin, arguments.json); };
    return command;
}

Command Info(Arguments& arguments) {
    Command command;
    command.name = "info";
    command.summary = "Show format, duration, bitrate, encoders and tags of a file";
    command.options = {FileArgument(arguments.file), JsonFlag(arguments.json)};
    command.examples = {"decoder-host info song.mka", "decoder-host info --json http://example.org/live"};
    command.run = [&] { ShowInfo(arguments.plugin, arguments.file, arguments.json); };
    return command;
}

Command Decode(Arguments& arguments) {
    DecodeOptions& options = arguments.decode;
    Command command;
    command.name = "decode";
    command.summary = "Decode a file to WAV";
    command.options = {
        FileArgument(options.file),
        {"OUT",
         "",
         "The WAV file, replaced when it is there; \"-\" for standard output. Without it, FILE with the "
         "extension .wav (or .raw), which must not be there yet",
         &options.output,
         ValueKind::File,
         false,
         {}},
        {"--start", "TIME", "Where to begin: seconds or [HH:]MM:SS[.mmm]", &options.start, {}, false, {}},
        {"--duration",
         "TIME",
         "How much to decode: seconds or [HH:]MM:SS[.mmm]",
         &options.duration,
         {},
         false,
         {}},
        {"--raw", "", "The bare samples, without a header", &options.raw, {}, false, {}},
    };
    command.notes =
        "A WAV file beyond 4 GiB becomes RF64. OUT gets its name when it is whole; after a failure or Ctrl-C "
        "(exit code 130) nothing is left of it.";
    command.examples = {"decoder-host decode song.tta",
                        "decoder-host decode film.mka --start 1:02:03.5 --duration 30 clip.wav",
                        "decoder-host decode --raw song.dts - | consumer"};
    command.run = [&] { DecodeFile(arguments.plugin, arguments.decode); };
    return command;
}

Command Tags(Arguments& arguments) {
    Command command;
    command.name = "tags";
    command.summary = "Show the tags of a file";
    command.options = {FileArgument(arguments.file),
                       JsonFlag(arguments.json, "As JSON, every tag with the list of its values")};
    command.examples = {"decoder-host tags song.tta"};
    command.run = [&] { ShowTags(arguments.plugin, arguments.file, arguments.json); };
    return command;
}

Command Tag(Arguments& arguments) {
    TagOptions& options = arguments.tag;
    Command command;
    command.name = "tag";
    command.summary = "Write tags; those that aren't named stay as they are";
    command.options = {
        FileArgument(options.file, "A file of a kind that takes tags"),
        {"NAME=VALUE",
         "",
         "Tags. A name given twice gets both values; an empty value empties the tag",
         &options.assignments,
         {},
         false,
         {}},
        {"--cover",
         "TYPE[:DESCRIPTION]=IMAGE",
         "A picture, in place of the present one of its type",
         &options.covers,
         {},
         false,
         {}},
    };
    command.notes =
        "Picture types: " + PictureTypeWords() + ".\n\nWhat begins with a dash goes behind \"--\".";
    command.examples = {
        "decoder-host tag song.tta Title=\"A Song\" Artist=One Artist=Two",
        "decoder-host tag song.mka --cover front=cover.jpg --cover \"back:rear side=back.png\""};
    command.run = [&] { WriteFileTags(arguments.plugin, arguments.tag); };
    return command;
}

Command Untag(Arguments& arguments) {
    UntagOptions& options = arguments.untag;
    Command command;
    command.name = "untag";
    command.summary = "Delete tags by name, or all of them with the pictures";
    command.options = {
        FileArgument(options.file, "A file of a kind that takes tags"),
        {"NAME", "", "Names of tags", &options.names, {}, false, {}},
        {"--cover", "TYPE", "Pictures of this type, as in the command tag", &options.covers, {}, false, {}},
        {"--yes", "", "Delete everything without asking", &options.yes, {}, false, {}},
    };
    command.examples = {"decoder-host untag song.tta Comment Genre",
                        "decoder-host untag song.mka --cover front", "decoder-host untag song.tta --yes"};
    command.run = [&] { DeleteFileTags(arguments.plugin, arguments.untag); };
    return command;
}

Command Art(Arguments& arguments) {
    Command command;
    command.name = "art";
    command.summary = "Write the pictures of a file into a folder";
    command.options = {FileArgument(arguments.file),
                       {"DIR",
                        "",
                        "The folder, made when it isn't there; files in it are never replaced",
                        &arguments.folder,
                        ValueKind::Folder,
                        true,
                        {}}};
    command.examples = {"decoder-host art song.mka covers"};
    command.run = [&] { ExtractPictures(arguments.plugin, arguments.file, arguments.folder); };
    return command;
}

}  // namespace

CommandLine MakeCommandLine(Arguments& arguments) {
    CommandLine line;
    line.name = "decoder-host";
    line.summary = "Decodes audio files and edits tags through the plug-in decoder_ffmpeg.";
    line.options = {
        {"--plugin",
         "LIBRARY",
         "The plug-in; else the one in the folder decoders beside this program",
         &arguments.plugin.plugin,
         ValueKind::File,
         false,
         {}},
        {"--error-log",
         "FILE",
         "Where the plug-in's errors are appended, in UTF-16LE",
         &arguments.plugin.errorLog,
         ValueKind::File,
         false,
         {}},
        {"--trace-log",
         "FILE",
         "Where the plug-in's trace is appended, in UTF-16LE",
         &arguments.plugin.traceLog,
         ValueKind::File,
         false,
         {}},
    };
    line.commands = {Formats(arguments), Info(arguments),  Decode(arguments), Tags(arguments),
                     Tag(arguments),     Untag(arguments), Art(arguments)};
    line.notes = "Exit codes: 0 done, 1 failed, 2 wrong usage, 130 broken off with Ctrl-C.";
    return line;
}

}  // namespace host
