#include "apps/cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <string_view>

#include "apps/cli/commands.h"
#include "apps/text/text.h"

namespace torval {

namespace {

int Refuse(Console& console, std::string message, ExitCode code) {
    std::ranges::replace_if(
        message, [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    console.out << std::flush;
    console.err << "torval: " << message << std::endl;
    return code;
}

/// Where to read about the command that was misused.
std::string Advice(const CLI::App& application) {
    const auto chosen = application.get_subcommands();
    const std::string command = chosen.empty() ? "" : " " + chosen.front()->get_name();
    return " (torval" + command + " --help tells more)";
}

}  // namespace

// ---- Options ------------------------------------------------------------------------------------

CLI::Option* TakesNames(CLI::Option* option, const std::string& separators) {
    return option->transform(
        [separators](const std::string& names) { return ExpandHomes(names, separators); });
}

Option& Option::ValueName(const std::string& name) {
    option_->type_name(name);
    return *this;
}

Option& Option::Required() {
    option_->required();
    return *this;
}

Option& Option::TakesNames(const std::string& separators) {
    torval::TakesNames(option_, separators);
    return *this;
}

Option& Option::InRange(int low, int high) {
    option_->check(CLI::Range(low, high));
    return *this;
}

Option& Option::Excludes(const std::string& name) {
    if (CLI::Option* const other = command_->get_option_no_throw(name)) option_->excludes(other);
    return *this;
}

Subcommand Subcommand::AddCommand(const std::string& name, const std::string& help) {
    return Subcommand(command_->add_subcommand(name, help));
}

Option Subcommand::AddOption(const std::string& name, std::string* value, const std::string& help) {
    return {command_, command_->add_option(name, *value, help)};
}

Option Subcommand::AddOption(const std::string& name, int* value, const std::string& help) {
    return {command_, command_->add_option(name, *value, help)};
}

Option Subcommand::AddOption(const std::string& name,
                             std::optional<int>* value,
                             const std::string& help) {
    return {command_, command_->add_option(name, *value, help)};
}

void Subcommand::AddFlag(const std::string& name, bool* value, const std::string& help) {
    command_->add_flag(name, *value, help);
}

Option Subcommand::AddWords(const std::string& name,
                            const std::vector<std::string>& words,
                            const std::function<void(const std::string& word)>& take,
                            const std::string& help) {
    // The words are in the help text; the check would write its own list after the value's name.
    CLI::Option* const option = command_->add_option_function(name, take, help);
    option->check(CLI::IsMember(words).description(""));
    return {command_, option};
}

void Subcommand::Footer(const std::string& text) { command_->footer(text); }

void Subcommand::OnRun(std::function<void()> run) { command_->callback(std::move(run)); }

// ---- The whole command line ---------------------------------------------------------------------

int RunCommandLine(int count, const char* const* arguments, Console& console) {
    CLI::App application("Torval, a chess engine: plays, searches, evaluates and counts moves.",
                         "torval");
    application.require_subcommand(1);
    application.set_version_flag(
        "--version", "Torval " TORVAL_VERSION, "Print the version and exit");
    AddPlayCommand(Subcommand(&application), console);
    AddSearchCommand(Subcommand(&application), console);
    AddEvalCommand(Subcommand(&application), console);
    AddMovesCommand(Subcommand(&application), console);
    AddPerftCommand(Subcommand(&application), console);
    AddStateCommand(Subcommand(&application), console);
    AddParseCommand(Subcommand(&application), console);
    AddBenchCommand(Subcommand(&application), console);
    AddBookCommand(Subcommand(&application), console);
    AddTablebaseCommand(Subcommand(&application), console);
    AddThompsonCommand(Subcommand(&application), console);
    AddUciCommand(Subcommand(&application), console);
    try {
        application.parse(count, arguments);
    } catch (const CLI::ParseError& error) {
        const std::string_view first = count > 1 ? arguments[1] : "";
        const bool unknown =
            application.get_subcommands().empty() && !first.empty() && first[0] != '-';
        if (unknown) {
            return Refuse(
                console, "there is no command " + Quote(first) + Advice(application), ExitBadInput);
        }
        if (error.get_exit_code() != 0) {
            return Refuse(console, error.what() + Advice(application), ExitBadInput);
        }
        application.exit(error, console.out, console.err);
    } catch (const UsageError& error) {
        return Refuse(console, error.what() + Advice(application), ExitBadInput);
    } catch (const InputError& error) {
        return Refuse(console, error.what(), ExitBadInput);
    } catch (const std::exception& error) {
        return Refuse(console, error.what(), ExitFailure);
    }
    console.out << std::flush;
    if (!console.out) return Refuse(console, "the answer could not be written", ExitFailure);
    return ExitOk;
}

}  // namespace torval
