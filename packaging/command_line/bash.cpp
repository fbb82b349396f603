#include <map>
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

constexpr std::string_view kScript =
    R"(# Completion of @PROGRAM@ for bash, made from the program's table of options.

_decoder_host_words() {
    mapfile -t COMPREPLY < <(compgen -W "$*" -- "$current")
    [[ ${COMPREPLY[0]-} == *= ]] && compopt -o nospace 2>/dev/null
    return 0
}

_decoder_host_files() {
    mapfile -t COMPREPLY < <(compgen "${1:--f}" -- "$current")
    compopt -o filenames 2>/dev/null
    return 0
}

_decoder_host() {
    local current=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]} command= index words
    COMPREPLY=()
    for ((index = 1; index < COMP_CWORD; ++index)); do
        case ${COMP_WORDS[index]} in
            @COMMAND_PATTERN@)
                command=${COMP_WORDS[index]}
                break ;;
        esac
    done
    # "--option=value" comes as three words.
    if [[ $current == = ]]; then
        current=
    elif [[ $option == = ]]; then
        option=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    case "$command $option" in
@VALUES@    esac
    if [[ $current == -* ]]; then
        words='@COMMON_OPTIONS@'
        case $command in
@OPTIONS@        esac
        _decoder_host_words "$words"
        return
    fi
    case $command in
        '') _decoder_host_words @COMMANDS@ ;;
        @FILE_COMMAND_PATTERN@) _decoder_host_files ;;
    esac
}

complete -F _decoder_host @PROGRAM@
)";

// By the way in which their values are completed: options, as patterns of "COMMAND OPTION".
using Patterns = std::map<std::string, std::vector<std::string>>;

std::string ActionFor(const Option& option) {
    switch (option.kind) {
        case ValueKind::File:
            return "_decoder_host_files";
        case ValueKind::Folder:
            return "_decoder_host_files -d";
        case ValueKind::Choice:
        case ValueKind::Word:
            return "_decoder_host_words " + host::Joined(option.choices, " ");
        case ValueKind::WordIsFile:
            return "_decoder_host_words " + host::Joined(option.choices, "= ") + "=";
        case ValueKind::Text:
            break;
    }
    return ":";
}

// `commands` is a pattern.
void AddPatterns(Patterns& patterns, const std::string& commands, const std::vector<Option>& options) {
    for (const Option& option : options) {
        if (host::IsArgument(option) || host::IsFlag(option)) continue;
        for (const std::string& name : host::NamesOf(option))
            patterns[ActionFor(option)].push_back(commands + "' " + name + "'");
    }
}

std::string NamesIn(const std::vector<Option>& options) {
    std::string names;
    for (const Option& option : options) {
        if (!host::IsArgument(option)) names += " " + host::Joined(host::NamesOf(option), " ");
    }
    return names;
}

bool TakesFiles(const Command& command) {
    for (const Option& option : command.options) {
        if (host::IsArgument(option) && option.kind == ValueKind::File) return true;
    }
    return false;
}

}  // namespace

std::string BashCompletion(const CommandLine& line) {
    Patterns patterns;
    std::vector<std::string> names;
    std::vector<std::string> fileCommands;
    std::string options;
    const std::string common = NamesIn(host::HelpOptions()) + NamesIn(line.options);
    AddPatterns(patterns, "*", line.options);
    for (const Command& command : line.commands) {
        names.push_back(command.name);
        AddPatterns(patterns, command.name, command.options);
        options += "            " + command.name + ") words+='" + NamesIn(command.options) + "' ;;\n";
        if (TakesFiles(command)) fileCommands.push_back(command.name);
    }
    std::string values;
    for (const auto& [action, list] : patterns)
        values += "        " + host::Joined(list, " | \\\n        ") + ")\n            " + action +
                  "\n            return ;;\n";
    return Filled(kScript, {{"PROGRAM", line.name},
                            {"COMMAND_PATTERN", host::Joined(names, " | ")},
                            {"COMMANDS", host::Joined(names, " ")},
                            {"VALUES", values},
                            {"COMMON_OPTIONS", common},
                            {"OPTIONS", options},
                            {"FILE_COMMAND_PATTERN", host::Joined(fileCommands, " | ")}});
}

}  // namespace descriptions
