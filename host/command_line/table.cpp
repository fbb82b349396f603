#include "host/command_line/table.h"

#include <filesystem>
#include <system_error>

#include "host/command_line/arguments.h"
#include "host/tags/pictures.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace {

using Options = std::vector<Option>;

constexpr const char* kTaggable =
    "Tags are written to .tak, .tta, .dts, .dtshd (APE, ID3v2, ID3v1), .mka, .mkv, .webm and .weba "
    "(Matroska).";

Options operator+(Options first, const Options& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// What every command that works on files takes.
Options BatchTable(BatchOptions& batch, const char* files) {
    return {
        {"FILE", "", files, &batch.selection.files, ValueKind::File},
        {"--files-from", "LIST",
         "Further names from a file, a line each or with a NUL behind each; - is standard input",
         &batch.selection.list, ValueKind::File},
        {"-r,--recursive", "", "Take the files in folders, and in the folders in these",
         &batch.selection.recursive},
        {"-j,--jobs", "N", "How many files at once; as many as there are processors when it isn't given",
         &batch.jobs},
        {"--shard", "I/N",
         "The I-th of N parts of the work; which files those are is the same on every machine", &batch.shard},
        {"--report", "FILE", "Append a JSON line for each file", &batch.report, ValueKind::File},
        {"--json", "", "A JSON line for each file as it is done", &batch.json},
        {"-q,--quiet", "", "Say nothing but errors", &batch.quiet},
    };
}

// Of commands whose results are their report.
Options ReportTable(BatchOptions& batch) {
    return {{"--resume", "", "Pass over files that the report has as done already", &batch.resume}};
}

Options PieceTable(SampleOptions& samples) {
    return {
        {"--start", "TIME", "Where to begin: seconds or [HH:]MM:SS[.mmm]", &samples.start},
        {"--duration", "TIME", "How much to take: seconds or [HH:]MM:SS[.mmm]", &samples.duration},
        {"--stream", "N", "Which audio stream, from 0", &samples.stream},
    };
}

Options SampleTable(SampleOptions& samples) {
    return PieceTable(samples) +
           Options{{"--depth",
                    "DEPTH",
                    "How deep samples are; source is as deep as the file's, default the worker's choice",
                    &samples.depth,
                    ValueKind::Choice,
                    {"source", "default", "16", "24", "32", "f32", "f64"}}};
}

Options WriteTable(WriteOptions& write) {
    return {
        {"--safe", "", "Change a copy, check its sound, and put it in the file's place", &write.safe},
        {"--keep-times", "", "Leave the file's times as they are", &write.keepTimes},
        {"-n,--dry-run", "", "Show old and new side by side and write nothing", &write.dryRun},
    };
}

constexpr const char* kAnyFile = "Files, or URLs that the worker reads; - is standard input";
constexpr const char* kTaggableFile = "Files of a kind that takes tags";

Command Formats(Arguments& all) {
    Command command;
    command.name = "formats";
    command.summary = "List the files and streams that are decoded";
    command.options = {{"--json", "", "As JSON", &all.batch.json}};
    command.examples = {"decoder-host formats --json"};
    command.run = [&] { return ShowFormats(all.plugin, all.batch.json); };
    return command;
}

Command Info(Arguments& all) {
    Command command;
    command.name = "info";
    command.summary = "Show format, duration, bitrate, audio streams and tags of files";
    command.options = BatchTable(all.batch, kAnyFile) + ReportTable(all.batch) +
                      Options{{"--pictures", "", "With the bytes of pictures, in JSON", &all.show.pictures}};
    command.examples = {"decoder-host info song.mka", "decoder-host info --json http://example.org/live"};
    command.run = [&] {
        all.show.batch = all.batch;
        return ShowInfo(all.plugin, all.show);
    };
    return command;
}

Command Decode(Arguments& all) {
    DecodeOptions& options = all.decode;
    Command command;
    command.name = "decode";
    command.summary = "Decode files to WAV";
    command.options =
        BatchTable(all.batch, kAnyFile) +
        Options{
            {"-o,--output", "OUT", "The output of one file; - is standard output", &options.output,
             ValueKind::File},
            {"--to", "FOLDER", "Where outputs go, with the folders of what was given", &options.folder,
             ValueKind::Folder},
            {"-f,--force", "", "Replace outputs that are there", &options.force},
            {"--strict", "", "Keep no output of a damaged or cut file", &options.strict},
            {"--resume", "", "Pass over files whose output is there and whole", &options.resume},
            {"--raw", "", "The bare samples, without a header", &options.raw},
        } +
        SampleTable(all.samples);
    command.notes = {
        "Without -o or --to an output lies beside its source, with the extension .wav (or .raw). One that is "
        "there "
        "is replaced with --force alone, and one of the inputs never.",
        "A WAV file beyond 4 GiB becomes RF64. An output gets its name when it is whole; after a failure or "
        "Ctrl-C "
        "nothing is left of it. What came of a damaged or cut file is kept, and the exit code is 4."};
    command.examples = {"decoder-host decode song.tta", "decoder-host decode *.tta --to wav",
                        "decoder-host decode film.mka --start 1:02:03.5 --duration 30 -o clip.wav",
                        "decoder-host decode --raw song.dts -o - | consumer",
                        "decoder-host decode --recursive music --to wav --resume --report done.jsonl"};
    command.run = [&] {
        options.batch = all.batch;
        options.samples = all.samples;
        return DecodeFiles(all.plugin, options);
    };
    return command;
}

Command Verify(Arguments& all) {
    Command command;
    command.name = "verify";
    command.summary = "Decode files to nothing and tell whether they are whole";
    command.options = BatchTable(all.batch, kAnyFile) + ReportTable(all.batch) + SampleTable(all.samples);
    command.notes = {
        "The MD5 is that of the decoded samples, little-endian, as a FLAC file keeps it of its source."};
    command.examples = {"decoder-host verify *.tta",
                        "decoder-host verify --recursive music --report checked.jsonl --resume"};
    command.run = [&] { return VerifyFiles(all.plugin, all.batch, all.samples); };
    return command;
}

Command Wave(Arguments& all) {
    WaveOptions& options = all.wave;
    Command command;
    command.name = "wave";
    command.summary = "Show files as waveform and spectrogram";
    command.options =
        BatchTable(all.batch, kAnyFile) +
        Options{
            {"-o,--output", "OUT", "The picture of one file, by its ending PNG or SVG; - is standard output",
             &options.output, ValueKind::File},
            {"--to", "FOLDER", "Where pictures go, with the folders of what was given", &options.folder,
             ValueKind::Folder},
            {"-f,--force", "", "Replace pictures that are there", &options.force},
            {"--svg", "", "SVG in place of PNG, with --to and on standard output", &options.svg},
            {"--size", "WIDTHxHEIGHT", "Of the picture, in pixels; 1600x900 when it isn't given",
             &options.size},
        } +
        PieceTable(all.samples);
    command.notes = {"Without -o or --to a small waveform of characters goes to standard output.",
                     "The waveform has a lane for each channel, peaks in dark and loudness (RMS) in light. "
                     "The spectrogram "
                     "shows the loudest channel; a sine of full scale has 0 dBFS."};
    command.examples = {"decoder-host wave song.tta", "decoder-host wave song.tta -o song.png",
                        "decoder-host wave --recursive music --to pictures --svg"};
    command.run = [&] {
        options.batch = all.batch;
        options.samples = all.samples;
        return DrawWaves(all.plugin, options);
    };
    return command;
}

Command Tags(Arguments& all) {
    Command command;
    command.name = "tags";
    command.summary = "Show the tags of files";
    command.options = BatchTable(all.batch, kAnyFile) + ReportTable(all.batch) +
                      Options{{"--get", "NAME", "The values of this tag alone, a line each", &all.show.names},
                              {"--pictures", "", "With the bytes of pictures, in JSON", &all.show.pictures}};
    command.examples = {"decoder-host tags song.tta", "decoder-host tags --get Title song.tta",
                        "decoder-host tags --json --pictures song.tta > saved.json"};
    command.run = [&] {
        all.show.batch = all.batch;
        return ShowTags(all.plugin, all.show);
    };
    return command;
}

// Tags may stand among the files; with --set the words are files alone.
void TakeAssignments(TagOptions& options) {
    if (!options.assignments.empty()) return;
    std::vector<std::string> files;
    for (std::string& word : options.batch.selection.files) {
        const bool isFile = word.find('=') == std::string::npos;
        std::error_code ignored;
        if (!isFile && std::filesystem::exists(ToPath(word), ignored)) {
            throw UsageFailure(word + " could be a file or a tag; with tags given by --set, it is a file");
        }
        (isFile ? files : options.assignments).push_back(std::move(word));
    }
    options.batch.selection.files = std::move(files);
}

Command Tag(Arguments& all) {
    TagOptions& options = all.tag;
    Command command;
    command.name = "tag";
    command.summary = "Write tags; those that aren't named stay as they are";
    command.options =
        BatchTable(all.batch, "Files of a kind that takes tags, and tags as NAME=VALUE") +
        Options{
            {"--set", "NAME=VALUE",
             "A tag; the other words are then files. A name given twice gets both values",
             &options.assignments},
            {"--cover", "TYPE[:DESCRIPTION]=IMAGE", "A picture, in place of the present one of its type",
             &options.covers, ValueKind::WordIsFile, PictureTypeWords()},
            {"--remove", "NAME", "Delete this tag", &options.removals},
            {"--from", "FILE", "Write the tags that \"tags --json\" showed", &options.from, ValueKind::File},
        } +
        WriteTable(all.write);
    command.notes = {kTaggable, "Picture types: " + Joined(PictureTypeWords(), ", ") + ".",
                     "An empty value empties the tag. What begins with a dash goes behind \"--\"."};
    command.examples = {"decoder-host tag song.tta Title=\"A Song\" Artist=One Artist=Two",
                        "decoder-host tag --safe album/*.tta Album=\"An Album\" --remove Comment",
                        "decoder-host tag song.mka --cover front=cover.jpg --cover back=back.png",
                        "decoder-host tag copy.tta --from saved.json"};
    command.run = [&] {
        options.batch = all.batch;
        options.write = all.write;
        TakeAssignments(options);
        return WriteTags(all.plugin, options);
    };
    return command;
}

Command Untag(Arguments& all) {
    UntagOptions& options = all.untag;
    Command command;
    command.name = "untag";
    command.summary = "Delete tags by name, or all of them with the pictures";
    command.options = BatchTable(all.batch, kTaggableFile) +
                      Options{
                          {"--name", "NAME", "A tag", &options.names},
                          {"--cover", "TYPE", "Pictures of this type, as in the command tag", &options.covers,
                           ValueKind::Word, PictureTypeWords()},
                          {"--ignore-missing", "", "Don't fail for what isn't there", &options.ignoreMissing},
                          {"--yes", "", "Delete everything without asking", &options.yes},
                      } +
                      WriteTable(all.write);
    command.notes = {kTaggable};
    command.examples = {"decoder-host untag song.tta --name Comment --name Genre",
                        "decoder-host untag song.mka --cover front", "decoder-host untag song.tta --yes"};
    command.run = [&] {
        options.batch = all.batch;
        options.write = all.write;
        return DeleteTags(all.plugin, options);
    };
    return command;
}

Command Art(Arguments& all) {
    ArtOptions& options = all.art;
    Command command;
    command.name = "art";
    command.summary = "Write the pictures of files";
    command.options =
        BatchTable(all.batch, kTaggableFile) +
        Options{
            {"-o,--output", "OUT", "The front cover, or else the first picture; - is standard output",
             &options.output, ValueKind::File},
            {"--to", "FOLDER", "All pictures, into this folder; of several files, a folder in it for each",
             &options.folder, ValueKind::Folder},
            {"--type", "TYPE", "Pictures of this type alone", &options.type, ValueKind::Word,
             PictureTypeWords()},
            {"-f,--force", "", "Replace files that are there", &options.force},
        };
    command.examples = {"decoder-host art song.mka --to covers", "decoder-host art song.mka -o - | viewer"};
    command.run = [&] {
        options.batch = all.batch;
        return ExtractPictures(all.plugin, options);
    };
    return command;
}

Command Doctor(Arguments& all) {
    Command command;
    command.name = "doctor";
    command.summary = "Tell whether everything is set up well, and what to do where it isn't";
    command.options = {{"--json", "", "A JSON line for each check as it is done", &all.batch.json}};
    command.notes = {
        "Looks for the plug-in and its worker, decodes a tone that it makes and compares the samples, breaks "
        "a "
        "decode off, and writes, reads and deletes tags of every kind, in temporary files. The exit code is "
        "0 "
        "when all is well, else 1."};
    command.examples = {"decoder-host doctor"};
    command.run = [&] { return Diagnose(all.plugin, all.batch.json); };
    return command;
}

Command Check(Arguments& all) {
    ContractOptions& options = all.check;
    Command command;
    command.name = "check";
    command.summary = "Check whether a plug-in keeps the contract between host and plug-in";
    command.options = {
        {"PLUGIN", "", "Any library with the nine functions", &options.library, ValueKind::File},
        {"--worker", "PROGRAM", "Check a copy of the plug-in that has this program as its worker",
         &options.worker, ValueKind::File},
        {"--rule", "NAME", "Check this rule alone", &options.rules, ValueKind::Choice, ContractRules()},
        {"--rounds", "N", "How many rounds have to leave nothing behind; 1000 when it isn't given",
         &options.rounds},
        {"--limit", "SECONDS", "After how long a rule counts as hanging; 60 when it isn't given",
         &options.limit},
        {"--json", "", "As JSON, when all is done; else as TAP", &options.json},
    };
    command.notes = {
        "Each rule runs in a process of its own, and a crash or hang is told like any other fault. The "
        "sounds that "
        "are decoded are made for it. The exit code is 1 when a rule is broken."};
    command.examples = {"decoder-host check decoders/decoder_ffmpeg.so",
                        "decoder-host check --json --rounds 50 my_plugin.so",
                        "decoder-host check my_plugin.so --rule seeks --rule endings"};
    command.run = [&] { return CheckContract(options); };
    return command;
}

int RunWithoutCommand(const Arguments& all) {
    if (all.version) return ShowVersion(all.plugin);
    throw UsageFailure("name a command (--help lists them)");
}

}  // namespace

bool IsArgument(const Option& option) {
    return option.names.front() != '-';
}

std::vector<std::string> NamesOf(const Option& option) {
    return Split(option.names, ',');
}

bool IsFlag(const Option& option) {
    return std::holds_alternative<bool*>(option.target);
}

bool IsRepeatable(const Option& option) {
    return std::holds_alternative<std::vector<std::string>*>(option.target);
}

Row HelpRow(const Option& option) {
    std::string names = Joined(NamesOf(option), ", ");
    if (IsArgument(option)) {
        names += IsRepeatable(option) ? "..." : "";
    } else if (!option.value.empty()) {
        names += " " + option.value;
    }
    const bool listed = option.kind == ValueKind::Choice;
    return {names, option.help + (listed ? ": " + Joined(option.choices, ", ") : "")};
}

std::vector<Option> HelpOptions() {
    bool* const none = nullptr;
    return {{"-h,--help", "", "Show this help", none},
            {"--help-all", "", "Show the help for every command", none}};
}

CommandLine MakeCommandLine(Arguments& all) {
    CommandLine line;
    line.name = "decoder-host";
    line.summary = "Decodes audio files and edits tags through the plug-in decoder_ffmpeg.";
    line.options = {
        {"--plugin", "LIBRARY", "The plug-in; else the one in the folder decoders beside this program",
         &all.plugin.plugin, ValueKind::File},
        {"--error-log", "FILE", "Where the plug-in's errors are appended, in UTF-16LE", &all.plugin.errorLog,
         ValueKind::File},
        {"--trace-log", "FILE", "Where the plug-in's trace is appended, in UTF-16LE", &all.plugin.traceLog,
         ValueKind::File},
        {"-v,--verbose", "", "Show the plug-in's own lines", &all.plugin.verbose},
        {"--version", "", "Show the versions of program, plug-in and worker", &all.version},
    };
    line.commands = {Formats(all), Info(all),  Decode(all), Verify(all), Wave(all), Tags(all),
                     Tag(all),     Untag(all), Art(all),    Doctor(all), Check(all)};
    line.exitCodes = {{"0", "done"},
                      {"1", "a file failed"},
                      {"2", "wrong usage"},
                      {"4", "no file failed, but one is damaged or cut"},
                      {"130", "broken off with Ctrl-C"}};
    line.environment = {{"NO_COLOR", "Without colours, when it isn't empty"},
                        {"TMPDIR", "Where the commands doctor and check make their files; TMP on Windows"}};
    line.run = [&] { return RunWithoutCommand(all); };
    return line;
}

}  // namespace host
