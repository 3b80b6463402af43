#include "tools/cutstackctl/Options.h"

#include "tools/CommandLine.h"
#include "tools/FilterOptions.h"

#include <algorithm>
#include <array>
#include <utility>

namespace cutstack::cutstackctl {

namespace {

constexpr std::array kRules = {OptionRule{"hide", 0, true},    OptionRule{"search", 's', true},
                               OptionRule{"store", 0, true},   OptionRule{"color", 0, true},
                               OptionRule{"json", 0, false},   OptionRule{"help", 'h', false},
                               OptionRule{"version", 0, false}};

struct CommandRule {
    std::string_view name;
    Command command;
    std::size_t operands; ///< behind the name of the command
};

constexpr std::array kCommands = {CommandRule{"history", Command::history, 1},
                                  CommandRule{"projects", Command::projects, 0},
                                  CommandRule{"help", Command::help, 0}};

constexpr std::array<std::pair<std::string_view, Colour>, 3> kColours = {
    {{"auto", Colour::onTerminals}, {"always", Colour::always}, {"never", Colour::never}}};

/// Which command the operands name; nothing, with the reason in `error`, when they name none.
std::optional<Command> commandOf(const std::vector<std::string>& operands, std::string& error) {
    if (operands.empty()) {
        error = "a command is needed";
        return std::nullopt;
    }
    const auto* rule = std::ranges::find(kCommands, operands[0], &CommandRule::name);
    if (rule == kCommands.end())
        error = "unknown command '" + operands[0] + "'";
    else if (operands.size() - 1 < rule->operands)
        error = operands[0] + ": a project is needed";
    else if (operands.size() - 1 > rule->operands)
        error = operands[0] + ": there is an argument too many";
    else
        return rule->command;
    return std::nullopt;
}

std::optional<Colour> colourOf(const CommandLine& line, std::string& error) {
    const std::string given = line.valueOf("color").value_or("auto");
    const auto* colour =
        std::ranges::find(kColours, given, &std::pair<std::string_view, Colour>::first);
    if (colour != kColours.end())
        return colour->second;
    error = "'" + given + "' is none of auto, always and never";
    return std::nullopt;
}

} // namespace

std::optional<Options> parseOptions(std::span<const char* const> arguments, std::string& error) {
    auto line = parseCommandLine(arguments, kRules, error);
    if (!line)
        return std::nullopt;
    Options options;
    if (line->has("help") || line->has("version")) {
        options.command = line->has("help") ? Command::help : Command::version;
        return options;
    }
    const auto command = commandOf(line->operands, error);
    const auto hidden = command ? hiddenKinds(*line, error) : std::nullopt;
    const auto colour = hidden ? colourOf(*line, error) : std::nullopt;
    if (!colour)
        return std::nullopt;
    options.command = *command;
    options.project = line->operands.back();
    options.storeFolder = line->valueOf("store");
    options.searchText = line->valueOf("search");
    options.hidden = *hidden;
    options.colour = *colour;
    options.json = line->has("json");
    return options;
}

std::string_view helpText() {
    return "Usage: cutstackctl history [OPTION]... PROJECT\n"
           "       cutstackctl projects [OPTION]...\n"
           "Shows what Cutstack keeps: the projects of the version store, and what changed from\n"
           "version to version of one of them, the newest first. A project is named by its file\n"
           "name, with or without its extension, or by its folder in the store.\n"
           "\n"
           "  --hide KIND[,KIND]...  leave out kinds of change: in-points, out-points, markers,\n"
           "                         filters, sequences, clips, subclips, freeze-frames, bins,\n"
           "                         multiclips\n"
           "  -s, --search TEXT      show only sentences that contain TEXT, in whatever case\n"
           "  --json                 print a JSON object for each version or project, a line each\n"
           "  --store DIR            look into this version store instead of the user's\n"
           "  --color WHEN           auto (on terminals), always or never\n"
           "  -h, --help             print this help\n"
           "      --version          print the version\n"
           "\n"
           "Exit status: 0 something was shown, 1 nothing was found, 2 trouble.\n";
}

} // namespace cutstack::cutstackctl
