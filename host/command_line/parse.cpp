#include "host/command_line/parse.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "host/command_line/help.h"
#include "host/system/console.h"
#include "host/terminal/output.h"
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

    CLI::Option* operator()(bool* target) const { return app.add_flag(option.names, *target); }
    CLI::Option* operator()(int* target) const { return app.add_option(option.names, *target); }
    CLI::Option* operator()(unsigned* target) const { return app.add_option(option.names, *target); }
    CLI::Option* operator()(std::string* target) const { return Text(*target); }
    CLI::Option* operator()(std::vector<std::string>* target) const {
        CLI::Option* const added = Text(*target);
        // An option takes one value each time that it is given; only an argument takes a row of them.
        if (!IsArgument(option)) added->allow_extra_args(false);
        return added;
    }

    template <typename Target>
    CLI::Option* Text(Target& target) const {
        CLI::Option* const added = app.add_option(option.names, target);
        added->transform(CLI::Validator(Unshield, ""));
        if (option.kind == ValueKind::Choice) added->check(CLI::IsMember(option.choices));
        return added;
    }
};

void AddOptions(CLI::App& app, const std::vector<Option>& options) {
    for (const Option& option : options) std::visit(Adder{app, option}, option.target);
}

const Command* Chosen(const CommandLine& line, const CLI::App& app) {
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    if (chosen.empty()) return nullptr;
    const auto isIt = [&](const Command& command) { return command.name == chosen.front()->get_name(); };
    return &*std::find_if(line.commands.begin(), line.commands.end(), isIt);
}

}  // namespace

int ParseAndRun(const CommandLine& line, std::vector<std::string> arguments) {
    CLI::App app(line.summary, line.name);
    app.require_subcommand(0, 1);
    app.fallthrough();
    app.allow_windows_style_options(false);
    app.set_help_all_flag("--help-all");
    AddOptions(app, line.options);
    for (const Command& command : line.commands)
        AddOptions(*app.add_subcommand(command.name), command.options);

    std::for_each(arguments.begin(), arguments.end(), Shield);
    std::reverse(arguments.begin(), arguments.end());
    const auto width = static_cast<std::size_t>(system::TerminalWidth(stdout));
    try {
        app.parse(std::move(arguments));
    } catch (const CLI::CallForHelp&) {
        Print(HelpText(line, Chosen(line, app), width));
        return 0;
    } catch (const CLI::CallForAllHelp&) {
        Print(HelpForAll(line, width));
        return 0;
    } catch (const CLI::ParseError& error) {
        throw UsageFailure(std::string(error.what()) + " (--help tells more)");
    }
    const Command* const command = Chosen(line, app);
    return command == nullptr ? line.run() : command->run();
}

}  // namespace host
