#include "host/terminal/output.h"

#include <cerrno>
#include <cstdio>
#include <string>

#include "host/system/console.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

void Print(std::string_view text) {
    if (!system::WriteText(stdout, text))
        throw Failure("can't write to standard output: " + ErrnoText(errno));
}

void FlushOutput() {
    if (std::fflush(stdout) != 0) throw Failure("can't write to standard output: " + ErrnoText(errno));
}

void PrintError(std::string_view text) {
    std::string line = "decoder-host: ";
    for (const char letter : text) line += letter == '\n' || letter == '\r' ? ' ' : letter;
    if (system::IsTerminal(stderr)) line = EscapeControls(line);
    line += '\n';
    system::WriteText(stderr, line);
}

void PrintToTerminal(std::string_view text) {
    system::WriteText(stderr, text);
    std::fflush(stderr);
}

}  // namespace host
