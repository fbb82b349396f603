#include <string_view>
#include <vector>

#include "descriptions.h"
#include "filled.h"
#include "host/text/text.h"

namespace descriptions {

using host::Command;
using host::CommandLine;
using host::Option;
using host::ValueKind;

namespace {

constexpr std::string_view kScript = R"(#compdef @PROGRAM@
# Completion of @PROGRAM@ for zsh, made from the program's table of options.

local curcontext="$curcontext" state line
local -a commands=(
@COMMANDS@)

_arguments -s -C@COMMON_OPTIONS@ \
        '1:command:->command' \
        '*:: :->rest'

case $state in
  command)
    _describe -t commands command commands
    ;;
  rest)
    case $words[1] in
@CASES@    esac
    ;;
esac
)";

// In single quotes, where brackets and colons end a part of a specification.
std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char letter : text) {
        if (letter == '\'') {
            escaped += "'\\''";
            continue;
        }
        if (letter == '[' || letter == ']' || letter == ':' || letter == '\\') escaped += '\\';
        escaped += letter;
    }
    return escaped;
}

std::string Action(const Option& option) {
    switch (option.kind) {
        case ValueKind::File:
            return "_files";
        case ValueKind::Folder:
            return "_files -/";
        case ValueKind::Choice:
        case ValueKind::Word:
            return "(" + host::Joined(option.choices, " ") + ")";
        case ValueKind::WordIsFile:
            return "{ if compset -P \"*=\"; then _files; else compadd -S = " +
                   host::Joined(option.choices, " ") + "; fi }";
        case ValueKind::Text:
            break;
    }
    return " ";
}

// One of _arguments' specifications for each name.
std::string Specifications(const Option& option) {
    const std::string value =
        host::IsFlag(option)
            ? ""
            : ":" + Escaped(option.value.empty() ? option.names : option.value) + ":" + Action(option);
    if (host::IsArgument(option)) return " \\\n        '*" + value + "'";
    const std::vector<std::string> names = host::NamesOf(option);
    std::string text;
    for (const std::string& name : names) {
        const std::string before = host::IsRepeatable(option) ? "*" : "(" + host::Joined(names, " ") + ")";
        const bool isLong = name.compare(0, 2, "--") == 0;
        const std::string attached = host::IsFlag(option) ? "" : isLong ? "=" : "+";
        text += " \\\n        '" + before + name + attached + "[" + Escaped(option.help) + "]" + value + "'";
    }
    return text;
}

std::string Specifications(const std::vector<Option>& options) {
    std::string text;
    for (const Option& option : options) text += Specifications(option);
    return text;
}

}  // namespace

std::string ZshCompletion(const CommandLine& line) {
    const std::string common = Specifications(host::HelpOptions()) + Specifications(line.options);
    std::string commands;
    std::string cases;
    for (const Command& command : line.commands) {
        commands += "    '" + command.name + ":" + Escaped(command.summary) + "'\n";
        cases += "    " + command.name + ")\n      _arguments -s" + Specifications(command.options) + common +
                 "\n      ;;\n";
    }
    return Filled(
        kScript,
        {{"PROGRAM", line.name}, {"COMMANDS", commands}, {"COMMON_OPTIONS", common}, {"CASES", cases}});
}

}  // namespace descriptions
