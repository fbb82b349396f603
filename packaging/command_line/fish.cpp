#include <vector>

#include "descriptions.h"
#include "host/text/text.h"

namespace descriptions {

using host::Command;
using host::CommandLine;
using host::Option;
using host::ValueKind;

namespace {

std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char letter : text) {
        if (letter == '\'' || letter == '\\') quoted += '\\';
        quoted += letter;
    }
    return quoted + "'";
}

// How the value is completed. -x keeps files out.
std::string Value(const Option& option) {
    switch (option.kind) {
        case ValueKind::File:
            return " -r -F";
        case ValueKind::Folder:
            return " -x -a '(__fish_complete_directories)'";
        case ValueKind::Choice:
        case ValueKind::Word:
            return " -x -a " + Quoted(host::Joined(option.choices, " "));
        case ValueKind::WordIsFile:
            return " -r -F -a " + Quoted(host::Joined(option.choices, "= ") + "=");
        case ValueKind::Text:
            break;
    }
    return " -x";
}

std::string Completion(const CommandLine& line, const std::string& condition, const Option& option) {
    std::string text = "complete -c " + line.name + condition;
    if (host::IsArgument(option)) return text + (option.kind == ValueKind::File ? " -F\n" : " -f\n");
    for (const std::string& name : host::NamesOf(option)) {
        const bool isLong = name.compare(0, 2, "--") == 0;
        text += (isLong ? " -l " : " -s ") + name.substr(isLong ? 2 : 1);
    }
    if (!host::IsFlag(option)) text += Value(option);
    return text + " -d " + Quoted(option.help) + "\n";
}

}  // namespace

std::string FishCompletion(const CommandLine& line) {
    std::string text = "# Completion of " + line.name +
                       " for fish, made from the program's table of commands and options.\n\ncomplete -c " +
                       line.name + " -f\n";
    for (const Option& option : host::HelpOptions()) text += Completion(line, "", option);
    for (const Option& option : line.options) text += Completion(line, "", option);
    std::string noCommand = " -n 'not __fish_seen_subcommand_from";
    for (const Command& command : line.commands) noCommand += " " + command.name;
    for (const Command& command : line.commands) {
        text += "\ncomplete -c " + line.name + noCommand + "' -a " + command.name + " -d " +
                Quoted(command.summary) + "\n";
        const std::string condition = " -n '__fish_seen_subcommand_from " + command.name + "'";
        for (const Option& option : command.options) text += Completion(line, condition, option);
    }
    return text;
}

}  // namespace descriptions
