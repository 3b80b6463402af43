#include "tools/projecthost/Options.h"

#include <array>
#include <filesystem>
#include <system_error>

#include "tools/CommandLine.h"

namespace cutstack::projecthost {

namespace {

constexpr std::array kRules = {OptionRule{"open", 'o', false},  OptionRule{"list", 'l', false},
                               OptionRule{"close", 'c', false}, OptionRule{"discard", 0, false},
                               OptionRule{"help", 'h', false},  OptionRule{"version", 0, false}};

struct CommandRule {
    const char* option;
    Command command;
};
constexpr std::array kCommands = {CommandRule{"open", Command::open},
                                  CommandRule{"list", Command::list},
                                  CommandRule{"close", Command::close}};

/// The commands that are given; help and version come before all others.
std::vector<Command> commandsOf(const CommandLine& line) {
    if (line.has("help"))
        return {Command::help};
    if (line.has("version"))
        return {Command::version};
    std::vector<Command> commands;
    for (const CommandRule& rule : kCommands)
        if (line.has(rule.option))
            commands.push_back(rule.command);
    return commands;
}

/// What is wrong with what belongs to the command; empty when nothing is.
std::string_view faultOf(const Options& options) {
    const bool needsFiles = options.command == Command::open || options.command == Command::close;
    if (needsFiles && options.files.empty())
        return "at least one file is needed";
    if (options.command == Command::list && !options.files.empty())
        return "'--list' takes no file";
    return options.discardsChanges && options.command != Command::close
               ? "'--discard' belongs to '--close'"
               : "";
}

} // namespace

std::optional<Options> parseOptions(std::span<const char* const> arguments, std::string& error) {
    const auto line = parseCommandLine(arguments, kRules, error);
    if (!line)
        return std::nullopt;
    const std::vector<Command> commands = commandsOf(*line);
    Options options;
    if (commands.size() > 1)
        error = "only one of '--open', '--list' and '--close' can be done at a time";
    else if (!commands.empty())
        options.command = commands.front();
    options.discardsChanges = line->has("discard");
    for (const std::string& file : line->operands) {
        std::error_code fault;
        const auto absolute = std::filesystem::absolute(file, fault).lexically_normal();
        if (fault)
            error = file + ": " + fault.message();
        options.files.push_back(absolute.string());
    }
    if (error.empty() && options.command != Command::help && options.command != Command::version)
        error = faultOf(options);
    return error.empty() ? std::optional(options) : std::nullopt;
}

std::string_view helpText() {
    return "Usage: projecthost [FILE]...\n"
           "       projecthost --open FILE...\n"
           "       projecthost --list\n"
           "       projecthost --close [--discard] FILE...\n"
           "Serves project files whose content is XMEML as an editor does.\n"
           "\n"
           "Without an option it serves until it is told to end, with FILEs opened. When a host\n"
           "runs already, that one opens them.\n"
           "\n"
           "  -o, --open     have the running host open FILEs, and start one if there is none\n"
           "  -l, --list     print the open projects\n"
           "  -c, --close    close FILEs, saving what was imported into them\n"
           "      --discard  close without saving\n"
           "  -h, --help     print this help\n"
           "      --version  print the version\n"
           "\n"
           "Exit status: 0 done, 1 not done (a message says why), 2 wrong usage.\n";
}

} // namespace cutstack::projecthost
