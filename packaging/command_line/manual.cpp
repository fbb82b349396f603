#include <cctype>
#include <vector>

#include "descriptions.h"
#include "host/text/text.h"

namespace descriptions {

using host::Command;
using host::CommandLine;
using host::Option;
using host::Row;

namespace {

// As text that is only text to the formatter. A dash is the one of the keyboard, so that it can be copied.
std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char letter : text) {
        if (letter == '\\') {
            escaped += "\\e";
        } else if (letter == '-') {
            escaped += "\\-";
        } else {
            escaped += letter;
        }
    }
    const bool isRequest = !escaped.empty() && (escaped.front() == '.' || escaped.front() == '\'');
    return isRequest ? "\\&" + escaped : escaped;
}

std::string Line(const std::string& text) {
    return Escaped(text) + "\n";
}

std::string Section(const std::string& title) {
    return ".SH " + title + "\n";
}

std::string Bold(const std::string& text) {
    return "\\fB" + Escaped(text) + "\\fR";
}

std::string Italic(const std::string& text) {
    return "\\fI" + Escaped(text) + "\\fR";
}

std::string Sentence(std::string text) {
    if (!text.empty() && text.back() != '.') text += '.';
    return text;
}

std::string Entry(const std::string& head, const std::string& words) {
    return ".TP\n" + head + "\n" + Line(Sentence(words));
}

std::string NamesInBold(const Option& option) {
    if (host::IsArgument(option)) return Italic(host::HelpRow(option).first);
    std::string names;
    for (const std::string& name : host::NamesOf(option)) names += (names.empty() ? "" : ", ") + Bold(name);
    return option.value.empty() ? names : names + " " + Italic(option.value);
}

std::string Entries(const std::vector<Option>& options) {
    std::string text;
    for (const Option& option : options) text += Entry(NamesInBold(option), host::HelpRow(option).second);
    return text;
}

std::string Table(const std::string& title, const std::vector<Row>& rows) {
    std::string text = Section(title);
    for (const Row& row : rows) text += Entry(Bold(row.first), row.second);
    return text;
}

std::string Paragraphs(const std::vector<std::string>& notes) {
    std::string text;
    for (const std::string& note : notes) text += ".PP\n" + Line(note);
    return text;
}

// What a list of manual pages shows: no capital in front, no full stop behind.
std::string Brief(std::string summary) {
    summary.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(summary.front())));
    if (summary.back() == '.') summary.pop_back();
    return summary;
}

std::string References(const CommandLine& line, const Command* page) {
    std::vector<std::string> names;
    if (page != nullptr) names.push_back(ManualName(line, nullptr));
    for (const Command& command : line.commands) {
        if (page == nullptr || command.name != page->name) names.push_back(ManualName(line, &command));
    }
    names.push_back("ffmpeg");
    std::string text = Section("SEE ALSO");
    for (const std::string& name : names) {
        text += ".BR " + Escaped(name) + " (1)" + (&name == &names.back() ? "" : ",") + "\n";
    }
    return text;
}

std::string CommandBody(const CommandLine& line, const Command& command) {
    std::string text =
        Section("SYNOPSIS") + Bold(line.name) + " " + Bold(command.name) + " [" + Italic("OPTION") + "]...";
    std::vector<Option> arguments;
    std::vector<Option> options;
    for (const Option& option : command.options)
        (host::IsArgument(option) ? arguments : options).push_back(option);
    for (const Option& argument : arguments) text += " " + NamesInBold(argument);
    text += "\n" + Section("DESCRIPTION") + Line(Sentence(command.summary)) + Paragraphs(command.notes);
    if (!arguments.empty()) text += Section("ARGUMENTS") + Entries(arguments);
    text += Section("OPTIONS") + Entries(options);
    text += Section("OPTIONS OF EVERY COMMAND") + Entries(host::HelpOptions()) + Entries(line.options);
    text += Section("EXAMPLES") + ".EX\n";
    for (const std::string& example : command.examples) text += Line(example);
    return text + ".EE\n";
}

std::string ProgramBody(const CommandLine& line) {
    std::string text = Section("SYNOPSIS") + Bold(line.name) + " " + Italic("COMMAND") + " [" +
                       Italic("OPTION") + "]...\n" + Section("DESCRIPTION") + Line(Sentence(line.summary)) +
                       Section("COMMANDS");
    for (const Command& command : line.commands) {
        text +=
            ".TP\n.BR " + Escaped(ManualName(line, &command)) + " (1)\n" + Line(Sentence(command.summary));
    }
    return text + Section("OPTIONS") + Entries(host::HelpOptions()) + Entries(line.options);
}

}  // namespace

std::string ManualName(const CommandLine& line, const Command* command) {
    return command == nullptr ? line.name : line.name + "-" + command->name;
}

std::string ManualPage(const CommandLine& line, const Command* command, const Edition& edition) {
    const std::string name = ManualName(line, command);
    std::string title = name;
    for (char& letter : title) letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
    return ".\\\" Made from the program's table of commands and options.\n.TH " + Escaped(title) + " 1 " +
           edition.date + " \"" + Escaped(line.name + " " + edition.version) + "\" \"User Commands\"\n" +
           Section("NAME") + Escaped(name) + " \\- " +
           Escaped(Brief(command == nullptr ? line.summary : command->summary)) + "\n" +
           (command == nullptr ? ProgramBody(line) : CommandBody(line, *command)) +
           Table("ENVIRONMENT", line.environment) + Table("EXIT STATUS", line.exitCodes) +
           References(line, command);
}

}  // namespace descriptions
