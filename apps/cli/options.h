// Declares commands and their options. The library that parses them stays out of the files that use
// this: every file that includes it compiles the whole parser again.
//
// Lifetime the handles are copied freely and refer to the application, which outlives them. The
//          variables that take the values must live as long.
#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace torval {

/// Thrown by a command for options that do not go together: one line that names the option.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// For an option whose values are names of files, or lists of names separated by any of
/// `separators`: "~" at the start of a name is the home directory. Returns the option.
CLI::Option* TakesNames(CLI::Option* option, const std::string& separators = {});

/// An option that takes a value, or an argument. Each function returns the option itself.
class Option {
public:
    Option(CLI::App* command, CLI::Option* option) : command_(command), option_(option) {}

    /// The placeholder for the value in the help, such as "N"; empty for nothing.
    Option& ValueName(const std::string& name);
    Option& Required();
    /// See TakesNames.
    Option& TakesNames(const std::string& separators = {});
    /// Refuses values outside low .. high.
    Option& InRange(int low, int high);
    /// Refuses the two together; does nothing if the command has no such option yet.
    Option& Excludes(const std::string& name);

private:
    CLI::App* command_;
    CLI::Option* option_;
};

/// The application, or one of its subcommands. `name` is "--name" for an option, "NAME" for an
/// positional argument.
class Subcommand {
public:
    explicit Subcommand(CLI::App* command) : command_(command) {}

    Subcommand AddCommand(const std::string& name, const std::string& help);
    Option AddOption(const std::string& name, std::string* value, const std::string& help);
    Option AddOption(const std::string& name, int* value, const std::string& help);
    Option AddOption(const std::string& name, std::optional<int>* value, const std::string& help);
    void AddFlag(const std::string& name, bool* value, const std::string& help);

    /// An option that takes one of a few words.
    template <typename T>
    Option AddChoice(const std::string& name,
                     T* value,
                     const std::vector<std::pair<std::string, T>>& choices,
                     const std::string& help) {
        std::vector<std::string> words;
        words.reserve(choices.size());
        for (const auto& choice : choices) words.push_back(choice.first);
        return AddWords(
            name,
            words,
            [value, choices](const std::string& word) {
                for (const auto& choice : choices) {
                    if (choice.first == word) *value = choice.second;
                }
            },
            help);
    }

    /// The library's own object, for a command that needs more of it than this class offers.
    CLI::App* App() const { return command_; }

    /// Text below the options in the command's help.
    void Footer(const std::string& text);
    /// Called once the whole command line has been read and accepted.
    void OnRun(std::function<void()> run);

private:
    Option AddWords(const std::string& name,
                    const std::vector<std::string>& words,
                    const std::function<void(const std::string& word)>& take,
                    const std::string& help);

    CLI::App* command_;
};

}  // namespace torval
