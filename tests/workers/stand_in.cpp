// A worker with one bad habit. The "file" that it is asked to decode names the habit.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>

#include "platform/codepage.h"
#include "platform/event.h"
#include "stand_in_system.h"

namespace {

constexpr int kBlockBytes = 16384;  // of 4096 frames of 16-bit stereo

std::string Little(std::uint64_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i, value >>= 8) text += static_cast<char>(value & 0xFF);
    return text;
}

std::string Chunk(const std::string& name, std::uint64_t size) {
    return name + std::string(12, 'g') + Little(size, 8);
}

const std::string kStart = Chunk("riff", 0) + "wave" + std::string(12, 'g');

std::string FormatChunk(std::uint64_t size = 40, std::uint64_t bits = 16) {
    return Chunk("fmt ", size) + Little(1, 2) + Little(2, 2) + Little(44100, 4) + Little(0, 4) +
           Little(0, 2) + Little(bits, 2);
}

std::string Header(std::uint64_t dataBytes, std::uint64_t bits = 16) {
    return kStart + FormatChunk(40, bits) + Chunk("data", dataBytes + 24);
}

constexpr std::uint64_t kEndless = 0x7FFFFFFFFFFFFF00;

void Out(const std::string& bytes) {
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    std::fflush(stdout);
}

void Error(const std::string& bytes) {
    std::fwrite(bytes.data(), 1, bytes.size(), stderr);
    std::fflush(stderr);
}

void Dump(const std::string& metadata = {}) {
    Error("banner\nInput #0, x, from 'x':\n  Metadata:\n" + metadata +
          "  Duration: 00:00:01.50, bitrate: 64 kb/s\n  Stream #0:0: Audio: pcm, x\nend\n");
}

[[noreturn]] void HangForEver() {
    for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
}

void Audio(int bytes) {
    Out(std::string(static_cast<std::size_t>(bytes), 'a'));
}

// What the worker was started with, as metadata.
std::string Circumstances(int count, char** arguments) {
    std::string text;
    for (int i = 0; i < count; ++i) text += "    arg" + std::to_string(i) + ": " + arguments[i] + "\n";
    text += "    stdin: " + std::string(std::fgetc(stdin) == EOF ? "end" : "data") + "\n";
    for (const auto& [name, value] : SystemCircumstances()) text += "    " + name + ": " + value + "\n";
    return text;
}

// Tells of two audio streams behind a cover and decodes the second; beside the "file" it leaves what it was
// started with, a line for every start.
void DecodeDeepSource(const std::string& file, int count, char** arguments) {
    std::string line;
    for (int i = 1; i < count; ++i)
        line += std::string(i > 1 ? " " : "") + (arguments[i] == file ? "FILE" : arguments[i]);
    std::ofstream(std::filesystem::path(file).parent_path() / "starts", std::ios::app | std::ios::binary)
        << line << "\n";
    Error(
        "Input #0, x, from 'x':\n  Duration: 00:00:01.50, bitrate: 64 kb/s\n"
        "  Stream #0:0: Video: mjpeg, yuvj420p, 500x500\n"
        "  Stream #0:1(ger)[0x1100]: Audio: flac, 44100 Hz, stereo, s16 (default)\n"
        "  Stream #0:2: Audio: flac, 44100 Hz, 5.1(side), s32 (24 bit)\n"
        "Stream mapping:\n  Stream #0:2 -> #0:0 (flac (native) -> pcm (native))\n");
    Out(Header(kEndless, line.find("pcm_s24le") != line.npos ? 24 : 16));
    Audio(kBlockBytes);
}

void Behave(const std::string& file, const std::string& habit, int count, char** arguments) {
    if (habit == "report") {
        Dump(Circumstances(count, arguments));
        Out(Header(kEndless));
        Audio(kBlockBytes / 2);
    } else if (habit == "silent") {
        HangForEver();
    } else if (habit == "silent-after-header") {
        Dump();
        Out(Header(kEndless));
        HangForEver();
    } else if (habit == "no-dump-end") {
        Error("Input #0, x:\n  Duration: 00:00:01.50\n");
        Out(Header(kEndless));
        HangForEver();
    } else if (habit == "dribble") {
        Dump();
        for (const char byte : Header(kBlockBytes) + std::string(kBlockBytes, 'a')) Out(std::string(1, byte));
    } else if (habit == "finite") {
        Dump();
        Out(Header(1000));
        Audio(kBlockBytes);
    } else if (habit.find('.') != habit.npos) {
        // A real file: good, but for that it doesn't read it.
        Dump();
        Out(Header(kEndless));
        Audio(3 * kBlockBytes);
    } else if (habit == "dies") {
        Dump();
        Out(Header(kEndless));
        Audio(kBlockBytes + 1000);
        std::_Exit(3);
    } else if (habit == "killed") {
        Dump();
        Out(Header(kEndless));
        Audio(kBlockBytes);
        Error(
            "[x @ 0x1] something is wrong\nsize=  1kB time=0.1 speed=2x  \rsize=  2kB time=0.2 speed=2x  "
            "\r[x @ 0x1] \xff "
            "again\nsize=  3kB\nhalf a line");
        EndBySignal();
    } else if (habit == "deep") {
        DecodeDeepSource(file, count, arguments);
    } else if (habit == "floods") {
        std::string noise;
        for (int i = 0; i < 100000; ++i)
            noise += "frame=" + std::to_string(i) + " of a very chatty worker, size=12345kB\n";
        Error(noise + noise);
        Dump();
        Out(Header(kEndless));
        Audio(kBlockBytes);
        Error(noise);
        Audio(kBlockBytes);
    } else if (habit == "chatters") {
        // Short lines: what each of them costs whoever keeps it is more than its text.
        std::string noise;
        for (int i = 0; i < 4000000; ++i) noise += "x\n";
        Dump();
        Out(Header(kEndless));
        Error(noise);
        Audio(kBlockBytes);
        HangForEver();
    } else if (habit == "endless-line") {
        Error(std::string(0x1000000 - 1000, 'x') + "\n");
        Dump();
        Error(std::string(0x1000000, 'y'));
        Out(Header(kEndless));
        Audio(kBlockBytes);
    } else if (habit == "ignores-close") {
        IgnoreClosedPipes();
        Dump();
        Out(Header(kEndless));
        for (;;) Audio(kBlockBytes);
    } else if (habit == "never-ends" || habit == "takes-leave") {
        if (habit == "takes-leave") IgnoreClosedPipes();
        Dump();
        Out(Header(kEndless));
        while (!std::ferror(stdout)) Audio(kBlockBytes);
        // Who is ended by force leaves nothing beside the "file".
        if (habit == "takes-leave") std::ofstream(std::filesystem::path(file).parent_path() / "left");
    } else {
        const std::map<std::string, std::string> broken{
            {"riff", "RIFF" + Header(0).substr(4)},
            {"wave", kStart.substr(0, 24) + "WAVE" + Header(0).substr(28)},
            {"small-chunk", kStart + Chunk("junk", 23) + Header(0).substr(40)},
            {"small-format", kStart + FormatChunk(39) + Chunk("data", 24)},
            {"large-format", kStart + FormatChunk(65561) + std::string(70000, 'f') + Chunk("data", 24)},
            {"endless-chunk", kStart + Chunk("junk", ~std::uint64_t{0}) + std::string(70000, 'j')},
            {"no-format", kStart + Chunk("data", 24)},
            {"cut", Header(0).substr(0, 90)},
            {"nothing", ""}};
        const auto found = broken.find(habit);
        if (found == broken.end()) std::_Exit(4);
        Out(found->second);
    }
}

}  // namespace

int main(int count, char** arguments) {
    UseBinaryOutput();
    std::string habit;
    for (int i = 1; i + 1 < count; ++i) {
        if (std::string(arguments[i]) == "-i") habit = arguments[i + 1];
    }
    // A first folder "event-NAME" names an event that tells when the worker was here.
    if (habit.starts_with("event-")) {
        const std::string name = habit.substr(6, habit.find('/') - 6);
        platform::SetSignal(platform::OpenNamedSignal(platform::ToWide(platform::CodePage::Utf8, name)));
    }
    Behave(habit, habit.substr(habit.find_last_of("/\\") + 1), count, arguments);
    return 0;
}
