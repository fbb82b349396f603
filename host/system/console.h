// The command line, the standard streams and the program itself.
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace host::system {

// The arguments in UTF-8, without the program's own name. Windows takes them from the process, not from argv.
std::vector<std::string> Arguments(int argc, char** argv);

// Call once, before anything is opened: standard streams that are closed get something harmless behind them,
// so that no file of ours can become one of them, and all three carry bytes as they are. A limit on the size
// of files makes writes fail and doesn't end the program.
void PrepareProcess();

// The folder of this program. Throws std::filesystem::filesystem_error.
std::filesystem::path OwnFolder();

bool IsTerminal(std::FILE* stream);

// Writes UTF-8 to a standard stream, whole; to a terminal as text, whatever it would take bytes for. False,
// with errno, when not everything was taken.
bool WriteText(std::FILE* stream, std::string_view text);

// What a person types into standard input, a terminal, up to the end of the line and without it. Empty when
// nothing comes.
std::string ReadAnswer();

// Whether it is a terminal that shows characters beyond ASCII.
bool ShowsUnicode(std::FILE* stream);

// Whether colours are wanted there: on a terminal that has them, and without NO_COLOR.
bool HasColours(std::FILE* stream);

// In columns; 80 where there is no telling.
int TerminalWidth(std::FILE* stream);

}  // namespace host::system
