#include "host/command_line/parse.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "host/text/failure.h"

namespace host {

namespace {

// CLI11 takes an argument in square brackets for a list and cuts it at its commas. A mark behind the bracket,
// taken off again when the argument has arrived, keeps it whole.
constexpr char kShield = '\x01';

void Shield(std::string& argument) {
    if (!argument.empty() && argument.front() == '[' && argument.back() == ']') argument += kShield;
}

std::string Unshield(std::string& argument) {
    if (!argument.empty() && argument.back() == kShield) argument.pop_back();
    return {};
}

struct Adder {
    CLI::App& app;
    const Option& option;

    CLI::Option* operator()(bool* target) const { return app.add_flag(option.names, *target, option.help); }
    CLI::Option* operator()(std::string* target) const { return Value(*target); }
    CLI::Option* operator()(std::vector<std::string>* target) const {
        CLI::Option* const added = Value(*target);
        // An option takes one value each time that it is given; only an argument takes a row of them.
        if (!option.value.empty()) added->allow_extra_args(false);
        return added;
    }

    template <typename Target>
    CLI::Option* Value(Target& target) const {
        CLI::Option* const added = app.add_option(option.names, target, option.help);
        added->type_name(option.value)->transform(CLI::Validator(Unshield, ""));
        if (!option.choices.empty()) added->check(CLI::IsMember(option.choices));
        return added;
    }
};

void AddOptions(CLI::App& app, const std::vector<Option>& options) {
    for (const Option& option : options) {
        std::visit(Adder{app, option}, option.target)->required(option.required);
    }
}

std::string Footer(const Command& command) {
    std::string text = command.notes;
    if (!text.empty()) text += "\n\n";
    text += command.examples.size() == 1 ? "Example:" : "Examples:";
    for (const std::string& example : command.examples) text += "\n  " + example;
    return text;
}

}  // namespace

const Command* Parse(const CommandLine& line, std::vector<std::string> arguments) {
    CLI::App app(line.summary, line.name);
    app.require_subcommand(1);
    app.fallthrough();
    app.allow_windows_style_options(false);
    app.set_help_all_flag("--help-all", "Help for every command");
    AddOptions(app, line.options);
    for (const Command& command : line.commands) {
        CLI::App* const added = app.add_subcommand(command.name, command.summary);
        AddOptions(*added, command.options);
        added->footer(Footer(command));
    }
    app.footer(line.notes);

    std::for_each(arguments.begin(), arguments.end(), Shield);
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0)
            throw UsageFailure(std::string(error.what()) + " (--help tells more)");
        app.exit(error);
        return nullptr;
    }
    const auto isWanted = [&](const Command& command) { return app.got_subcommand(command.name); };
    return &*std::find_if(line.commands.begin(), line.commands.end(), isWanted);
}

}  // namespace host
