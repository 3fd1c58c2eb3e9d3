#include "apps/command_line.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "apps/commands.h"
#include "apps/text.h"

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

int RunCommandLine(int count, const char* const* arguments, Console& console) {
    CLI::App application("Torval, a chess engine: plays, searches, evaluates and counts moves.",
                         "torval");
    application.require_subcommand(1);
    application.set_version_flag(
        "--version", "Torval " TORVAL_VERSION, "Print the version and exit");
    AddPlayCommand(&application, console);
    AddSearchCommand(&application, console);
    AddEvalCommand(&application, console);
    AddMovesCommand(&application, console);
    AddPerftCommand(&application, console);
    AddStateCommand(&application, console);
    AddParseCommand(&application, console);
    AddBenchCommand(&application, console);
    AddBookCommand(&application, console);
    AddUciCommand(&application, console);
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
