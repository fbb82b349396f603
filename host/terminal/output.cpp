#include "host/terminal/output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>

#include "host/system/console.h"
#include "host/system/interruption.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace {

constexpr const char* kPlain = "\x1B[0m";

[[noreturn]] void FailToPrint() {
    const int reason = errno;
    if (const int code = system::InterruptionCode()) throw Interruption{code};
    throw Failure("can't write to standard output: " + ErrnoText(reason));
}

void PrintLine(std::string_view text, const std::string& colour) {
    std::string line(text);
    std::replace_if(
        line.begin(), line.end(), [](char letter) { return letter == '\n' || letter == '\r'; }, ' ');
    if (system::IsTerminal(stderr)) line = EscapeControls(line);
    if (!colour.empty()) line = colour + line + kPlain;
    line = "decoder-host: " + line + "\n";
    system::WriteText(stderr, line);
}

}  // namespace

void Print(std::string_view text) {
    if (!system::WriteText(stdout, text)) FailToPrint();
}

void FlushOutput() {
    if (std::fflush(stdout) != 0) FailToPrint();
}

void PrintError(std::string_view text) {
    PrintLine(text, system::HasColours(stderr) ? "\x1B[31m" : "");
}

void PrintNote(std::string_view text) {
    PrintLine(text, "");
}

void PrintToTerminal(std::string_view text) {
    system::WriteText(stderr, text);
    std::fflush(stderr);
}

std::string Emphasized(const std::string& text) {
    return system::HasColours(stdout) ? "\x1B[1m" + text + kPlain : text;
}

}  // namespace host
