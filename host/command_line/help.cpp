#include "host/command_line/help.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "host/text/text.h"

namespace host {

namespace {

constexpr std::size_t kNarrowest = 40;

// A row of a list: a name, and words about it in the column beside it.
using Row = std::pair<std::string, std::string>;

// Words in lines, the first of which goes on at column `column`; the others begin at `indent`.
std::string Wrapped(const std::string& words, std::size_t column, std::size_t indent, std::size_t width) {
    std::string text;
    bool first = true;
    for (const std::string& word : Split(words, ' ')) {
        if (!first && column + 1 + word.size() > width) {
            text += "\n" + std::string(indent, ' ');
            column = indent;
        } else if (!first) {
            text += " ";
            ++column;
        }
        text += word;
        column += word.size();
        first = false;
    }
    return text + "\n";
}

std::string Rows(const std::vector<Row>& rows, std::size_t width) {
    constexpr std::size_t kWidestName = 28;
    constexpr std::size_t kMargin = 2;
    std::size_t name = 0;
    for (const Row& row : rows) name = std::max(name, std::min(row.first.size(), kWidestName));
    const std::size_t indent = kMargin + name + kMargin;
    std::string text;
    for (const Row& row : rows) {
        std::string start = std::string(kMargin, ' ') + row.first;
        if (start.size() + kMargin > indent) {
            text += start + "\n";
            start.clear();
        }
        start.resize(indent, ' ');
        text += start + Wrapped(row.second, indent, indent, width);
    }
    return text;
}

std::string Names(const Option& option) {
    std::string names = option.names;
    for (std::size_t at = names.find(','); at != std::string::npos; at = names.find(',', at + 1)) {
        names.insert(at + 1, " ");
    }
    if (IsArgument(option)) return names + (IsRepeatable(option) ? "..." : "");
    return option.value.empty() ? names : names + " " + option.value;
}

std::string Meaning(const Option& option) {
    if (option.choices.empty()) return option.help;
    std::string words = option.help + ":";
    for (const std::string& choice : option.choices)
        words += " " + choice + (&choice == &option.choices.back() ? "" : ",");
    return words;
}

std::vector<Row> RowsOf(const std::vector<Option>& options, bool arguments) {
    std::vector<Row> rows;
    for (const Option& option : options) {
        if (IsArgument(option) == arguments) rows.emplace_back(Names(option), Meaning(option));
    }
    return rows;
}

std::string Section(const std::string& title, const std::vector<Row>& rows, std::size_t width) {
    return rows.empty() ? "" : "\n" + title + ":\n" + Rows(rows, width);
}

std::string Paragraphs(const std::vector<std::string>& notes, std::size_t width) {
    std::string text;
    for (const std::string& note : notes) text += "\n" + Wrapped(note, 0, 0, width);
    return text;
}

}  // namespace

std::string HelpText(const CommandLine& line, const Command* command, std::size_t width) {
    width = std::max(width, kNarrowest);
    const std::vector<Row> help = {{"-h, --help", "Show this help"},
                                   {"--help-all", "Show the help for every command"}};
    std::vector<Row> common = RowsOf(line.options, false);
    common.insert(common.begin(), help.begin(), help.end());
    if (command == nullptr) {
        std::vector<Row> commands;
        for (const Command& each : line.commands) commands.emplace_back(each.name, each.summary);
        return Wrapped(line.summary, 0, 0, width) + "\nUsage: " + line.name + " COMMAND [OPTION]...\n" +
               Section("Commands", commands, width) + Section("Options", common, width) +
               Paragraphs(line.notes, width);
    }
    std::string usage = "\nUsage: " + line.name + " " + command->name + " [OPTION]...";
    const std::vector<Row> arguments = RowsOf(command->options, true);
    for (const Row& argument : arguments) usage += " " + argument.first;
    std::string text = Wrapped(command->summary, 0, 0, width) + usage + "\n" +
                       Section("Arguments", arguments, width) +
                       Section("Options", RowsOf(command->options, false), width) +
                       Section("For every command", common, width) + Paragraphs(command->notes, width);
    text += command->examples.size() == 1 ? "\nExample:\n" : "\nExamples:\n";
    for (const std::string& example : command->examples) text += "  " + example + "\n";
    return text;
}

std::string HelpForAll(const CommandLine& line, std::size_t width) {
    std::string text = HelpText(line, nullptr, width);
    for (const Command& command : line.commands) {
        text += "\n--- " + line.name + " " + command.name + "\n\n" + HelpText(line, &command, width);
    }
    return text;
}

}  // namespace host
