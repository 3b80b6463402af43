#include "tools/cutstackctl/Options.h"

#include "tools/CommandLine.h"
#include "tools/FilterOptions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <utility>

namespace cutstack::cutstackctl {

namespace {

constexpr std::array kRules = {OptionRule{"hide", 0, true},     OptionRule{"search", 's', true},
                               OptionRule{"store", 0, true},    OptionRule{"color", 0, true},
                               OptionRule{"json", 0, false},    OptionRule{"all", 0, false},
                               OptionRule{"dry-run", 0, false}, OptionRule{"help", 'h', false},
                               OptionRule{"version", 0, false}};

constexpr std::size_t kAnyNumber = std::numeric_limits<std::size_t>::max();

struct CommandRule {
    std::string_view name;
    Command command;
    std::size_t fewestOperands; ///< behind the name of the command
    std::size_t mostOperands;
    std::string_view needed;  ///< what the first operand is, for people
    std::string_view options; ///< those that it knows, between blanks
};

constexpr std::string_view kReadingOptions = " hide search store color json ";

constexpr std::array kCommands = {
    CommandRule{"history", Command::history, 1, 1, "a project", kReadingOptions},
    CommandRule{"projects", Command::projects, 0, 0, {}, kReadingOptions},
    CommandRule{"watch", Command::watch, 1, kAnyNumber, "a project file", {}},
    CommandRule{"unwatch", Command::unwatch, 1, kAnyNumber, "a watched project", {}},
    CommandRule{"list", Command::list, 0, 0, {}, " json "},
    CommandRule{"sequence", Command::sequence, 1, 2, "a watched project", " all json "},
    CommandRule{"snapshot", Command::snapshot, 1, 1, "a project file", {}},
    CommandRule{"backups", Command::backups, 0, 1, {}, {}},
    CommandRule{"autosave", Command::autosave, 0, 2, {}, {}},
    CommandRule{"prune", Command::prune, 0, 0, {}, " dry-run json "},
    CommandRule{"status", Command::status, 0, 0, {}, " json "},
    CommandRule{"help", Command::help, 0, 0, {}, kReadingOptions}};

constexpr std::array<std::pair<std::string_view, Colour>, 3> kColours = {
    {{"auto", Colour::onTerminals}, {"always", Colour::always}, {"never", Colour::never}}};

/// Which command the operands name; nothing, with the reason in `error`, when they name none.
const CommandRule* commandOf(const std::vector<std::string>& operands, std::string& error) {
    if (operands.empty()) {
        error = "a command is needed";
        return nullptr;
    }
    const auto* rule = std::ranges::find(kCommands, operands[0], &CommandRule::name);
    if (rule == kCommands.end())
        error = "unknown command '" + operands[0] + "'";
    else if (operands.size() - 1 < rule->fewestOperands)
        error = operands[0] + ": " + std::string(rule->needed) + " is needed";
    else if (operands.size() - 1 > rule->mostOperands)
        error = operands[0] + ": there is an argument too many";
    else
        return rule;
    return nullptr;
}

bool knowsOptions(const CommandRule& rule, const CommandLine& line, std::string& error) {
    for (const GivenOption& option : line.options) {
        const std::string word = " " + std::string(option.name) + " ";
        if (rule.options.find(word) != std::string_view::npos)
            continue;
        error = std::string(rule.name) + ": there is no option '--" + std::string(option.name) +
                "' here";
        return false;
    }
    return true;
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

bool readMinutes(Options& options, const std::string& given, std::string& error) {
    std::int32_t minutes = 0;
    const char* const end = given.data() + given.size();
    const auto read = std::from_chars(given.data(), end, minutes);
    if (read.ec != std::errc() || read.ptr != end || minutes < 1) {
        error = "'" + given + "' is no number of minutes";
        return false;
    }
    options.minutes = minutes;
    return true;
}

/// "on", "off" or, for autosave, "on MINUTES".
bool readSwitch(Options& options, std::string& error) {
    const std::vector<std::string>& given = options.operands;
    if (given.empty())
        return true;
    if (given[0] != "on" && given[0] != "off") {
        error = "'" + given[0] + "' is neither on nor off";
        return false;
    }
    options.isOn = given[0] == "on";
    if (given.size() > 1 && !*options.isOn) {
        error = "off takes no minutes";
        return false;
    }
    return given.size() < 2 || readMinutes(options, given[1], error);
}

/// What only some commands know.
bool readOperands(Options& options, const CommandLine& line, std::string& error) {
    options.operands.assign(line.operands.begin() + 1, line.operands.end());
    options.entireProject = line.has("all");
    if (options.command == Command::backups || options.command == Command::autosave)
        return readSwitch(options, error);
    if (options.entireProject && options.operands.size() > 1) {
        error = "sequence: it is either a name or --all";
        return false;
    }
    if (options.command == Command::prune && !line.has("dry-run")) {
        error = "prune: only --dry-run is possible; files are removed at the end of every backup";
        return false;
    }
    return true;
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
    const CommandRule* const rule = commandOf(line->operands, error);
    if (rule == nullptr || !knowsOptions(*rule, *line, error))
        return std::nullopt;
    options.command = rule->command;
    const auto hidden = hiddenKinds(*line, error);
    const auto colour = hidden ? colourOf(*line, error) : std::nullopt;
    if (!colour || !readOperands(options, *line, error))
        return std::nullopt;
    options.storeFolder = line->valueOf("store");
    options.searchText = line->valueOf("search");
    options.hidden = *hidden;
    options.colour = *colour;
    options.json = line->has("json");
    return options;
}

std::string_view helpText() {
    return "Usage: cutstackctl COMMAND [OPTION]... [ARGUMENT]...\n"
           "What Cutstack keeps and does, without its window.\n"
           "\n"
           "Versions:\n"
           "  history PROJECT        show what changed from version to version, the newest first\n"
           "  projects               show the projects that have versions\n"
           "  snapshot FILE          make a version of a project now\n"
           "  prune --dry-run        show what would be removed to save space, and by which rule\n"
           "\n"
           "Watched projects:\n"
           "  watch FILE...          back project files up whenever they are saved\n"
           "  unwatch FILE...        no longer do so; their versions stay\n"
           "  list                   show what is watched\n"
           "  sequence FILE          show the sequences of a watched project\n"
           "  sequence FILE NAME     back up only this sequence, named by name or identifier\n"
           "  sequence FILE --all    back up the entire project again\n"
           "\n"
           "Jobs:\n"
           "  backups [on|off]       turn backups on or off, or tell whether they are on\n"
           "  autosave [on [MINUTES]|off]\n"
           "                         the same for having the editor save open projects at times\n"
           "  status                 show jobs, their last runs, editor and version store\n"
           "\n"
           "A project with versions is named by its file name, with or without its extension, or\n"
           "by its folder in the store; a watched one by its path or its file name.\n"
           "\n"
           "Options:\n"
           "  --hide KIND[,KIND]...  history: leave out kinds of change: in-points, out-points,\n"
           "                         markers, filters, sequences, clips, subclips,\n"
           "                         freeze-frames, bins, multiclips\n"
           "  -s, --search TEXT      history: show only sentences that contain TEXT, in whatever\n"
           "                         case\n"
           "  --color WHEN           history: auto (on terminals), always or never\n"
           "  --store DIR            history, projects: look into this version store instead of\n"
           "                         the user's\n"
           "  --json                 history, projects, list, sequence, prune, status: print JSON\n"
           "                         objects, a line each\n"
           "  -h, --help             print this help\n"
           "      --version          print the version\n"
           "\n"
           "Exit status: 0 done or shown, 1 nothing found or not done, 2 trouble.\n";
}

} // namespace cutstack::cutstackctl
