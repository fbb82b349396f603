#include "host/command_line/help.h"

#include <algorithm>
#include <vector>

#include "host/text/text.h"

namespace host {

namespace {

constexpr std::size_t kNarrowest = 40;

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

std::vector<Row> RowsOf(const std::vector<Option>& options, bool arguments) {
    std::vector<Row> rows;
    for (const Option& option : options) {
        if (IsArgument(option) == arguments) rows.push_back(HelpRow(option));
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
    std::vector<Row> common = RowsOf(HelpOptions(), false);
    const std::vector<Row> own = RowsOf(line.options, false);
    common.insert(common.end(), own.begin(), own.end());
    if (command == nullptr) {
        std::vector<Row> commands;
        for (const Command& each : line.commands) commands.emplace_back(each.name, each.summary);
        return Wrapped(line.summary, 0, 0, width) + "\nUsage: " + line.name + " COMMAND [OPTION]...\n" +
               Section("Commands", commands, width) + Section("Options", common, width) +
               Section("Environment", line.environment, width) + Section("Exit codes", line.exitCodes, width);
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
