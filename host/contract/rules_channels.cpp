// The other ways between host and decoder: logs, the quit event, tag jobs, keys beyond the base contract.
#include <chrono>
#include <cstdlib>
#include <regex>

#include "host/contract/helper.h"
#include "host/contract/rules.h"
#include "host/files/whole_file.h"
#include "host/system/log_file.h"
#include "host/system/own_process.h"
#include "host/system/shared_event.h"
#include "host/system/stalled_input.h"
#include "host/text/text.h"

namespace host::contract {

namespace {

constexpr std::size_t kFrames = 2 * kBlockFrames + 1000;

void RequireLines(Bench& bench, std::u16string_view text) {
    if (text.empty()) return;
    bench.Require(text.find(u'\uFEFF') == text.npos, "a byte order mark in a log");
    bench.Require(text.ends_with(u"\r\n"), "a log doesn't end with a whole line of UTF-16LE");
    for (std::size_t at = 0; at < text.size(); ++at) {
        bench.Require(text[at] != u'\0', "a NUL in a log");
        if (text[at] == u'\n')
            bench.Require(at > 0 && text[at - 1] == u'\r', "a line of a log ends without CR");
    }
}

// Open, DecodeBlock and SetPosition, all of which are to give 0.
void RequireQuit(Bench& bench, Subject& subject, const std::filesystem::path& sound) {
    bench.Require(!subject.DecodeBlock(), "DecodeBlock gave 1 while the quit event was set");
    bench.Require(!subject.SetPosition(0), "SetPosition gave 1 while the quit event was set");
    bench.Require(!subject.Open(sound), "Open gave 1 while the quit event was set");
    bench.Require(!subject.DecodeBlock(), "DecodeBlock gave 1 after an Open that the quit event ended");
}

// Goes on decoding until a call gives 0, which is to happen as soon as the other process has set the event.
void DecodeUntilQuit(Bench& bench, Subject& subject, system::OwnProcess& setter) {
    for (;;) {
        const std::optional<std::string> end = setter.Wait(std::chrono::milliseconds(0));
        bench.Require(!end || end->empty(), "another process couldn't set the event");
        if (!subject.DecodeBlock()) return;
        const bool more = subject.block().endOfStream == 0 && subject.block().bytes > 0;
        if (!more && !subject.SetPosition(0)) return;
        bench.Require(!end, "DecodeBlock gave 1 after another process had set the quit event");
    }
}

// Of a file with the title that is written. Nothing where the plug-in doesn't decode such a file.
std::optional<std::string> TitleOf(Subject& subject, const std::filesystem::path& file) {
    if (!subject.Open(file, DECODER_OPEN_TAGS)) return std::nullopt;
    const decoder_plugin::Bytes bytes(static_cast<const std::byte*>(subject.open().tags),
                                      subject.open().tagsSize);
    const std::optional<decoder_plugin::Blob> blob = decoder_plugin::Blob::TryParse(bytes);
    std::string title;
    for (const decoder_plugin::Entry& entry : blob.value_or(decoder_plugin::Blob())) {
        if (EqualIgnoringCase(entry.name, "Title")) title = entry.value;
    }
    subject.Close();
    return title;
}

std::vector<std::byte> Contents(const std::filesystem::path& file) {
    constexpr std::uintmax_t kMost = 16 << 20;
    return ReadWholeFile(PathText(file), kMost);
}

constexpr const char* kTitle = "A title with \xC3\xBC and \xE2\x82\xAC";

// A title written, read and deleted again. A result of 0 is as good, when nothing has changed with it.
void CheckTagging(Bench& bench, Subject& subject, const std::filesystem::path& file) {
    decoder_plugin::BlobBuilder blob;
    blob.Add("Title", kTitle);
    std::vector<std::byte> before = Contents(file);
    if (!subject.SetTags(file, blob.bytes())) {
        bench.Require(Contents(file) == before, "Set \"IDTags\" gave 0 and changed the file");
    } else if (const std::optional<std::string> title = TitleOf(subject, file)) {
        bench.Require(*title == kTitle, "Set \"IDTags\" gave 1 and the title isn't in the file");
    }
    before = Contents(file);
    if (!subject.DeleteTags(file, u"Title\0")) {
        bench.Require(Contents(file) == before, "DeleteATag gave 0 and changed the file");
    } else if (const std::optional<std::string> title = TitleOf(subject, file)) {
        bench.Require(*title != kTitle, "DeleteATag gave 1 and the title is still in the file");
    }
    if (subject.Open(file)) {
        subject.RequireSamples(subject.ReadAll(), 0, kFrames, "of a file that was tagged");
        subject.Close();
    }
}

// ---- Beyond the base contract ----

// A sample of 16 bits in another format.
std::string InFormat(std::int16_t sample, unsigned bits, bool isFloat) {
    std::string bytes(bits / 8, '\0');
    if (isFloat) {
        const double value = sample / 32768.0;
        const auto single = static_cast<float>(value);
        std::memcpy(bytes.data(), bits == 32 ? static_cast<const void*>(&single) : &value, bytes.size());
    } else {
        const auto value = static_cast<std::uint64_t>(sample) << (bits - 16);
        for (std::size_t index = 0; index < bytes.size(); ++index)
            bytes[index] = static_cast<char>(value >> (8 * index));
    }
    return bytes;
}

void CheckSampleFormatKeys(Bench& bench, Subject& subject, const std::filesystem::path& sound) {
    struct Case {
        const DecoderChar* word;
        unsigned bits;
        bool isFloat;
    };
    const Case cases[] = {{DECODER_SAMPLES_S24, 24, false},    {DECODER_SAMPLES_S32, 32, false},
                          {DECODER_SAMPLES_F32, 32, true},     {DECODER_SAMPLES_F64, 64, true},
                          {DECODER_SAMPLES_S16, 16, false},    {DECODER_SAMPLES_SOURCE, 16, false},
                          {DECODER_SAMPLES_DEFAULT, 16, false}};
    for (const Case& each : cases) {
        const std::string word = decoder_plugin::ToUtf8(each.word);
        const auto require = [&](bool holds, const char* what) {
            if (!holds) bench.Break("\"SampleFormat\" " + word + ": " + what);
        };
        require(subject.SetText(DECODER_SET_SAMPLE_FORMAT, each.word), "Set gave 0");
        require(!subject.SetText(DECODER_SET_SAMPLE_FORMAT, u"no such format"), "an unknown word was taken");
        require(subject.Open(sound), "Open gave 0");
        const DecoderWaveFormat& wave = subject.open().format.wave;
        require(wave.bitsPerSample == each.bits && wave.blockAlign == kChannels * each.bits / 8,
                "the samples have another size");
        require(subject.DecodeBlock(), "DecodeBlock gave 0");
        std::string expected;
        for (const std::int16_t sample : SamplesFrom(0, kBlockFrames))
            expected += InFormat(sample, each.bits, each.isFloat);
        require(subject.BlockBytes() == expected, "the samples aren't the file's");
    }
}

void RequireFailure(Bench& bench, Subject& subject, std::int32_t number, const char* call) {
    subject.param() = {};
    if (!subject.Get(DECODER_GET_LAST_FAILURE)) bench.Break("\"LastFailure\" gave 0");
    const bool failed = number != DECODER_FAILURE_NONE;
    if (subject.param().value != number || (subject.param().text != nullptr) != failed) {
        bench.Break("\"LastFailure\" gave " + std::to_string(subject.param().value) +
                    (subject.param().text == nullptr ? " without" : " with") + " a text after " + call);
    }
}

}  // namespace

void CheckLogs(Bench& bench) {
    const std::filesystem::path sound = bench.MakeSound(kFrames);
    const std::filesystem::path missing = bench.folder() / "none.au";
    const std::u16string first = u"A line of the host's\r\n";
    const system::LogFile error(bench.folder() / "error.log");
    const system::LogFile trace(bench.folder() / "trace.log");
    error.Append(first);
    trace.Append(first);
    {
        Subject subject(bench, {error.word(), 0, trace.word()});
        bench.Require(!subject.Open(missing), "Open gave 1 for a file that isn't there");
        subject.Get(u"no such key");
        subject.SetTags(missing, {});
        subject.DeleteTags(missing, nullptr);
        subject.MustOpen(sound);
        subject.ReadAll();
        subject.Close();
    }
    for (const system::LogFile* const log : {&error, &trace}) {
        const std::u16string text = log->TextFrom(0);
        bench.Require(text.starts_with(first), "a log was changed in front of its end");
        RequireLines(bench, text);
        log->Append(first);
        bench.Require(log->TextFrom(0) == text + first, "a log was closed with the decoder");
    }
    for (const std::uint64_t none : {std::uint64_t{0}, ~std::uint64_t{0}}) {
        Subject subject(bench, {none, none, none});
        bench.Require(!subject.Open(missing), "Open gave 1 for a file that isn't there");
    }
}

void CheckQuitEvent(Bench& bench) {
    using std::chrono::milliseconds;
    const std::filesystem::path sound = bench.MakeSound(kFrames);
    const system::SharedEvent event(bench.folder());
    const system::LogFile errors(bench.folder() / "error.log");
    const auto requireSilence = [&] {
        bench.Require(errors.Size() == 0, "an end by the quit event wasn't silent: the error log has a line");
    };
    Subject subject(bench, {errors.word(), 0, 0});
    Subject other(bench);
    bench.Require(subject.SetText(DECODER_SET_EVENT_QUIT, event.name().c_str()), "Set \"EventQuit\" gave 0");
    bench.Require(subject.SetText(DECODER_SET_EVENT_QUIT, nullptr),
                  "Set \"EventQuit\" of a null name gave 0");

    subject.MustOpen(sound);
    subject.MustDecode();
    event.Set();
    RequireQuit(bench, subject, sound);
    requireSilence();
    other.MustOpen(sound);
    other.MustDecode();
    event.Reset();
    subject.MustOpen(sound);
    {
        system::OwnProcess setter(EventSetterArguments(event.name(), milliseconds(0)));
        DecodeUntilQuit(bench, subject, setter);
        while (!setter.Wait(milliseconds(1000))) {
        }
        RequireQuit(bench, subject, sound);
    }
    requireSilence();
    event.Reset();
    subject.MustOpen(sound);
    subject.Close();

    // A file that stops in the middle, where the plug-in takes such a thing for one.
    std::vector<std::byte> start = Contents(bench.MakeSound(4 * kBlockFrames));
    start.resize(start.size() * 3 / 4);
    const system::StalledInput stalled(bench.folder(), start);
    system::OwnProcess setter(EventSetterArguments(event.name(), milliseconds(500)));
    if (subject.Open(stalled.path())) {
        DecodeUntilQuit(bench, subject, setter);
    } else if (!setter.Wait(milliseconds(0)) && errors.Size() > 0) {
        return;  // it was refused
    }
    requireSilence();
}

void CheckTagJobs(Bench& bench) {
    const std::filesystem::path sound = bench.MakeSound(kFrames);
    const std::vector<std::byte> bytes = Contents(sound);
    Subject subject(bench);
    std::vector<std::string> extensions = {".txt", ""};
    for (std::uint32_t row = 0;; ++row) {
        subject.param() = {};
        subject.param().index = row;
        if (!subject.Get(DECODER_GET_DECODES)) break;
        extensions.push_back(decoder_plugin::ToUtf8(subject.param().text));
    }
    decoder_plugin::BlobBuilder blob;
    blob.Add("Title", kTitle);
    for (const std::string& extension : extensions) {
        const std::filesystem::path missing = bench.folder() / ToPath("missing" + extension);
        bench.Require(!subject.SetTags(missing, blob.bytes()),
                      "Set \"IDTags\" gave 1 for a file that isn't there");
        bench.Require(!subject.DeleteTags(missing, nullptr), "DeleteATag gave 1 for a file that isn't there");
        bench.Require(!std::filesystem::exists(missing), "a tag job made a file that wasn't there");
        const std::filesystem::path file = bench.MakeFile("tagged" + extension, bytes);
        const decoder_plugin::Source source(file);
        subject.param() = {};
        subject.param().text = source.c_str();
        bench.Require(subject.Get(DECODER_GET_CAN_WRITE_TAGS), "\"CanWriteIDTags\" gave 0 for a path");
        if (subject.param().value != 0) {
            CheckTagging(bench, subject, file);
        } else {
            bench.Require(!subject.SetTags(file, blob.bytes()) && !subject.DeleteTags(file, nullptr),
                          "a tag job gave 1 for a file that can't be tagged");
            bench.Require(Contents(file) == bytes, "a tag job gave 0 and changed the file");
        }
    }
}

void CheckExtensions(Bench& bench) {
    Subject subject(bench);
    subject.param() = {};
    if (!subject.Get(DECODER_GET_VERSION)) bench.Skip("the plug-in has the base contract alone");
    bench.Require(subject.param().value >= 1, "\"Version\" has no number of a set");
    bench.Require(subject.param().text != nullptr, "\"Version\" has no text");
    static const std::regex form("[0-9]+\\.[0-9]+\\.[0-9]+");
    bench.Require(std::regex_match(decoder_plugin::ToUtf8(subject.param().text), form),
                  "the text of \"Version\" isn't MAJOR.MINOR.PATCH");

    const std::filesystem::path sound = bench.MakeSound(kFrames);
    RequireFailure(bench, subject, DECODER_FAILURE_NONE, "no call yet");
    subject.DecodeBlock();
    RequireFailure(bench, subject, DECODER_FAILURE_NOT_OPEN, "DecodeBlock without a run");
    subject.Open(bench.folder() / "none.au");
    RequireFailure(bench, subject, DECODER_FAILURE_FILE_NOT_FOUND, "Open of a file that isn't there");
    subject.Close();
    RequireFailure(bench, subject, DECODER_FAILURE_FILE_NOT_FOUND, "Close");
    bench.Require(!subject.Get(DECODER_GET_WORKER_EXIT) && !subject.Get(DECODER_GET_WORKER_MESSAGES),
                  "the worker's end is told after Close");
    CheckSampleFormatKeys(bench, subject, sound);
    RequireFailure(bench, subject, DECODER_FAILURE_NONE, "a DecodeBlock that gave 1");

    const auto choose = [&](std::int32_t stream) {
        subject.param() = {};
        subject.param().value = stream;
        return subject.Set(DECODER_SET_AUDIO_STREAM);
    };
    bench.Require(!choose(-2), "\"AudioStream\" took -2");
    bench.Require(choose(7) && !subject.Open(sound), "Open gave 1 for an audio stream that isn't there");
    RequireFailure(bench, subject, DECODER_FAILURE_NO_SUCH_STREAM,
                   "Open of an audio stream that isn't there");
    bench.Require(choose(0) && subject.Open(sound), "Open gave 0 for the first audio stream");
    subject.ReadAll();
    subject.param() = {};
    if (subject.Get(DECODER_GET_WORKER_EXIT))
        bench.Require(subject.param().value == 0, "\"WorkerExit\" isn't 0 behind a whole sound");
    bench.Require(subject.Get(DECODER_GET_WORKER_MESSAGES), "\"WorkerMessages\" gave 0 within a run");
}

}  // namespace host::contract
