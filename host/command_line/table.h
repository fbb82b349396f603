// The one table of commands and options: the parser, the help, the manual pages and the completions come of
// it.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace host {

// What a value is, for a shell that completes it: one of the choices, and nothing else is taken; a word, of
// which the choices are some; such a word in front of an equals sign and a file.
enum class ValueKind { Text, File, Folder, Choice, Word, WordIsFile };

// An option, a flag or an argument, and where its value goes.
struct Option {
    std::string names;  // "-o,--output"; one word without a dash for an argument
    std::string value;  // what stands for the value in help; empty for a flag and for an argument
    std::string help;   // one sentence
    // A flag, a single value, or one that may be given again.
    std::variant<bool*, int*, unsigned*, std::string*, std::vector<std::string>*> target;
    ValueKind kind = ValueKind::Text;
    std::vector<std::string> choices = {};
};

struct Command {
    std::string name;
    std::string summary;  // one sentence
    std::vector<Option> options;
    std::vector<std::string> notes;     // paragraphs below the options
    std::vector<std::string> examples;  // command lines
    // Gives the program's exit code. Throws Failure, UsageFailure or Interruption.
    std::function<int()> run;
};

// A name and what it means.
using Row = std::pair<std::string, std::string>;

struct CommandLine {
    std::string name;
    std::string summary;
    std::vector<Option> options;  // for every command
    std::vector<Command> commands;
    std::vector<Row> exitCodes;
    std::vector<Row> environment;  // variables that change what the program does
    std::function<int()> run;      // without a command
};

bool IsArgument(const Option& option);
// "-o" and "--output" of such an option.
std::vector<std::string> NamesOf(const Option& option);
bool IsFlag(const Option& option);
// Whether its value may be given again.
bool IsRepeatable(const Option& option);

// What stands for an option or argument in help: its names and its value; and what it means, with its
// choices.
Row HelpRow(const Option& option);

// The options by which the parser itself gives help. They have no targets.
std::vector<Option> HelpOptions();

// What a parse fills in.
struct Arguments;

// The targets of the table are members of `arguments`, which has to outlive it.
CommandLine MakeCommandLine(Arguments& arguments);

}  // namespace host
